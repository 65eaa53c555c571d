// Marks that a step of the engine is under way on the main stack.
#pragma once

#include "engine/gravlin.h"

namespace gravlin {

// While one lives, data of the news server waits: a step that lets events run must not be entered a
// second time through the socket, or half a reply would be judged by the next state.  The data is
// announced again at the end.
class EngineStep {
 public:
  explicit EngineStep(Gravlin& window) : window_(window) { ++window_.engine_depth_; }
  ~EngineStep() {
    if (--window_.engine_depth_ > 0) return;
    if (window_.ThreadFlag) window_.TheTimer.FireSoon();
    if (!window_.data_waiting_) return;
    window_.data_waiting_ = false;
    window_.News.RaiseDataAvailable();
  }
  EngineStep(const EngineStep&) = delete;
  EngineStep& operator=(const EngineStep&) = delete;

 private:
  Gravlin& window_;
};

}  // namespace gravlin
