// What the repair and the extraction window have in common: the button for a file, the bar, the
// status and the window's place.  The run that it shows is ToolRun.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/listbox.h"
#include "platform/window.h"
#include "postprocess/tool_run.h"
#include "store/database.h"

namespace gravlin {

struct ToolLayout {
  WindowStyle style;
  Rect help, select, bar, status;
  std::string_view select_caption, select_help_tag;
  std::string_view help_page;  // after the vendor's address
  std::string_view name;       // what the columns of Settings and the lines of the log begin with
};

class ToolWindow : public Window, private ToolRunView, public ToolRun {
 public:
  void SaveSize();

  void pbHelp_Action();
  void pbSelectFile_Open();
  void pbSelectFile_Action();
  void pbSelectFile_DropObject(const DragItem& dropped);

  std::unique_ptr<Database> db;  // the window's own connection

  PushButton pbHelp, pbSelectFile;
  ProgressBar Bar;
  StaticText stStatus;

 protected:
  ToolWindow(const ToolJob& job, const ToolLayout& layout);

  void Event_Open() override;
  bool Event_CancelClose() override;
  void Event_Close() override;
  void Event_Resized() override;

  // Further settings of the window, and the end of the statement that saves them.
  virtual void ReadPlace(const RecordSet&) {}
  virtual std::string MorePlace() const { return {}; }
  // What the user may do now, in words next to the status; empty when a run begins.
  void Advise(std::string_view text);
  // Shows that the tool is writing when no percentage is known.
  void Crawl();

 private:
  void ShowStatusLine(std::string_view line) override;
  void ShowFollowing(bool following) override { pbSelectFile.SetEnabled(!following); }
  void Log(std::string_view method, std::string_view words) override;

  const std::string_view help_page_, name_;
  bool opened_ = false;
};

}  // namespace gravlin
