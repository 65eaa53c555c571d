// Cooperative threads on stacks of their own, which the event loop resumes on the main OS thread.
// Other rooms use thread.h; this is for platform/ itself and for tests.
#pragma once

#include <cstdint>
#include <functional>

namespace gravlin {

// Runs `action` on the main stack: in place on the main thread; a cooperative thread waits until
// the main stack has run it.  Everything that may open a nested event loop uses this.
void OnMainStack(const std::function<void()>& action);
// Cooperative threads that have not ended.
int LiveThreads();
// Those of them that can go on now.
int ReadyThreads();
// Length of a slice in milliseconds; with 0 every Yield gives way.
void SetSlice(int milliseconds);
// Ends every cooperative thread, as at the end of the process: its stack is unwound, its work is
// lost.
void EndAllThreads();
bool ThreadsAreEnding();
// Suspends the running thread until it is woken.  If all threads are being ended, it is unwound at
// once.
void SuspendThread();

// Runs the work of Thread::Offload inside the thread that waits for it, for runs that are to be the
// same each time; nullptr gives it back to the helpers.
void SetOffload(std::function<void(const std::function<void()>& work)> instead);

// Like Dispatch of calls.h, for the bodies of threads.  Catches and reports what the handler
// throws.
void GuardEvent(const char* event, const std::function<void()>& handler);
// Counts as an event handler while it runs.
void RunAsHandler(const std::function<void()>& action);

}  // namespace gravlin
