// Cooperative threads: coroutines with a stack of their own that the event loop resumes on the main
// OS thread, so that they may touch controls and plain fields, and no data race can exist.
#pragma once

#include <functional>
#include <memory>

namespace gravlin {

class Thread {
 public:
  virtual ~Thread() = default;

  // Hands the thread to the event loop, which starts it soon and destroys it when Event_Run has
  // ended.
  static void Run(std::unique_ptr<Thread> thread);

  // Gives way if the running slice is used up; otherwise costs a clock read.  On the main thread it
  // is DoEvents under the same rule.
  static void Yield();
  // Always gives way, for at least that many milliseconds of the Clock.  On the main thread events
  // continue meanwhile.
  static void Sleep(int milliseconds);
  // Runs one blocking call on a helper OS thread while this thread waits and the event loop
  // continues.  The work may touch only what it was given.  What it throws is thrown here.  On the
  // main thread the work runs in place.
  static void Offload(const std::function<void()>& work);

  // The same at the lowest priority that the system has, for work that nobody waits for.
  static void OffloadIdly(const std::function<void()>& work);

  // True while all threads are being ended.  Long work on a helper thread checks it between two
  // blocks, and gives up.
  static bool Ending();

  // The cooperative thread that is running; nullptr on the main thread.
  static Thread* Current();

 protected:
  Thread() = default;
  // The body.  What it throws ends the thread and is logged.  Nothing gives way inside a catch
  // block: the list of caught exceptions belongs to the OS thread.
  virtual void Event_Run() = 0;

 private:
  friend class Fibers;
};

// A lock between cooperative threads.  Waiting gives way.
class CriticalSection {
 public:
  void Enter();
  void Leave();

 private:
  bool taken_ = false;
};

// Holds a CriticalSection for a scope.
class CriticalGuard {
 public:
  explicit CriticalGuard(CriticalSection& section) : section_(section) { section_.Enter(); }
  ~CriticalGuard() { section_.Leave(); }
  CriticalGuard(const CriticalGuard&) = delete;
  CriticalGuard& operator=(const CriticalGuard&) = delete;

 private:
  CriticalSection& section_;
};

// Lets timers, sockets, threads and painting proceed in the middle of a handler.  Clicks and keys
// wait for the handler to end.  Inside a cooperative thread it gives way.
void DoEvents();

}  // namespace gravlin
