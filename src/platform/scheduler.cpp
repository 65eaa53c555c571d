// Calls that come due, cooperative threads on stacks of their own, and events that may fail.
#include "platform/scheduler.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QMetaObject>
#include <QObject>
#include <QTimerEvent>
#include <algorithm>
#include <atomic>
#include <boost/context/fiber.hpp>
#include <boost/context/protected_fixedsize_stack.hpp>
#include <chrono>
#include <cstdio>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <semaphore>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/helper_threads.h"
#include "platform/thread.h"
#include "platform/waiting.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace gravlin {
namespace {

using boost::context::fiber;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t kStackBytes = 1 << 20;
// More than ever work at once: one offloaded call would wait for another.
constexpr int kMostHelpers = 256;

// What the address sanitizer needs to know of one switch to another stack and back.
struct StackSwitch {
#if defined(__SANITIZE_ADDRESS__)
  void* fake_stack = nullptr;
  void Leave(const void* to, std::size_t size) {
    __sanitizer_start_switch_fiber(&fake_stack, to, size);
  }
  static void LeaveForEver(const void* to, std::size_t size) {
    __sanitizer_start_switch_fiber(nullptr, to, size);
  }
  void Arrive(const void** from, std::size_t* size) {
    __sanitizer_finish_switch_fiber(fake_stack, from, size);
    fake_stack = nullptr;
  }
#else
  void Leave(const void*, std::size_t) {}
  static void LeaveForEver(const void*, std::size_t) {}
  void Arrive(const void**, std::size_t*) {}
#endif
};

// Notes the bounds of each stack it hands out, for the sanitizer.  The last stack given back is
// kept for the next thread, since every article starts one; not under the sanitizer, which would
// not see the use of a stack that has ended.
class NotedStack {
 public:
  explicit NotedStack(const void** bottom) : bottom_(bottom) {}
  boost::context::stack_context allocate() {
    boost::context::stack_context stack = std::exchange(spare, {});
    if (!stack.sp) stack = inner_.allocate();
    *bottom_ = static_cast<const char*>(stack.sp) - kStackBytes;
    return stack;
  }
  void deallocate(boost::context::stack_context& stack) noexcept {
#if !defined(__SANITIZE_ADDRESS__)
    if (!spare.sp) {
      spare = stack;
      return;
    }
#endif
    inner_.deallocate(stack);
  }

 private:
  static inline boost::context::stack_context spare;
  boost::context::protected_fixedsize_stack inner_{kStackBytes};
  const void** bottom_;
};

std::function<void(const char*, const char*)>& FailureReport() {
  static std::function<void(const char*, const char*)> report;
  return report;
}

void Report(const char* event, const char* what) {
  std::fprintf(stderr, "gravlin: %s: %s\n", event, what);
  if (FailureReport()) FailureReport()(event, what);
}

// Event handlers that have not ended, bodies of threads not counted.
int handlers_running = 0;

std::vector<std::function<void()>>& WhenFree() {
  static std::vector<std::function<void()>> actions;
  return actions;
}

// While one lives a handler is under way; behind the last one goes what waits for that.
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

void Guard(const char* event, const std::function<void()>& handler) {
  try {
    handler();
  } catch (const std::exception& failure) {
    Report(event, failure.what());
  }
}

}  // namespace

