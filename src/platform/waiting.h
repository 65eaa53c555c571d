// A cooperative thread that waits for a word of another one, without looking again and again.
#pragma once

#include <cstdint>

namespace gravlin {

// The running cooperative thread; 0 on the main stack.
std::uint64_t RunningThread();
// Lets the running thread wait until it is woken.  It may be woken without a reason: the caller
// looks at what it waits for.  The main stack does not wait.
void WaitToBeWoken();
// Of a thread that has ended, nothing happens.
void WakeThread(std::uint64_t id);

}  // namespace gravlin
