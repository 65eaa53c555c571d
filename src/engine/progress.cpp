// How far a run has come: the bar, the speed, the time left.
#include <cmath>

#include "engine/engine.h"
#include "engine/run_view.h"
#include "platform/text.h"

namespace gravlin {

void Engine::ShowArticleProgress() {
  const double received = static_cast<double>(News.Lookahead().size());
  // A whole article may take less than a sixtieth of a second.
  const double seconds = static_cast<double>(TheClock().Nanoseconds() - requested_at_) / 1e9;
  Throughput = seconds > 0 ? ToInt32(received * 8 / seconds / 1024) : 0;
  view_.ShowSpeed(Throughput);
  if (Peak < Throughput) {
    Peak = Throughput;
    view_.ShowPeak(Peak);
  }
  CurrentBytes = SessionBytes + received;
  SetStatus("Receiving post: " + Format(std::floor(received / 1024), "#,###") +
            "kb - Part: " + Str(PartNo) + " - " + TheFilename);
}

void Engine::UpdateTime() {
  const std::int32_t elapsed = (Ticks() - SessionStartTick) / 60;
  if (elapsed == 0 || CurrentBytes == 0) return;
  const double rate = std::floor(CurrentBytes / elapsed);
  if (rate == 0) return;
  const double left = std::trunc(BytesLeft / rate);
  if (left < 0) return;
  view_.ShowTimeLeft(static_cast<std::int64_t>(left));
}

void Engine::UpdateBar1() {
  const double percent = ExpectedParts > 0 ? 100.0 * PartsDone / ExpectedParts : 0;
  view_.ShowPercent(percent);
}

}  // namespace gravlin