// Runs due calls, posted calls and cooperative threads from the toolkit's event loop.  Each of its
// timers is ended before its work runs and made anew when there is more: the toolkit lets no timer
// fire inside its own handler, and the work may open nested event loops in which everything has to
// go on.
class Scheduler : public QObject {
 public:
  static Scheduler& Get() {
    static Scheduler scheduler;
    return scheduler;
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

  void CallSoon(std::function<void()> action) {
    soon_.push_back(std::move(action));
    WakeForSoon();
  }

  void Start(std::unique_ptr<Thread> body) {
    auto made = std::make_unique<Coroutine>();
    Coroutine& coroutine = *made;
    coroutine.body = std::move(body);
    coroutine.id = ++last_id_;
    coroutine.stack =
        fiber(std::allocator_arg, NotedStack(&coroutine.stack_bottom),
              [this, &coroutine](fiber&& main) { return RunBody(coroutine, std::move(main)); });
    coroutines_.emplace(coroutine.id, std::move(made));
    MakeReady(coroutine.id);
  }

  int Live() const { return static_cast<int>(coroutines_.size()); }
  Thread* CurrentThread() const { return current_ ? current_->body.get() : nullptr; }
  bool InThread() const { return current_ != nullptr; }
  void SetSlice(int milliseconds) { slice_ = std::chrono::milliseconds(milliseconds); }
  bool SliceUsedUp() const { return SteadyClock::now() - slice_start_ >= slice_; }
  void BeginSlice() { slice_start_ = SteadyClock::now(); }

  std::uint64_t CurrentId() const { return current_ ? current_->id : 0; }
  void Wake(std::uint64_t id) { MakeReady(id); }
  void AwaitWaking() {
    if (!ending_ && current_) Suspend();
  }

  void GiveWay() {
    if (ending_) return;
    MakeReady(current_->id);
    Suspend();
  }

  void SleepThread(int milliseconds) {
    if (ending_) return;
    CallAt(TheClock().Milliseconds() + milliseconds, [this, id = current_->id] { MakeReady(id); });
    Suspend();
  }

  void OnMain(const std::function<void()>& action) {
    if (ending_) return;
    current_->main_call = &action;
    current_->error = nullptr;
    Suspend();
    if (current_->error) std::rethrow_exception(std::exchange(current_->error, nullptr));
  }

  void OffloadFromThread(const std::function<void()>& work) {
    if (ending_) return;
    std::exception_ptr error;
    const auto over = std::make_shared<std::binary_semaphore>(0);
    helpers_.Start([this, id = current_->id, &work, &error, over] {
      try {
        work();
      } catch (...) {
        error = std::current_exception();
      }
      QMetaObject::invokeMethod(
          this, [this, id] { MakeReady(id); }, Qt::QueuedConnection);
      over->release();
    });
    {
      // Also when the waiting thread is unwound: the work may refer to what lies on its stack.
      struct Wait {
        std::binary_semaphore& semaphore;
        ~Wait() { semaphore.acquire(); }
      } wait{*over};
      Suspend();
    }
    if (error) std::rethrow_exception(error);
  }

  static bool Ending() { return ending_; }
  void EndAll() {
    ending_ = true;
    while (!coroutines_.empty()) {
      auto node = coroutines_.extract(coroutines_.begin());
      Coroutine& coroutine = *node.mapped();
      if (!coroutine.started) {
        Resume(coroutine);
        continue;
      }
      current_ = &coroutine;
      coroutine.main_switch.Leave(coroutine.stack_bottom, kStackBytes);
      coroutine.stack = fiber();
      coroutine.main_switch.Arrive(nullptr, nullptr);
      current_ = nullptr;
    }
    ready_.clear();
    ending_ = false;
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
    if (event->timerId() == call_timer_) {
      call_timer_ = 0;
      RunDueCalls();
    } else if (event->timerId() == thread_timer_) {
      thread_timer_ = 0;
      RunOneThread();
    }
  }

 private:
  struct Coroutine {
    std::uint64_t id = 0;
    std::unique_ptr<Thread> body;
    fiber stack;  // the thread while it is suspended
    fiber main;   // the main stack while the thread runs
    const std::function<void()>* main_call = nullptr;
    std::exception_ptr error;
    const void* stack_bottom = nullptr;
    const void* main_bottom = nullptr;
    std::size_t main_size = 0;
    bool started = false;
    StackSwitch main_switch, thread_switch;
  };

  static constexpr QEvent::Type kSoonEvent = static_cast<QEvent::Type>(QEvent::User + 1);

  Scheduler() {
    BeginSlice();
    // A handler's slice begins when the loop wakes up to call it.
    if (QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance())
      connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { BeginSlice(); });
  }

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

  void ArmThreadTimer() {
    if (!thread_timer_ && !ready_.empty()) thread_timer_ = startTimer(0);
  }

  void MakeReady(std::uint64_t id) {
    if (!coroutines_.contains(id)) return;
    ready_.push_back(id);
    ArmThreadTimer();
  }

  void RunOneThread() {
    if (ready_.empty()) return;
    const std::uint64_t id = ready_.front();
    ready_.pop_front();
    ArmThreadTimer();
    const auto found = coroutines_.find(id);
    if (found == coroutines_.end()) return;
    Coroutine& coroutine = *found->second;
    Resume(coroutine);
    while (coroutine.main_call) {
      // The thread is neither ready nor gone meanwhile, so the nested loop that this may open
      // leaves it alone.
      const std::function<void()>& action = *std::exchange(coroutine.main_call, nullptr);
      try {
        const HandlerScope handler_runs;
        action();
      } catch (...) {
        coroutine.error = std::current_exception();
      }
      if (!coroutines_.contains(id)) return;
      Resume(coroutine);
    }
    if (!coroutine.stack) coroutines_.erase(id);
    ArmThreadTimer();
  }

  void Resume(Coroutine& coroutine) {
    current_ = &coroutine;
    BeginSlice();
    coroutine.main_switch.Leave(coroutine.stack_bottom, kStackBytes);
    coroutine.stack = std::move(coroutine.stack).resume();
    coroutine.main_switch.Arrive(nullptr, nullptr);
    current_ = nullptr;
    BeginSlice();
  }

  void Suspend() {
    Coroutine& coroutine = *current_;
    // Also on the way out of a stack that is being unwound.
    struct Arrival {
      Coroutine& coroutine;
      ~Arrival() { coroutine.thread_switch.Arrive(&coroutine.main_bottom, &coroutine.main_size); }
    } arrival{coroutine};
    coroutine.thread_switch.Leave(coroutine.main_bottom, coroutine.main_size);
    coroutine.main = std::move(coroutine.main).resume();
  }

