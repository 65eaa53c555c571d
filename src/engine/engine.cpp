// The engine as it is made; what it does is in the files of its subjects.
#include "engine/engine.h"

#include "engine/leftovers.h"
#include "engine/run_view.h"
#include "platform/application.h"
#include "platform/calls.h"
#include "store/database.h"

namespace gravlin {

Engine::Engine(RunView& view) : view_(view) {
  News.DataAvailable = [this] { News_DataAvailable(); };
  News.Error = [this] { News_Error(); };
  News.Overflow = [this] { TheTimer.FireSoon(); };
  TheTimer.SetPeriod(1000);
  TheTimer.Action = [this] { TheTimer_Action(); };
  SetFailureReport([this](const char* event, const char* what) { WriteDebug(event, what); });
}

Engine::~Engine() { SetFailureReport(nullptr); }

Situation Engine::CurrentSituation() const {
  return {.step = engine_depth_ > 0,
          .running = running_,
          .logged_on = logged_on_,
          .signing_off = signing_off_,
          .thread_flag = thread_flag_,
          .assembling = assembling_,
          .decoding = decoding_,
          .joining = joining_,
          .assemblies = assemblies_,
          .loading_list = loading_list_,
          .quitting = Application::Quitting()};
}

void Engine::SetStatus(std::string_view text) {
  status_of_assembly_ = false;
  view_.ShowStatus(text);
}

}  // namespace gravlin
