// A connection: opening, statements, transactions, inserts.
#include "store/database.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>

#include "platform/failures.h"
#include "platform/text.h"
#include "platform/thread.h"

namespace gravlin {
namespace {

// For a new store.  A file's articles fill many pages, which are written and read one by one.
constexpr std::string_view kPageSize = "PRAGMA page_size=16384";
constexpr int kBusyPause = 20;                         // milliseconds between two tries
constexpr int kTriesOnMainThread = 5000 / kBusyPause;  // five seconds

constexpr std::string_view kBlanks = " \t\r\n\f";

// The first word of a statement.
std::string_view FirstWord(std::string_view sql) {
  sql.remove_prefix(std::min(sql.find_first_not_of(kBlanks), sql.size()));
  return sql.substr(0, sql.find_first_of(" \t\r\n\f;("));
}

// The table that a select reads from; empty if none is found.
std::string TableOf(std::string_view sql) {
  const int from = InStr(sql, " from ");
  return from == 0 ? std::string() : std::string(FirstWord(sql.substr(std::size_t(from) + 5)));
}

std::string Quoted(std::string_view name) { return '"' + ReplaceAll(name, "\"", "\"\"") + '"'; }

void Bind(sqlite3_stmt* statement, int index, std::string_view text) {
  // Static: every caller keeps the text until the statement has run.  A null pointer would bind
  // NULL.
  sqlite3_bind_text64(statement, index, text.empty() ? "" : text.data(), text.size(), SQLITE_STATIC,
                      SQLITE_UTF8);
}

std::string PlainReason(int code, int system_error, std::string_view otherwise) {
  const int kind = code & 0xff;
  if (kind == SQLITE_FULL || system_error == ENOSPC || system_error == EDQUOT ||
      system_error == EFBIG)
    return "The disk is full.";
  if (code == SQLITE_IOERR_WRITE) return "The disk cannot be written.";
  if (kind == SQLITE_READONLY || system_error == EROFS) return "The file may not be written.";
  if (kind == SQLITE_CANTOPEN && (system_error == EACCES || system_error == EPERM))
    return "The file may not be opened.";
  if (kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB) return "The file is damaged.";
  if (kind == SQLITE_BUSY || kind == SQLITE_LOCKED) return "Another program is using the file.";
  return "The reason is: " + std::string(otherwise) + ".";
}

// Statements that open no transaction by themselves, though some of them write.
bool NeedsTransaction(sqlite3_stmt* statement, std::string_view sql) {
  const std::string_view word = FirstWord(sql);
  for (const std::string_view exempt : {"BEGIN", "VACUUM", "PRAGMA", "ATTACH", "DETACH"}) {
    if (SameText(word, exempt)) return false;
  }
  return !sqlite3_stmt_readonly(statement);
}

}  // namespace

void Database::CloseConnection::operator()(sqlite3* connection) const {
  sqlite3_close_v2(connection);
}

void Database::FinalizeStatement::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Database::~Database() = default;

bool Database::Connect() {
  if (!Open(SQLITE_OPEN_READWRITE)) return false;
  // Opening reads nothing.  This reads the first page, and finds an empty or foreign file.
  const std::unique_ptr<RecordSet> tables = SQLSelect("SELECT name FROM sqlite_schema LIMIT 1");
  if (tables && !tables->EndOfFile()) return true;
  if (tables) Fail("not a store: no tables");
  const std::string error = error_, reason = reason_;
  Close();
  error_ = error, reason_ = reason;
  return false;
}

bool Database::IsReadOnly() const {
  return connection_ && sqlite3_db_readonly(connection_.get(), "main") == 1;
}

bool Database::CreateDatabaseFile() {
  // sqlite would make a file that others can read, and the journals get the same mode.
  if (!file_.CreatePrivateFile()) {
    const int error = errno;
    Fail("the file cannot be made");
    reason_ = PlainReason(SQLITE_CANTOPEN, error, std::generic_category().message(error));
    return false;
  }
  file_.Parent().Flush();
  return Open(SQLITE_OPEN_READWRITE);
}

bool Database::Open(int flags) {
  Close();
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(file_.NativePath().c_str(), &opened, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  connection_.reset(opened);
  if (!Check(code)) {
    connection_.reset();
    return false;
  }
  sqlite3_extended_result_codes(opened, 1);
  Run(kPageSize);  // no effect on a file that has pages already
  // On a file system without shared memory the store keeps its journal mode.  That is enough for
  // all but a long import, which reads on a second connection during its transaction.
  Run("PRAGMA journal_mode=WAL");
  SetDurableCommits(durable_);
  error_.clear();
  return true;
}

void Database::Close() {
  insert_.reset();
  connection_.reset();
  error_.clear();
  rolled_back_ = {};
  in_transaction_ = false;
}

void Database::SetDurableCommits(bool durable) {
  durable_ = durable;
  if (connection_) Run(durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
}

void Database::HoldCheckpoints() {
  if (connection_) sqlite3_wal_autocheckpoint(connection_.get(), 0);
}

void Database::Checkpoint() {
  sqlite3* const raw = connection_.get();
  // If the checkpoint fails, the journal still holds what was committed.
  if (raw) Thread::Offload([raw] { sqlite3_wal_checkpoint(raw, nullptr); });
}

bool Database::Fail(std::string_view message) {
  error_ = message.empty() ? "unknown error" : message;
  reason_ = PlainReason(SQLITE_ERROR, 0, error_);
  return false;
}

bool Database::Check(int code) {
  error_.clear();
  const bool was_in_transaction = std::exchange(in_transaction_, InTransaction());
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return true;
  Fail(connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code));
  const int system_error = connection_ ? sqlite3_system_errno(connection_.get()) : 0;
  reason_ = PlainReason(code, system_error, error_);
  if (was_in_transaction && !in_transaction_) rolled_back_ = {error_, reason_};
  return false;
}

// Tries again while another connection writes.  sqlite's own busy handler is not used: it would
// switch stacks, or let events run, inside a call of sqlite.
int Database::WaitWhileBusy(const std::function<int()>& attempt) {
  for (int tries = 0;; ++tries) {
    const int code = attempt();
    // A read that began before the last write stays old, so waiting does not help.
    if ((code & 0xff) != SQLITE_BUSY || code == SQLITE_BUSY_SNAPSHOT) return code;
    if (!Thread::Current() && tries >= kTriesOnMainThread) return code;
    Thread::Sleep(kBusyPause);
  }
}

Database::Statement Database::Prepare(std::string_view sql) {
  if (!connection_) {
    Fail("not connected");
    return nullptr;
  }
  if (sql.size() >= INT_MAX) {
    Fail("statement too long");
    return nullptr;
  }
  sqlite3_stmt* prepared = nullptr;
  const char* rest = nullptr;
  const int code = WaitWhileBusy([&] {
    return sqlite3_prepare_v2(connection_.get(), sql.data(), static_cast<int>(sql.size()),
                              &prepared, &rest);
  });
  Statement statement(prepared);
  if (!Check(code)) return nullptr;
  const std::string_view after = sql.substr(static_cast<std::size_t>(rest - sql.data()));
  if (!statement) {
    Fail("no statement");
  } else if (after.find_first_not_of(" \t\r\n\f;") != std::string_view::npos) {
    Fail("text after the first statement");
    statement.reset();
  }
  return statement;
}

int Database::Step(sqlite3_stmt* statement) {
  return WaitWhileBusy([statement] {
    const int code = sqlite3_step(statement);
    // After its first row a statement is never busy, so that no row is read twice.
    if ((code & 0xff) == SQLITE_BUSY) sqlite3_reset(statement);
    return code;
  });
}

bool Database::Run(std::string_view sql) {
  const Statement statement = Prepare(sql);
  if (!statement) return false;
  int code = Step(statement.get());
  while (code == SQLITE_ROW) code = Step(statement.get());
  return Check(code);
}

bool Database::InTransaction() const {
  return connection_ && !sqlite3_get_autocommit(connection_.get());
}

bool Database::BeginIfNeeded() { return !RolledBack() && (InTransaction() || Run("BEGIN")); }

bool Database::RolledBack() {
  if (rolled_back_.error.empty()) return false;
  error_ = rolled_back_.error, reason_ = rolled_back_.reason;
  return true;
}

void Database::SQLExecute(std::string_view sql) {
  const Statement statement = Prepare(sql);
  if (!statement) return;
  if (NeedsTransaction(statement.get(), sql) && !BeginIfNeeded()) return;
  if (SameText(FirstWord(sql), "BEGIN") && RolledBack()) return;
  int code = Step(statement.get());
  while (code == SQLITE_ROW) code = Step(statement.get());
  if (!Check(code)) return;
  // In WAL mode the compacted pages are in the journal, and the file is still as long as before.
  if (SameText(FirstWord(sql), "VACUUM")) Run("PRAGMA wal_checkpoint(TRUNCATE)");
}

std::unique_ptr<RecordSet> Database::SQLSelect(std::string_view sql) {
  const Statement statement = Prepare(sql);
  if (!statement) return nullptr;
  const int columns = sqlite3_column_count(statement.get());
  if (columns == 0 || !sqlite3_stmt_readonly(statement.get())) {
    Fail("not a select");
    return nullptr;
  }
  auto result = std::make_unique<RecordSet>();
  result->database_ = this;
  result->table_ = TableOf(sql);
  for (int i = 0; i < columns; ++i) {
    result->columns_.emplace_back(sqlite3_column_name(statement.get(), i));
  }
  int code = Step(statement.get());
  for (; code == SQLITE_ROW; code = Step(statement.get())) {
    for (int i = 0; i < columns; ++i) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), i));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), i));
      result->cells_.push_back(text ? result->Keep({text, size}) : std::string_view());
    }
  }
  return Check(code) ? std::move(result) : nullptr;
}

