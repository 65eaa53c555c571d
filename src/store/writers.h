// The single-writer scheme: short-lived cooperative threads that write in the background, one at a
// time.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/thread.h"
#include "store/database.h"

namespace gravlin {

struct WriteSituation;

// A writer's place in the queue of all writers, imports included.  The oldest one gets the right to
// write: the form saves itself at every keystroke, and an older row must never be written after a
// newer one.
class WriterTurn {
 public:
  WriterTurn() : place_(waiting_.insert(waiting_.end(), this)) {}
  ~WriterTurn() { Leave(); }
  WriterTurn(const WriterTurn&) = delete;
  WriterTurn& operator=(const WriterTurn&) = delete;
  // Suspends the running thread, the writer, until those before it have left.
  void Await();
  // The writer has given the right back, or no longer wants it: the next one's turn.
  void Leave();

 private:
  static inline std::list<WriterTurn*> waiting_;
  const std::list<WriterTurn*>::iterator place_;
  std::uint64_t thread_ = 0;  // waits here
  bool waits_ = true;
};

// The place of a write that PendingWrites counts.
class PendingTurn : public WriterTurn {
 public:
  PendingTurn() { ++count_; }
  ~PendingTurn() { --count_; }
  static int Count() { return count_; }

 private:
  static inline int count_ = 0;
};

// Runs a list of statements and commits once.  A statement that fails is skipped.
class SaveData : public Thread {
 public:
  std::vector<std::string> sql;
  std::string ReturnTo;  // name of the call back, or "none"
  bool durable = false;
  std::unique_ptr<Database> db;

 protected:
  void Event_Run() override;
  // Runs after the right to write was given back.  This class knows no window.
  virtual void DoReturnCall();

 private:
  PendingTurn turn_;
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
  // Runs before the right to write is given back, so that LastRowID is still the new row's.
  virtual void DoReturnCall();

 private:
  PendingTurn turn_;
};

namespace Code {

// Takes the right to write if it is free.  Never waits.
bool LockDB();
// Gives it back.
void FreeDB();
// Start a background write and return at once.  `durable` writes are flushed before the next write
// begins.
void SaveToDB(std::vector<std::string> sql, std::string_view ReturnTo, bool durable = false);
void AddRecToDB(std::string_view pTable, std::vector<DatabaseRecord> pRec,
                std::string_view ReturnTo);
// Background writes that have not ended.  Imports do not count.
int PendingWrites();
WriteSituation CurrentWrites();
// Waits for them, two seconds at most; false if some have not ended.
bool AwaitWrites();

// "FileTypesWin.FinishedNewType": defined with that window, in ui/.
void FinishedNewFileType(std::int64_t id);

}  // namespace Code
}  // namespace gravlin
