// The classes of the store over sqlite3: a connection, the result of a select, a set of values for
// an insert.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/folder_item.h"

struct sqlite3;
struct sqlite3_stmt;

namespace gravlin {

// The values of one new row, in the order in which they were set.
class DatabaseRecord {
 public:
  using Value = std::variant<std::int64_t, std::string>;
  void SetColumn(std::string_view name, std::string_view text);
  void SetIntegerColumn(std::string_view name, std::int64_t value);
  // Stored as 1 or 0.
  void SetBooleanColumn(std::string_view name, bool value);
  const std::vector<std::pair<std::string, Value>>& Columns() const { return columns_; }

 private:
  std::vector<std::pair<std::string, Value>> columns_;
};

// One cell, valid as long as its RecordSet.  Reading never fails: an unset cell is empty text, 0 or
// false, and text gives the number that it begins with.
class DatabaseField {
 public:
  explicit DatabaseField(std::string_view text) : text_(text) {}
  std::string StringValue() const { return std::string(text_); }
  // The same without a copy.
  std::string_view View() const { return text_; }
  // Wraps into 32 bits.
  std::int32_t IntegerValue() const;
  std::int64_t Int64Value() const;
  double DoubleValue() const;
  // True for 1 and for "True", in any case.
  bool BooleanValue() const;

 private:
  std::string_view text_;
};

class Database;

// The rows of a select, all in memory.  The bytes of the cells are in a few large blocks, so that
// rows of long texts take little more than their bytes.
class RecordSet {
 public:
  bool EndOfFile() const;  // after the last row
  void MoveNext();
  int RecordCount() const;
  // Value of the current row by column name, case ignored.  A column that the result does not have,
  // or no current row, throws NilObjectException.
  DatabaseField Field(std::string_view name) const;
  // The current row is edited in place: Edit, set values, Update.  Only for a select on one table
  // with its `ID`, and only while the connection lives.
  void Edit();
  void SetField(std::string_view name, std::string_view text);
  void SetField(std::string_view name, const char* text) { SetField(name, std::string_view(text)); }
  void SetField(std::string_view name, bool value);
  // False if nothing was changed.  Outside a transaction it opens one, which Commit ends.
  bool Update();

 private:
  friend class Database;
  std::string_view Keep(std::string_view bytes);
  std::size_t ColumnIndex(std::string_view name) const;

  Database* database_ = nullptr;
  std::string table_;
  std::vector<std::string> columns_;
  std::vector<std::string_view> cells_;  // row by row, into blocks_
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* free_ = nullptr;  // unused rest of the newest block
  std::size_t free_size_ = 0;
  std::size_t row_ = 0;
  std::vector<std::pair<std::string, std::string>> edits_;
};

// A connection to one file, never shared.
//
// The file is in WAL mode: a reader never waits for a writer.  A writer waits for another one:
// inside a cooperative thread for as long as it takes, on the main thread for at most five seconds,
// while events run.
class Database {
 public:
  Database() = default;
  explicit Database(const FolderItem& file) : file_(file) {}
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void SetDatabaseFile(const FolderItem& file) { file_ = file; }
  // Opens the existing file.  False if it is missing, damaged or not a store.
  bool Connect();
  // Makes the file, which only the user can read, and opens it.  False if it exists or cannot be
  // made.
  bool CreateDatabaseFile();
  // true: a commit flushes to the disk.  false: it leaves that to the next checkpoint.
  void SetDurableCommits(bool durable);

  // From now on a commit only flushes the journal; Checkpoint moves its pages into the file, on a
  // helper thread if it is called inside a cooperative thread.
  void HoldCheckpoints();
  void Checkpoint();

  // Runs one statement.  Text after the first statement is refused, never run.  The first writing
  // statement outside a BEGIN opens a transaction, which Commit ends.  Failures only set
  // ErrorMessage.
  //
  // A full disk makes sqlite roll back the whole open transaction.  Then every write fails with the
  // same reason, BEGIN too, until Rollback, or Commit, which fails as well: a new transaction would
  // store the end of a change without its beginning.
  void SQLExecute(std::string_view sql);
  // nullptr if the statement fails, or if it could write.
  std::unique_ptr<RecordSet> SQLSelect(std::string_view sql);
  void InsertRecord(std::string_view table, const DatabaseRecord& record);
  // The same for rows of equal columns; on a helper thread if the caller is a cooperative thread,
  // so that a slow disk blocks no event.
  void InsertRecords(std::string_view table, const std::vector<DatabaseRecord>& records);
  // Runs one writing statement in the same way.
  void ExecuteOnHelper(std::string_view sql);
  // Ends the open transaction, if there is one.  Inside a cooperative thread a helper thread waits
  // for the disk.
  void Commit();
  void Rollback();
  std::int64_t LastRowID() const;

  bool Error() const { return !error_.empty(); }
  // Of the last operation; empty if it went well.
  const std::string& ErrorMessage() const { return error_; }
  // The same in plain words for the user: "The disk is full.", "The file may not be written.", ...
  const std::string& Reason() const { return reason_; }
  // The file is open, but writing to it is not allowed.
  bool IsReadOnly() const;

 private:
  friend class RecordSet;
  struct CloseConnection {
    void operator()(sqlite3* connection) const;
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

  bool Open(int flags);
  void Close();
  bool Fail(std::string_view message);
  bool Check(int code);
  int WaitWhileBusy(const std::function<int()>& attempt);
  // The only statement of `sql`; nullptr, and the error set, for anything else.
  Statement Prepare(std::string_view sql);
  bool Run(std::string_view sql);
  int Step(sqlite3_stmt* statement);
  bool InTransaction() const;
  bool BeginIfNeeded();
  // Whether sqlite has rolled the transaction back by itself; then the error is the reason for
  // that.
  bool RolledBack();
  bool PrepareInsert(std::string_view table, const DatabaseRecord& record);
  void BindInsert(const DatabaseRecord& record);
  bool UpdateRow(const RecordSet& row, std::string_view id);

  FolderItem file_;
  std::unique_ptr<sqlite3, CloseConnection> connection_;
  bool durable_ = false;
  std::string error_, reason_;
  bool in_transaction_ = false;  // after the last operation
  struct {
    std::string error, reason;
  } rolled_back_;  // why sqlite rolled the transaction back by itself; empty if it did not
  // The statement of the last insert, kept for the next record of the same table and columns.
  Statement insert_;
  std::string insert_table_;
  std::vector<std::string> insert_columns_;
};

}  // namespace gravlin