bool Database::UpdateRow(const RecordSet& row, std::string_view id) {
  if (row.table_.empty()) return Fail("no table to update");
  std::string sql = "UPDATE " + row.table_ + " SET ";
  for (const auto& [name, text] : row.edits_) {
    if (&name != &row.edits_.front().first) sql += ", ";
    sql += Quoted(name) + "=?";
  }
  const Statement statement = Prepare(sql + " WHERE ID=?");
  if (!statement || !BeginIfNeeded()) return false;
  int index = 0;
  for (const auto& edit : row.edits_) Bind(statement.get(), ++index, edit.second);
  Bind(statement.get(), ++index, id);
  return Check(Step(statement.get())) && sqlite3_changes(connection_.get()) > 0;
}

void Database::ExecuteOnHelper(std::string_view sql) {
  const Statement statement = Prepare(sql);
  if (!statement || !BeginIfNeeded()) return;
  Check(WaitWhileBusy([raw = statement.get()] {
    int code = SQLITE_OK;
    Thread::Offload([&code, raw] { code = sqlite3_step(raw); });
    if ((code & 0xff) == SQLITE_BUSY) sqlite3_reset(raw);
    return code;
  }));
}

void Database::InsertRecord(std::string_view table, const DatabaseRecord& record) {
  if (!PrepareInsert(table, record)) return;
  BindInsert(record);
  Check(Step(insert_.get()));
  sqlite3_reset(insert_.get());
  sqlite3_clear_bindings(insert_.get());
}

