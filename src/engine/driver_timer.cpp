// The tick of each second: ends long articles, shows the progress, watches for silence.
#include <cmath>

#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/engine_step.h"
#include "engine/run_view.h"
#include "engine/states.h"
#include "platform/failures.h"
#include "platform/text.h"

namespace gravlin {
namespace {

// Seconds of silence until the status says so, or a sign-off ends; and until the session starts
// anew.
constexpr int kSilenceShown = 30;
constexpr int kSilenceAllowed = 60;

}  // namespace

void Engine::SetDeadline() {
  Now = Date();
  LastResponse = Now;
  Deadline = Now;
  Deadline.SetMinute(Now.Minute() + 1);
}

void Engine::TheTimer_Action() {
  if (!may::Tick(CurrentSituation())) {
    UpdateTime();
    return;
  }
  const EngineStep step(*this);
  try {
    Tick();
  } catch (const NilObjectException&) {
    ArticleBody.clear();
    Code::RemoveFromActiveFiles(TheFilename);
  }
}

void Engine::Tick() {
  UpdateTime();
  if (TakeThreadFlag()) {
    SetDeadline();
    WriteDebug("TheTimer", "Thread done. Calling LoadNextFile...");
    // Before the log-on is through the log-on itself goes to the next file.
    if (may::BeginNextFile(CurrentSituation())) GetNextFile();
    return;
  }
  if (!may::WatchSilence(CurrentSituation())) return;
  if (News.TakeOverflow()) {
    GiveUpEndlessReply();
    return;
  }
  if (WatchSilence()) return;
  if (state_ != states::kReceivingArticle) return;
  ShowArticleProgress();
  if (!ReplyIsWhole()) return;
  EnterState(states::kGotArticle);
  SetStatus("Article received.");
  TakeReply(ArticleBody);
  SessionBytes += static_cast<double>(ArticleBody.size());
  CurrentBytes = SessionBytes;
  GotArticle();
}

// True when it ended the session or started it anew.
bool Engine::WatchSilence() {
  const double silence = Date().SecondsSince(LastResponse);
  if (silence < 0) SetDeadline();  // the clock was put back
  const int seconds = ToInt32(silence);
  if (seconds > kSilenceShown) {
    if (state_ == states::kSentQuit) {
      News.Close();
      Stop();
      return true;
    }
    const std::string text = "No response since " + LastResponse.LongTime() +
                             ". Will try to reconnect in " + Str(kSilenceAllowed - seconds) +
                             " seconds...";
    SetStatus(text);
    WriteDebug("TheTimer", text);
  }
  if (silence <= kSilenceAllowed) return false;
  WriteDebug("TheTimer", "Calling Reconnect");
  Reconnect();
  return true;
}

// The socket has dropped the connection.  An article counts as an error, and this run asks for it
// no more: the server would answer in the same way again and again.  A server that floods the
// log-on is called again after the pause of any silence, and a Stop that waits for its answer is
// over.
void Engine::GiveUpEndlessReply() {
  if (state_ == states::kSentQuit) {
    Stop();
    return;
  }
  const std::string text = "Reply thrown away: " + News.ErrorText() + ".";
  SetStatus(text);
  WriteDebug("TheTimer", text);
  if (!may::CallAgainAtOnce(CurrentSituation())) return;
  if (state_ == states::kSentArticle || state_ == states::kReceivingArticle) {
    endless_.insert(MessageID);
    RecordError(text);
    ++PartsDone;
    UpdateBar1();
  }
  Reconnect();
}

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
