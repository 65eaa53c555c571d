// Boxes, dialogs, the browser, the file manager, and what a user sees from afar: one replaceable
// Desktop, so that a test or the driver can answer a box and read what was asked.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

// The room that is free to the user on one disk.
struct DiskRoom {
  std::uint64_t disk = 0;  // the same number for what lies on the same disk
  double bytes = 0;
};

class Desktop {
 public:
  virtual ~Desktop() = default;
  // A modal box.  `code` 0 has the button OK; 49 has OK and Cancel and the caution icon.  1 for OK,
  // 2 for Cancel.
  virtual int MsgBox(std::string_view text, int code, std::string_view title) = 0;
  // An open dialog limited to a registered file type ("nzb", "special/any"), which begins in the
  // folder `start`, or where the last one without a start ended; nil when the user cancels.
  virtual FolderItem GetOpenFolderItem(std::string_view file_type, const FolderItem& start) = 0;
  // Hands an http or https address to the user's browser; any other is refused.
  virtual void ShowURL(std::string_view url) = 0;
  virtual void Launch(const FolderItem& item) = 0;
  virtual void Beep() = 0;
  // On the disk of an item, which need not exist; nothing if the system does not say.
  virtual std::optional<DiskRoom> RoomFor(const FolderItem& item);

  // What follows goes to the desktop's services over the session's bus (session_bus.h says to
  // which, and why those); where there is none nothing happens.  None of it waits.

  // True keeps the computer from going to sleep by itself, until false or the end of the process.
  virtual void KeepAwake(bool) {}
  // A notification, which takes the place of the last one; `clicked` is called if the user clicks
  // it.
  virtual void Notify(std::string_view, const std::function<void()>& clicked) { (void)clicked; }
  // In the task bar, 0 to 100; below 0 takes it away.
  virtual void ShowProgress(int) {}
};

// The desktop in force: the real one unless SetDesktop gave another.  nullptr restores the real
// one.
Desktop& TheDesktop();
void SetDesktop(Desktop* desktop);
// A real one, for a desktop that passes on a part of what it is asked.
std::unique_ptr<Desktop> MakeRealDesktop();

// Short forms.  A box asked for inside a cooperative thread runs on the main stack while the thread
// waits.
int MsgBox(std::string_view text, int code = 0, std::string_view title = {});
FolderItem GetOpenFolderItem(std::string_view file_type, const FolderItem& start = {});
void ShowURL(std::string_view url);
void Beep();

}  // namespace gravlin
