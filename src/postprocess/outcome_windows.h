// The small windows that the repair and the extraction window open.
#pragma once

#include <memory>
#include <string_view>

#include "platform/controls.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

// Advice when three attempts to start par2 have failed; ends nothing.
class ParFailed : public Window {
 public:
  ParFailed();
  void pbGo_Action();
  StaticText StaticText1;
  PushButton pbGo;
};

// The same for unrar.
class RarFailed : public Window {
 public:
  RarFailed();
  void pbGo_Action();
  StaticText StaticText1;
  PushButton pbGo;
};

// The comment of one archive.  The user may edit it; nothing keeps the edits.
class RarNotes : public Window {
 public:
  RarNotes();
  TextArea efComment;
};

// What to do with extracted files, until the user has ticked the box away.
class AfterRAR : public Window {
 public:
  AfterRAR();
  void pbGo_Action();
  StaticText StaticText1;
  PushButton pbGo;
  CheckBox boxShow;
  std::unique_ptr<Database> db;

 protected:
  void Event_Open() override;
  void Event_Close() override;
};

}  // namespace gravlin
