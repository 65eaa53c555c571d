// The console to the news server.
#include "ui/console.h"

#include "base/code.h"
#include "base/endpoints.h"
#include "engine/states.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "platform/thread.h"
#include "store/writers.h"
#include "ui/gravlin.h"

namespace gravlin {
namespace {

constexpr int kViewLimit = 10'000;
constexpr int kReturnKey = 13, kEnterKey = 3;

}  // namespace

TestServer::TestServer()
    : Window({.title = "Test Server",
              .width = 443,
              .height = 380,
              .min_width = 456,
              .min_height = 250,
              .resizable = true}),
      stServer(*this, "stServer", {20, 17, 190, 16}, "Server: not found"),
      pbConnect(*this, "pbConnect", {221, 14, 96, 22}, "Connect"),
      pbDisconnect(*this, "pbDisconnect", {327, 14, 96, 22}, "Disconnect"),
      efResponse(*this, "efResponse", {20, 48, 403, 250}),
      efCommand(*this, "efCommand", {20, 310, 315, 20}),
      pbSend(*this, "pbSend", {347, 310, 76, 22}, "Send"),
      pbHelp(*this, "pbHelp", {20, 344, 76, 22}, "Help") {
  stServer.SetAnchors({.left = true, .top = true, .right = true, .bottom = false});
  for (PushButton* button : {&pbConnect, &pbDisconnect})
    button->SetAnchors({.left = false, .top = true, .right = true, .bottom = false});
  efResponse.SetAnchors({.left = true, .top = true, .right = true, .bottom = true});
  efCommand.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  pbSend.SetAnchors({.left = false, .top = false, .right = true, .bottom = true});
  pbHelp.SetAnchors({.left = true, .top = false, .right = false, .bottom = true});
  efResponse.SetAccessibleName("Response of the server");
  efCommand.SetAccessibleName("Command");
  pbDisconnect.SetEnabled(false);

  pbConnect.Action = [this] { pbConnect_Action(); };
  pbDisconnect.Action = [this] { pbDisconnect_Action(); };
  pbSend.Action = [this] { pbSend_Action(); };
  pbHelp.Action = [this] { pbHelp_Action(); };
  efCommand.KeyDown = [this](int key) { return efCommand_KeyDown(key); };
  NewsTest.DataAvailable = [this] { NewsTest_DataAvailable(); };
}

void TestServer::Event_Open() {
  constexpr int kBetweenAttempts = 100;  // milliseconds
  DoneLoading = false;
  db = std::make_unique<Database>(Code::fGlobalDB);
  for (Control* control : std::initializer_list<Control*>{&pbConnect, &efCommand, &pbSend})
    control->SetEnabled(false);
  efCommand.SetHeight(efCommand.Height() + 2);
  tOpen.SetPeriod(kBetweenAttempts);
  tOpen.Action = [this] { tOpen_Action(); };
  tOpen.SetMode(2);
  tOpen_Action();
}

// Between two attempts the user can use all windows, and close this one.
void TestServer::tOpen_Action() {
  if (!db->Connect()) return;
  tOpen.SetMode(0);
  LoadTheServer();
  pbConnect.SetEnabled(true);
  WriteResponse(
      "For commands that return more than one line of data, such as the Help command, make sure to "
      "wait for the dot on a line by itself, which indicates that the server is done sending "
      "data." +
      Code::CRLF);
  WriteResponse("Ready.");
  DoneLoading = true;
}

void TestServer::LoadTheServer() {
  const auto server = db->SQLSelect("Select * from Servers");
  if (!server || server->EndOfFile()) {
    MsgBox("No records in Servers table");
    return;
  }
  // During an import the typed values wait for the store, and the row is the old one.
  const Gravlin* main_window = Window::IfOpen<Gravlin>();
  const bool waiting = main_window && Code::PendingWrites() > 0;
  const ServerSettings settings = waiting ? main_window->FormServer() : ServerInRow(*server);
  TheServerURL = settings.URL;
  TheServerUsername = settings.Username;
  TheServerPassword = settings.Password;
  TheServerPort = settings.Port;
  TheServerSSL = settings.SSL;
  stServer.SetText(TheServerURL);
}

void TestServer::pbConnect_Action() {
  if (TheServerURL.empty())
    MsgBox("Please set up your news server.");
  else
    Connect();
}

void TestServer::Connect() {
  WriteResponse("-->Connecting to " + TheServerURL + " " + Code::SSLCodeToString(TheServerSSL) +
                "...");
  SetServer(NewsTest, TheServerURL, TheServerPort, TheServerSSL);
  State = states::kConnect;
  NewsTest.Connect();
}

void TestServer::NewsTest_DataAvailable() {
  WriteResponse(NewsTest.ReadAll());
  if (State == states::kConnect && !TheServerUsername.empty()) {
    WriteResponse("-->Sending username...");
    State = states::kSentUsername;
    NewsTest.Write("AUTHINFO USER " + TheServerUsername + Code::CRLF);
  } else if (State == states::kSentUsername) {
    WriteResponse("-->Sending password...");
    State = states::kSentPassword;
    NewsTest.Write("AUTHINFO PASS " + TheServerPassword + Code::CRLF);
  } else if (State == states::kConnect || State == states::kSentPassword) {
    Connected();
    WriteResponse("Ready.");
    SelectAndFocusCommand();
  } else if (State == "sent command") {
    SelectAndFocusCommand();
  } else if (State == states::kSentQuit) {
    Disconnected();
  }
}

void TestServer::pbSend_Action() { SendCommand(); }

bool TestServer::efCommand_KeyDown(int key) {
  if (key == kReturnKey || key == kEnterKey) SendCommand();
  return false;
}

void TestServer::SendCommand() {
  WriteResponse("-->Sending command " + efCommand.Text() + "...");
  State = "sent command";
  NewsTest.Write(efCommand.Text() + Code::CRLF);
}

// The reply resets the buttons; the server closes the connection.  If it has done so already, no
// reply comes.
void TestServer::pbDisconnect_Action() {
  WriteResponse("-->Signing off...");
  State = states::kSentQuit;
  if (!NewsTest.Write("Quit" + Code::CRLF)) Disconnected();
}

void TestServer::pbHelp_Action() {
  ShowURL(endpoints::Vendor("/usenet/nzb/gravlin/test-server-2?source=Gravlin"));
}

void TestServer::Connected() {
  pbConnect.SetEnabled(false);
  pbDisconnect.SetEnabled(true);
  efCommand.SetEnabled(true);
  pbSend.SetEnabled(true);
  SelectAndFocusCommand();
}

void TestServer::Disconnected() {
  pbConnect.SetEnabled(true);
  pbDisconnect.SetEnabled(false);
  efCommand.SetEnabled(false);
  pbSend.SetEnabled(false);
}

void TestServer::SelectAndFocusCommand() {
  efCommand.SetSelection(0, Len(efCommand.Text()) + 1);
  efCommand.SetFocus();
}

void TestServer::WriteResponse(std::string_view text) {
  const std::string old_text = efResponse.Text();
  // Cuts as much as the new text adds, not the excess, so that the view stays near its limit.
  if (Len(old_text) + Len(text) > kViewLimit) efResponse.SetText(Mid(old_text, Len(text) + 1));
  efResponse.AppendText(std::string(text) + Code::CR);
  efResponse.SetScrollPosition(efResponse.LineNumAtCharPos(Len(efResponse.Text())));
}

}  // namespace gravlin
