// What the server says, and the step that each reply leads to.
#include <algorithm>
#include <iterator>

#include "base/code.h"
#include "engine/engine.h"
#include "engine/engine_step.h"
#include "engine/run_view.h"
#include "engine/states.h"
#include "engine/usenet.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"

namespace gravlin {

bool Engine::ReplyIsWhole() const {
  const std::string_view all = News.Lookahead();
  return Usenet::EndOfResponse(all.substr(all.size() - std::min<std::size_t>(all.size(), 5)));
}

// The exchange: which reply leads to which step.  Read from top to bottom; the first row that fits
// the state and the beginning of the reply acts, and in any other state data waits.
struct Engine::ReplyRow {
  std::string_view state;
  std::string_view begins;  // what the reply begins with; "" fits every one
  void (Engine::*act)(std::string_view code);
  std::size_t needs = 3;  // bytes of the reply, before which nothing is judged
};

const Engine::ReplyRow Engine::kReplies[] = {
    {states::kConnect, "20", &Engine::Greeted},
    {states::kConnect, "", &Engine::GreetingRefused},
    {states::kSentUsername, "381", &Engine::UsernameTaken},
    {states::kSentUsername, "", &Engine::UsernameRefused},
    {states::kSentPassword, "281", &Engine::PasswordTaken},
    {states::kSentPassword, "", &Engine::PasswordRefused},
    {states::kSentGroup, "4", &Engine::GroupRefused},
    {states::kSentGroup, "", &Engine::GroupTaken},
    {states::kSentArticle, "4", &Engine::ArticleRefused},
    {states::kSentArticle, "", &Engine::ArticleComes},
    {states::kReceivingArticle, "", &Engine::MoreOfArticle, 0},
    {states::kSentQuit, "", &Engine::SignedOff, 0},
};

void Engine::News_DataAvailable() {
  if (!may::TakeData(CurrentSituation())) {
    data_waiting_ = true;
    return;
  }
  const EngineStep step(*this);
  const auto in_this_state = [this](const ReplyRow& row) { return row.state == state_; };
  const auto first = std::find_if(std::begin(kReplies), std::end(kReplies), in_this_state);
  if (first == std::end(kReplies)) return;
  if (first->needs > 0) DropRestOfLine();
  const std::string code(News.Lookahead().substr(0, 3));
  if (code.size() < first->needs) return;  // the rest raises the event again
  const auto fits = [&](const ReplyRow& row) {
    return in_this_state(row) && code.starts_with(row.begins);
  };
  (this->*std::find_if(first, std::end(kReplies), fits)->act)(code);
}

void Engine::Greeted(std::string_view) {
  if (TheServerUsername.empty()) {
    // The greeting stays in the buffer: the next command's own preparation clears and refreshes.
    LoggedOn("News.DataAvailable connect");
    return;
  }
  ClearNewsBuffer();
  SetDeadline();
  SetStatus("Sending username...");
  WriteDebug("News.DataAvailable connect",
             "Sending command to server: AUTHINFO USER " + TheServerUsername);
  Send("AUTHINFO USER " + TheServerUsername);
  EnterState(states::kSentUsername);
}

void Engine::GreetingRefused(std::string_view) {
  const std::string text = TakeReply();
  SetStatus(text);
  WriteDebug("News.DataAvailable connect", "Error: " + text);
}

void Engine::UsernameTaken(std::string_view) {
  ClearNewsBuffer();
  SetDeadline();
  SetStatus("Sending password...");
  WriteDebug("News.DataAvailable sent username", "Sending command to server: AUTHINFO PASS ");
  Send("AUTHINFO PASS " + TheServerPassword);
  EnterState(states::kSentPassword);
}

void Engine::UsernameRefused(std::string_view) {
  RefuseLogOn("News.DataAvailable connect",
              "Error when sending username. Response from news server: ");
}

void Engine::PasswordTaken(std::string_view) {
  ClearNewsBuffer();
  SetDeadline();
  LoggedOn("News.DataAvailable sent password");
}

void Engine::PasswordRefused(std::string_view) {
  RefuseLogOn("News.DataAvailable sent username",
              "Error when sending password. Response from news server: ");
}

void Engine::RefuseLogOn(std::string_view log_label, std::string_view log_prefix) {
  const std::string text = TakeReply();
  SetStatus(text);
  WriteDebug(log_label, std::string(log_prefix) + text);
  view_.ShowConnectionError(text);
}

void Engine::GroupTaken(std::string_view) {
  SetStatus("Group selected");
  WriteDebug("News.DataAvailable sent group", "Group selected");
  GroupSelected();
}

void Engine::GroupRefused(std::string_view) {
  const std::string text = TakeReply();
  SetStatus(text);
  WriteDebug("News.DataAvailable sent group", text);
  ++iGroups;
  InitGroup();
}

void Engine::ArticleRefused(std::string_view code) {
  const std::string text = "Error receiving article: " + std::string(code);
  SetStatus(text);
  CountFailedPart(code);
  WriteDebug("News.DataAvailable sent article", text);
  GetNextArticle();
}

void Engine::ArticleComes(std::string_view) {
  if (!ReplyIsWhole()) {
    SetDeadline();
    EnterState(states::kReceivingArticle);
    return;
  }
  // Adds nothing to SessionBytes, unlike the tick: the estimate of the time left counts only
  // articles that took more than one event.
  SetStatus("Article received.");
  TakeReply(ArticleBody);
  GotArticle();
}

// The tick alone ends a long article; here the tick is only asked for at once.
void Engine::MoreOfArticle(std::string_view) {
  SetDeadline();
  if (ReplyIsWhole()) TheTimer.FireSoon();
}

void Engine::SignedOff(std::string_view) { Stop(); }

// The watchdog starts a lost session anew; this only reports.
void Engine::News_Error() {
  // After the sign-off the server hangs up, as it should.
  if (state_ != states::kSentQuit && state_ != states::kLoggedOff)
    WriteDebug("News.Error", News.ErrorText());
  if (News.IsConnected()) return;
  if (News.HandshakeFailed())
    SetStatus("No secure connection to " + TheServerURL + ": " + News.ErrorText());
  else if (News.NotReached() && state_ == states::kConnect)
    SetStatus("Could not connect to " + TheServerURL + ": " + News.ErrorText());
  // The session is started anew each minute under an open box; one is enough.
  if (advising_) return;
  const ScopedFlag advising(advising_, true);
  if (TheSSLSetting == kPlainTcp && TheServerPort == 563)
    MsgBox(
        "Connection error. Port 563 usually requires that SSL be turned on. Check with your "
        "provider.");
  if (TheSSLSetting != kPlainTcp && TheServerPort == 119)
    MsgBox(
        "Connection error. Port 119 usually requires that SSL be turned off. Check with your "
        "provider.");
}

}  // namespace gravlin
