// The course of a run that both tools share, from the choice of a file to the end of its output.
#include "postprocess/tool_run.h"

#include <utility>

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"
#include "postprocess/output_file.h"
#include "postprocess/tool_commands.h"

namespace gravlin {
namespace {

Date InSeconds(int seconds) {
  Date date;
  date.SetSecond(date.Second() + seconds);
  return date;
}

}  // namespace

bool ToolRight::Take(ToolPhase phase) {
  const CriticalGuard guard(lock_);
  if (!MayTake(phase)) return false;
  taken_ = true;
  return true;
}

ToolRun::ToolRun(const ToolJob& job, ToolRunView& view)
    : sh(std::make_unique<Shell>()), job_(job), view_(view) {
  tWait.SetPeriod(1000);
  tWait.Action = [this] { tWait_Action(); };
  tDeleteOutput.SetPeriod(1000);
  tDeleteOutput.Action = [this] { tDeleteOutput_Action(); };
  follower_.SetPeriod(1000);
  follower_.Action = [this] { Follow(); };
  follower_.SetMode(2);
}

void ToolRun::Abandon() {
  closed_ = true;
  for (Timer* timer : {&tWait, &tDeleteOutput, &follower_}) timer->SetMode(0);
  sh->Close();
}

void ToolRun::Take(const FolderItem& file, std::int32_t fix_path) {
  if (closed_) return;  // while the dialog was open
  queue_.push_back({file, fix_path});
  if (MayBeginFile()) {
    StartNext();
    return;
  }
  ShowStatus(status_);
  tWait.SetMode(2);
}

void ToolRun::StartNext() {
  const Waiting next = queue_.front();
  queue_.pop_front();
  fInput = next.file;
  view_.SelectionChanged();
  FixPath = next.fix_path;
  StartProcess();
  if (!queue_.empty()) tWait.SetMode(2);
}

std::vector<std::string> ToolRun::WaitingFiles() const {
  std::vector<std::string> names;
  if (phase_ == ToolPhase::kWaiting) names.push_back(fInput.Name());
  for (const Waiting& waiting : queue_) names.push_back(waiting.file.Name());
  return names;
}

FolderItem ToolRun::Output() const {
  return FolderItem::FromAbsolutePath(Code::AppDataFolder.AbsolutePath() +
                                      std::string(job_.output));
}

void ToolRun::StartProcess() {
  // The path will not change, so there is nothing to try again.
  if (const std::string why = WhyNoCommand(job_.app, fInput, Output(), job_.masks); !why.empty()) {
    SayNotStarted(why, "StartProcess");
    Beep();
    return;
  }
  if (!job_.right.Take(phase_)) {
    ShowStatus(job_.waiting);
    phase_ = ToolPhase::kWaiting;
    tWait.SetMode(2);
    return;
  }
  view_.ClearLists();
  ShowStatus(FileSelected());
  if (!job_.app.Exists()) {
    MsgBox(job_.missing);
    return;  // and keeps the right
  }
  fOutput = Output();
  if (fOutput.Exists()) fOutput.Delete();
  // A run begins with no output file at all, so that no line of an earlier run is read: the tool is
  // started by the timer, once the file is seen to be gone.
  tDeleteCount = 0;
  phase_ = ToolPhase::kClearing;
  tDeleteOutput.SetMode(2);
}

// StartProcess goes back to waiting if another window was first.  Files in the queue do not
// change the status of the last run.  When that run fell silent nobody gives the right back, and
// they never begin.
void ToolRun::tWait_Action() {
  if (!job_.right.MayTake(phase_)) return;
  tWait.SetMode(0);
  if (std::exchange(phase_, ToolPhase::kReady) == ToolPhase::kWaiting) {
    StartProcess();
    if (!queue_.empty()) tWait.SetMode(2);
  } else if (!queue_.empty()) {
    StartNext();
  }
}

void ToolRun::tDeleteOutput_Action() {
  if (fOutput.Exists()) {
    if (++tDeleteCount <= 60) return;
    MsgBox(job_.undeletable);
    tDeleteOutput.SetMode(0);
    phase_ = ToolPhase::kReady;
    return;  // and keeps the right
  }
  tDeleteOutput.SetMode(0);
  FilePointer = 0;
  FileLength = 0;
  Lines.clear();
  LinesIndex = -1;
  TimerCallDone = true;
  phase_ = ToolPhase::kFollowing;
  view_.ShowFollowing(true);
  view_.PrepareParser();
  Deadline = InSeconds(15);
  last_tick_ = Date();
  began_ = FolderItem::ModifiedNow();
  follower_.SetPeriod(250);
  follower_.SetMode(2);
  ShowStatus(FileSelected(". Starting..."));
  Attempts = 1;
  view_.CallTool();
}

void ToolRun::Follow() {
  const Date now;
  // Nobody watched while the computer slept, and the clock may have been put back.
  const double since = now.SecondsSince(std::exchange(last_tick_, now));
  if (since < 0 || since > 10) Deadline.SetSecond(Deadline.Second() + ToInt32(since));
  if (!TimerCallDone) return;
  if (now > Deadline && (!fOutput.Exists() || fOutput.Length() == 0)) {
    StartAgain();
    return;
  }
  // Parsing lets events run; no second tick may come in.  The flag is set again
  // also when a failure ends the tick, or no later tick would do work.
  const ScopedFlag busy(TimerCallDone, false);
  view_.Parse();
}

void ToolRun::StartAgain() {
  Deadline = InSeconds(15);
  sh->Close();
  if (++Attempts > 3) view_.ShowFailed();  // the run goes on trying
  ShowStatus(
      FileSelected(". Trying to start " + std::string(job_.tool) + ". Attempt: " + Str(Attempts)));
  view_.CallTool();
}

void ToolRun::LoadLines() {
  FileGrew = false;
  if (fOutput.IsNil()) return;
  const double length = static_cast<double>(fOutput.Length());
  if (length <= FileLength) {
    if (!(Date() > Deadline)) return;
    ShowStatus(job_.stalled);
    EndFollowing();
    Beep();
    view_.ShowStalled();
    return;  // and keeps the right
  }
  Deadline = InSeconds(60);
  FileGrew = true;
  FileLength = length;
  ReadNewLines(fOutput, FilePointer, Lines, &LastLineWhole);
}

void ToolRun::ParseNewLines(const std::function<void(const std::string& line, bool whole)>& parse) {
  while (LinesIndex + 1 < static_cast<std::int32_t>(Lines.size())) {
    ++LinesIndex;
    const bool last = LinesIndex + 1 == static_cast<std::int32_t>(Lines.size());
    parse(Lines[static_cast<std::size_t>(LinesIndex)], LastLineWhole || !last);
    Thread::Yield();
  }
}

void ToolRun::Execute(const std::optional<std::string>& command) {
  if (!command) return;  // StartProcess has refused such paths
  sh->SetMode(1);
  sh->Execute(*command);
}

void ToolRun::NotStarted(const std::string& reason, std::string_view method) {
  --Attempts;
  SayNotStarted(reason, method);
}

void ToolRun::SayNotStarted(const std::string& reason, std::string_view method) {
  const std::string words = std::string(job_.tool) + " not started: " + reason;
  ShowStatus(FileSelected(". " + words));
  view_.Log(method, words);
}

std::string ToolRun::FileSelected(std::string_view what) const {
  return "File selected: " + fInput.Name() + std::string(what);
}

void ToolRun::ShowStatus(std::string_view text) {
  status_ = text;
  const std::size_t waiting = queue_.size();
  view_.ShowStatusLine(waiting == 0 ? status_
                       : waiting == 1
                           ? status_ + " (1 more file waits)"
                           : status_ + " (" + Str(static_cast<int>(waiting)) + " more files wait)");
}

void ToolRun::ShowProcessing() {
  if (SameText(status_, FileSelected(". Starting..."))) ShowStatus(FileSelected(job_.processing));
}

void ToolRun::FlushFiles(const FolderItem& folder) const {
  // Some file systems keep times in steps of two seconds.
  static constexpr std::int64_t kRounding = 2'000'000'000;
  class Flush : public Thread {
   public:
    Flush(FolderItem of, std::int64_t since) : folder_(std::move(of)), since_(since - kRounding) {}

   private:
    void Event_Run() override {
      Offload([this] {
        // unrar gives a file the modification time that the archive states.
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

void ToolRun::EndFollowing() {
  phase_ = ToolPhase::kReady;
  view_.ShowFollowing(false);
  follower_.SetMode(0);
}

}  // namespace gravlin
