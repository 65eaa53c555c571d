// The thread that imports one NZB file: a row of NZBFiles for each file, in one transaction.
#pragma once

#include <list>
#include <memory>
#include <string_view>

#include "nzb/import_owner.h"
#include "nzb/nzb_reader.h"
#include "platform/streams.h"
#include "platform/thread.h"
#include "store/database.h"
#include "store/writers.h"

namespace gravlin {

struct ImportSituation;

class grvParse : public Thread {
 public:
  // `window` outlives the thread.
  explicit grvParse(ImportOwner& window) : w(window) { living_.push_back(this); }
  ~grvParse() override { living_.remove(this); }

 protected:
  void Event_Run() override;

 private:
  ImportSituation CurrentSituation() const;
  void Import();
  void WaitForTheStore();
  void ClearLastImport();
  // False if the import ended early; the user has seen the reason.
  bool ReadFiles(TextInputStream& stream);
  bool NameFile();
  void StoreFile();
  void StoreBatch();
  void Finish();
  void Tell(std::string_view message, bool bail_out);
  void BailOut();
  // Runs the statement; throws if it fails.
  void Need(std::string_view sql);
  void GiveRightBack();
  void KeepOldList(std::string_view why);

  static inline std::list<const grvParse*> living_;  // the oldest imports, the others wait

  ImportOwner& w;
  std::unique_ptr<Database> db;          // rolled back if the thread ends before a commit
  std::unique_ptr<Database> committed_;  // sees the names of earlier imports, not of this one
  FolderItem nzb_;
  NzbReader reader_;
  std::string filename_, ext_;         // of the file being read
  std::vector<DatabaseRecord> batch_;  // rows that are stored together
  std::size_t batch_bytes_ = 0;
  double total_bytes_ = 0;
  WriterTurn turn_;
  bool lock_taken_ = false;
  bool cleared_ = false;  // the old list was deleted
};

}  // namespace gravlin