void Database::InsertRecords(std::string_view table, const std::vector<DatabaseRecord>& records) {
  if (records.empty() || !PrepareInsert(table, records.front())) return;
  std::size_t next = 0;
  Check(WaitWhileBusy([&] {
    int code = SQLITE_DONE;
    Thread::Offload([&] {
      for (; next < records.size() && code == SQLITE_DONE; ++next) {
        BindInsert(records[next]);
        code = sqlite3_step(insert_.get());
        sqlite3_reset(insert_.get());
      }
    });
    if ((code & 0xff) == SQLITE_BUSY) --next;
    return code;
  }));
  sqlite3_clear_bindings(insert_.get());
}

bool Database::PrepareInsert(std::string_view table, const DatabaseRecord& record) {
  const auto& columns = record.Columns();
  const auto same_name = [](const std::string& a, const auto& b) { return a == b.first; };
  if (!insert_ || insert_table_ != table ||
      !std::equal(insert_columns_.begin(), insert_columns_.end(), columns.begin(), columns.end(),
                  same_name)) {
    std::string names, marks;
    insert_columns_.clear();
    for (const auto& [name, value] : columns) {
      if (!names.empty()) names += ", ", marks += ", ";
      names += Quoted(name), marks += '?';
      insert_columns_.push_back(name);
    }
    insert_table_ = table;
    insert_ =
        Prepare("INSERT INTO " + Quoted(table) +
                (columns.empty() ? " DEFAULT VALUES" : " (" + names + ") VALUES (" + marks + ")"));
  }
  return insert_ && BeginIfNeeded();
}

void Database::BindInsert(const DatabaseRecord& record) {
  int index = 0;
  for (const auto& [name, value] : record.Columns()) {
    ++index;
    if (const auto* text = std::get_if<std::string>(&value)) {
      Bind(insert_.get(), index, *text);
    } else {
      sqlite3_bind_int64(insert_.get(), index, std::get<std::int64_t>(value));
    }
  }
}

void Database::Commit() {
  error_.clear();
  if (RolledBack()) {
    rolled_back_ = {};
    return;
  }
  if (!InTransaction()) return;
  const Statement statement = Prepare("COMMIT");
  if (!statement) return;
  int code = SQLITE_OK;
  const auto step = [&code, raw = statement.get()] { code = sqlite3_step(raw); };
  WaitWhileBusy([&] {
    // On a helper thread, so that a slow disk blocks no other thread and no event.
    Thread::Offload(step);
    if ((code & 0xff) == SQLITE_BUSY) sqlite3_reset(statement.get());
    return code;
  });
  Check(code);
  rolled_back_ = {};  // this failure has been reported
}

void Database::Rollback() {
  error_.clear();
  rolled_back_ = {};
  if (InTransaction()) Run("ROLLBACK");
}

std::int64_t Database::LastRowID() const {
  return connection_ ? sqlite3_last_insert_rowid(connection_.get()) : 0;
}

}  // namespace gravlin
