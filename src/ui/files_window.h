// The table of the NZB's files, for looking at during a download: a copy of the main window's
// hidden table, rebuilt once a second.  Changes made here do not reach that table.
#pragma once

#include <memory>

#include "platform/listbox.h"
#include "platform/timer.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

class grvFiles : public Window {
 public:
  grvFiles();

  void LoadList();
  void SaveSize();
  bool List_CompareRows(int row1, int row2, int column, int& result) const;
  void tRefresh_Action();
  void boxRefresh_Action();

  Listbox List;
  CheckBox boxRefresh;
  Timer tRefresh;

  bool DoneLoading = false;  // keeps the resizes of the opening from being saved
  std::unique_ptr<Database> db;

 protected:
  void Event_Open() override;
  void Event_Close() override;
  void Event_Resized() override;

 private:
  bool copying_ = false;
};

}  // namespace gravlin
