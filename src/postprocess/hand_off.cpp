// The ways into repair and extraction: the end of a download, a document, the menu.
#include "postprocess/hand_off.h"

#include "postprocess/par.h"
#include "postprocess/rar.h"

namespace gravlin {

void OpenRepairOf(const FolderItem& par, const FolderItem& rar) {
  Par& window = Window::New<Par>();
  window.Show();
  window.fInput = par;
  window.fRAR = rar;
  window.FixPath = 2;
  window.StartProcess();
}

void OpenParWindow() { Window::Shared<Par>().Show(); }

void OpenRarWindow() { Window::Shared<Rar>().Show(); }

void OpenParDocument(const FolderItem& document) {
  Par& window = Window::Shared<Par>();
  window.Show();
  window.OpenDocumentEvent(document);
}

void OpenRarDocument(const FolderItem& document) {
  Rar& window = Window::Shared<Rar>();
  window.Show();
  window.OpenDocumentEvent(document);
}

}  // namespace gravlin
