// What the repair and the extraction window have in common: one job at a time in the whole program,
// a command-line tool whose output goes into a file, and a timer that follows that file.  The tool
// is never asked how it is: that it has ended is told by its last line or by silence, that it never
// started by a file that stays empty.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/code.h"
#include "engine/may_begin.h"
#include "platform/clock.h"
#include "platform/folder_item.h"
#include "platform/listbox.h"
#include "platform/shell.h"
#include "platform/timer.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

// In what the two windows differ.
struct ToolJob {
  bool& running;                // Code::ParJobRunning or Code::RarJobRunning
  CriticalSection& lock;        // makes its test and set one step
  const FolderItem& app;        // the tool
  std::string_view tool;        // its name
  std::string_view output;      // name of the file that its output goes to, in AppDataFolder
  std::string_view columns;     // "Par" or "Rar": what the columns of Settings begin with
  std::string_view help_page;   // behind the vendor's address
  std::string_view waiting;     // status while another window's job runs
  std::string_view processing;  // status behind the file's name once the tool writes
  std::string_view stalled;     // status when it fell silent
  std::string_view missing, undeletable;  // messages
  bool masks;                             // in an input's path would be taken for one
};

struct ToolLayout {
  WindowStyle style;
  Rect help, select, bar, status;
  std::string_view select_caption, select_help_tag;
};

class ToolWindow : public Window {
 public:
  // Starts a run on fInput, or waits until no other window's run is under way.  A path of which no
  // command can be made is refused, and takes the job from no other.
  void StartProcess();
  void LoadLines();
  void SaveSize();

  void pbHelp_Action();
  void pbSelectFile_Open();
  void pbSelectFile_Action();
  void pbSelectFile_DropObject(const DragItem& dropped);
  void tWait_Action();
  void tDeleteOutput_Action();

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
  std::unique_ptr<Shell> sh;       // one for the life of the window
  std::unique_ptr<Database> db;    // the window's own connection

  PushButton pbHelp, pbSelectFile;
  ProgressBar Bar;
  StaticText stStatus;
  Timer tWait, tDeleteOutput;

 protected:
  ToolWindow(const ToolJob& job, const ToolLayout& layout);

  void Event_Open() override;
  bool Event_CancelClose() override;
  void Event_Close() override;
  void Event_Resized() override;

  virtual Timer& Follower() = 0;  // tPar or tRar
  // A file that was chosen, dropped or opened on the program, and its FixPath.  It waits for its
  // turn while the window is busy.
  void Take(const FolderItem& file, std::int32_t fix_path);
  virtual void SelectionChanged() {}  // fInput is such a file
  virtual void ClearLists() = 0;
  virtual void ReadPlace(const RecordSet&) {}  // further settings of the window
  virtual std::string MorePlace() const {
    return {};
  }                                  // and the end of the statement that saves them
  virtual void PrepareParser() = 0;  // at the start of a run
  virtual void CallTool() = 0;
  virtual void Parse() = 0;
  virtual void ShowFailed() = 0;  // the tool has not started for the fourth time
  virtual void Stalled() {}

  // A tick of the follower.
  void Follow();
  void Execute(const std::optional<std::string>& command);
  // In the place of Execute when no command may be given now.  The next attempt looks again; this
  // one does not count, since nothing was started.
  void NotStarted(const std::string& reason, std::string_view label);
  // The status without the note about the files that wait, and the way to change it.
  const std::string& Status() const { return status_; }
  void ShowStatus(std::string_view text);
  // Shows that the tool is writing when no percentage is known.
  void Crawl();
  // Flushes what a tool has written, in the background.
  void FlushFiles(const FolderItem& folder) const;
  // Closes the run's books: everything but the job flag.
  void EndFollowing();
  std::string FileSelected(std::string_view what = {}) const;
  static Date InSeconds(int seconds);

 private:
  struct Waiting {
    FolderItem file;
    std::int32_t fix_path;
  };

  void StartNext();
  FolderItem Output() const;
  void SayNotStarted(const std::string& reason, std::string_view label);

  ToolJob job_;
  bool opened_ = false;
  Date last_tick_;
  std::int64_t began_ = 0;  // the run, as files tell their changes
  ToolPhase phase_ = ToolPhase::kReady;
  std::deque<Waiting> queue_;  // files that came while the window was busy
  std::string status_ = "Ready.";
  bool closed_ = false;
};

}  // namespace gravlin
