// The store's classes over sqlite3: a connection, the result of a select, a set of values for an insert.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/folder_item.h"

struct sqlite3;

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

// One cell.  Reading never fails: what is unset is empty text, 0 or false.
class DatabaseField {
 public:
  explicit DatabaseField(const std::string* text) : text_(text) {}
  const std::string& StringValue() const;
  std::int32_t IntegerValue() const;
  std::int64_t Int64Value() const;
  double DoubleValue() const;
  // True for 1 and for "True", in any case.
  bool BooleanValue() const;

 private:
  const std::string* text_;  // nullptr for NULL
};

class Database;

// The rows of a select, all in memory.
class RecordSet {
 public:
  bool EndOfFile() const;  // behind the last row
  void MoveNext();
  int RecordCount() const;
  // Value of the current row by column name, case ignored.  A column that the result does not have, or no current
  // row, throws NilObjectException.
  DatabaseField Field(std::string_view name) const;
  // The first row is edited in place: Edit, set values, Update.  Only for a select on one table with its `ID`.
  void Edit();
  void SetField(std::string_view name, std::string_view text);
  void SetField(std::string_view name, bool value);
  bool Update();

 private:
  friend class Database;
  struct Cell {
    std::string text;
    bool null = true;
  };
  Database* database_ = nullptr;
  std::string table_;
  std::vector<std::string> columns_;
  std::vector<Cell> cells_;  // row by row
  std::size_t row_ = 0;
  std::vector<std::pair<std::string, std::string>> edits_;
};

// A connection of its own to one file.  Nobody shares one.
class Database {
 public:
  Database() = default;
  explicit Database(const FolderItem& file) : file_(file) {}
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void SetDatabaseFile(const FolderItem& file) { file_ = file; }
  // Opens the existing file.  False if it is missing, damaged or no store.
  bool Connect();
  // Makes the file, for the user only, and opens it.  False if it exists or cannot be made.
  bool CreateDatabaseFile();
  // How hard a commit presses bytes to the disk: true waits for the disk, false leaves it to the next checkpoint.
  void SetDurableCommits(bool durable);

  // Runs one statement.  Text behind the first statement is refused, never run.  The first writing statement outside
  // a BEGIN opens a transaction, which Commit ends.  Failures only set ErrorMessage.
  void SQLExecute(std::string_view sql);
  // nullptr if the statement fails.
  std::unique_ptr<RecordSet> SQLSelect(std::string_view sql);
  void InsertRecord(std::string_view table, const DatabaseRecord& record);
  // Ends the open transaction, if there is one.  Inside a cooperative thread the disk is waited for elsewhere.
  void Commit();
  void Rollback();
  std::int64_t LastRowID() const;

  bool Error() const { return !error_.empty(); }
  // Of the last operation; empty if it went well.
  const std::string& ErrorMessage() const { return error_; }

 private:
  struct CloseConnection {
    void operator()(sqlite3* connection) const;
  };
  bool Open(int flags);
  bool Check(int code);
  bool BeginIfNeeded();
  FolderItem file_;
  std::unique_ptr<sqlite3, CloseConnection> connection_;
  std::string error_;
};

}  // namespace gravlin
