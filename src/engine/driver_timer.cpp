// The tick of each second: ends long articles and watches for silence.
#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/engine_step.h"
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
  if (state_ == states::kSentArticle || state_ == states::kReceivingArticle) GiveUpArticle(text);
  Reconnect();
}

}  // namespace gravlin
