// The session's own steps: log-on, reconnect, the group, Stop, and what is sent.
#include "base/code.h"
#include "engine/active_files.h"
#include "engine/engine.h"
#include "engine/run_view.h"
#include "engine/states.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/database.h"
#include "store/writers.h"

namespace gravlin {

void Engine::LoadServer() {
  const auto server = db->SQLSelect("Select * from Servers");
  if (!server || server->EndOfFile()) {
    MsgBox("No records in Servers table");
    return;
  }
  view_.FillServerForm(*server);
  UseServer(ServerInRow(*server));
}

// The form is saved in the background at every keystroke.  Reading the row before the last save has
// reached it would put the older text back into the form, and into the store.
void Engine::TakeServer() {
  if (Code::AwaitWrites())
    LoadServer();
  else
    UseServer(view_.FormServer());
}

void Engine::UseServer(const ServerSettings& server) {
  TheServerURL = server.URL;
  TheServerUsername = server.Username;
  TheServerPassword = server.Password;
  TheServerPort = server.Port;
  TheSSLSetting = server.SSL;
}

void Engine::LogOn() {
  if (List.ListCount() == 0) {
    MsgBox("You must import an NZB file first.");
    return;
  }
  SetDeadline();
  signing_off_ = false;  // a sign-off without a run has no end
  SetRunning(true);
  mb = 0;
  view_.ShowMegabytes(mb);
  view_.ShowTimeLeft(0);
  view_.ShowAdvice({});
  TakeServer();
  // Stop may have come meanwhile; the tick ends the sign-off.
  if (!may::Connect(CurrentSituation())) return;
  if (Code::DebugOn) StartDebugMode();
  SetStatus("Connecting to " + TheServerURL + "...");
  SetServer(News, TheServerURL, TheServerPort, TheSSLSetting);
  WriteDebug("Gravlin.LogOn Connecting to ", TheServerURL + " on port " + Str(TheServerPort) + " " +
                                                 Code::SSLCodeToString(TheSSLSetting) + "...");
  Connect();
}

// The socket keeps the security that LogOn gave it, or gets more: the fields may have been changed
// by a test of the server, and the new password is not to go out in the clear.
void Engine::Reconnect() {
  Reconecting = true;
  News.Close();
  ClearNewsBuffer();
  SetDeadline();
  const std::string text = "Trying to reconnect to " + TheServerURL + "...";
  SetStatus(text);
  WriteDebug("Reconnect", text);
  News.SetAddress(TheServerURL);
  News.SetPort(TheServerPort);
  if (TheSSLSetting != kPlainTcp) News.SetSecure(true);
  Connect();
}

void Engine::Connect() {
  EnterState(states::kConnect);
  logged_on_ = false;
  rest_of_line_ = 0;
  News.Connect();
}

void Engine::LoggedOn(std::string_view log_label) {
  SetStatus("Logged on.");
  WriteDebug(log_label, "Logged on.");
  logged_on_ = true;
  // While a file that was complete at launch is assembled, the tick that takes its end goes on.
  if (may::BeginNextFile(CurrentSituation()))
    GetNextFile();
  else
    TheTimer.FireSoon();
}

void Engine::EnterState(std::string_view state) { state_ = state; }

void Engine::SetRunning(bool running) {
  running_ = running;
  if (!running) logged_on_ = false;
  TheTimer.SetMode(running ? 2 : 0);
}

void Engine::SetStartButton(bool stops) {
  button_stops_ = stops;
  view_.ShowStartButton(stops);
}

void Engine::AllowStart() {
  const Situation now = CurrentSituation();
  if (may::ChangeStart(now)) view_.EnableStartButton(may::Start(now));
}

void Engine::InitGroup() {
  ClearNewsBuffer();
  SetDeadline();
  if (iGroups >= static_cast<std::int32_t>(Groups.size())) {
    const std::string text =
        "Couldn't select group for file: " + TheFilename + ". Will try  to retrieve posts anyway.";
    SetStatus(text);
    WriteDebug("InitGroup", text);
    GetNextArticle();
    return;
  }
  const std::string& group = Groups[iGroups];
  EnterState(states::kSentGroup);
  SetStatus("Selecting group: " + group);
  WriteDebug("InitGroup", "Sending Command: GROUP " + group);
  Send("GROUP " + group);
}

void Engine::GroupSelected() { GetNextArticle(); }

// The timer keeps running: its tick ends a sign-off that gets no answer.
void Engine::StopScanning() {
  view_.EnableStartButton(false);
  signing_off_ = true;
  ClearNewsBuffer();
  SetDeadline();
  SetStatus("Signing off...");
  EnterState(states::kSentQuit);
  // The end of an assembly would go on to the next file, and Stop be forgotten.
  logged_on_ = false;
  Code::RemoveFromActiveFiles(PartFileName);
  WriteDebug("StopScanning", "Sending command: Quit");
  Send("Quit");
}

void Engine::Stop() {
  News.Disconnect();
  logged_on_ = signing_off_ = false;
  SetRunning(false);
  Code::RemoveFromActiveFiles(PartFileName);
  SetStartButton(false);
  AllowStart();
  EnterState(states::kLoggedOff);
  SetStatus(OverText());
}

void Engine::Send(std::string_view command) { News.Write(std::string(command) + Code::CRLF); }

void Engine::ClearNewsBuffer() {
  NoteRestOfLine(News.Lookahead());
  News.Discard(News.Lookahead().size());
}

// Moves what has come of a reply out of the socket.
std::string Engine::TakeReply() {
  std::string text;
  TakeReply(text);
  return text;
}

// The same without a copy: the memory of `to` serves the next reply.
void Engine::TakeReply(std::string& to) {
  News.ReadAll(to);
  NoteRestOfLine(to);
}

// A reply is judged by its first three bytes, so it may be acted on, and consumed, while the end of
// its line is still on its way.  What follows must not be taken for the beginning of the next
// reply.
void Engine::NoteRestOfLine(std::string_view consumed) {
  if (consumed.empty()) return;
  const char last = consumed.back();
  rest_of_line_ = last == '\n' ? '\0' : last == '\r' ? '\r' : '\n';
}

// Drops what NoteRestOfLine announced: all bytes to the LF, or after a CR just an LF, since a
// server may end its lines with the CR alone.
void Engine::DropRestOfLine() {
  const std::string_view waiting = News.Lookahead();
  if (rest_of_line_ == 0 || waiting.empty()) return;
  if (rest_of_line_ == '\r') {
    if (waiting.front() == '\n') News.Discard(1);
    rest_of_line_ = 0;
    return;
  }
  const std::size_t end = waiting.find('\n');
  if (end != std::string_view::npos) rest_of_line_ = 0;
  News.Discard(end == std::string_view::npos ? waiting.size() : end + 1);
}

}  // namespace gravlin
