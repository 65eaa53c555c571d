// The course of a run that both tools share, from the choice of a file to the end of its output.
#include "postprocess/tool_window.h"

#include <algorithm>
#include <utility>

#include "base/endpoints.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "postprocess/hand_off.h"
#include "postprocess/output_file.h"
#include "postprocess/tool_commands.h"
#include "store/window_place.h"
#include "store/writers.h"

namespace gravlin {

ToolWindow::ToolWindow(const ToolJob& job, const ToolLayout& layout)
    : Window(layout.style),
      pbHelp(*this, "pbHelp", layout.help, "Help"),
      pbSelectFile(*this, "pbSelectFile", layout.select, layout.select_caption),
      Bar(*this, "Bar", layout.bar, 100),
      stStatus(*this, "stStatus", layout.status, "Ready."),
      job_(job) {
  pbSelectFile.SetHelpTag(layout.select_help_tag);
  pbSelectFile.SetAnchors({.left = false, .top = true, .right = true, .bottom = false});
  Bar.SetAccessibleName("Progress");
  Bar.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  stStatus.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  pbHelp.Action = [this] { pbHelp_Action(); };
  pbSelectFile.Action = [this] { pbSelectFile_Action(); };
  pbSelectFile.DropObject = [this](const DragItem& dropped) { pbSelectFile_DropObject(dropped); };
  tWait.SetPeriod(1000);
  tWait.Action = [this] { tWait_Action(); };
  tDeleteOutput.SetPeriod(1000);
  tDeleteOutput.Action = [this] { tDeleteOutput_Action(); };
  pbSelectFile_Open();
}

void ToolWindow::Event_Open() {
  sh = std::make_unique<Shell>();
  db = std::make_unique<Database>(Code::fGlobalDB);
  if (!db->Connect()) MsgBox("Can't open Gravlin.rsd database file.");
  const auto settings = db->SQLSelect("Select * from Settings");
  if (settings && !settings->EndOfFile()) {
    RestorePlace(*this, *settings, job_.columns);
    ReadPlace(*settings);
  }
  opened_ = true;
}

// A quit asks nothing: it is never refused.
bool ToolWindow::Event_CancelClose() {
  constexpr int kOkCancelCaution = 49, kOk = 1;
  constexpr std::size_t kMostNames = 10;
  const auto names = [this] {
    std::vector<std::string> all;
    if (phase_ == ToolPhase::kWaiting) all.push_back(fInput.Name());
    for (const Waiting& waiting : queue_) all.push_back(waiting.file.Name());
    return all;
  };
  // More files may come while the box is open.
  std::size_t told = 0;
  for (std::vector<std::string> waiting = names(); waiting.size() > told; waiting = names()) {
    told = waiting.size();
    std::string lines;
    for (std::size_t i = 0; i < std::min(told, kMostNames); ++i) lines += "\r" + waiting[i];
    if (told > kMostNames) lines += "\rand " + Str(static_cast<int>(told - kMostNames)) + " more";
    if (MsgBox("Close the window? The files that wait in it will not be worked on:" + lines,
               kOkCancelCaution) != kOk)
      return true;
  }
  return false;
}

// The job flag stays set when a window is closed in mid-run, as after every failure: only a closing
// line of the tool clears it.  The output file is shared by all windows, and a flag cleared here
// would let the next window read it.
void ToolWindow::Event_Close() {
  closed_ = true;
  SaveSize();
  for (Timer* timer : {&tWait, &tDeleteOutput, &Follower()}) timer->SetMode(0);
  sh->Close();
}

void ToolWindow::Event_Resized() { SaveSize(); }

void ToolWindow::SaveSize() {
  // The sizes that opening gives are not the user's.
  if (!opened_ || Top() < 1) return;
  Code::SaveToDB({"Update Settings Set " + PlaceAssignments(*this, job_.columns) + MorePlace()},
                 "none");
}

void ToolWindow::pbHelp_Action() { ShowURL(endpoints::Vendor(job_.help_page)); }

void ToolWindow::pbSelectFile_Open() { pbSelectFile.AcceptFileDrop("special/any"); }

void ToolWindow::pbSelectFile_Action() {
  const FolderItem start = fInput.IsNil() ? DownloadsFolder() : fInput.Parent();
  const FolderItem chosen = GetOpenFolderItem("special/any", start);
  // A dialog that is cancelled takes nothing from a run that began while it was open.
  if (!chosen.IsNil())
    Take(chosen, 1);
  else if (phase_ == ToolPhase::kReady)
    fInput = chosen;
}

void ToolWindow::pbSelectFile_DropObject(const DragItem& dropped) {
  if (dropped.FolderItemAvailable()) Take(dropped.item, 1);
}

void ToolWindow::Take(const FolderItem& file, std::int32_t fix_path) {
  if (closed_) return;  // while the dialog was open
  queue_.push_back({file, fix_path});
  if (phase_ == ToolPhase::kReady) {
    StartNext();
    return;
  }
  ShowStatus(status_);
  tWait.SetMode(2);
}

void ToolWindow::StartNext() {
  const Waiting next = queue_.front();
  queue_.pop_front();
  fInput = next.file;
  SelectionChanged();
  FixPath = next.fix_path;
  StartProcess();
  if (!queue_.empty()) tWait.SetMode(2);
}

FolderItem ToolWindow::Output() const {
  return FolderItem::FromAbsolutePath(Code::AppDataFolder.AbsolutePath() +
                                      std::string(job_.output));
}

void ToolWindow::StartProcess() {
  // The path will not change, so there is nothing to try again.
  if (const std::string why = WhyNoCommand(job_.app, fInput, Output(), job_.masks); !why.empty()) {
    SayNotStarted(why, std::string(job_.columns) + ".StartProcess");
    Beep();
    return;
  }
  {
    const CriticalGuard guard(job_.lock);
    if (job_.running) {
      ShowStatus(job_.waiting);
      phase_ = ToolPhase::kWaiting;
      tWait.SetMode(2);
      return;
    }
    job_.running = true;
  }
  ClearLists();
  ShowStatus(FileSelected());
  stStatus.Refresh();
  if (!job_.app.Exists()) {
    MsgBox(job_.missing);
    return;  // and the flag stays set
  }
  fOutput = Output();
  if (fOutput.Exists()) fOutput.Delete();
  // A run begins with no output file at all, so that no line of an earlier run is read: the tool is
  // started by the timer, once the file is seen to be gone.
  tDeleteCount = 0;
  phase_ = ToolPhase::kClearing;
  tDeleteOutput.SetMode(2);
}

// The flag is read without its lock; StartProcess tests it again, and goes back to waiting if
// another window was first.  Files in the queue leave the words of the last run as they are: after
// a silence the flag stays set, and they wait in vain.
void ToolWindow::tWait_Action() {
  if (!may::BeginTool({.phase = phase_, .job_running = job_.running})) return;
  tWait.SetMode(0);
  if (std::exchange(phase_, ToolPhase::kReady) == ToolPhase::kWaiting) {
    StartProcess();
    if (!queue_.empty()) tWait.SetMode(2);
  } else if (!queue_.empty()) {
    StartNext();
  }
}

void ToolWindow::tDeleteOutput_Action() {
  if (fOutput.Exists()) {
    if (++tDeleteCount <= 60) return;
    MsgBox(job_.undeletable);
    tDeleteOutput.SetMode(0);
    phase_ = ToolPhase::kReady;
    return;  // and the flag stays set
  }
  tDeleteOutput.SetMode(0);
  FilePointer = 0;
  FileLength = 0;
  Lines.clear();
  LinesIndex = -1;
  TimerCallDone = true;
  phase_ = ToolPhase::kFollowing;
  pbSelectFile.SetEnabled(false);
  PrepareParser();
  Deadline = InSeconds(15);
  last_tick_ = Date();
  began_ = FolderItem::ModifiedNow();
  Follower().SetPeriod(250);
  Follower().SetMode(2);
  ShowStatus(FileSelected(". Starting..."));
  stStatus.Refresh();
  Attempts = 1;
  CallTool();
}

void ToolWindow::Follow() {
  const Date now;
  // Nobody watched while the computer slept, and the clock may have been put back.
  const double since = now.SecondsSince(std::exchange(last_tick_, now));
  if (since < 0 || since > 10) Deadline.SetSecond(Deadline.Second() + ToInt32(since));
  if (!TimerCallDone) return;
  if (now > Deadline && (!fOutput.Exists() || fOutput.Length() == 0)) {
    Deadline = InSeconds(15);
    sh->Close();
    if (++Attempts > 3) ShowFailed();  // beside the run, which goes on trying
    ShowStatus(FileSelected(". Trying to start " + std::string(job_.tool) +
                            ". Attempt: " + Str(Attempts)));
    CallTool();
    return;
  }
  // Parsing lets events run; no second tick may come in.  Set again also when a failure ends the
  // tick, or the window would be deaf for good.
  const ScopedFlag busy(TimerCallDone, false);
  Parse();
}

void ToolWindow::LoadLines() {
  FileGrew = false;
  if (fOutput.IsNil()) return;
  const double length = static_cast<double>(fOutput.Length());
  if (length <= FileLength) {
    if (!(Date() > Deadline)) return;
    ShowStatus(job_.stalled);
    phase_ = ToolPhase::kReady;
    pbSelectFile.SetEnabled(true);
    Follower().SetMode(0);
    Beep();
    Stalled();
    return;  // and the flag stays set
  }
  Deadline = InSeconds(60);
  FileGrew = true;
  FileLength = length;
  ReadNewLines(fOutput, FilePointer, Lines, &LastLineWhole);
}

void ToolWindow::Execute(const std::optional<std::string>& command) {
  if (!command) return;  // StartProcess has refused such paths
  sh->SetMode(1);
  sh->Execute(*command);
}

void ToolWindow::NotStarted(const std::string& reason, std::string_view label) {
  --Attempts;
  SayNotStarted(reason, label);
}

void ToolWindow::SayNotStarted(const std::string& reason, std::string_view label) {
  const std::string words = std::string(job_.tool) + " not started: " + reason;
  ShowStatus(FileSelected(". " + words));
  WriteToLog(label, words);
}

void ToolWindow::ShowStatus(std::string_view text) {
  status_ = text;
  const std::size_t waiting = queue_.size();
  stStatus.SetText(waiting == 0 ? status_
                   : waiting == 1
                       ? status_ + " (1 more file waits)"
                       : status_ + " (" + Str(static_cast<int>(waiting)) + " more files wait)");
}

void ToolWindow::Crawl() {
  if (Bar.Value() >= 100) Bar.SetValue(0);
  const int step = std::max(1, ToInt32((Bar.Maximum() - Bar.Value()) * 0.1));
  Bar.SetValue(Bar.Value() + step);
  Bar.Refresh();
  if (!SameText(status_, FileSelected(". Starting..."))) return;
  ShowStatus(FileSelected(job_.processing));
  stStatus.Refresh();
}

void ToolWindow::FlushFiles(const FolderItem& folder) const {
  // Some file systems keep times in steps of two seconds.
  static constexpr std::int64_t kRounding = 2'000'000'000;
  class Flush : public Thread {
   public:
    Flush(FolderItem of, std::int64_t since) : folder_(std::move(of)), since_(since - kRounding) {}

   private:
    void Event_Run() override {
      Offload([this] {
        // unrar gives a file the modification time that the archive tells.
        for (const FolderItem::Entry& entry : folder_.Entries())
          if (entry.length > 0 && entry.changed >= since_ && !Ending())
            folder_.Child(entry.name).Flush();
        folder_.Flush();
      });
    }
    const FolderItem folder_;
    const std::int64_t since_;
  };
  if (!folder.IsNil()) Thread::Run(std::make_unique<Flush>(folder, began_));
}

void ToolWindow::EndFollowing() {
  Bar.SetValue(100);
  phase_ = ToolPhase::kReady;
  pbSelectFile.SetEnabled(true);
  Follower().SetMode(0);
}

std::string ToolWindow::FileSelected(std::string_view what) const {
  return "File selected: " + fInput.Name() + std::string(what);
}

Date ToolWindow::InSeconds(int seconds) {
  Date date;
  date.SetSecond(date.Second() + seconds);
  return date;
}

}  // namespace gravlin
