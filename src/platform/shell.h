// Runs a shell command in the background.
#pragma once

#include <memory>
#include <string_view>

namespace gravlin {

// `/bin/sh -c` in the root of the volume, in a process group of its own, with no standard input.
class Shell {
 public:
  Shell();
  ~Shell();  // closes
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;

  // 1 is asynchronous: Execute returns at once.  The only mode there is.
  void SetMode(int mode);
  void Execute(std::string_view command);
  // Ends the child and everything it started.
  void Close();

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

// Ends every tool that the program has started.
void EndShellChildren();

}  // namespace gravlin
