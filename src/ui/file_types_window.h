// The editor of the table FileTypes: the extensions by which the import finds file names in
// subjects.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/listbox.h"
#include "platform/window.h"
#include "store/database.h"

namespace gravlin {

class FileTypesWin : public Window {
 public:
  FileTypesWin();

  void LoadTypes();
  // Shows the selected row, or empties the form when there is none.
  void LoadRecord();
  void pbSaveChanges_Action();
  void pbDelete_Action();
  void pbMakeNewType_Action();
  // The row of a new type is in the store.
  void FinishedNewType(std::int64_t id);

  Listbox TypesList;
  StaticText Label1;
  TextField efName;
  StaticText Label2;
  TextField efExt;
  PushButton pbGoFileType;
  StaticText Label8;
  TextField efNote;
  PushButton pbDelete, pbMakeNewType, pbHelp, pbCancel, pbSaveChanges;

  bool TextLoading = false;  // the program fills the fields; their changes are not the user's
  std::string TheExt;        // of the row on show
  std::unique_ptr<Database> db;

 protected:
  void Event_Open() override;
  void Event_Close() override;

 private:
  void Changed();
  void EnableFields(bool enabled);
  // The form as it is when nothing has been changed.
  void SetClean();
};

}  // namespace gravlin
