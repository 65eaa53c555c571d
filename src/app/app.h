// The application object: the start of the program, the store's opening, the menu commands,
// documents and quitting.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/work_watch.h"
#include "platform/application.h"
#include "platform/menu.h"
#include "platform/streams.h"

namespace gravlin {

class App : public Application {
 public:
  App(int& argc, char** argv);
  ~App() override;

  void Event_Open() override;
  // Routes a document to the repair or the extraction window.
  void Event_OpenDocument(const FolderItem& item) override;
  // Never refuses: what the store and the part files hold at that moment survives.
  bool Event_CancelClose() override;
  bool WorkPending() override;
  void Event_EnableMenuItems();

  // True when the store is usable; sets fGlobalDB.
  bool OpenDB();
  void CreateDatabase();
  void LoadSettings();
  void Init();

  // Menu commands; true when the command counts as handled.
  bool _mSetupFileTypes_Action();
  bool _mToolzRAR_Action();
  bool _mToolzPAR_Action();
  bool _mExit_Action();
  bool _mAbout_Action();
  bool _mCompactDataba_Action();
  bool _mGetMessage_Action();
  bool _mDebugMode_Action();
  bool _mProgramFolder_Action();
  bool _mAppDataFolder_Action();
  bool _mConvertExit_Action();
  bool _mTestServer_Action();

  // The text of the program's version, as windows and the log show it.
  static std::string LongVersion();

  bool DBProblem = false;  // the store file exists but cannot be connected
  MenuBar MenuMain;

 private:
  void OpenFoldersAndStore();
  std::optional<FileHandle> lock_;  // on the folder, so that another session does not use it
  std::string why_no_store_;        // in plain words
  std::optional<WorkWatch> work_watch_;
  // Says what failed and, on a line of its own, why, and ends the program.
  void FailToStart(std::string_view what, std::string_view why = {});
  void BindMenu();
};

}  // namespace gravlin