  fiber RunBody(Coroutine& coroutine, fiber&& main) {
    coroutine.thread_switch.Arrive(&coroutine.main_bottom, &coroutine.main_size);
    coroutine.main = std::move(main);
    coroutine.started = true;
    try {
      if (!ending_) Guard("thread", [&coroutine] { coroutine.body->Event_Run(); });
    } catch (const boost::context::detail::forced_unwind&) {
      coroutine.body.reset();
      StackSwitch::LeaveForEver(coroutine.main_bottom, coroutine.main_size);
      throw;
    }
    coroutine.body.reset();
    StackSwitch::LeaveForEver(coroutine.main_bottom, coroutine.main_size);
    return std::move(coroutine.main);
  }

  std::map<std::pair<std::int64_t, std::uint64_t>, std::function<void()>> calls_;
  std::map<std::uint64_t, std::int64_t> due_of_;
  std::deque<std::function<void()>> soon_;
  std::map<std::uint64_t, std::unique_ptr<Coroutine>> coroutines_;
  std::deque<std::uint64_t> ready_;
  Coroutine* current_ = nullptr;
  SteadyClock::time_point slice_start_;
  std::chrono::milliseconds slice_{8};
  std::uint64_t last_id_ = 0;
  int call_timer_ = 0;
  int thread_timer_ = 0;
  bool soon_posted_ = false;
  static inline std::atomic<bool> ending_ = false;
  HelperThreads helpers_{kMostHelpers};
};

std::uint64_t CallAt(std::int64_t due, std::function<void()> action) {
  return Scheduler::Get().CallAt(due, std::move(action));
}
void CancelCall(std::uint64_t id) { Scheduler::Get().CancelCall(id); }
void CallSoon(std::function<void()> action) { Scheduler::Get().CallSoon(std::move(action)); }
void RunDueCalls() { Scheduler::Get().RunDueCalls(); }
std::int64_t NextCallDue() { return Scheduler::Get().NextCallDue(); }
std::uint64_t RunningThread() { return Scheduler::Get().CurrentId(); }
void WaitToBeWoken() { Scheduler::Get().AwaitWaking(); }
void WakeThread(std::uint64_t id) { Scheduler::Get().Wake(id); }
int LiveThreads() { return Scheduler::Get().Live(); }
void SetSlice(int milliseconds) { Scheduler::Get().SetSlice(milliseconds); }
void EndAllThreads() { Scheduler::Get().EndAll(); }

void OnMainStack(const std::function<void()>& action) {
  if (Scheduler::Get().InThread())
    Scheduler::Get().OnMain(action);
  else
    action();
}

void CallWhenFree(std::function<void()> action) {
  CallSoon([action = std::move(action)] {
    // This call is itself one handler.
    if (handlers_running > 1)
      WhenFree().push_back(action);
    else
      action();
  });
}

void Dispatch(const char* event, const std::function<void()>& handler) {
  const HandlerScope handler_runs;
  Guard(event, handler);
}

void SetFailureReport(std::function<void(const char*, const char*)> report) {
  FailureReport() = std::move(report);
}

void PumpEvents(int wait_milliseconds) {
  Scheduler::Get();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  if (wait_milliseconds <= 0) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    return;
  }
  QObject limit;
  limit.startTimer(wait_milliseconds);
  QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

void Thread::Run(std::unique_ptr<Thread> thread) { Scheduler::Get().Start(std::move(thread)); }

bool Thread::Ending() { return Scheduler::Ending(); }

Thread* Thread::Current() { return Scheduler::Get().CurrentThread(); }

void Thread::Yield() {
  Scheduler& scheduler = Scheduler::Get();
  if (scheduler.SliceUsedUp()) DoEvents();
}

void Thread::Sleep(int milliseconds) {
  Scheduler& scheduler = Scheduler::Get();
  if (scheduler.InThread()) {
    scheduler.SleepThread(milliseconds);
    return;
  }
  bool over = false;
  const std::uint64_t id =
      CallAt(TheClock().Milliseconds() + milliseconds, [&over] { over = true; });
  // A clock that is set by hand does not go on while this waits; one turn for what is ready must
  // do.
  const bool wait = TheClock().RunsByItself();
  QEventLoop::ProcessEventsFlags flags = QEventLoop::ExcludeUserInputEvents;
  flags.setFlag(QEventLoop::WaitForMoreEvents, wait);
  do {
    QCoreApplication::processEvents(flags);
  } while (!over && wait);
  CancelCall(id);
}

void Thread::Offload(const std::function<void()>& work) {
  Scheduler& scheduler = Scheduler::Get();
  if (scheduler.InThread())
    scheduler.OffloadFromThread(work);
  else
    work();
}

void DoEvents() {
  Scheduler& scheduler = Scheduler::Get();
  if (scheduler.InThread()) {
    scheduler.GiveWay();
    return;
  }
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  scheduler.BeginSlice();
}

void CriticalSection::Enter() {
  while (taken_) Thread::Sleep(1);
  taken_ = true;
}

void CriticalSection::Leave() { taken_ = false; }

}  // namespace gravlin
