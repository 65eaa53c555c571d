// The vendor's message: hidden while it is fetched, shown when it is new or was asked for.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/controls.h"
#include "platform/http_socket.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

// The message file: a line with a number, a line with a web page, then the text, whose line ends
// become CR.  Each CR and each LF ends a line: a file with CR LF has an empty web page.
struct VendorMessage {
  std::int32_t id = 0;
  std::string url, text;
};
VendorMessage ReadVendorMessage(std::string_view content);

class GetMessage : public Window {
 public:
  GetMessage();

  void Web_ReceiveProgress(std::int64_t bytes);
  void Web_PageReceived(const std::string& content);
  void pbGo_Action();

  TextArea efMessage;
  PushButton pbClose, pbGo;
  StaticText StaticText1;
  HTTPSocket Web;

  std::string URL;           // the web page of the message
  bool GetMsgAgain = false;  // the user asked; otherwise only a new message is shown
  std::unique_ptr<Database> db;

 protected:
  void Event_Open() override;
};

// At a start: fetches the message, which is shown only if it is new.
void CheckForMessage();
// Fetches the message into the window's shared instance.
void FetchMessage(bool asked_by_user);

}  // namespace gravlin
