// The runs of a command-line tool, one file after the other; a ToolRunView shows them.  The tool's
// output goes into a file, and a timer follows that file.  The tool is never asked how it is: its
// last line or silence says that it has ended, a file that stays empty says that it never started.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/may_begin.h"
#include "platform/clock.h"
#include "platform/folder_item.h"
#include "platform/shell.h"
#include "platform/thread.h"
#include "platform/timer.h"

namespace gravlin {

// The right to run a tool, which one run in the whole program has.  The only writer of its flag.  A
// run that fails never gives the right back, and no later run begins: the output file is shared by
// all windows, and a tool that fell silent may still write to it.
class ToolRight {
 public:
  // `taken` is Code::ParJobRunning or Code::RarJobRunning; `lock` makes its test and set one step.
  ToolRight(bool& taken, CriticalSection& lock) : taken_(taken), lock_(lock) {}
  // Looks without the lock; Take looks again.
  bool MayTake(ToolPhase phase) const { return may::BeginTool({phase, taken_}); }
  // False if a run in this phase may not begin.
  bool Take(ToolPhase phase);
  void GiveBack() { taken_ = false; }

 private:
  bool& taken_;
  CriticalSection& lock_;
};

// In what the runs of the two tools differ.
struct ToolJob {
  ToolRight right;
  const FolderItem& app;        // the tool
  std::string_view tool;        // its name
  std::string_view output;      // name of the file that its output goes to, in AppDataFolder
  std::string_view waiting;     // status while another window's job runs
  std::string_view processing;  // status after the file's name once the tool writes
  std::string_view stalled;     // status when it fell silent
  std::string_view missing, undeletable;  // messages
  bool masks;                             // in an input's path would be taken for one
};

// What a run shows, and the steps in which the tools differ.
class ToolRunView {
 public:
  virtual ~ToolRunView() = default;
  virtual void ShowStatusLine(std::string_view line) = 0;
  // The tool is about to start, or is followed no longer.
  virtual void ShowFollowing(bool following) = 0;
  virtual void ShowFailed() = 0;  // three attempts to start the tool have failed
  virtual void ShowStalled() {}   // the tool fell silent, and the status says so
  virtual void ClearLists() = 0;
  // A line of the log; `method` is where it comes from.
  virtual void Log(std::string_view method, std::string_view words) = 0;

  virtual void SelectionChanged() {}  // fInput is a file that was chosen, dropped or opened
  virtual void PrepareParser() = 0;   // at the start of a run
  virtual void CallTool() = 0;        // by Execute or NotStarted
  virtual void Parse() = 0;           // what LoadLines finds
};

class ToolRun {
 public:
  // Starts a run on fInput, or waits until no other window's run is under way.  A path of which no
  // command can be made is refused, and takes the job from no other.
  void StartProcess();
  void LoadLines();

  void tWait_Action();
  void tDeleteOutput_Action();
  ToolPhase Phase() const { return phase_; }

  FolderItem fInput;
  FolderItem fOutput;
  std::int32_t FixPath = 0;        // which helper gives the input's path: see tool_commands.h
  std::vector<std::string> Lines;  // all that was read in this run
  std::int32_t LinesIndex = -1;    // of the last one parsed
  double FilePointer = 0;          // bytes of fOutput that have been read
  double FileLength = 0;           // of fOutput when it was last seen to grow
  bool FileGrew = false;           // at the last LoadLines
  bool LastLineWhole = true;       // the last of Lines has its end
  bool TimerCallDone = false;      // a tick may do work
  Date Deadline;                   // when silence counts as failure
  std::int32_t Attempts = 0;       // to start the tool, in this run
  std::int32_t tDeleteCount = 0;   // ticks that found the old output file still there
  std::unique_ptr<Shell> sh;

  Timer tWait, tDeleteOutput;

 protected:
  // The view must live longer.
  ToolRun(const ToolJob& job, ToolRunView& view);
  ~ToolRun() = default;

  Timer& Follower() { return follower_; }
  // A tick of the follower.
  void Follow();

  // A file that was chosen, dropped or opened on the program, and its FixPath.  It waits for its
  // turn while a run is under way.
  void Take(const FolderItem& file, std::int32_t fix_path);
  bool MayBeginFile() const { return may::BeginFile({.phase = phase_}); }
  // Names of the files that wait.
  std::vector<std::string> WaitingFiles() const;
  // The status without the note about the files that wait, and the way to change it.
  const std::string& Status() const { return status_; }
  void ShowStatus(std::string_view text);
  // In place of "Starting...": the tool writes.
  void ShowProcessing();

  void Execute(const std::optional<std::string>& command);
  // In the place of Execute when no command may be given now.  The next attempt looks again; this
  // one does not count, since nothing was started.
  void NotStarted(const std::string& reason, std::string_view method);
  // Calls `parse` for each new line; `whole` is false if its end is not there yet.  Lets events
  // run.
  void ParseNewLines(const std::function<void(const std::string& line, bool whole)>& parse);
  // Flushes what a tool has written, in the background.
  void FlushFiles(const FolderItem& folder) const;
  // Ends the run, but does not give the right back.
  void EndFollowing();
  void GiveBackRight() { job_.right.GiveBack(); }
  // The window is closed.  Ends the tool and takes no more files; a run that was under way keeps
  // the right.
  void Abandon();

 private:
  struct Waiting {
    FolderItem file;
    std::int32_t fix_path;
  };

  void StartNext();
  void StartAgain();
  FolderItem Output() const;
  std::string FileSelected(std::string_view what = {}) const;
  void SayNotStarted(const std::string& reason, std::string_view method);

  ToolJob job_;
  ToolRunView& view_;
  Timer follower_;
  Date last_tick_;
  std::int64_t began_ = 0;  // the run, in the time of FolderItem::ModifiedNow
  ToolPhase phase_ = ToolPhase::kReady;
  std::deque<Waiting> queue_;  // files that came while the window was busy
  std::string status_ = "Ready.";
  bool closed_ = false;
};

}  // namespace gravlin
