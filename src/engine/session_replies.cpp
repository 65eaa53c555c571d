// What the server says, and the step that each reply leads to.
#include "base/code.h"
#include "engine/engine_step.h"
#include "engine/gravlin.h"
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

void Gravlin::News_DataAvailable() {
  if (engine_depth_ > 0) {
    data_waiting_ = true;
    return;
  }
  const EngineStep step(*this);
  if (State == "sent quit") {
    Stop();
    return;
  }
  if (State == "receiving article") {
    SetDeadline();
    // The end is dealt with by the tick alone; it is only brought forward.
    if (ReplyIsWhole()) TheTimer.FireSoon();
    return;
  }
  if (State != "connect" && State != "sent username" && State != "sent password" &&
      State != "sent group" && State != "sent article")
    return;
  DropRestOfLine();
  const std::string code(News.Lookahead().substr(0, 3));
  if (code.size() < 3) return;  // the rest raises the event again
  if (State == "sent group")
    AnswerGroup(code);
  else if (State == "sent article")
    AnswerArticle(code);
  else
    AnswerConnect(code);
}

void Gravlin::AnswerConnect(std::string_view code) {
  if (State == "connect") {
    if (code.substr(0, 2) != "20") {
      const std::string text = TakeReply();
      stStatus.SetText(text);
      WriteDebug("News.DataAvailable connect", "Error: " + text);
    } else if (TheServerUsername.empty()) {
      // The greeting stays in the buffer: the next command's own preparation clears and refreshes.
      LoggedOn("News.DataAvailable connect");
    } else {
      ClearNewsBuffer();
      SetDeadline();
      stStatus.SetText("Sending username...");
      WriteDebug("News.DataAvailable connect",
                 "Sending command to server: AUTHINFO USER " + TheServerUsername);
      Send("AUTHINFO USER " + TheServerUsername);
      State = "sent username";
    }
  } else if (State == "sent username") {
    if (code != "381") {
      RefuseLogOn("News.DataAvailable connect",
                  "Error when sending username. Response from news server: ");
      return;
    }
    ClearNewsBuffer();
    SetDeadline();
    stStatus.SetText("Sending password...");
    WriteDebug("News.DataAvailable sent username", "Sending command to server: AUTHINFO PASS ");
    Send("AUTHINFO PASS " + TheServerPassword);
    State = "sent password";
  } else {
    if (code != "281") {
      RefuseLogOn("News.DataAvailable sent username",
                  "Error when sending password. Response from news server: ");
      return;
    }
    ClearNewsBuffer();
    SetDeadline();
    LoggedOn("News.DataAvailable sent password");
  }
}

void Gravlin::LoggedOn(std::string_view log_label) {
  stStatus.SetText("Logged on.");
  WriteDebug(log_label, "Logged on.");
  logged_on_ = true;
  // A file that was complete at launch is being assembled, or was and no tick has taken it yet. The
  // tick that does so goes to the next file; going there twice would leave out a file and mix the
  // replies of two commands.
  if (ThreadFlag || Concats > 0)
    TheTimer.FireSoon();
  else
    GetNextFile();
}

void Gravlin::RefuseLogOn(std::string_view log_label, std::string_view log_prefix) {
  const std::string text = TakeReply();
  stStatus.SetText(text);
  WriteDebug(log_label, std::string(log_prefix) + text);
  ShowServerConnectionError(stStatus.Text());
}

void Gravlin::AnswerGroup(std::string_view code) {
  if (code.front() != '4') {
    stStatus.SetText("Group selected");
    WriteDebug("News.DataAvailable sent group", "Group selected");
    GroupSelected();
    return;
  }
  const std::string text = TakeReply();
  stStatus.SetText(text);
  WriteDebug("News.DataAvailable sent group", text);
  ++iGroups;
  InitGroup();
}

void Gravlin::AnswerArticle(std::string_view code) {
  if (code.front() == '4') {
    stStatus.SetText("Error receiving article: " + std::string(code));
    stStatus.Refresh();
    RecordError(code);
    WriteDebug("News.DataAvailable sent article", stStatus.Text());
    ++PartsDone;
    UpdateBar1();
    GetNextArticle();
  } else if (ReplyIsWhole()) {
    // Adds nothing to SessionBytes, unlike the tick: the estimate of the time left counts only
    // articles that took more than one event.
    stStatus.SetText("Article received.");
    stStatus.Refresh();
    TakeReply(ArticleBody);
    GotArticle();
  } else {
    SetDeadline();
    State = "receiving article";
  }
}

// The watchdog starts a lost session anew; this only tells.
void Gravlin::News_Error() {
  // Behind the sign-off the server hangs up, as it should.
  if (State != "sent quit" && State != "logged off") WriteDebug("News.Error", News.ErrorText());
  if (News.IsConnected()) return;
  if (News.HandshakeFailed())
    stStatus.SetText("No secure connection to " + TheServerURL + ": " + News.ErrorText());
  else if (News.NotReached() && State == "connect")
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
