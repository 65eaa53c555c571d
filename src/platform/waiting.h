// How a cooperative thread waits for another one without polling.
#pragma once

#include <cstdint>

namespace gravlin {

// The running cooperative thread; 0 on the main stack.
std::uint64_t RunningThread();
// Suspends the running thread until it is woken.  It may be woken without a reason: the caller
// checks what it waits for.  The main stack does not wait.
void WaitToBeWoken();
// No effect on a thread that has ended.
void WakeThread(std::uint64_t id);

}  // namespace gravlin
