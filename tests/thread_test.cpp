// Cooperative threads, timers and the rules of nested events.
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "platform/calls.h"
#include "platform/fibers.h"
#include "platform/timer.h"
#include "support/test_clock.h"

namespace gravlin::testing {
namespace {

class Job : public Thread {
 public:
  static void Start(std::function<void()> body) {
    auto job = std::make_unique<Job>();
    job->body_ = std::move(body);
    Run(std::move(job));
  }

 protected:
  void Event_Run() override { body_(); }

 private:
  std::function<void()> body_;
};

struct NoteEnd {
  std::string& log;
  ~NoteEnd() { log += "end "; }
};

class ThreadTest : public ::testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(LiveThreads(), 0); }
  TestClock clock;
  std::string log;
};

TEST_F(ThreadTest, AYieldWithoutASliceLetsTheOthersGoOn) {
  SetSlice(0);
  for (const char* name : {"a", "b"})
    Job::Start([this, name] {
      for (int i = 0; i < 3; ++i) {
        log += name;
        Thread::Yield();
      }
    });
  ASSERT_TRUE(TestClock::PumpUntil([] { return LiveThreads() == 0; }));
  SetSlice(8);
  EXPECT_EQ(log, "ababab");
}

TEST_F(ThreadTest, OffloadedWorkRunsElsewhereAndItsFailureComesBack) {
  const std::thread::id main = std::this_thread::get_id();
  bool elsewhere = false;
  Job::Start([&] {
    Thread::Offload([&] { elsewhere = std::this_thread::get_id() != main; });
    try {
      Thread::Offload([] { throw std::runtime_error("lost"); });
    } catch (const std::runtime_error& failure) {
      log += failure.what();
    }
  });
  ASSERT_TRUE(TestClock::PumpUntil([] { return LiveThreads() == 0; }));
  EXPECT_TRUE(elsewhere);
  EXPECT_EQ(log, "lost");
}

TEST_F(ThreadTest, EndedThreadsAreUnwound) {
  Job::Start([this] {
    const NoteEnd note{log};
    Thread::Sleep(1000);
    log += "never ";
  });
  Job::Start([this] {
    const NoteEnd note{log};
    for (;;) DoEvents();
  });
  for (int i = 0; i < 20; ++i) PumpEvents(0);
  Job::Start([this] { log += "not started "; });
  EndAllThreads();
  EXPECT_EQ(log, "end end ");
  clock.Advance(2000);
  EXPECT_EQ(log, "end end ");
}

TEST_F(ThreadTest, TimersFollowTheirMode) {
  Timer timer;
  int falls = 0;
  timer.Action = [&] { ++falls; };
  timer.SetPeriod(5000);
  timer.SetMode(2);
  timer.SetPeriod(1000);  // counts from now
  clock.Advance(999);
  EXPECT_EQ(falls, 0);
  clock.Advance(2001);
  EXPECT_EQ(falls, 3);
  timer.SetMode(1);
  clock.Advance(5000);
  EXPECT_EQ(falls, 4);
  EXPECT_EQ(timer.Mode(), 0);
  timer.FireSoon();
  PumpEvents(0);
  EXPECT_EQ(falls, 4);
  timer.SetMode(2);
  timer.FireSoon();
  timer.FireSoon();
  PumpEvents(0);
  EXPECT_EQ(falls, 5);
  timer.Action = [&] {
    if (++falls > 6) return;
    timer.FireSoon();
    PumpEvents(0);
    EXPECT_EQ(falls, 6);
  };
  timer.FireSoon();
  for (int turns = 0; turns < 3; ++turns) PumpEvents(0);
  EXPECT_EQ(falls, 7) << "it was asked for while it ran";
}

TEST_F(ThreadTest, ATimerIsNotEnteredTwiceAndOthersGoOn) {
  Timer slow, other;
  slow.SetPeriod(100);
  other.SetPeriod(100);
  slow.Action = [&] {
    log += "(";
    clock.Advance(250);  // runs events in the middle of the handler
    log += ")";
    slow.SetMode(0);
  };
  other.Action = [&] { log += "."; };
  slow.SetMode(2);
  other.SetMode(2);
  clock.Advance(100);
  EXPECT_EQ(std::count(log.begin(), log.end(), '('), 1);
  EXPECT_GE(std::count(log.begin(), log.begin() + log.find(')'), '.'), 2);
  other.SetMode(0);
}

}  // namespace
}  // namespace gravlin::testing
