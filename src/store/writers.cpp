// How a writer waits for its turn and for the right to write.
#include "store/writers.h"

#include <exception>
#include <utility>

#include "base/code.h"
#include "base/may_begin.h"
#include "platform/waiting.h"

namespace gravlin {
namespace {

constexpr int kPause = 100;  // milliseconds between two checks of what a writer waits for

// Returns with a connection and the right to write, however long that takes.
std::unique_ptr<Database> WaitForStore(WriterTurn& turn) {
  // No connection while it waits for its turn: articles may come faster than rows are written.
  turn.Await();
  auto db = std::make_unique<Database>(Code::fGlobalDB);
  while (!db->Connect()) Thread::Sleep(kPause);
  while (!Code::LockDB()) Thread::Sleep(kPause);
  return db;
}

// The right to write, from LockDB until GiveBack or the end of the scope.
class WriteRight {
 public:
  explicit WriteRight(WriterTurn& turn) : turn_(turn) {}
  ~WriteRight() { GiveBack(); }
  WriteRight(const WriteRight&) = delete;
  WriteRight& operator=(const WriteRight&) = delete;
  void GiveBack() {
    if (!std::exchange(held_, false)) return;
    Code::FreeDB();
    turn_.Leave();
  }

 private:
  WriterTurn& turn_;
  bool held_ = true;
};

}  // namespace

void WriterTurn::Await() {
  thread_ = RunningThread();
  while (waiting_.front() != this) WaitToBeWoken();
}

void WriterTurn::Leave() {
  if (!std::exchange(waits_, false)) return;
  const bool was_first = waiting_.front() == this;
  waiting_.erase(place_);
  // A writer that was first before may be waiting for something else by now.
  if (was_first && !waiting_.empty()) WakeThread(waiting_.front()->thread_);
}

void SaveData::Event_Run() {
  try {
    db = WaitForStore(turn_);
    WriteRight right(turn_);
    db->SetDurableCommits(durable);
    for (const std::string& statement : sql) {
      db->SQLExecute(statement);
      Thread::Yield();
    }
    db->Commit();
    right.GiveBack();
    if (ReturnTo != "none") DoReturnCall();
  } catch (const std::exception&) {
    // Nobody waits for a result.  The end of the connection rolls back what was not committed.
  }
}

void SaveData::DoReturnCall() {
  if (ReturnTo == "FileTypesWin.TypesStored") Code::NeedToLoadTypes = true;
}

void InsertRecord::Event_Run() {
  try {
    db = WaitForStore(turn_);
    WriteRight right(turn_);
    for (const DatabaseRecord& record : pRec) {
      db->InsertRecord(pTable, record);
      Thread::Yield();
    }
    db->Commit();
    if (ReturnTo != "none") DoReturnCall();
  } catch (const std::exception&) {
    // As in SaveData.
  }
}

void InsertRecord::DoReturnCall() {
  if (ReturnTo == "FileTypesWin.FinishedNewType") Code::FinishedNewFileType(db->LastRowID());
}

namespace Code {

bool LockDB() {
  const CriticalGuard guard(DBLock);
  return std::exchange(DBFree, false);
}

void FreeDB() { DBFree = true; }

void SaveToDB(std::vector<std::string> sql, std::string_view ReturnTo, bool durable) {
  auto writer = std::make_unique<SaveData>();
  writer->sql = std::move(sql);
  writer->ReturnTo = ReturnTo;
  writer->durable = durable;
  Thread::Run(std::move(writer));
}

void AddRecToDB(std::string_view pTable, std::vector<DatabaseRecord> pRec,
                std::string_view ReturnTo) {
  auto writer = std::make_unique<InsertRecord>();
  writer->pTable = pTable;
  writer->pRec = std::move(pRec);
  writer->ReturnTo = ReturnTo;
  Thread::Run(std::move(writer));
}

int PendingWrites() { return PendingTurn::Count(); }

WriteSituation CurrentWrites() { return {.pending = PendingWrites(), .kept = DBKept}; }

bool AwaitWrites() {
  constexpr int kShortPause = 10, kTries = 200;  // milliseconds
  for (int i = 0; i < kTries && may::AwaitWrites(CurrentWrites()); ++i) Thread::Sleep(kShortPause);
  return PendingWrites() == 0;
}

}  // namespace Code
}  // namespace gravlin
