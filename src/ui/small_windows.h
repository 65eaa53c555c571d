// Three windows with little logic of their own.
#pragma once

#include "platform/controls.h"
#include "platform/window.h"

namespace gravlin {

class About : public Window {
 public:
  About();
  void stHomePage_MouseUp();

  StaticText stProgramName, StaticText3, StaticText4, StaticText6, stHomePage, stVersion,
      StaticText1;

 protected:
  void Event_Open() override;
};

// The log-on was refused: what a user with a wrong password sees first.
class ServerConnectionError : public Window {
 public:
  ServerConnectionError();
  void StaticText2_MouseUp();

  StaticText StaticText1, StaticText4, StaticText5;
  TextArea efErrorText;
  StaticText StaticText3, StaticText2;

 protected:
  void Event_Open() override;
  void Event_Close() override;
};

// Shows the window ServerConnectionError with a reason.
void ShowServerConnectionError(std::string_view reason);

// Shown while the store is being compacted.
class Compacting : public Window {
 public:
  Compacting();
  StaticText StaticText1;
};

}  // namespace gravlin
