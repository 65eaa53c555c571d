// gravlin-walks: random walks through everything that can happen to the program.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QEvent>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "platform/application.h"
#include "steps.h"

namespace {

using gravlin::walks::PlanWalk;
using gravlin::walks::Step;
using gravlin::walks::Walk;

constexpr const char* kUsage =
    R"(gravlin-walks [--walks N | --seconds N] [--first SEED] [--folder FOLDER] [--quiet]
gravlin-walks --replay SEED [--keep N,N,...] [--quiet]
gravlin-walks --known FILE
Goes walks of random steps, each in a fresh program beside a server of its own, and looks after each step at what must
always hold.  A walk that fails is made shorter, and its steps are printed; the exit status is 1.  --known goes the
walks of a file, one in each line as a failure prints them.
)";

// A walk takes some 30 ms, and one with a flood a second.  One that takes longer never ends.
constexpr unsigned kMostSeconds = 30;

struct Options {
  long walks = 0, seconds = 0;
  unsigned long long first = 1, replay = 0;
  bool replays = false, quiet = false;
  std::vector<int> keep;
  std::string known;
  std::string folder = "/dev/shm/gravlin-walks-" + std::to_string(getpid());
};

std::vector<Step> Kept(const std::vector<Step>& steps, const std::vector<int>& keep) {
  std::vector<Step> kept;
  for (const int number : keep) kept.push_back(steps.at(static_cast<std::size_t>(number - 1)));
  return kept;
}

std::string List(const std::vector<int>& numbers) {
  std::string text;
  for (const int number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
  return text.empty() ? "0" : text;
}

// In a process of its own, since what is wrong may end it.  True if the walk fails.
bool FailsWith(const char* program, unsigned long long seed, const std::vector<int>& keep) {
  const pid_t child = fork();
  if (child == 0) {
    execl(program, program, "--replay", std::to_string(seed).c_str(), "--keep", List(keep).c_str(),
          "--quiet", nullptr);
    _exit(0);
  }
  int status = 0;
  for (int waits = 0; waitpid(child, &status, WNOHANG) == 0; ++waits) {
    if (waits > static_cast<int>(kMostSeconds) * 100) kill(child, SIGKILL);
    usleep(10'000);
  }
  return status != 0;
}

// Leaves out pieces of the walk, large ones first, as long as it still fails.
std::vector<int> Shrunk(const char* program, unsigned long long seed, std::vector<int> keep) {
  for (std::size_t piece = keep.size() / 2; piece > 0; piece /= 2) {
    for (std::size_t at = 0; at < keep.size();) {
      std::vector<int> without = keep;
      const auto begin = without.begin() + static_cast<std::ptrdiff_t>(at);
      const auto end =
          without.begin() + static_cast<std::ptrdiff_t>(std::min(at + piece, keep.size()));
      without.erase(begin, end);
      if (FailsWith(program, seed, without))
        keep = without;
      else
        at += piece;
    }
  }
  return keep;
}

// Nobody looks at the windows, and painting them takes a fourth of the time.
class Unpainted : public QObject {
 public:
  bool eventFilter(QObject*, QEvent* event) override {
    return event->type() == QEvent::UpdateRequest || event->type() == QEvent::Paint;
  }
};

int Report(const char* program, unsigned long long seed) {
  std::vector<int> all;
  for (std::size_t i = 1; i <= PlanWalk(seed).size(); ++i) all.push_back(static_cast<int>(i));
  if (!FailsWith(program, seed, all)) {
    std::printf("it does not fail in a process of its own\n");
    return 1;
  }
  const std::vector<int> few = Shrunk(program, seed, all);
  std::printf("again: --replay %llu --keep %s\n", seed, List(few).c_str());
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    execl(program, program, "--replay", std::to_string(seed).c_str(), "--keep", List(few).c_str(),
          nullptr);
    _exit(0);
  }
  int status;
  waitpid(child, &status, 0);
  return 1;
}

Options Read(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* const value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (word == "--quiet") {
      options.quiet = true;
      continue;
    }
    if (!value) {
      std::fputs(kUsage, stderr);
      std::exit(2);
    }
    ++i;
    if (word == "--walks")
      options.walks = std::atol(value);
    else if (word == "--seconds")
      options.seconds = std::atol(value);
    else if (word == "--first")
      options.first = std::strtoull(value, nullptr, 10);
    else if (word == "--known")
      options.known = value;
    else if (word == "--folder")
      options.folder = value;
    else if (word == "--replay")
      options.replay = std::strtoull(value, nullptr, 10), options.replays = true;
    else if (word == "--keep") {
      for (const char* at = value; *at; at += std::strcspn(at, ","), at += *at == ',')
        if (const int number = std::atoi(at)) options.keep.push_back(number);
      if (options.keep.empty()) options.keep = {0};
    } else {
      std::fputs(kUsage, stderr);
      std::exit(2);
    }
  }
  return options;
}

