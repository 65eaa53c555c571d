// Blocking calls on helper OS threads, while the cooperative thread that wants one waits, or goes
// on.
#include <QCoreApplication>
#include <QMetaObject>
#include <exception>
#include <functional>
#include <memory>
#include <semaphore>
#include <utility>

#include "platform/background.h"
#include "platform/fibers.h"
#include "platform/helper_threads.h"
#include "platform/thread.h"
#include "platform/waiting.h"

namespace gravlin {
namespace {

// More than ever run at once, because otherwise one offloaded call would wait for another.
constexpr int kMostHelpers = 256;

std::function<void(const std::function<void()>&)>& Instead() {
  static std::function<void(const std::function<void()>&)> instead;
  return instead;
}

void OffloadFromThread(const std::function<void()>& work) {
  // Receives the end of the work on the main OS thread; outlives the helpers.
  static QObject receiver;
  static HelperThreads helpers(kMostHelpers);
  if (ThreadsAreEnding()) return;
  std::exception_ptr error;
  const auto over = std::make_shared<std::binary_semaphore>(0);
  helpers.Start([id = RunningThread(), &work, &error, over] {
    try {
      work();
    } catch (...) {
      error = std::current_exception();
    }
    QMetaObject::invokeMethod(
        &receiver, [id] { WakeThread(id); }, Qt::QueuedConnection);
    over->release();
  });
  {
    // In a destructor, because the waiting thread may be unwound while the work uses its stack.
    struct Wait {
      std::binary_semaphore& semaphore;
      ~Wait() { semaphore.acquire(); }
    } wait{*over};
    SuspendThread();
  }
  if (error) std::rethrow_exception(error);
}

}  // namespace

void Thread::Offload(const std::function<void()>& work) {
  if (RunningThread() == 0)
    work();
  else if (Instead())
    Instead()(work);
  else
    OffloadFromThread(work);
}

void Background::Start(std::function<void()> work) {
  if (Instead())
    work();
  else
    helper_.Start(std::move(work));
}

void Background::Wait() {
  const auto over = std::make_shared<std::binary_semaphore>(0);
  Start([over] { over->release(); });
  Thread::Offload([over] { over->acquire(); });
}

void SetOffload(std::function<void(const std::function<void()>&)> instead) {
  Instead() = std::move(instead);
}

}  // namespace gravlin
