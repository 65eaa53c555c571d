// What the server says, and the step that each reply leads to.
#include <algorithm>
#include <iterator>

#include "base/code.h"
#include "engine/engine_step.h"
#include "engine/gravlin.h"
#include "engine/states.h"
#include "nzb/names.h"
#include "platform/desktop.h"
#include "platform/scoped_flag.h"
#include "platform/text.h"

namespace gravlin {

// Works on the last dot, not on a fixed byte pattern, so that a buffer that ends in LF, dot, CR
// passes too: the LF that is still on its way is dropped before the next reply.
bool Usenet::EndOfResponse(std::string_view tail) {
  const int length = Len(tail);
  const int dot = Code::InstrRev(tail, ".");
  if (dot == 0 || (dot != length - 1 && dot != length - 2)) return false;
  const auto is_line_end = [&](int position) {
    const char c = tail[position - 1];
    return c == '\n' || c == '\r';
  };
  if (dot > 1 && !is_line_end(dot - 1)) return false;
  return is_line_end(dot + 1);
}

bool Gravlin::ReplyIsWhole() const {
  const std::string_view all = News.Lookahead();
  return Usenet::EndOfResponse(all.substr(all.size() - std::min<std::size_t>(all.size(), 5)));
}

// The exchange: which reply leads to which step.  Read from top to bottom; the first row that fits
// the state and the beginning of the reply acts, and in any other state data waits.
struct Gravlin::ReplyRow {
  std::string_view state;
  std::string_view begins;  // what the reply begins with; "" fits every one
  void (Gravlin::*act)(std::string_view code);
  std::size_t needs = 3;  // bytes of the reply, before which nothing is judged
};

const Gravlin::ReplyRow Gravlin::kReplies[] = {
    {states::kConnect, "20", &Gravlin::Greeted},
    {states::kConnect, "", &Gravlin::GreetingRefused},
    {states::kSentUsername, "381", &Gravlin::UsernameTaken},
    {states::kSentUsername, "", &Gravlin::UsernameRefused},
    {states::kSentPassword, "281", &Gravlin::PasswordTaken},
    {states::kSentPassword, "", &Gravlin::PasswordRefused},
    {states::kSentGroup, "4", &Gravlin::GroupRefused},
    {states::kSentGroup, "", &Gravlin::GroupTaken},
    {states::kSentArticle, "4", &Gravlin::ArticleRefused},
    {states::kSentArticle, "", &Gravlin::ArticleComes},
    {states::kReceivingArticle, "", &Gravlin::MoreOfArticle, 0},
    {states::kSentQuit, "", &Gravlin::SignedOff, 0},
};

void Gravlin::News_DataAvailable() {
  if (!may::TakeData(CurrentSituation())) {
    data_waiting_ = true;
    return;
  }
  const EngineStep step(*this);
  const auto in_this_state = [this](const ReplyRow& row) { return row.state == State; };
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

void Gravlin::Greeted(std::string_view) {
  if (TheServerUsername.empty()) {
    // The greeting stays in the buffer: the next command's own preparation clears and refreshes.
    LoggedOn("News.DataAvailable connect");
    return;
  }
  ClearNewsBuffer();
  SetDeadline();
  stStatus.SetText("Sending username...");
  WriteDebug("News.DataAvailable connect",
             "Sending command to server: AUTHINFO USER " + TheServerUsername);
  Send("AUTHINFO USER " + TheServerUsername);
  State = states::kSentUsername;
}

void Gravlin::GreetingRefused(std::string_view) {
  const std::string text = TakeReply();
  stStatus.SetText(text);
  WriteDebug("News.DataAvailable connect", "Error: " + text);
}

void Gravlin::UsernameTaken(std::string_view) {
  ClearNewsBuffer();
  SetDeadline();
  stStatus.SetText("Sending password...");
  WriteDebug("News.DataAvailable sent username", "Sending command to server: AUTHINFO PASS ");
  Send("AUTHINFO PASS " + TheServerPassword);
  State = states::kSentPassword;
}

void Gravlin::UsernameRefused(std::string_view) {
  RefuseLogOn("News.DataAvailable connect",
              "Error when sending username. Response from news server: ");
}

void Gravlin::PasswordTaken(std::string_view) {
  ClearNewsBuffer();
  SetDeadline();
  LoggedOn("News.DataAvailable sent password");
}

void Gravlin::PasswordRefused(std::string_view) {
  RefuseLogOn("News.DataAvailable sent username",
              "Error when sending password. Response from news server: ");
}

void Gravlin::LoggedOn(std::string_view log_label) {
  stStatus.SetText("Logged on.");
  WriteDebug(log_label, "Logged on.");
  logged_on_ = true;
  // While a file that was complete at launch is assembled, the tick that takes its end goes on.
  if (may::BeginNextFile(CurrentSituation()))
    GetNextFile();
  else
    TheTimer.FireSoon();
}

void Gravlin::RefuseLogOn(std::string_view log_label, std::string_view log_prefix) {
  const std::string text = TakeReply();
  stStatus.SetText(text);
  WriteDebug(log_label, std::string(log_prefix) + text);
  ShowServerConnectionError(stStatus.Text());
}

void Gravlin::GroupTaken(std::string_view) {
  stStatus.SetText("Group selected");
  WriteDebug("News.DataAvailable sent group", "Group selected");
  GroupSelected();
}

void Gravlin::GroupRefused(std::string_view) {
  const std::string text = TakeReply();
  stStatus.SetText(text);
  WriteDebug("News.DataAvailable sent group", text);
  ++iGroups;
  InitGroup();
}

void Gravlin::ArticleRefused(std::string_view code) {
  stStatus.SetText("Error receiving article: " + std::string(code));
  stStatus.Refresh();
  RecordError(code);
  WriteDebug("News.DataAvailable sent article", stStatus.Text());
  ++PartsDone;
  UpdateBar1();
  GetNextArticle();
}

void Gravlin::ArticleComes(std::string_view) {
  if (!ReplyIsWhole()) {
    SetDeadline();
    State = states::kReceivingArticle;
    return;
  }
  // Adds nothing to SessionBytes, unlike the tick: the estimate of the time left counts only
  // articles that took more than one event.
  stStatus.SetText("Article received.");
  stStatus.Refresh();
  TakeReply(ArticleBody);
  GotArticle();
}

// The tick alone ends a long article; here the tick is only asked for at once.
void Gravlin::MoreOfArticle(std::string_view) {
  SetDeadline();
  if (ReplyIsWhole()) TheTimer.FireSoon();
}

void Gravlin::SignedOff(std::string_view) { Stop(); }

// The watchdog starts a lost session anew; this only reports.
void Gravlin::News_Error() {
  // Behind the sign-off the server hangs up, as it should.
  if (State != states::kSentQuit && State != states::kLoggedOff)
    WriteDebug("News.Error", News.ErrorText());
  if (News.IsConnected()) return;
  if (News.HandshakeFailed())
    stStatus.SetText("No secure connection to " + TheServerURL + ": " + News.ErrorText());
  else if (News.NotReached() && State == states::kConnect)
    stStatus.SetText("Could not connect to " + TheServerURL + ": " + News.ErrorText());
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
