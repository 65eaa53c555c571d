// A clock that a test sets and moves: timers, sleeps and Ticks follow it, and nothing waits in real
// time.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/calls.h"
#include "platform/clock.h"
#include "platform/fibers.h"

namespace gravlin::testing {

// In force until it is destroyed.
class TestClock : public Clock {
 public:
  TestClock() { SetClock(this); }
  ~TestClock() override { SetClock(nullptr); }
  TestClock(const TestClock&) = delete;
  TestClock& operator=(const TestClock&) = delete;

  double UnixSeconds() override { return start_seconds + static_cast<double>(now_) / 1000; }
  std::int64_t Milliseconds() override { return now_; }
  bool RunsByItself() const override { return false; }

  // Advances, with a stop at every call that is due on the way, and runs events after each.
  void Advance(std::int64_t milliseconds) {
    const std::int64_t target = now_ + milliseconds;
    Settle();
    for (std::int64_t due = NextCallDue(); due >= 0 && due <= target; due = NextCallDue()) {
      if (due > now_) now_ = due;
      RunDueCalls();
      Settle();
    }
    now_ = target;
    Settle();
  }
  // Advances in small steps until `done`, at most `limit` milliseconds.  False if it never was.
  bool RunUntil(const std::function<bool()>& done, std::int64_t limit = 600'000) {
    for (const std::int64_t end = now_ + limit; !done(); Advance(kStep)) {
      if (now_ >= end) return false;
      // Work of a helper thread or a socket takes a little real time.
      PumpEvents(1);
    }
    return true;
  }
  // Runs real events, without moving time, until `done`.
  static bool PumpUntil(const std::function<bool()>& done) {
    for (int turns = 0; turns < 10'000 && !done(); ++turns) PumpEvents(2);
    return done();
  }

  double start_seconds = 1'750'000'000;  // 2025-06-15 15:06:40 UTC

 private:
  static constexpr std::int64_t kStep = 10;
  // Runs what is ready.  Each pass resumes at most one cooperative thread.
  static void Settle() {
    for (int passes = 2 * LiveThreads() + 4; passes > 0; --passes) PumpEvents(0);
  }

  std::int64_t now_ = 1'000'000;
};

}  // namespace gravlin::testing