// The walks of a file; 1 if one fails, which is said.
int GoKnown(const Options& options) {
  std::ifstream file(options.known);
  int status = 0, count = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::uint64_t seed = 0;
    std::vector<Step> steps;
    std::string why = "there is no such step";
    if (gravlin::walks::ReadLine(line, seed, steps)) why = Walk(seed, steps, options.folder, false);
    if (!why.empty()) std::printf("%s\n%s\n", line.c_str(), why.c_str()), status = 1;
    ++count;
  }
  std::printf("%d known walks\n", count);
  std::fflush(stdout);
  return status;
}

// Walk after walk.  The seed of the one under way goes to `at`; 1 if it fails, which is said.
int GoWalks(const Options& options, unsigned long long& at) {
  using Clock = std::chrono::steady_clock;
  const auto began = Clock::now();
  const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - began).count(); };
  long done = 0, steps = 0;
  while ((options.walks > 0 && done < options.walks) ||
         (options.seconds > 0 && seconds() < static_cast<double>(options.seconds))) {
    at = options.first + static_cast<unsigned long long>(done);
    const std::vector<Step> plan = PlanWalk(at);
    alarm(kMostSeconds);
    const std::string why = Walk(at, plan, options.folder, false);
    if (!why.empty()) {
      std::printf("walk %llu fails: %s\n", at, why.c_str());
      std::fflush(stdout);
      return 1;
    }
    if (++done % 1000 == 0) {
      std::printf("%ld walks in %.0f s\n", done, seconds());
      std::fflush(stdout);
    }
    steps += static_cast<long>(plan.size());
  }
  std::printf("%ld walks of %ld steps in %.1f s: %.1f a second\n", done, steps, seconds(),
              static_cast<double>(done) / seconds());
  std::fflush(stdout);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = Read(argc, argv);
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  setenv("QT_LOGGING_RULES", "*=false", 1);
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) return 2;
  // What is wrong may end the process, so that another one watches it.
  auto* const at = static_cast<unsigned long long*>(mmap(nullptr, sizeof(unsigned long long),
                                                         PROT_READ | PROT_WRITE,
                                                         MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  if (!options.replays && options.known.empty()) {
    const pid_t child = fork();
    if (child != 0) {
      int status = 0;
      waitpid(child, &status, 0);
      if (status == 0) return 0;
      if (WIFSIGNALED(status)) std::printf("walk %llu ends by signal %d\n", *at, WTERMSIG(status));
      return options.quiet ? 1 : Report(self, *at);
    }
  }
  const auto toolkit = gravlin::StartToolkit(argc, argv);
  Unpainted unpainted;
  QCoreApplication::instance()->installEventFilter(&unpainted);
  if (options.replays) {
    std::vector<Step> steps = PlanWalk(options.replay);
    if (options.keep == std::vector{0})
      steps.clear();
    else if (!options.keep.empty())
      steps = Kept(steps, options.keep);
    const std::string why = Walk(options.replay, steps, options.folder, !options.quiet);
    if (!options.quiet)
      std::printf("%s\n%s\n", why.empty() ? "it holds" : why.c_str(),
                  gravlin::walks::LineOf(options.replay, steps).c_str());
    return why.empty() ? 0 : 1;
  }
  const int status = options.known.empty() ? GoWalks(options, *at) : GoKnown(options);
  _exit(status);
}
