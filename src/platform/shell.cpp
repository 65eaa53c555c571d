// A shell command in a process group of its own, which ends as a whole.
//
// Not over the toolkit's process class, which reaps the leader as soon as it has ended: by the time
// of the last signal the number of its group could be another's.  That class also takes the command
// as text, and would change a path that is not UTF-8.
#include "platform/shell.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <algorithm>
#include <clocale>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern "C" {
#include <sys/pidfd.h>  // which says nothing of C++ in Debian 12's C library
}

#include "platform/calls.h"
#include "platform/clock.h"
#include "platform/text.h"

extern char** environ;

namespace gravlin {
namespace {

constexpr int kGraceMilliseconds = 2000;

class Child;

// Children that have not been reaped.
std::vector<Child*>& Children() {
  static std::vector<Child*> children;
  return children;
}

// One child and its process group.  Lives until the child is reaped, which may be after its Shell
// has gone.
class Child : public QObject {
 public:
  explicit Child(pid_t pid) : pid_(pid), pidfd_(pidfd_open(pid, 0)) {
    Children().push_back(this);
    if (pidfd_ >= 0) {
      ended_ = new QSocketNotifier(pidfd_, QSocketNotifier::Read, this);
      connect(ended_, &QSocketNotifier::activated, this, [this] { Ended(); });
    }
  }

  ~Child() override {
    std::erase(Children(), this);
    CancelCall(last_signal_);
    delete std::exchange(ended_, nullptr);
    if (pidfd_ >= 0) close(pidfd_);
  }

  void End() {
    if (std::exchange(ending_, true)) return;
    kill(-pid_, SIGTERM);
    last_signal_ = CallAt(TheClock().Milliseconds() + kGraceMilliseconds, [this] { Kill(); });
  }

  // Not to be used after it: the child is reaped here or a moment later.
  void Kill() {
    kill(-pid_, SIGKILL);
    ending_ = killed_ = true;
    if (waitpid(pid_, nullptr, WNOHANG) == pid_ || pidfd_ < 0) deleteLater();
  }

  void WaitForEnd() const { waitpid(pid_, nullptr, 0); }

 private:
  void Ended() {
    // While the group is being ended its leader stays unreaped, so that its number cannot become
    // another group's before the last signal is sent.
    if (ending_ && !killed_) {
      ended_->setEnabled(false);
      return;
    }
    waitpid(pid_, nullptr, WNOHANG);
    ending_ = killed_ = true;  // its number may be another's from now on
    deleteLater();
    ended_->setEnabled(false);
  }

  const pid_t pid_;
  const int pidfd_;
  QSocketNotifier* ended_ = nullptr;
  std::uint64_t last_signal_ = 0;
  bool ending_ = false, killed_ = false;
};

// Where the user's locale does not write names in UTF-8, as the program does, the tools get one
// that does, or they make files whose names nobody posted.
std::vector<std::string> Environment() {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable) {
    const std::string_view text = *variable;
    if (!text.starts_with("LC_ALL=") && !text.starts_with("LC_CTYPE="))
      variables.emplace_back(text);
  }
  const std::string locale = setlocale(LC_CTYPE, nullptr);
  const bool utf8 = InStr(locale, "utf-8") > 0 || InStr(locale, "utf8") > 0;
  variables.push_back("LC_CTYPE=" + (utf8 ? locale : "C.UTF-8"));
  return variables;
}

// In the new process, where only what is safe in a signal handler may be called.
[[noreturn]] void Become(char* const* arguments, char* const* variables, pid_t parent) {
  setpgid(0, 0);
  // A tool that asks for a password on the terminal would be stopped there for good.
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (terminal >= 0) ioctl(terminal, TIOCNOTTY);
  // The shell becomes the tool.  A tool that outlived a killed program would work on files that the
  // next start works on as well.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A signal of Close must end this process, not run the program's handler in it.
  for (const int ours : {SIGTERM, SIGINT}) signal(ours, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGPIPE, SIG_DFL);
  // What the command wants to keep it redirects itself.
  const int nothing = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  if (getppid() == parent && chdir("/") == 0) execve("/bin/sh", arguments, variables);
  _exit(127);
}

// The process's number, or 0.
pid_t Spawn(const std::string& command) {
  std::string shell = "sh", option = "-c", text = command;
  char* arguments[] = {shell.data(), option.data(), text.data(), nullptr};
  std::vector<std::string> environment = Environment();
  std::vector<char*> variables;
  variables.reserve(environment.size() + 1);
  for (std::string& variable : environment) variables.push_back(variable.data());
  variables.push_back(nullptr);
  const pid_t parent = getpid();
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  const pid_t pid = fork();
  if (pid == 0) Become(arguments, variables.data(), parent);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (pid > 0) setpgid(pid, pid);  // whoever of the two comes first
  return std::max(pid, 0);
}

}  // namespace

// Nobody is left to send the last signal later.
void EndShellChildren() {
  const std::vector<Child*> children = Children();
  for (Child* child : children) child->Kill();
  for (Child* child : children) {
    child->WaitForEnd();
    delete child;
  }
}

struct Shell::Native {
  QPointer<Child> child;
};

Shell::Shell() : native_(std::make_unique<Native>()) {}
Shell::~Shell() { Close(); }

void Shell::SetMode(int) {}

void Shell::Execute(std::string_view command) {
  Close();
  static const bool registered = (qAddPostRoutine(EndShellChildren), true);
  const pid_t pid = registered ? Spawn(std::string(command)) : 0;
  if (pid > 0) native_->child = new Child(pid);
}

void Shell::Close() {
  if (native_->child) native_->child->End();
  native_->child = nullptr;
}

}  // namespace gravlin
