// A console to the news server: logs on, then sends whatever is typed and shows whatever comes,
// without interpreting it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/server_settings.h"
#include "platform/controls.h"
#include "platform/ssl_socket.h"
#include "platform/timer.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

class TestServer : public Window {
 public:
  TestServer();

  void LoadTheServer();
  void pbConnect_Action();
  void pbDisconnect_Action();
  void pbSend_Action();
  void pbHelp_Action();
  bool efCommand_KeyDown(int key);
  void NewsTest_DataAvailable();
  void Connect();
  void Connected();
  void Disconnected();
  void SelectAndFocusCommand();
  void SendCommand();
  // Adds a line; the view is limited to about ten thousand characters.
  void WriteResponse(std::string_view text);

  StaticText stServer;
  PushButton pbConnect, pbDisconnect;
  TextArea efResponse;
  TextField efCommand;
  PushButton pbSend, pbHelp;
  SSLSocket NewsTest;

  // "connect", "sent username", "sent password", "sent command" or "sent quit".
  std::string State;
  std::string TheServerURL, TheServerUsername, TheServerPassword;
  std::int32_t TheServerPort = 0;
  std::int32_t TheServerSSL = kPlainTcp;
  bool DoneLoading = false;
  std::unique_ptr<Database> db;

 protected:
  void Event_Open() override;
  void Event_Close() override { tOpen.SetMode(0); }

 private:
  void tOpen_Action();
  Timer tOpen;  // tries to open the store, until that succeeds
};

}  // namespace gravlin
