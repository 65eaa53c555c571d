// The extraction window: what it shows of unrar.
#include "postprocess/rar.h"

#include <algorithm>

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "postprocess/outcome_windows.h"
#include "postprocess/tool_commands.h"

namespace gravlin {
namespace {

ToolJob RarJob() {
  return {.right = {Code::RarJobRunning, Code::csRar},
          .app = Code::fRarApp,
          .tool = "unrar",
          .output = "unRar.txt",
          .waiting = "Waiting for previous Rar window to finish...",
          .processing = ". RAR extraction in progress...",
          .stalled = "Archive damaged or incomplete.",
          .missing = "The unrar program is missing from your Applications Support Folder folder.",
          .undeletable = "Please go into your Gravlin folder and remove the unRar.txt file.",
          .masks = true};
}

ToolLayout RarLayout() {
  return {.style = {.title = "RAR",
                    .width = 640,
                    .height = 232,
                    .min_width = 450,
                    .min_height = 140,
                    .resizable = true},
          .help = {6, 9, 69, 22},
          .select = {513, 9, 121, 22},
          .bar = {5, 196, 627, 12},
          .status = {5, 212, 628, 18},
          .select_caption = "Select RAR File",
          .select_help_tag = "You can also drop a RAR file here.",
          .help_page = "/usenet/nzb/gravlin/rar-window?source=Gravlin",
          .name = "Rar"};
}

// Gives a link another name, so that nothing is written through it.
bool PutAside(FolderItem link) {
  constexpr std::size_t kLongestName = 255, kLongestEnding = 100;
  std::string name = link.Name();
  for (std::string ending = ".link"; ending.size() < kLongestEnding; ending += '_') {
    std::size_t length = std::min(name.size(), kLongestName - ending.size());
    // The cut falls on a UTF-8 character.
    while (length < name.size() && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
      --length;
    name.resize(length);
    if (link.SetName(name + ending)) return true;
  }
  return false;
}

}  // namespace

Rar::Rar()
    : ToolWindow(RarJob(), RarLayout()),
      List(*this, "List", {2, 40, 315, 145}, 1),
      List2(*this, "List2", {325, 40, 313, 145}, 1) {
  List.SetAccessibleName("RAR archive files");
  List2.SetAccessibleName("Files extracted");
  List.SetAnchors({.left = true, .top = true, .right = false, .bottom = true});
  List2.SetAnchors({.left = true, .top = true, .right = true, .bottom = true});
  for (Listbox* list : {&List, &List2}) {
    list->SetHorizontalScrollBar(false);
    list->SetStretchLastColumn(true);
  }
}

void Rar::Event_Open() {
  ToolWindow::Event_Open();
  List.SetHeading("RAR Archive Files");
  List2.SetHeading("Files Extracted");
  List.SetColumnAlign(0, Align::kLeft);
  List2.SetColumnAlign(0, Align::kLeft);
}

void Rar::OpenDocumentEvent(const FolderItem& f) { Take(f, 2); }

void Rar::ClearLists() {
  List.DeleteAllRows();
  List2.DeleteAllRows();
  List.Refresh();
  List2.Refresh();
}

// The bar is left where an earlier run of the window has brought it: it only shows that the file is
// growing.
void Rar::PrepareParser() {
  Delimiter = "/";
  RarComment.clear();
  Unfinished.clear();
  ParseMode = "start";
  Advise({});
}

// An archive may have come with links next to it that lead out of its folder; unrar would write
// through them.  In Downloads the folder itself may be a link of the user's own.
std::string Rar::MakeTarget(FolderItem target) const {
  const auto left = [](const FolderItem& link) {
    return "a link cannot be renamed: " + link.NativePath();
  };
  const bool ours = fInput.Parent() == Code::AppDataFolder.Child("Downloads");
  if (target.IsLink() && !ours && !PutAside(target)) return left(target);
  if (!target.Exists()) target.CreateAsFolder();
  bool whole = false;
  for (const std::string& name : target.ChildNames(&whole)) {
    const FolderItem child = target.Child(name);
    if (child.IsLink() && !PutAside(child)) return left(child);
  }
  return whole || !target.IsFolder() ? "" : "cannot look into " + target.NativePath();
}

void Rar::CallUnRarMac() {
  const FolderItem target = ExtractedFiles();
  if (const std::string reason = MakeTarget(target); !reason.empty()) {
    NotStarted(reason, "CallUnRarMac");
    return;
  }
  Execute(UnrarCommand(Code::fRarApp, fInput, FixPath, target, fOutput));
}

void Rar::ShowFailed() { Window::Shared<RarFailed>().Show(); }

void Rar::ParseRar() {
  LoadLines();  // may stop the run; the rest of this pass does no harm then
  if (FileGrew) Crawl();
  if (Lines.empty()) return;
  ParseNewLines(
      [this](const std::string& line, bool whole) { ReadUnrarLine(line, whole, *this, *this); });
  // Neither these words nor the silence after them says why; the question went to no terminal.
  if (FileGrew && SameText(Lines.back(), "Program aborted"))
    Advise(
        "unrar has given up. Most often the archive wants a password, which Gravlin cannot ask "
        "for. In a terminal it asks itself: unrar e " +
        fInput.Name() + ". Quit Gravlin and start it anew before the next extraction.");
  if (const auto ending = FindUnrarEnding(Lines)) Finish(*ending);
}

void Rar::Finish(UnrarEnding ending) {
  switch (ending) {
    case UnrarEnding::kComplete: {
      ShowStatus("Extraction complete.");
      const FolderItem extracted = ExtractedFiles();
      FlushFiles(extracted);
      if (!extracted.IsNil() && extracted.Exists()) extracted.Launch();
      break;
    }
    case UnrarEnding::kErrors:
      ShowStatus("Archive damaged or incomplete.");
      Advise("If there are PAR2 files, repair the set first: choose PAR Decoder in the File menu.");
      break;
    case UnrarEnding::kNoFiles:
      ShowStatus("Something went wrong.");
      Advise("unrar has found nothing to unpack: the file is damaged, or it is no RAR archive.");
      break;
  }
  GiveBackRight();
  Bar.SetValue(100);
  EndFollowing();
  // After a failure, too: the page explains what an archive may be.
  const auto settings = db->SQLSelect("Select Future2 From Settings");
  if (settings && !settings->EndOfFile() &&
      !SameText(settings->Field("Future2").StringValue(), "n"))
    Window::Shared<AfterRAR>().Show();
  Beep();
}

void Rar::AddVolume(std::string_view name) {
  List.AddRow(name);
  List.SetListIndex(List.LastIndex());
}

void Rar::AddFile(std::string_view name) {
  List2.AddRow(name);
  List2.SetListIndex(List2.LastIndex());
}

void Rar::ShowComment(std::string_view comment) {
  RarNotes& notes = Window::New<RarNotes>();
  notes.Show();
  notes.efComment.SetText(comment);
}

}  // namespace gravlin
