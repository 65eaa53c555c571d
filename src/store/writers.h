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

// A writer's place among those that live, imports included.  The right to write goes to the oldest
// that waits: the form saves itself at every keystroke, and a newer row must not be overtaken by an
// older one that polls at a better moment.
class WriterTurn {
 public:
  WriterTurn() : place_(waiting_.insert(waiting_.end(), this)) {}
  ~WriterTurn() { Leave(); }
  WriterTurn(const WriterTurn&) = delete;
  WriterTurn& operator=(const WriterTurn&) = delete;
  // Lets the running thread, the writer, wait until those before it have left.
  void Await();
  // The right was given back, or is not wanted any more: the next one's turn comes.
  void Leave();

 private:
  static inline std::list<WriterTurn*> waiting_;
  const std::list<WriterTurn*>::iterator place_;
  std::uint64_t thread_ = 0;  // that waits here
  bool waits_ = true;
};

// A place of a write that others wait for: see PendingWrites.
class PendingTurn : public WriterTurn {
 public:
  PendingTurn() { ++count_; }
  ~PendingTurn() { --count_; }
  static int Count() { return count_; }

 private:
  static inline int count_ = 0;
};

// Runs a list of statements and commits once.  A statement that fails is passed over.
class SaveData : public Thread {
 public:
  std::vector<std::string> sql;
  std::string ReturnTo;  // name of the call back, or "none"
  bool durable = false;
  std::unique_ptr<Database> db;

 protected:
  void Event_Run() override;
  // Runs when the right to write has been given back.  Knows no window of this program.
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
  // Runs before the right to write is given back, so that the row's ID on this connection is still
  // the new one.
  virtual void DoReturnCall();

 private:
  PendingTurn turn_;
};

namespace Code {

// Takes the right to write if it is free.  Never waits.
bool LockDB();
// Start a background write and return at once.
// `durable` writes are on the disk before the next write begins.
void SaveToDB(std::vector<std::string> sql, std::string_view ReturnTo, bool durable = false);
void AddRecToDB(std::string_view pTable, std::vector<DatabaseRecord> pRec,
                std::string_view ReturnTo);
// Background writes that have not ended.  Imports do not count.
int PendingWrites();
// Waits for them, two seconds at most; false if some have not ended.
bool AwaitWrites();

// "FileTypesWin.FinishedNewType": defined with that window, in ui/.
void FinishedNewFileType(std::int64_t id);

}  // namespace Code
}  // namespace gravlin
