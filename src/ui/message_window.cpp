// The vendor's message: fetched, compared with the last one, shown.
#include "ui/message_window.h"

#include <vector>

#include "base/code.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "store/writers.h"

namespace gravlin {
GetMessage::GetMessage()
    : Window({.title = "Message From Ardentis",
              .width = 413,
              .height = 257,
              .min_width = 413,
              .min_height = 230,
              .frame = Frame::kMovableModal,
              .resizable = true}),
      efMessage(*this, "efMessage", {20, 14, 373, 144}),
      pbClose(*this, "pbClose", {20, 172, 80, 28}, "Close"),
      pbGo(*this, "pbGo", {313, 170, 80, 28}, "Go!"),
      StaticText1(*this, "StaticText1", {21, 212, 372, 37},
                  "You can re-open this window at any time by going onto the Help menu and then to "
                  "\"Get Message From Ardentis.\"") {
  efMessage.SetAnchors({.left = true, .top = true, .right = true, .bottom = true});
  efMessage.SetAccessibleName("Message");
  pbClose.SetAnchors({.left = true, .top = false, .right = false, .bottom = true});
  pbGo.SetAnchors({.left = false, .top = false, .right = true, .bottom = true});
  StaticText1.SetAnchors({.left = true, .top = false, .right = true, .bottom = true});
  pbGo.SetEnabled(false);
  pbClose.Action = [this] { Close(); };
  pbGo.Action = [this] { pbGo_Action(); };
  Web.ReceiveProgress = [this](std::int64_t bytes, std::int64_t, std::string_view) {
    Web_ReceiveProgress(bytes);
  };
  Web.PageReceived = [this](std::string_view, int, std::string_view, const std::string& content) {
    Web_PageReceived(content);
  };
}

void GetMessage::Event_Open() {
  pbClose.SetHeight(20);
  pbGo.SetHeight(20);
  db = std::make_unique<Database>(Code::fGlobalDB);
  // The name of a former store, which users know the message by.
  if (!db->Connect()) MsgBox("Can't open Harbinet.sdb database file.");
}

void GetMessage::Web_ReceiveProgress(std::int64_t bytes) {
  efMessage.AppendText(Code::CRLF + Str(bytes));
}

VendorMessage ReadVendorMessage(std::string_view content) {
  const std::string page = ReplaceAll(content, "\n", "\r");
  const std::vector<std::string> lines = Split(page, "\r");
  VendorMessage message;
  if (!lines.empty()) message.id = ToInt32(Val(lines[0]));
  if (lines.size() > 1) message.url = lines[1];
  // After the two lines, each with one character for its end; the number has the length of its
  // text.
  message.text = Mid(page, Len(Str(message.id)) + Len(message.url) + 3);
  return message;
}

void GetMessage::Web_PageReceived(const std::string& content) {
  const auto [id, url, text] = ReadVendorMessage(content);
  if (id <= Code::ArdentisMessageID && !GetMsgAgain) {
    Close();
    return;
  }
  Code::ArdentisMessageID = id;
  Code::SaveToDB({"Update Settings Set LastMessageID=" + Str(id)}, "none");
  if (Code::FirstRun && !GetMsgAgain) return;
  URL = url;
  efMessage.SetText(text);
  Show();
  pbGo.SetEnabled(true);
  pbGo.SetFocus();
}

void GetMessage::pbGo_Action() { ShowURL(URL); }

void FetchMessage(bool asked_by_user) {
  auto& window = Window::Shared<GetMessage>();
  window.GetMsgAgain = asked_by_user;
  window.Web.Get(Code::MessageFileURL);
}

void CheckForMessage() { FetchMessage(false); }

}  // namespace gravlin
