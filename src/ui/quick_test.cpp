// The quick test of the wizard: a log-on and nothing else, on a socket of its own.
#include "base/code.h"
#include "engine/states.h"
#include "platform/application.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "ui/gravlin.h"

namespace gravlin {

void Gravlin::pbTest_Action() {
  // Nothing else ends the connection of an earlier test.
  NewsTest.Close();
  TakeServer();
  if (Application::Quitting()) return;
  if (TheServerURL.empty())
    MsgBox("Please set up your news server.");
  else
    ConnectTest();
}

void Gravlin::ConnectTest() {
  const bool secure = TheSSLSetting != kPlainTcp;
  // Warnings only: the attempt is made all the same.
  if (!secure && TheServerPort == 563)
    MsgBox("Port 563 usually requires that SSL be turned on. Check with your provider.");
  if (secure && TheServerPort == 119)
    MsgBox("Port 119 usually requires that SSL be turned off. Check with your provider.");
  WriteResponse("Connecting to " + TheServerURL + " on port " + Str(TheServerPort) + " " +
                Code::SSLCodeToString(TheSSLSetting) + "...");
  SetServer(NewsTest, TheServerURL, TheServerPort, TheSSLSetting);
  StateTest = states::kConnect;
  NewsTest.Connect();
}

void Gravlin::NewsTest_DataAvailable() {
  const std::string reply = NewsTest.ReadAll();
  const std::string code = gravlin::Left(reply, 3);
  WriteResponse(reply);
  if (StateTest == states::kConnect) {
    // Any first data counts as the greeting.
    if (TheServerUsername.empty()) {
      WriteResponse("Connected to server.");
      return;
    }
    WriteResponse("-->Sending username...");
    StateTest = states::kSentUsername;
    NewsTest.Write("AUTHINFO USER " + TheServerUsername + Code::CRLF);
  } else if (StateTest == states::kSentUsername) {
    if (code != "381") {
      WriteResponse("Invalid Username");
      return;
    }
    WriteResponse("-->Sending password...");
    StateTest = states::kSentPassword;
    NewsTest.Write("AUTHINFO PASS " + TheServerPassword + Code::CRLF);
  } else if (StateTest == states::kSentPassword) {
    WriteResponse(code == "281" ? "Connected to server." : "Invalid Username or Password");
  }
}

void Gravlin::WriteResponse(std::string_view text) { stTest.SetText(text); }

}  // namespace gravlin
