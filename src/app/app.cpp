// The start, from the folders and the store to the main window; documents and quitting.
#include "app/app.h"

#include <stdexcept>

#include "base/code.h"
#include "base/endpoints.h"
#include "base/may_begin.h"
#include "nzb/catalogue.h"
#include "platform/clock.h"
#include "platform/desktop.h"
#include "platform/text.h"
#include "postprocess/hand_off.h"
#include "store/database.h"
#include "store/schema.h"
#include "store/writers.h"
#include "ui/gravlin.h"
#include "ui/menu_main.h"
#include "ui/message_window.h"

namespace gravlin {

App::App(int& argc, char** argv) : Application(argc, argv) {
  MakeMenuMain(MenuMain);
  BindMenu();
}

// Ends all work before the lock on the folder is released.
App::~App() { EndWork(); }

std::string App::LongVersion() { return GRAVLIN_VERSION; }

void App::Event_Open() {
  try {
    OpenFoldersAndStore();
  } catch (const std::exception&) {
    if (!DBProblem) MsgBox("An error occurred in App.Open");
    // Without a window the user could not quit.
    const Gravlin* window = Window::IfOpen<Gravlin>();
    if (window && window->Visible()) return;
    SetExitStatus(1);
    Quit();
  }
}

void App::FailToStart(std::string_view what, std::string_view why) {
  MsgBox(why.empty() ? std::string(what)
                     : std::string(what) + Code::CRLF + Code::CRLF + std::string(why));
  SetExitStatus(1);
  Quit();
}

void App::OpenFoldersAndStore() {
  Code::ServerErrorPage =
      endpoints::Vendor("/usenet/support/server-connection-problems?source=Gravlin");
  const FolderItem application_data = SpecialFolder::ApplicationData();
  Code::AppDataFolder = application_data.IsNil() ? FolderItem() : application_data.Child("Gravlin");
  if (Code::AppDataFolder.IsNil()) {
    FailToStart("Can't access the Application Support folder.");
    return;
  }
  if (!Code::AppDataFolder.Exists()) Code::AppDataFolder.CreateAsFolder();
  lock_ = LockFile(Code::AppDataFolder.Child("Gravlin.lock"));
  if (!lock_) {
    FailToStart("Gravlin is running already, in another session.");
    return;
  }
  Code::fApp = SpecialFolder::Applications();
  Code::fParApp = Code::fApp.Child("par2");
  Code::fRarApp = Code::fApp.Child("unrar");
  Code::MessageFileURL =
      endpoints::Vendor("/generic_message.txt?source=Gravlin_OSX-v") + LongVersion();
  Code::DebugName = "Gravlin-OSX-v" + LongVersion();
  if (OpenDB()) {
    Init();
  } else if (!Quitting()) {
    FailToStart("Can't open database file.", why_no_store_);
  }
}

bool App::OpenDB() {
  try {
    const FolderItem store = Code::AppDataFolder.Child("Gravlin.rsd");
    if (store.IsNil()) {
      FailToStart("Can't access Gravlin.rsd database file.");
      return false;
    }
    Code::fGlobalDB = store;
    if (!store.Exists()) {
      CreateDatabase();
      return !Quitting();
    }
    for (const char* journal : {"", "-wal", "-shm"})
      Code::AppDataFolder.Child(store.Name() + journal).MakePrivate();
    Database db(store);
    if (db.Connect() && !db.IsReadOnly()) return true;
    why_no_store_ = db.IsReadOnly() ? "The file may not be written." : db.Reason();
    DBProblem = true;
    return false;
  } catch (const std::exception&) {
    MsgBox("An error occurred in App.OpenDB");
    return false;
  }
}

// The store gets its name last: otherwise a start that was killed, or a full disk, would leave one
// that no later start can use.
void App::CreateDatabase() {
  const std::string name = Code::fGlobalDB.Name();
  FolderItem half_made = Code::AppDataFolder.Child(name + ".new");
  for (const char* journal : {"", "-wal", "-shm"}) {
    Code::AppDataFolder.Child(half_made.Name() + journal).Delete();
    // A journal that a deleted store has left would be applied to the new one.
    if (*journal) Code::AppDataFolder.Child(name + journal).Delete();
  }
  bool made;
  std::string why;
  {
    Database db(half_made);
    made = db.CreateDatabaseFile() && MakeSchema(db);
    if (!made) why = db.Reason();
  }
  // Pages that did not fit into the file are still in its journal.
  made = made && !Code::AppDataFolder.Child(half_made.Name() + "-wal").Exists();
  if (!made || !half_made.Flush() || !half_made.SetName(name)) {
    FailToStart("Can't create Gravlin.rsd database file.", why);
    return;
  }
  Code::AppDataFolder.Flush();
}

void App::LoadSettings() {
  Database db(Code::fGlobalDB);
  const Date now;
  if (!db.Connect()) return;
  const auto settings = db.SQLSelect("Select * from Settings");
  if (!settings || settings->EndOfFile()) return;
  Code::ArdentisMessageID = settings->Field("LastMessageID").IntegerValue();
  Code::DebugOn = settings->Field("DebugOn").BooleanValue();
  Code::FirstRun = settings->Field("FirstRun").BooleanValue();
  if (!Code::FirstRun) return;
  db.SQLExecute("BEGIN");
  settings->Edit();
  settings->SetField("FirstRun", false);
  std::string stamp;
  for (const int part :
       {now.Year() % 100, now.Month(), now.Day(), now.Hour(), now.Minute(), now.Second()})
    stamp += Format(part, "00");
  settings->SetField("Future3", std::string_view(stamp));
  settings->Update();
  db.Commit();
}

// LoadSettings and LoadTypes must not use the locks, because they run before the window that the
// locks are for.
void App::Init() {
  Code::CRLF = "\r\n";
  Code::CR = "\r";
  LoadSettings();
  Code::LoadTypes();
  Code::FreeDB();
  Code::DBKept = false;
  Code::MaxFileLength = 240;
  Gravlin& window = Window::Shared<Gravlin>();
  if (!window.DoneLoading) throw std::runtime_error("the main window could not be opened");
  window.SetMenuBar(MenuMain);
  window.Show();
  // A message of the vendor that came while a long list was loaded would be under this window, and
  // keep it from taking any input.
  GetMessage* message = Window::IfOpen<GetMessage>();
  if (message && message->Visible()) message->Show();
}

void App::Event_OpenDocument(const FolderItem& item) {
  const std::string ending = Lowercase(Right(item.Name(), 4));
  if (ending == ".par" || ending == "par2" || ending == ".p01")
    OpenParDocument(item);
  else if (ending == ".rar" || ending == ".r00" || ending == ".r01")
    OpenRarDocument(item);
  else
    MsgBox(
        "Sorry, can't figure out what to do with the file you dropped. You can drop files that end "
        "with .rar, .r00, .r01, .par, .p01, and .par2.");
}

bool App::Event_CancelClose() {
  Database(Code::fGlobalDB).Connect();
  return false;
}

bool App::WorkPending() { return !may::Quit(Code::CurrentWrites()); }

}  // namespace gravlin
