#include "ledger/sqlite.h"

#include <sqlite3.h>

#include <utility>

#include "ledger/row_check.h"

namespace polaiga::engine {
namespace {

// What SQLite says, and what the system said to it.
[[noreturn]] void fail(sqlite3* db, int code) {
  throw SqlError(code & 0xFF, db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code));
}

int flags_of(Access access) {
  switch (access) {
    case Access::kRead:
    case Access::kReadRestingLog:
      return SQLITE_OPEN_READONLY;
    case Access::kReadResting:
      return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    case Access::kReadWrite:
      return SQLITE_OPEN_READWRITE;
    case Access::kReadWriteCreate:
      break;
  }
  return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
}

std::string resting_uri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    switch (c) {
      case '%':
        uri += "%25";
        break;
      case '?':
        uri += "%3f";
        break;
      case '#':
        uri += "%23";
        break;
      default:
        uri += c;
    }
  }
  return uri + "?immutable=1";
}

constexpr int kPatience = 5000;  // ms, for a reader that is about to finish

}  // namespace

void Database::Close::operator()(sqlite3* db) const { sqlite3_close_v2(db); }

Database::Database(const std::string& path, Access access) {
  sqlite3* db = nullptr;
  const std::string name = access == Access::kReadResting ? resting_uri(path) : path;
  // A log is read without a file for its index only by who has the database alone, as far as SQLite can see; to lock a
  // file for that, one must be allowed to write to it.
  const char* const files = access == Access::kReadRestingLog ? "unix-none" : nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &db, flags_of(access) | SQLITE_OPEN_NOMUTEX, files);
  db_.reset(db);
  if (code != SQLITE_OK) fail(db, code);
  if (access == Access::kReadRestingLog) {
    exec("PRAGMA locking_mode = EXCLUSIVE");
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  if (const int added = add_row_check(db); added != SQLITE_OK) fail(db, added);
  set_patience(kPatience);
}

void Database::exec(const std::string& sql) const {
  if (const int code = sqlite3_exec(get(), sql.c_str(), nullptr, nullptr, nullptr); code != SQLITE_OK) {
    fail(get(), code);
  }
}

void Database::reserve(std::int64_t bytes) const {
  if (bytes <= file_bytes()) return;
  int step = 1024;  // SQLite reserves in whole steps of so many bytes, and not at all without one
  sqlite3_int64 size = bytes;
  sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_CHUNK_SIZE, &step);
  const int code = sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_SIZE_HINT, &size);
  if (code != SQLITE_OK) throw SqlError(SQLITE_FULL, sqlite3_errstr(SQLITE_FULL));
}

std::int64_t Database::file_bytes() const {
  sqlite3_file* file = nullptr;
  sqlite3_int64 size = 0;
  int code = sqlite3_file_control(get(), "main", SQLITE_FCNTL_FILE_POINTER, static_cast<void*>(&file));
  if (code == SQLITE_OK) code = file->pMethods->xFileSize(file, &size);
  if (code != SQLITE_OK) fail(get(), code);
  return size;
}

int Database::set_patience(int patience) {
  sqlite3_busy_timeout(get(), patience);
  return std::exchange(patience_, patience);
}

bool Database::in_transaction() const { return sqlite3_get_autocommit(get()) == 0; }

int Database::rows_changed() const { return sqlite3_changes(get()); }

void Statement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Statement::Statement(const Database& db, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(db.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                      &statement, nullptr);
  statement_.reset(statement);
  if (code != SQLITE_OK) fail(db.get(), code);
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) fail(sqlite3_db_handle(statement_.get()), code);
}

bool Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  const std::string what = sqlite3_errmsg(sqlite3_db_handle(statement_.get()));
  reset();
  throw SqlError(code & 0xFF, what);
}

void Statement::run() {
  while (step()) {
  }
  reset();
}

// The error of the last step is told by that step.
void Statement::reset() { sqlite3_reset(statement_.get()); }

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

std::string_view Statement::text(int column) const {
  const unsigned char* const text = sqlite3_column_text(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return text != nullptr ? std::string_view(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)) : "";
}

std::string_view Statement::blob(int column) const {
  const void* const data = sqlite3_column_blob(statement_.get(), column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  return data != nullptr ? std::string_view(static_cast<const char*>(data), size) : std::string_view();
}

bool Statement::is_null(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }

int Statement::columns() const { return sqlite3_column_count(statement_.get()); }

int Statement::type(int column) const { return sqlite3_column_type(statement_.get(), column); }

void Statement::bind_copy(int index, std::string_view text) {
  check(sqlite3_bind_text64(statement_.get(), index + 1, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bind_blob(int index, std::string_view bytes) {
  check(sqlite3_bind_blob64(statement_.get(), index + 1, bytes.data(), bytes.size(), SQLITE_STATIC));
}

void Statement::bind(int index, std::string_view text) {
  const char* const data = text.data() != nullptr ? text.data() : "";
  check(sqlite3_bind_text64(statement_.get(), index + 1, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind_integer(int index, std::int64_t number) {
  check(sqlite3_bind_int64(statement_.get(), index + 1, number));
}

void Statement::bind_null(int index) { check(sqlite3_bind_null(statement_.get(), index + 1)); }

std::int64_t first_integer(Statement& statement) {
  const std::int64_t value = statement.step() ? statement.integer(0) : 0;
  statement.reset();
  return value;
}

Transaction::Transaction(Database& db) : db_(db) { db_.exec("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  // An error such as a full disk may have rolled it back already.
  if (!db_.in_transaction()) return;
  try {
    db_.exec("ROLLBACK");
  } catch (const std::exception&) {  // whoever writes next takes it back
  }
}

void Transaction::commit() { db_.exec("COMMIT"); }

}  // namespace polaiga::engine
