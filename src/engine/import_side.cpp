// What the main window does for an import that it has started.
#include "engine/gravlin.h"
#include "nzb/grv_parse.h"
#include "platform/scoped_flag.h"

namespace gravlin {

void Gravlin::InitNZBFile() {
  List.DeleteAllRows();
  Thread::Run(std::make_unique<grvParse>(*this));
}

void Gravlin::BeginImport() {
  barParse.SetValue(0);
  barParse.SetVisible(true);
  barParse.Refresh();
}

void Gravlin::ShowImportProgress(int percent) {
  barParse.SetValue(percent);
  barParse.Refresh();
}

void Gravlin::ListCleared() { List.DeleteAllRows(); }

void Gravlin::ListKept() {
  barParse.SetVisible(false);
  List.DeleteAllRows();
  ExpectedParts = 0;  // the files that are loaded again are the same
  LoadListAnew();
  if (!running_) pbStart.SetEnabled(true);
}

// Stop serves on.
void Gravlin::LoadListAnew() {
  const ScopedFlag loading(loading_list_, true);
  if (!running_) pbStart.SetEnabled(may::Start(CurrentSituation()));
  LoadFiles();
}

void Gravlin::ImportDone(std::string_view nzb_name, double total_bytes) {
  BytesLeft = total_bytes;
  barParse.SetVisible(false);
  Refresh();
  LoadListAnew();
  stStatus.SetText(std::string(nzb_name) + " imported. Click Start to begin downloading.");
  pbStart.SetEnabled(true);
  TabPanel1.SetValue(5);
}

}  // namespace gravlin
