// The process: start, event loop, documents, quit.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

class Application {
 public:
  // Starts the toolkit; one Application lives for the whole process.
  Application(int& argc, char** argv);
  virtual ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  // Raises Event_Open, then one Event_OpenDocument for each document of the command line, and runs
  // the event loop until Quit.  Returns the exit status.
  int RunLoop();
  // Like RunLoop, but only if no other process of this user runs the program; otherwise hands the
  // documents to it, which shows its window, and returns.
  int RunAsOnlyInstance(std::string_view name);

  // Ends the program: asks Event_CancelClose, closes all windows, lets pending background work end,
  // leaves the loop. May be called from any event.
  static void Quit();
  static bool Quitting();
  // Sets the exit status that the loop returns.
  static void SetExitStatus(int status);

  virtual void Event_Open() {}
  virtual void Event_OpenDocument(const FolderItem& item);
  // True refuses to quit.
  virtual bool Event_CancelClose() { return false; }
  // True while there is work that a quit waits for, some seconds at most.
  virtual bool WorkPending() { return false; }

 protected:
  // Ends every thread, window and tool.  The destructor does so, too.
  static void EndWork();

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

// An event loop guard for tests and tools that have no App: starts the toolkit and nothing else.
std::unique_ptr<Application> StartToolkit(int& argc, char** argv);

}  // namespace gravlin
