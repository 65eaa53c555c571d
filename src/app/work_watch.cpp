// The look of each second at the engine and the tools.
#include "app/work_watch.h"

#include <string>
#include <utility>

#include "base/may_begin.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "postprocess/tool_window.h"
#include "ui/gravlin.h"

namespace gravlin {
namespace {

constexpr int kPeriod = 1000;  // milliseconds
// Between a download and its repair, and between that and the extraction, no work runs for a
// moment.
constexpr int kQuietLooks = 3;

// The open tool window of which `is` is true.
template <class Predicate>
ToolWindow* FindTool(const Predicate& is) {
  for (Window* window : Window::All())
    if (auto* tool = dynamic_cast<ToolWindow*>(window); tool && is(*tool)) return tool;
  return nullptr;
}

}  // namespace

WorkWatch::WorkWatch() {
  timer_.Action = [this] { Look(); };
  timer_.SetPeriod(kPeriod);
  timer_.SetMode(2);
}

WorkWatch::~WorkWatch() {
  if (awake_) TheDesktop().KeepAwake(false);
  ShowProgress(-1);
}

void WorkWatch::Look() {
  const auto* const wizard = Window::IfOpen<Gravlin>();
  const Situation run = wizard ? wizard->CurrentSituation() : Situation();
  const ToolWindow* const tool =
      FindTool([](const ToolWindow& window) { return !may::Sleep(window.Phase()); });
  const bool awake = tool || !may::Sleep(run);
  if (awake != std::exchange(awake_, awake)) TheDesktop().KeepAwake(awake);
  ShowProgress(run.running ? wizard->barProgress.Value() : -1);
  if (awake) {
    last_tool_ = tool;
    looks_until_report_ = kQuietLooks;
  } else if (looks_until_report_ > 0 && --looks_until_report_ == 0 && !Application::Quitting()) {
    Report();
  }
}

void WorkWatch::ShowProgress(int percent) {
  if (percent == std::exchange(percent_, percent)) return;
  TheDesktop().ShowProgress(percent);
  if (auto* wizard = Window::IfOpen<Gravlin>())
    wizard->SetTaskBarText(percent < 0 ? "" : Str(percent) + "% - " + wizard->Title());
}

// Nothing for work that the user has ended: by Stop, or by closing the window of a tool.
void WorkWatch::Report() {
  const auto find_last = [last = last_tool_] {
    return FindTool([last](const ToolWindow& window) { return &window == last; });
  };
  const auto* const wizard = Window::IfOpen<Gravlin>();
  const ToolWindow* const tool = find_last();
  const std::string words = tool ? tool->Status() : wizard && !last_tool_ ? wizard->Outcome() : "";
  if (words.empty() || Window::AnyActive()) return;
  TheDesktop().Notify(words, [find_last] {
    if (auto* main_window = Window::IfOpen<Gravlin>()) main_window->Show();
    if (ToolWindow* window = find_last()) window->Show();
  });
}

}  // namespace gravlin
