// The application object: the start of the program, the store's opening, the menu commands,
// documents and quitting.
#pragma once

#include <memory>
#include <string>

#include "platform/application.h"
#include "platform/menu.h"

namespace gravlin {

class App : public Application {
 public:
  App(int& argc, char** argv);
  ~App() override;

  void Event_Open() override;
  // Never refuses: what survives a quit is what the store and the part files hold at that moment.
  bool Event_CancelClose() override;
  bool WorkPending() override;

  // True when the store is usable; sets fGlobalDB.
  bool OpenDB();
  void CreateDatabase();
  void LoadSettings();
  void Init();

  // The text of the program's version, as windows and the log show it.
  static std::string LongVersion();

  bool DBProblem = false;  // the store file exists but cannot be connected
  MenuBar MenuMain;

 private:
  void OpenFoldersAndStore();
};

}  // namespace gravlin
