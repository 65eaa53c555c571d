// A timer, made of single calls on the clock in force.
#include "platform/timer.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/calls.h"
#include "platform/clock.h"

namespace gravlin {

// Outlives the timer while a call is on its way, which then finds that the timer is gone.
struct Timer::State {
  Timer* timer = nullptr;
  int mode = 0;
  int period = 1000;
  std::uint64_t call = 0;
  bool running = false;
  bool soon = false;
  bool again = false;  // asked for while the action ran

  static void Schedule(const std::shared_ptr<State>& state, std::int64_t due) {
    CancelCall(state->call);
    state->call = 0;
    if (state->mode == 0) return;
    state->call = CallAt(due, [state, due] { Fall(state, due); });
  }

  static void Fall(const std::shared_ptr<State>& state, std::int64_t due) {
    state->call = 0;
    if (state->mode == 2) {
      // Ticks that were missed while the program was busy are skipped.
      const std::int64_t now = TheClock().Milliseconds();
      Schedule(state, std::max(due, now - state->period) + state->period);
    } else {
      state->mode = 0;
    }
    Act(*state);
  }

  static void Act(State& state) {
    if (state.running || !state.timer || !state.timer->Action) return;
    state.running = true;
    const std::function<void()> action = state.timer->Action;
    Dispatch("timer", action);
    state.running = false;
    if (std::exchange(state.again, false) && state.timer) state.timer->FireSoon();
  }
};

Timer::Timer() : state_(std::make_shared<State>()) { state_->timer = this; }

Timer::~Timer() {
  state_->timer = nullptr;
  CancelCall(state_->call);
}

int Timer::Mode() const { return state_->mode; }

void Timer::SetMode(int mode) {
  state_->mode = mode;
  State::Schedule(state_, TheClock().Milliseconds() + state_->period);
}

int Timer::Period() const { return state_->period; }

void Timer::SetPeriod(int milliseconds) {
  state_->period = std::max(milliseconds, 1);
  State::Schedule(state_, TheClock().Milliseconds() + state_->period);
}

void Timer::FireSoon() {
  if (state_->mode == 0 || state_->soon) return;
  state_->soon = true;
  CallSoon([state = state_] {
    state->soon = false;
    state->again = state->running;
    if (state->mode != 0) State::Act(*state);
  });
}

}  // namespace gravlin
