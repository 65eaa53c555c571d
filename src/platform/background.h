// Blocking calls on an OS thread of their own while their owner goes on.
#pragma once

#include <functional>

#include "platform/helper_threads.h"

namespace gravlin {

// Runs its works one after the other, in the order in which they were started.  They touch only
// what they were given.
class Background {
 public:
  Background() = default;
  // Waits for all works.
  ~Background() = default;
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  void Start(std::function<void()> work);
  // Suspends the running cooperative thread until the works that were started have ended.
  void Wait();

 private:
  HelperThreads helper_{1};  // not the one of Thread::Offload, which waits for this
};

}  // namespace gravlin
