// Measures of the windows that need a process of their own; prints seconds unless stated otherwise.
// Usage: gravlin-windows-bench empty             seconds since 1970 when an empty window of the
//                                                toolkit was drawn
//        gravlin-windows-bench start DATA        the same for the main window on the data of a run
//        gravlin-windows-bench scan DATA         one scan of the folder of parts, as at a launch
//        gravlin-windows-bench files DATA ROWS   a refresh of the Files window, and one copy of
//                                                its texts
//        gravlin-windows-bench peak COMMAND...   runs a command; its peak memory in bytes
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "app/app.h"
#include "base/code.h"
#include "platform/calls.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/timer.h"
#include "ui/files_window.h"
#include "ui/gravlin.h"

namespace gravlin {
namespace {

double Now() {
  using std::chrono::duration;
  return duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

double Seconds(const std::function<void()>& work) {
  const auto began = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

int ShowEmptyWindow(int argc, char** argv) {
  const QApplication toolkit(argc, argv);
  QWidget window;
  window.resize(640, 340);
  window.show();
  QTimer::singleShot(0, [] {
    std::printf("%.4f\n", Now());
    QApplication::quit();
  });
  return QApplication::exec();
}

// Runs the program, calls `act` once its window is there, and ends.
int WithProgram(int argc, char** argv, const char* data, std::function<void(Gravlin&)> act) {
  App app(argc, argv);
  SpecialFolder::SetApplicationData(
      FolderItem::FromPath(std::filesystem::absolute(data).lexically_normal().string()));
  Code::GotMessage = true;  // sends no request to the vendor's site
  Timer timer;
  timer.Action = [&] {
    auto* const window = Window::IfOpen<Gravlin>();
    if (!window || !window->DoneLoading || Application::Quitting()) return;
    timer.SetMode(0);
    act(*window);
    Application::Quit();
  };
  timer.SetPeriod(1);
  timer.SetMode(2);
  return app.RunLoop();
}

void TellScan(Gravlin& window) {
  ImportOwner& owner = window;  // of an import that failed: the list is loaded again
  const double taken = Seconds([&] { owner.ListKept(); });
  std::printf("%.6f\n", taken);
}

void TellRefresh(Gravlin& window, int rows) {
  constexpr int kColumns = 7;
  for (int row = 0; row < rows; ++row)
    window.List.Add({.filename = "a.posted.set.of.files.part" + Str(row) + ".rar",
                     .total_parts = 500,
                     .parts_present = 250,
                     .groups = "alt.binaries.test"});
  grvFiles& files = Window::Shared<grvFiles>();
  files.Show();
  PumpEvents(0);
  // Includes the update of the view.
  const double refresh = Seconds([&] {
    files.tRefresh_Action();
    PumpEvents(0);
  });
  std::vector<std::string> copy;
  const double copied = Seconds([&] {
    for (int row = 0; row < rows; ++row)
      for (int column = 0; column < kColumns; ++column)
        copy.push_back(window.List.Cell(row, column));
  });
  std::printf("%.6f %.6f\n", refresh, copied);
}

int TellPeak(char** command) {
  const pid_t child = fork();
  if (child == 0) {
    execv(command[0], command);
    _exit(127);
  }
  int status = 0;
  rusage used{};
  if (child < 0 || wait4(child, &status, 0, &used) != child) return 1;
  std::fprintf(stderr, "%lld\n", static_cast<long long>(used.ru_maxrss) * 1024);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

int Run(int argc, char** argv) {
  const std::string_view mode = argc > 1 ? argv[1] : "";
  int words = 1;  // the toolkit gets only the program's name
  if (mode == "empty") return ShowEmptyWindow(words, argv);
  if (argc < 3) {
    std::fputs("usage: gravlin-windows-bench empty|start|scan|files|peak ...\n", stderr);
    return 2;
  }
  if (mode == "peak") return TellPeak(argv + 2);
  if (mode == "start")
    return WithProgram(words, argv, argv[2], [](Gravlin&) { std::printf("%.4f\n", Now()); });
  if (mode == "scan") return WithProgram(words, argv, argv[2], TellScan);
  if (mode == "files" && argc == 4)
    return WithProgram(words, argv, argv[2],
                       [&](Gravlin& window) { TellRefresh(window, std::atoi(argv[3])); });
  return 2;
}

}  // namespace
}  // namespace gravlin

int main(int argc, char** argv) { return gravlin::Run(argc, argv); }
