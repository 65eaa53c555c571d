// Calls that are due at a time or posted, and the handlers of events.
#include "platform/calls.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <exception>
#include <map>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/fibers.h"

namespace gravlin {
namespace {

std::function<void(const char*, const char*)>& FailureReport() {
  static std::function<void(const char*, const char*)> report;
  return report;
}

void Report(const char* event, const char* what) {
  std::fprintf(stderr, "gravlin: %s: %s\n", event, what);
  if (FailureReport()) FailureReport()(event, what);
}

// Event handlers that are running, not counting bodies of threads.
int handlers_running = 0;

std::vector<std::function<void()>>& WhenFree() {
  static std::vector<std::function<void()>> actions;
  return actions;
}

// Counts a running handler; the end of the last one posts what waits for that.
struct HandlerScope {
  HandlerScope() { ++handlers_running; }
  ~HandlerScope() {
    if (--handlers_running > 0 || WhenFree().empty()) return;
    for (std::function<void()>& action : std::exchange(WhenFree(), {}))
      CallWhenFree(std::move(action));
  }
  HandlerScope(const HandlerScope&) = delete;
  HandlerScope& operator=(const HandlerScope&) = delete;
};

// Runs its calls from the toolkit's event loop.  Its timer is stopped before the work runs and a
// new one is started if there is more: the toolkit fires no timer inside its own handler, and the
// work may open nested event loops in which everything has to continue.
class Calls : public QObject {
 public:
  static Calls& Get() {
    static Calls calls;
    return calls;
  }

  std::uint64_t CallAt(std::int64_t due, std::function<void()> action) {
    const std::uint64_t id = ++last_id_;
    calls_.emplace(std::pair(due, id), std::move(action));
    due_of_.emplace(id, due);
    ArmCallTimer();
    return id;
  }

  void CancelCall(std::uint64_t id) {
    const auto found = due_of_.find(id);
    if (found == due_of_.end()) return;
    calls_.erase(std::pair(found->second, id));
    due_of_.erase(found);
    ArmCallTimer();
  }

  void RunDueCalls() {
    const std::int64_t now = TheClock().Milliseconds();
    const std::uint64_t newest = last_id_;
    for (;;) {
      auto next = calls_.begin();
      while (next != calls_.end() && next->first.first <= now && next->first.second > newest)
        ++next;
      if (next == calls_.end() || next->first.first > now) break;
      const std::function<void()> action = std::move(next->second);
      due_of_.erase(next->first.second);
      calls_.erase(next);
      ArmCallTimer();
      Dispatch("timed call", action);
    }
    ArmCallTimer();
  }

  std::int64_t NextCallDue() const { return calls_.empty() ? -1 : calls_.begin()->first.first; }

  int Waiting() const { return static_cast<int>(soon_.size()); }

  void CallSoon(std::function<void()> action) {
    soon_.push_back(std::move(action));
    WakeForSoon();
  }

  bool event(QEvent* event) override {
    if (event->type() != kSoonEvent) return QObject::event(event);
    soon_posted_ = false;
    for (std::size_t left = soon_.size(); left > 0 && !soon_.empty(); --left) {
      const std::function<void()> action = std::move(soon_.front());
      soon_.pop_front();
      if (!soon_.empty()) WakeForSoon();
      Dispatch("posted call", action);
    }
    return true;
  }

 protected:
  void timerEvent(QTimerEvent* event) override {
    killTimer(event->timerId());
    if (event->timerId() != call_timer_) return;
    call_timer_ = 0;
    RunDueCalls();
  }

 private:
  static constexpr QEvent::Type kSoonEvent = static_cast<QEvent::Type>(QEvent::User + 1);

  void WakeForSoon() {
    if (std::exchange(soon_posted_, true)) return;
    QCoreApplication::postEvent(this, new QEvent(kSoonEvent));
  }

  void ArmCallTimer() {
    if (call_timer_) killTimer(std::exchange(call_timer_, 0));
    if (calls_.empty() || !TheClock().RunsByItself()) return;
    const std::int64_t wait = calls_.begin()->first.first - TheClock().Milliseconds();
    call_timer_ =
        startTimer(std::chrono::milliseconds(std::max<std::int64_t>(wait, 0)), Qt::PreciseTimer);
  }

  std::map<std::pair<std::int64_t, std::uint64_t>, std::function<void()>> calls_;
  std::map<std::uint64_t, std::int64_t> due_of_;
  std::deque<std::function<void()>> soon_;
  std::uint64_t last_id_ = 0;
  int call_timer_ = 0;
  bool soon_posted_ = false;
};

}  // namespace

std::uint64_t CallAt(std::int64_t due, std::function<void()> action) {
  return Calls::Get().CallAt(due, std::move(action));
}
void CancelCall(std::uint64_t id) { Calls::Get().CancelCall(id); }
void CallSoon(std::function<void()> action) { Calls::Get().CallSoon(std::move(action)); }
void RunDueCalls() { Calls::Get().RunDueCalls(); }
int CallsWaiting() { return Calls::Get().Waiting(); }
std::int64_t NextCallDue() { return Calls::Get().NextCallDue(); }

void CallWhenFree(std::function<void()> action) {
  CallSoon([action = std::move(action)] {
    // This call itself counts as a handler.
    if (handlers_running > 1)
      WhenFree().push_back(action);
    else
      action();
  });
}

void Dispatch(const char* event, const std::function<void()>& handler) {
  const HandlerScope handler_runs;
  GuardEvent(event, handler);
}

void SetFailureReport(std::function<void(const char*, const char*)> report) {
  FailureReport() = std::move(report);
}

void GuardEvent(const char* event, const std::function<void()>& handler) {
  try {
    handler();
  } catch (const std::exception& failure) {
    Report(event, failure.what());
  }
}

void RunAsHandler(const std::function<void()>& action) {
  const HandlerScope handler_runs;
  action();
}

void PumpEvents(int wait_milliseconds) {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  if (wait_milliseconds <= 0) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    return;
  }
  QObject limit;
  limit.startTimer(wait_milliseconds);
  QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

}  // namespace gravlin
