// The session's own steps: log-on, reconnect, the group, Stop, and what is sent.
#include "base/code.h"
#include "engine/active_files.h"
#include "engine/gravlin.h"
#include "engine/ssl_choices.h"
#include "engine/states.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/writers.h"

namespace gravlin {

void Gravlin::LoadServer() {
  const auto server = db->SQLSelect("Select * from Servers");
  if (!server || server->EndOfFile()) {
    MsgBox("No records in Servers table");
    return;
  }
  const std::string ssl = server->Field("SSL").StringValue();
  FillServerForm(*server, SSLMenuIndex(ssl));
  TheServerURL = server->Field("URL").StringValue();
  TheServerUsername = server->Field("Username").StringValue();
  TheServerPassword = server->Field("Password").StringValue();
  TheServerPort = server->Field("Port").IntegerValue();
  TheSSLSetting = Code::SSLStringToCode(ssl);
}

// The form is saved in the background at every keystroke.  Reading the row before the last save has
// reached it would put the older text back into the form, and into the store.
void Gravlin::TakeServer() {
  if (Code::AwaitWrites()) {
    LoadServer();
    return;
  }
  const ServerSettings server = FormServer();
  TheServerURL = server.URL;
  TheServerUsername = server.Username;
  TheServerPassword = server.Password;
  TheServerPort = server.Port;
  TheSSLSetting = server.SSL;
}

ServerSettings Gravlin::FormServer() const {
  return {.URL = efURL.Text(),
          .Username = efUserName.Text(),
          .Password = efPassword.Text(),
          .Port = ToInt32(Val(efPort.Text())),
          .SSL = Code::SSLStringToCode(SSLColumn(pmSSL.ListIndex()))};
}

void Gravlin::LogOn() {
  if (List.ListCount() == 0) {
    MsgBox("You must import an NZB file first.");
    return;
  }
  SetDeadline();
  SetRunning(true);
  mb = 0;
  stMB.SetText("mb: 0.0");
  stTime.SetText("00:00:00");
  stTime.SetHelpTag("Time left");
  TakeServer();
  // Stop may have come meanwhile; the tick ends the sign-off.
  if (!may::Connect(CurrentSituation())) return;
  if (Code::DebugOn) StartDebugMode();
  stStatus.SetText("Connecting to " + TheServerURL + "...");
  News.SetAddress(TheServerURL);
  News.SetPort(TheServerPort);
  News.SetSecure(TheSSLSetting != kPlainTcp);
  if (TheSSLSetting != kPlainTcp) News.SetConnectionType(TheSSLSetting);
  WriteDebug("Gravlin.LogOn Connecting to ", TheServerURL + " on port " + Str(TheServerPort) + " " +
                                                 Code::SSLCodeToString(TheSSLSetting) + "...");
  State = states::kConnect;
  logged_on_ = false;
  rest_of_line_ = 0;
  News.Connect();
}

// The socket keeps the security that LogOn gave it, or gets more: the fields may have been changed
// by a test of the server, and the new password is not to go out in the clear.
void Gravlin::Reconnect() {
  Reconecting = true;
  News.Close();
  ClearNewsBuffer();
  SetDeadline();
  const std::string text = "Trying to reconnect to " + TheServerURL + "...";
  stStatus.SetText(text);
  WriteDebug("Reconnect", text);
  News.SetAddress(TheServerURL);
  News.SetPort(TheServerPort);
  if (TheSSLSetting != kPlainTcp) News.SetSecure(true);
  State = states::kConnect;
  logged_on_ = false;
  rest_of_line_ = 0;
  News.Connect();
}

Situation Gravlin::CurrentSituation() const {
  return {.step = engine_depth_ > 0,
          .running = running_,
          .logged_on = logged_on_,
          .signing_off = signing_off_,
          .thread_flag = ThreadFlag,
          .assembling = Assembling,
          .decoding = Decoding,
          .joining = ConcatRunning,
          .assemblies = Concats,
          .loading_list = loading_list_,
          .quitting = Application::Quitting()};
}

void Gravlin::SetRunning(bool running) {
  running_ = running;
  TheTimer.SetMode(running ? 2 : 0);
}

void Gravlin::ShowStartButton(bool stops) {
  button_stops_ = stops;
  pbStart.SetCaption(stops ? "Stop" : "Start");
}

void Gravlin::InitGroup() {
  ClearNewsBuffer();
  SetDeadline();
  if (iGroups >= static_cast<std::int32_t>(Groups.size())) {
    const std::string text =
        "Couldn't select group for file: " + TheFilename + ". Will try  to retrieve posts anyway.";
    stStatus.SetText(text);
    WriteDebug("InitGroup", text);
    GetNextArticle();
    return;
  }
  const std::string& group = Groups[iGroups];
  State = states::kSentGroup;
  stStatus.SetText("Selecting group: " + group);
  WriteDebug("InitGroup", "Sending Command: GROUP " + group);
  Send("GROUP " + group);
}

void Gravlin::GroupSelected() { GetNextArticle(); }

// The timer keeps running: its tick ends a sign-off that gets no answer.
void Gravlin::StopScanning() {
  pbStart.SetEnabled(false);
  signing_off_ = true;
  ClearNewsBuffer();
  SetDeadline();
  stStatus.SetText("Signing off...");
  State = states::kSentQuit;
  // The end of an assembly would go on to the next file, and Stop be forgotten.
  logged_on_ = false;
  Code::RemoveFromActiveFiles(PartFileName);
  WriteDebug("StopScanning", "Sending command: Quit");
  Send("Quit");
}

void Gravlin::Stop() {
  News.Disconnect();
  logged_on_ = signing_off_ = false;
  SetRunning(false);
  Code::RemoveFromActiveFiles(PartFileName);
  ShowStartButton(false);
  pbStart.SetEnabled(may::Start(CurrentSituation()));
  State = states::kLoggedOff;
  stStatus.SetText(OverText());
}

void Gravlin::Send(std::string_view command) { News.Write(std::string(command) + Code::CRLF); }

void Gravlin::ClearNewsBuffer() {
  NoteRestOfLine(News.Lookahead());
  News.Discard(News.Lookahead().size());
}

// Moves what has come of a reply out of the socket.
std::string Gravlin::TakeReply() {
  std::string text;
  TakeReply(text);
  return text;
}

// The same without a copy: the memory of `to` serves the next reply.
void Gravlin::TakeReply(std::string& to) {
  News.ReadAll(to);
  NoteRestOfLine(to);
}

// A reply is judged by its first three bytes, so it may be acted on, and consumed, while the end of
// its line is still on its way.  What follows must not be taken for the beginning of the next
// reply.
void Gravlin::NoteRestOfLine(std::string_view consumed) {
  if (consumed.empty()) return;
  const char last = consumed.back();
  rest_of_line_ = last == '\n' ? '\0' : last == '\r' ? '\r' : '\n';
}

// Drops what NoteRestOfLine announced: all bytes to the LF, or after a CR just an LF, since a
// server may end its lines with the CR alone.
void Gravlin::DropRestOfLine() {
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
