// Cooperative threads: their stacks, their order, and how they wait.
#include "platform/fibers.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QObject>
#include <QTimerEvent>
#include <atomic>
#include <boost/context/fiber.hpp>
#include <boost/context/protected_fixedsize_stack.hpp>
#include <chrono>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <utility>

#include "platform/calls.h"
#include "platform/clock.h"
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

// What the address sanitizer needs for one switch to another stack and back.
struct StackSwitch {
#if defined(__SANITIZE_ADDRESS__)
  void* fake_stack = nullptr;
  void Leave(const void* to, std::size_t size) {
    __sanitizer_start_switch_fiber(&fake_stack, to, size);
  }
  static void LeaveForGood(const void* to, std::size_t size) {
    __sanitizer_start_switch_fiber(nullptr, to, size);
  }
  void Arrive(const void** from, std::size_t* size) {
    __sanitizer_finish_switch_fiber(fake_stack, from, size);
    fake_stack = nullptr;
  }
#else
  void Leave(const void*, std::size_t) {}
  static void LeaveForGood(const void*, std::size_t) {}
  void Arrive(const void**, std::size_t*) {}
#endif
};

// Notes the bounds of each stack that it gives, for the sanitizer.  The last stack given back is
// kept for the next thread, because every article starts one; not under the sanitizer, which would
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

}  // namespace

// Resumes one thread after the other from a timer of the toolkit.  The timer is stopped before a
// thread runs and a new one is started if there is more: a thread may have the main stack open
// nested event loops, in which the others have to continue.
class Fibers : public QObject {
 public:
  static Fibers& Get() {
    static Fibers fibers;
    return fibers;
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

  int Ready() const { return static_cast<int>(ready_.size()); }
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
    // In a destructor, because the sleeping thread may be unwound.
    const struct Alarm {
      std::uint64_t call;
      ~Alarm() { CancelCall(call); }
    } alarm{CallAt(TheClock().Milliseconds() + milliseconds,
                   [this, id = current_->id] { MakeReady(id); })};
    Suspend();
  }

  void OnMain(const std::function<void()>& action) {
    if (ending_) return;
    current_->main_call = &action;
    current_->error = nullptr;
    Suspend();
    if (current_->error) std::rethrow_exception(std::exchange(current_->error, nullptr));
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

  void Suspend() {
    Coroutine& coroutine = *current_;
    // In a destructor, because the stack may be unwound.
    struct Arrival {
      Coroutine& coroutine;
      ~Arrival() { coroutine.thread_switch.Arrive(&coroutine.main_bottom, &coroutine.main_size); }
    } arrival{coroutine};
    coroutine.thread_switch.Leave(coroutine.main_bottom, coroutine.main_size);
    coroutine.main = std::move(coroutine.main).resume();
  }

 protected:
  void timerEvent(QTimerEvent* event) override {
    killTimer(event->timerId());
    if (event->timerId() != thread_timer_) return;
    thread_timer_ = 0;
    RunOneThread();
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

  Fibers() {
    BeginSlice();
    // A handler's slice begins when the loop wakes up to call it.
    if (QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance())
      connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { BeginSlice(); });
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
      // Meanwhile the thread is neither ready nor gone, so a nested loop that this opens does not
      // resume it.
      const std::function<void()>& action = *std::exchange(coroutine.main_call, nullptr);
      try {
        RunAsHandler(action);
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

  fiber RunBody(Coroutine& coroutine, fiber&& main) {
    coroutine.thread_switch.Arrive(&coroutine.main_bottom, &coroutine.main_size);
    coroutine.main = std::move(main);
    coroutine.started = true;
    // In a destructor, because the stack may be unwound.
    struct AtEnd {
      Coroutine& coroutine;
      ~AtEnd() {
        coroutine.body.reset();
        StackSwitch::LeaveForGood(coroutine.main_bottom, coroutine.main_size);
      }
    } at_end{coroutine};
    if (!ending_) GuardEvent("thread", [&coroutine] { coroutine.body->Event_Run(); });
    return std::move(coroutine.main);
  }

  std::map<std::uint64_t, std::unique_ptr<Coroutine>> coroutines_;
  std::deque<std::uint64_t> ready_;
  Coroutine* current_ = nullptr;
  SteadyClock::time_point slice_start_;
  std::chrono::milliseconds slice_{8};
  std::uint64_t last_id_ = 0;
  int thread_timer_ = 0;
  static inline std::atomic<bool> ending_ = false;
};

std::uint64_t RunningThread() { return Fibers::Get().CurrentId(); }
void WaitToBeWoken() { Fibers::Get().AwaitWaking(); }
void WakeThread(std::uint64_t id) { Fibers::Get().Wake(id); }
void SuspendThread() { Fibers::Get().Suspend(); }
int ReadyThreads() { return Fibers::Get().Ready(); }
int LiveThreads() { return Fibers::Get().Live(); }
void SetSlice(int milliseconds) { Fibers::Get().SetSlice(milliseconds); }
void EndAllThreads() { Fibers::Get().EndAll(); }
bool ThreadsAreEnding() { return Fibers::Ending(); }

void OnMainStack(const std::function<void()>& action) {
  if (Fibers::Get().InThread())
    Fibers::Get().OnMain(action);
  else
    action();
}

void Thread::Run(std::unique_ptr<Thread> thread) { Fibers::Get().Start(std::move(thread)); }

bool Thread::Ending() { return Fibers::Ending(); }

Thread* Thread::Current() { return Fibers::Get().CurrentThread(); }

void Thread::Yield() {
  Fibers& fibers = Fibers::Get();
  if (fibers.SliceUsedUp()) DoEvents();
}

void Thread::Sleep(int milliseconds) {
  Fibers& fibers = Fibers::Get();
  if (fibers.InThread()) {
    fibers.SleepThread(milliseconds);
    return;
  }
  bool over = false;
  const std::uint64_t id =
      CallAt(TheClock().Milliseconds() + milliseconds, [&over] { over = true; });
  // A clock that is set by hand does not advance during this wait, so one turn for what is ready
  // must be enough.
  const bool wait = TheClock().RunsByItself();
  QEventLoop::ProcessEventsFlags flags = QEventLoop::ExcludeUserInputEvents;
  flags.setFlag(QEventLoop::WaitForMoreEvents, wait);
  do {
    QCoreApplication::processEvents(flags);
  } while (!over && wait);
  CancelCall(id);
}

void DoEvents() {
  Fibers& fibers = Fibers::Get();
  if (fibers.InThread()) {
    fibers.GiveWay();
    return;
  }
  QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  fibers.BeginSlice();
}

void CriticalSection::Enter() {
  while (taken_) Thread::Sleep(1);
  taken_ = true;
}

void CriticalSection::Leave() { taken_ = false; }

}  // namespace gravlin
