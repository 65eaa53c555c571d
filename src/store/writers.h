// The single-writer scheme: short-lived cooperative threads that write in the background, one at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {

// Runs a list of statements and commits once.
class SaveData : public Thread {
 public:
  std::vector<std::string> sql;
  std::string ReturnTo;  // name of the call back, or "none"
  std::unique_ptr<Database> db;

 protected:
  void Event_Run() override;
  virtual void DoReturnCall();
};

// Inserts a list of records and commits once.
class InsertRecord : public Thread {
 public:
  std::unique_ptr<Database> db;
  std::vector<DatabaseRecord> pRec;
  std::string pTable;
  std::string ReturnTo;

 protected:
  void Event_Run() override;
  virtual void DoReturnCall();
};

namespace Code {

// Takes the right to write if it is free.  Never waits.
bool LockDB();
// Start a background write and return at once.
void SaveToDB(std::vector<std::string> sql, std::string_view ReturnTo);
void AddRecToDB(std::string_view pTable, std::vector<DatabaseRecord> pRec, std::string_view ReturnTo);
// Background writes that have not ended.
int PendingWrites();

// "FileTypesWin.FinishedNewType": defined with that window, in ui/.
void FinishedNewFileType(std::int64_t id);

}  // namespace Code
}  // namespace gravlin
