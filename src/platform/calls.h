// Calls that the event loop makes: at a time of the Clock, or as soon as it is free; and how an
// event that fails is caught.  Other rooms use timer.h; this is for platform/ itself and for tests
// that set the clock.
#pragma once

#include <cstdint>
#include <functional>

namespace gravlin {

// Calls `action` from the event loop when the Clock has reached `due` milliseconds.  The id cancels
// the call.
std::uint64_t CallAt(std::int64_t due, std::function<void()> action);
void CancelCall(std::uint64_t id);
// Calls `action` from the event loop as soon as it is free.
void CallSoon(std::function<void()> action);
// The same, after every running event handler has ended: not inside a nested event loop.
void CallWhenFree(std::function<void()> action);

// Runs an event's handler: what it throws is caught, logged and reported, and the program
// continues.
void Dispatch(const char* event, const std::function<void()>& handler);
// Receives every exception that a handler throws.
void SetFailureReport(std::function<void(const char* event, const char* what)> report);

// For a clock that is set by hand: calls what has come due since.
void RunDueCalls();
// Milliseconds at which the next call is due; -1 if none is.
std::int64_t NextCallDue();
// Calls of CallSoon that have not been made.
int CallsWaiting();
// Runs pending events; waits at most that long, in real time, for the first of them.
void PumpEvents(int wait_milliseconds);

}  // namespace gravlin
