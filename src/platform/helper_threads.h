// The OS threads of Thread::Offload and WriteBehind.  Private to platform/.
//
// Not the toolkit's pool: each of its threads has an event dispatcher, and the program ends if
// there is no file descriptor left for one.
#pragma once

#include <sys/resource.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace gravlin {

class HelperThreads {
 public:
  enum class Priority { kNormal, kIdle };

  explicit HelperThreads(std::size_t most, Priority priority = Priority::kNormal)
      : most_(most), priority_(priority) {}
  // Waits for all work that was started.
  ~HelperThreads() {
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    more_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  HelperThreads(const HelperThreads&) = delete;
  HelperThreads& operator=(const HelperThreads&) = delete;

  // Runs the work on a thread as soon as one is free; on the caller's, if the system gives none.
  void Start(std::function<void()> work) {
    {
      const std::lock_guard lock(mutex_);
      work_.push_back(std::move(work));
      if (idle_ < work_.size() && threads_.size() < most_) Add();
      if (!threads_.empty()) {
        more_.notify_one();
        return;
      }
    }
    work_.front()();
    work_.pop_front();
  }

 private:
  void Add() {
    try {
      threads_.emplace_back([this] { Serve(); });
    } catch (const std::system_error&) {
    }
  }
  void Serve() {
    // In Linux this is the priority of one thread.
    if (priority_ == Priority::kIdle) setpriority(PRIO_PROCESS, 0, 19);
    std::unique_lock lock(mutex_);
    for (;;) {
      ++idle_;
      more_.wait(lock, [this] { return ending_ || !work_.empty(); });
      --idle_;
      if (work_.empty()) return;
      const std::function<void()> work = std::move(work_.front());
      work_.pop_front();
      lock.unlock();
      work();
      lock.lock();
    }
  }

  const std::size_t most_;
  const Priority priority_;
  std::mutex mutex_;
  std::condition_variable more_;
  std::deque<std::function<void()>> work_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace gravlin
