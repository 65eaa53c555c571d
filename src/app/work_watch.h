// What the desktop learns of the program's work: to stay awake while there is any, how far a run
// is, and, when nobody looks, that all has ended.
#pragma once

#include "platform/timer.h"

namespace gravlin {

class ToolWindow;

// Looks each second instead of being called from all the places where work begins and ends: one of
// those left out would keep a laptop awake until its battery is empty.
class WorkWatch {
 public:
  WorkWatch();
  ~WorkWatch();

 private:
  void Look();
  void ShowProgress(int percent);
  void Report();

  Timer timer_;
  bool awake_ = false;               // the desktop was asked to stay awake
  int looks_until_report_ = 0;       // 0: reported
  const void* last_tool_ = nullptr;  // the window that worked last, if it was a tool's
  int percent_ = -1;                 // as the task bar has it
};

}  // namespace gravlin
