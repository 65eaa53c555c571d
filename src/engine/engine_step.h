// Marks that a step of the engine is under way on the main stack.
#pragma once

#include "engine/engine.h"

namespace gravlin {

// While one lives, data of the news server waits: a step that lets events run must not be entered a
// second time through the socket, or half a reply would be judged by the next state.  The data is
// announced again at the end.
class EngineStep {
 public:
  explicit EngineStep(Engine& engine) : engine_(engine) { ++engine_.engine_depth_; }
  ~EngineStep() {
    if (--engine_.engine_depth_ > 0) return;
    if (engine_.thread_flag_) engine_.TheTimer.FireSoon();
    if (!engine_.data_waiting_) return;
    engine_.data_waiting_ = false;
    engine_.News.RaiseDataAvailable();
  }
  EngineStep(const EngineStep&) = delete;
  EngineStep& operator=(const EngineStep&) = delete;

 private:
  Engine& engine_;
};

}  // namespace gravlin
