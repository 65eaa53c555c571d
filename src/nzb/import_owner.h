// What the import thread asks of the one that started it, the engine.
#pragma once

#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

class ImportOwner {
 public:
  virtual ~ImportOwner() = default;
  // The NZB file to read.
  virtual FolderItem NZBFile() const = 0;
  // The bar goes to 0 and is shown.
  virtual void BeginImport() = 0;
  // The store's list of files is empty now, so the one on screen is as well.
  virtual void ListCleared() = 0;
  // The import failed before that: the store has kept its old list, and so does the screen.
  virtual void ListKept() = 0;
  // Percent of the file's bytes that have been read, a whole number.
  virtual void ShowImportProgress(int percent) = 0;
  // The import is committed: sets BytesLeft, hides the bar, loads the files, informs the user, and
  // switches to the tab of the download.
  virtual void ImportDone(std::string_view nzb_name, double total_bytes) = 0;
};

// Shows the window of the file types; defined with it, in ui/.
void ShowFileTypesWindow();

}  // namespace gravlin
