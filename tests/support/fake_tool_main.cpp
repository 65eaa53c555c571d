// Stands in for par2 and unrar: does what the file that it is given says, one word and its value in
// each line.
//   write TEXT   to the standard output, at once; \n and \r stand for those characters
//   until NAME   goes on when a file of that name lies beside the script
//   pid NAME     writes its process number into that file
//   child NAME   starts a child that hangs, and writes the child's number into that file
//   deaf         ignores being asked to end, as its later children do
//   hang         waits for ever
// FAKE repair SCRIPT, or FAKE e -o+ SCRIPT TARGET
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

[[noreturn]] void Hang() {
  for (;;) pause();
}

void Write(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size();
    if (escape) ++i;
    std::cout << (!escape ? text[i] : text[i] == 'n' ? '\n' : '\r');
  }
  std::cout.flush();
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path script = argv[argc > 4 ? 3 : argc - 1];
  std::ifstream in(script);
  for (std::string line; std::getline(in, line);) {
    const std::string word = line.substr(0, line.find(' '));
    const std::string value = line.size() > word.size() ? line.substr(word.size() + 1) : "";
    const auto note = [&](pid_t pid) { std::ofstream(script.parent_path() / value) << pid; };
    if (word == "write") Write(value);
    if (word == "until")
      while (!std::filesystem::exists(script.parent_path() / value)) usleep(500);
    if (word == "pid") note(getpid());
    if (word == "deaf") signal(SIGTERM, SIG_IGN);
    if (word == "hang") Hang();
    if (word == "child") {
      const pid_t child = fork();
      if (child == 0) Hang();
      note(child);
    }
  }
}
