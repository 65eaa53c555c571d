// About, the refused log-on, and the notice of compacting.
#include "ui/small_windows.h"

#include "base/code.h"
#include "base/endpoints.h"
#include "platform/desktop.h"
#include "platform/text.h"

#ifndef GRAVLIN_VERSION
#error "the build names the version"
#endif

namespace gravlin {
namespace {

constexpr Color kHomePageBlue{0x0a, 0x1a, 0xff};
constexpr Color kLinkBlue{0x00, 0x00, 0xff};

WindowStyle FixedStyle(std::string_view title, int width, int height) {
  return {.title = std::string(title), .width = width, .height = height};
}

WindowStyle CompactingStyle() {
  WindowStyle style = FixedStyle("Compacting Database File...", 393, 64);
  style.frame = Frame::kMovableModal;
  style.close_box = false;
  return style;
}

std::string WithoutQuery(const std::string& address) {
  const int query = InStr(address, "?");
  return query > 0 ? Left(address, query - 1) : address;
}

}  // namespace

About::About()
    : Window(FixedStyle("About", 428, 260)),
      stProgramName(*this, "stProgramName", {9, 14, 410, 39}, "Program Name"),
      StaticText3(*this, "StaticText3", {9, 59, 410, 20}, "by"),
      StaticText4(*this, "StaticText4", {9, 78, 410, 45}, "Ardentis"),
      StaticText6(*this, "StaticText6", {9, 126, 410, 25}, "Usenet without the wait"),
      stHomePage(*this, "stHomePage", {9, 157, 410, 31}, endpoints::Vendor("/usenet/nzb/gravlin")),
      stVersion(*this, "stVersion", {9, 196, 410, 15}, "Version"),
      StaticText1(*this, "StaticText1", {9, 227, 410, 15},
                  "Copyright 2026 Ardentis. All rights reserved.") {
  for (StaticText* text : {&stProgramName, &StaticText3, &StaticText4, &StaticText6, &stHomePage,
                           &stVersion, &StaticText1})
    text->SetAlign(Align::kCentre);
  stProgramName.SetTextSize(28);
  stProgramName.SetBold(true);
  StaticText4.SetTextSize(24);
  stVersion.SetTextSize(12);
  StaticText1.SetTextSize(12);
  stHomePage.SetTextColor(kHomePageBlue);
  stHomePage.MouseDown = [] { return true; };
  stHomePage.MouseUp = [this] { stHomePage_MouseUp(); };
}

void About::Event_Open() {
  SetWidth(Width() + 9);
  SetTitle("About Gravlin");
  stProgramName.SetText("Gravlin");
  stVersion.SetText("Version: " GRAVLIN_VERSION);
}

void About::stHomePage_MouseUp() { ShowURL(endpoints::Vendor("/usenet/nzb/gravlin")); }

ServerConnectionError::ServerConnectionError()
    : Window(FixedStyle("Connect Error", 433, 405)),
      StaticText1(*this, "StaticText1", {7, 8, 419, 65}, "Unable to Connect \nto News Server"),
      StaticText4(*this, "StaticText4", {20, 85, 393, 95},
                  "It looks like there is something wrong with the username and/or password you "
                  "have entered for the news server. So, go to Step 1 and double-check. If you "
                  "don't think that is the problem, click the link below for further information."),
      StaticText5(*this, "StaticText5", {20, 190, 393, 18}, "Error message:"),
      efErrorText(*this, "efErrorText", {20, 211, 393, 123}),
      StaticText3(*this, "StaticText3", {7, 345, 419, 25}, "Please see this web page:"),
      StaticText2(*this, "StaticText2", {7, 367, 419, 25}, WithoutQuery(Code::ServerErrorPage)) {
  for (StaticText* text : {&StaticText1, &StaticText3, &StaticText2})
    text->SetAlign(Align::kCentre);
  StaticText1.SetTextSize(24);
  efErrorText.SetAccessibleName("Error message");
  StaticText2.SetTextColor(kLinkBlue);
  StaticText2.MouseDown = [] { return true; };
  StaticText2.MouseUp = [this] { StaticText2_MouseUp(); };
}

void ServerConnectionError::Event_Open() { Code::ServerConnectionErrorOpen = true; }
void ServerConnectionError::Event_Close() { Code::ServerConnectionErrorOpen = false; }
void ServerConnectionError::StaticText2_MouseUp() { ShowURL(Code::ServerErrorPage); }

void ShowServerConnectionError(std::string_view reason) {
  auto& window = Window::Shared<ServerConnectionError>();
  window.efErrorText.SetText(reason);
  // Each retry of the watchdog comes here, when the user may be typing the right password.
  if (!window.Visible()) window.Show();
}

Compacting::Compacting()
    : Window(CompactingStyle()),
      StaticText1(*this, "StaticText1", {6, 12, 381, 32},
                  "This could take a while if your database is very large.") {
  StaticText1.SetBold(true);
  StaticText1.SetAlign(Align::kCentre);
}

}  // namespace gravlin
