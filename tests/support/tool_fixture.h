// The base of the tests of the repair and the extraction window, in addition to that of every
// window: tools that are real, or a fake that does what its input file says.
#pragma once

#include <signal.h>
#include <sys/wait.h>

#include <cstdlib>
#include <functional>
#include <ios>

#include "paths.h"
#include "support/store_fixture.h"

namespace gravlin::testing {

class ToolTest : public StoreTest {
 protected:
  ToolTest() { UseFakes(); }
  ~ToolTest() override {
    Window::CloseAll();
    Save();
    Code::ParJobRunning = Code::RarJobRunning = false;
    Code::fParApp = Code::fRarApp = FolderItem();
  }

  void UseFakes() { Code::fParApp = Code::fRarApp = FolderItem::FromPath(kFakeTool); }
  static void UseRealTools() {
    Code::fParApp = FolderItem::FromPath("/usr/bin/par2");
    Code::fRarApp = FolderItem::FromPath("/usr/bin/unrar");
  }
  // The input of a fake tool.
  FolderItem Script(const std::string& text, const std::string& name = "set.par2") {
    return folder.Write(name, text);
  }
  void Shell(const std::string& command) {
    ASSERT_EQ(std::system(("cd '" + folder.Path().string() + "' && " + command).c_str()), 0)
        << command;
  }
  // A run that begins as a user's drop of the file.
  template <class Tool>
  static Tool& Drop(const FolderItem& file) {
    Tool& tool = Window::New<Tool>();
    tool.Show();
    tool.pbSelectFile.DropObject(DragItem{file});
    return tool;
  }
  // True while this process has a child, and none that has ended.
  static bool ToolRuns() {
    siginfo_t child{};
    return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 && child.si_pid == 0;
  }
  // Advances the clock until `done`.  While a tool runs, slower than real time, so that a busy
  // machine does not make the tool look silent.
  bool RunTool(const std::function<bool()>& done, std::int64_t limit = 100'000) {
    for (std::int64_t spent = 0, step = 0; !done(); spent += step) {
      if (spent > limit) return false;
      step = ToolRuns() ? 1 : 250;
      PumpEvents(2);
      clock.Advance(step);
    }
    return true;
  }
  // Waits in real time, with the clock stopped, for what another process is about to do.
  static bool WaitFor(const std::function<bool()>& done, int most_turns = 10'000) {
    for (int turns = 0; turns < most_turns && !done(); ++turns) PumpEvents(1);
    return done();
  }
  // The process id that a fake tool has written, once it is there.
  pid_t Noted(const std::string& name) {
    WaitFor([&] { return !ReadFile(folder / name).empty(); });
    return std::atoi(ReadFile(folder / name).c_str());
  }
  // A process that has ended and only has to be reaped counts as gone.
  static bool Gone(pid_t pid) {
    // If a process ends between opening and reading, the read fails.
    try {
      const std::string about = ReadFile("/proc/" + std::to_string(pid) + "/stat");
      return about.empty() || about.find(") Z ") != std::string::npos;
    } catch (const std::ios_base::failure&) {
      return true;
    }
  }
};

}  // namespace gravlin::testing
