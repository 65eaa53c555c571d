// The thread that joins and decodes one file.
#pragma once

#include <utility>

#include "engine/gravlin.h"
#include "platform/thread.h"

namespace gravlin {

// One works at a time: a second one waits until the first has ended.  The window's ThreadFlag is
// set when none is left.
class grvConcat : public Thread {
 public:
  // `window` outlives the thread.
  grvConcat(Gravlin& window, AssemblyJob job) : window_(window), job_(std::move(job)) {
    ++window_.Concats;
  }
  ~grvConcat() override { --window_.Concats; }

 protected:
  void Event_Run() override;

 private:
  void End();

  Gravlin& window_;
  AssemblyJob job_;
};

}  // namespace gravlin
