// The unattended user: runs the program's own windows and does with them what a user would do.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/desktop.h"
#include "platform/timer.h"

namespace gravlin {

class Gravlin;

enum class Goal { kImported, kDownloaded, kRepaired, kExtracted };

struct DriveOptions {
  FolderItem data;  // application data of this run
  // The server form; without a host the stored one is used.
  std::string host, user, password;
  int port = 119;
  int ssl = 0;           // row of the SSL menu
  FolderItem authority;  // certificates to trust besides the system's; nil for none
  FolderItem nzb;        // imported first; nil continues the stored queue
  Goal goal = Goal::kDownloaded;
  double timeout = 0;      // seconds; 0 for none
  double repeat = 0;       // a run that ended well is repeated for that many seconds
  FolderItem screenshots;  // folder for pictures of the windows; nil for none
};

// Reads the command line.  Nothing, with a reason in `fault`, if it is wrong.
std::optional<DriveOptions> ParseDriveOptions(const std::vector<std::string>& words,
                                              std::string& fault);
extern const char* const kDriveUsage;

// Answers boxes and dialogs, prints them, and opens nothing.
class DriveDesktop : public Desktop {
 public:
  FolderItem chosen;  // returned by the next open dialog
  int MsgBox(std::string_view text, int code, std::string_view title) override;
  FolderItem GetOpenFolderItem(std::string_view file_type, const FolderItem& start) override;
  void ShowURL(std::string_view url) override;
  void Launch(const FolderItem& item) override;
  void Beep() override {}
  void KeepAwake(bool wanted) override { real_->KeepAwake(wanted); }

 private:
  std::unique_ptr<Desktop> real_ = MakeRealDesktop();
};

class Driver {
 public:
  // Made before the application's event loop runs; acts from a timer of that loop, and ends the
  // program with status 0 if the goal was reached without errors, 1 otherwise.
  explicit Driver(DriveOptions options);
  ~Driver();

 private:
  using Step = void (Driver::*)();
  void Tick();
  // The steps of a run.  Each is called at every tick until it chooses the next one.
  void FillServerForm();
  void ChooseNzb();
  void AwaitImport();
  void PressStart();
  void AwaitEndOfDownload();
  void AwaitRepair();
  void AwaitExtraction();
  void AwaitDisk();

  void Go(Step next) { step_ = next; }
  void ShowStatus();
  void NoteConnection();
  void NoteWindows();
  void TakePictures(std::string_view moment);
  void Summarise();
  // Prints a tool's status when it has changed.
  void NoteTool(const std::string& status);
  // Since the end of the previous step.
  double PhaseSeconds();
  // Ends the run; an empty reason means that it reached its goal.
  void End(std::string_view reason);
  double Elapsed() const;
  // Notes how long the event loop was away since the last tick, and in which phase.
  void NoteAbsence();

  DriveOptions options_;
  DriveDesktop desktop_;
  Timer timer_;
  Step step_ = &Driver::FillServerForm;
  Gravlin* window_ = nullptr;  // the main window, once it is open
  std::int64_t began_ =
      0;  // Clock milliseconds of the start of the program, and of the press on Start
  std::int64_t started_ = 0;
  int fields_filled_ = 0;
  std::string connection_fault_;
  std::vector<std::string> titles_;  // windows that were printed
  int pictures_ = 0;
  bool pictured_running_ = false, pictured_repair_ = false;
  std::int64_t phase_began_ = 0;
  std::string tool_status_;
  std::int64_t last_tick_ = 0;
  std::map<std::string, std::int64_t> absences_;  // longest of each phase, in milliseconds
  int worst_rows_ = 0;                            // most rows of damaged or missing files so far
};

}  // namespace gravlin
