// A periodic action on the main thread.
#pragma once

#include <functional>
#include <memory>

namespace gravlin {

class Timer {
 public:
  Timer();
  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  // Never entered again while it runs.
  std::function<void()> Action;

  // 0 off, 1 single shot, 2 repeating.  Setting it restarts the period.
  int Mode() const;
  void SetMode(int mode);
  // Milliseconds.
  int Period() const;
  void SetPeriod(int milliseconds);
  // Asks for one more action as soon as the event loop is free.  Nothing when the timer is off.
  void FireSoon();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace gravlin
