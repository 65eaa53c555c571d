// What the window of either tool shows of a run, and how it takes files.
#include "postprocess/tool_window.h"

#include <algorithm>

#include "base/code.h"
#include "base/endpoints.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "postprocess/hand_off.h"
#include "store/window_place.h"
#include "store/writers.h"

namespace gravlin {

ToolWindow::ToolWindow(const ToolJob& job, const ToolLayout& layout)
    : Window(layout.style),
      ToolRun(job, *this),
      pbHelp(*this, "pbHelp", layout.help, "Help"),
      pbSelectFile(*this, "pbSelectFile", layout.select, layout.select_caption),
      Bar(*this, "Bar", layout.bar, 100),
      stStatus(*this, "stStatus", layout.status, "Ready."),
      help_page_(layout.help_page),
      name_(layout.name) {
  pbSelectFile.SetHelpTag(layout.select_help_tag);
  pbSelectFile.SetAnchors({.left = false, .top = true, .right = true, .bottom = false});
  Bar.SetAccessibleName("Progress");
  Bar.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  stStatus.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  pbHelp.Action = [this] { pbHelp_Action(); };
  pbSelectFile.Action = [this] { pbSelectFile_Action(); };
  pbSelectFile.DropObject = [this](const DragItem& dropped) { pbSelectFile_DropObject(dropped); };
  pbSelectFile_Open();
}

void ToolWindow::Event_Open() {
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Can't open Gravlin.rsd database file.");
  const auto settings = db->SQLSelect("Select * from Settings");
  if (settings && !settings->EndOfFile()) {
    RestorePlace(*this, *settings, name_);
    ReadPlace(*settings);
  }
  opened_ = true;
}

// A quit asks nothing: it is never refused.
bool ToolWindow::Event_CancelClose() {
  constexpr int kOkCancelCaution = 49, kOk = 1;
  constexpr std::size_t kMostNames = 10;
  // More files may come while the box is open.
  std::size_t named = 0;
  for (auto waiting = WaitingFiles(); waiting.size() > named; waiting = WaitingFiles()) {
    named = waiting.size();
    std::string lines;
    for (std::size_t i = 0; i < std::min(named, kMostNames); ++i) lines += "\r" + waiting[i];
    if (named > kMostNames) lines += "\rand " + Str(static_cast<int>(named - kMostNames)) + " more";
    if (MsgBox("Close the window? The files that wait in it will not be worked on:" + lines,
               kOkCancelCaution) != kOk)
      return true;
  }
  return false;
}

void ToolWindow::Event_Close() {
  SaveSize();
  Abandon();
}

void ToolWindow::Event_Resized() { SaveSize(); }

void ToolWindow::SaveSize() {
  // The sizes that opening gives are not the user's.
  if (!opened_ || Top() < 1) return;
  Code::SaveToDB({"Update Settings Set " + PlaceAssignments(*this, name_) + MorePlace()}, "none");
}

void ToolWindow::pbHelp_Action() { ShowURL(endpoints::Vendor(help_page_)); }

void ToolWindow::pbSelectFile_Open() { pbSelectFile.AcceptFileDrop("special/any"); }

void ToolWindow::pbSelectFile_Action() {
  const FolderItem start = fInput.IsNil() ? DownloadsFolder() : fInput.Parent();
  const FolderItem chosen = GetOpenFolderItem("special/any", start);
  // A dialog that is cancelled takes nothing from a run that began while it was open.
  if (!chosen.IsNil())
    Take(chosen, 1);
  else if (MayBeginFile())
    fInput = chosen;
}

void ToolWindow::pbSelectFile_DropObject(const DragItem& dropped) {
  if (dropped.FolderItemAvailable()) Take(dropped.item, 1);
}

void ToolWindow::ShowStatusLine(std::string_view line) {
  stStatus.SetText(line);
  stStatus.Refresh();
}

void ToolWindow::Advise(std::string_view text) {
  stStatus.SetHelpTag(text);
  stStatus.ShowHelpTag();
}

void ToolWindow::Log(std::string_view method, std::string_view words) {
  const std::string label = std::string(name_) + "." + std::string(method);
  WriteToLog(label, words);
}

void ToolWindow::Crawl() {
  if (Bar.Value() >= 100) Bar.SetValue(0);
  const int step = std::max(1, ToInt32((Bar.Maximum() - Bar.Value()) * 0.1));
  Bar.SetValue(Bar.Value() + step);
  Bar.Refresh();
  ShowProcessing();
}

}  // namespace gravlin
