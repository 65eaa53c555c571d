// The menu commands.
#include "app/app.h"
#include "base/code.h"
#include "platform/desktop.h"
#include "platform/thread.h"
#include "platform/window.h"
#include "postprocess/hand_off.h"
#include "store/database.h"
#include "store/writers.h"
#include "ui/console.h"
#include "ui/file_types_window.h"
#include "ui/menu_main.h"
#include "ui/message_window.h"
#include "ui/small_windows.h"

namespace gravlin {

void App::BindMenu() {
  MenuMain.EnableMenuItems = [this] { Event_EnableMenuItems(); };
  const auto bind = [this](const char* item, bool (App::*command)()) {
    MenuMain.Bind(item, [this, command] { return (this->*command)(); });
  };
  bind("mSetupFileTypes", &App::_mSetupFileTypes_Action);
  bind("mToolzRAR", &App::_mToolzRAR_Action);
  bind("mToolzPAR", &App::_mToolzPAR_Action);
  bind("mExit", &App::_mExit_Action);
  bind("mAbout", &App::_mAbout_Action);
  bind("mCompactDataba", &App::_mCompactDataba_Action);
  bind("mGetMessage", &App::_mGetMessage_Action);
  bind("mDebugMode", &App::_mDebugMode_Action);
  bind("mProgramFolder", &App::_mProgramFolder_Action);
  bind("mAppDataFolder", &App::_mAppDataFolder_Action);
  bind("mConvertExit", &App::_mConvertExit_Action);  // no item has this name, so it is never called
  bind("mTestServer", &App::_mTestServer_Action);
}

void App::Event_EnableMenuItems() {
  try {
    if (MenuItem* item = MenuMain.Find("mExit")) item->SetText("Quit");
    if (MenuItem* item = MenuMain.Find("mDebugMode")) item->SetChecked(Code::DebugOn);
  } catch (const std::exception&) {
    // A menu that cannot be updated still opens.
  }
}

bool App::_mSetupFileTypes_Action() {
  Window::Shared<FileTypesWin>().Show();
  return false;
}

bool App::_mToolzRAR_Action() {
  OpenRarWindow();
  return false;
}

bool App::_mToolzPAR_Action() {
  OpenParWindow();
  return false;
}

bool App::_mExit_Action() {
  Quit();
  return false;
}

bool App::_mConvertExit_Action() { return _mExit_Action(); }

bool App::_mAbout_Action() {
  Window::Shared<About>().Show();
  return false;
}

// Takes no lock and does not ask whether a download is running.
bool App::_mCompactDataba_Action() {
  constexpr int kOkCancelCaution = 49, kOk = 1;
  if (MsgBox("This will compact your Gravlin.rsd database file. No data will be lost.",
             kOkCancelCaution, "Gravlin.") != kOk)
    return false;
  Window::Shared<Compacting>().Show();
  constexpr int kRounds = 11, kRound = 10;  // milliseconds
  // Lets the window be painted.  The display asks for that from outside, which takes a moment.
  for (int round = 0; round < kRounds; ++round) {
    DoEvents();
    Thread::Sleep(kRound);
  }
  Database db(Code::fGlobalDB);
  if (db.Connect()) {
    db.SQLExecute("VACUUM");
    Window::Shared<Compacting>().Close();
    MsgBox(db.Error() ? "The database file could not be compacted: " + db.ErrorMessage() + "."
                      : "All Done.");
  } else {
    MsgBox("Can't connect to database file.");
    Window::Shared<Compacting>().Close();
  }
  return false;
}

bool App::_mGetMessage_Action() {
  Code::GotMessage = true;
  FetchMessage(true);
  return false;
}

bool App::_mDebugMode_Action() {
  Code::DebugOn = !Code::DebugOn;
  Code::SaveToDB(
      {std::string("Update Settings Set DebugOn='") + (Code::DebugOn ? "True" : "False") + "'"},
      "none");
  return false;
}

bool App::_mProgramFolder_Action() {
  Code::fApp.Launch();
  return false;
}

bool App::_mAppDataFolder_Action() {
  Code::AppDataFolder.Launch();
  return false;
}

bool App::_mTestServer_Action() {
  Window::Shared<TestServer>().Show();
  return true;
}

}  // namespace gravlin
