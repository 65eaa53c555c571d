// What the import thread asks of the one that started it, the engine.
#pragma once

#include <string_view>
#include <vector>

#include "platform/folder_item.h"
#include "store/database.h"

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
  // These rows of NZBFiles have been written.  They are in force only with the commit.
  virtual void FilesRead(std::vector<DatabaseRecord> rows) = 0;
  // The commit is next; `rows` sees the whole list already.  What is not to be taken for a part of
  // the list goes now: a kill before the commit leaves no list, and one after it no such part.
  virtual void ListRead(Database& rows) = 0;
  // Percent of the file's bytes that have been read, a whole number.
  virtual void ShowImportProgress(int percent) = 0;
  // The import is committed: sets BytesLeft, hides the bar, loads the files, informs the user, and
  // switches to the tab of the download.
  virtual void ImportDone(std::string_view nzb_name, double total_bytes) = 0;
};

// Shows the window of the file types; defined with it, in ui/.
void ShowFileTypesWindow();

}  // namespace gravlin
