// SQLite's C interface with owners and exceptions, no more.
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace polaiga::engine {

// code() is SQLite's primary result code, as in SQLITE_FULL.
class SqlError : public std::runtime_error {
 public:
  SqlError(int code, const std::string& what) : std::runtime_error(what), code_(code) {}
  int code() const { return code_; }

 private:
  int code_;
};

// Of a file that nobody writes to as long as it is open, and beside which nothing can be written: kReadResting when it
// has no write-ahead log, kReadRestingLog when it has one.
enum class Access { kRead, kReadResting, kReadRestingLog, kReadWrite, kReadWriteCreate };

class Database {
 public:
  // Throws SqlError, as all that follows does.
  Database(const std::string& path, Access access);

  void exec(const std::string& sql) const;
  bool in_transaction() const;
  int rows_changed() const;
  std::int64_t file_bytes() const;  // on the disk

  // Takes space on the disk now for what the file will grow to when the log is brought in. Otherwise the log might take
  // the last space, and could never be brought in and emptied again.
  void reserve(std::int64_t bytes) const;

  // How long to wait for others that use the file, in ms; answers with what it was.
  int set_patience(int patience);
  sqlite3* get() const { return db_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* db) const;
  };
  std::unique_ptr<sqlite3, Close> db_;
  int patience_ = 0;
};

// A prepared statement. Parameters and columns count from 0.
class Statement {
 public:
  Statement(const Database& db, std::string_view sql);

  // Begins anew, with these as its parameters. Texts must last until the last step.
  template <class... Values>
  Statement& with(const Values&... values) {
    reset();
    int index = 0;
    (bind(index++, values), ...);
    return *this;
  }

  // Whether there is a row.
  bool step();
  // Steps to the end, of a statement whose rows do not matter.
  void run();
  void reset();

  std::int64_t integer(int column) const;
  std::string_view text(int column) const;  // until the next step, as that of blob()
  std::string_view blob(int column) const;
  bool is_null(int column) const;
  int columns() const;
  int type(int column) const;  // SQLITE_INTEGER and so on

  template <std::integral T>
  T number(int column) const {
    return static_cast<T>(integer(column));
  }

  // The text must last until the last step, but for that of bind_copy().
  void bind(int index, std::string_view text);
  void bind_copy(int index, std::string_view text);
  void bind_blob(int index, std::string_view bytes);  // they must last until the last step, too
  void bind(int index, const char* text) { bind(index, std::string_view(text)); }
  void bind(int index, const std::string& text) { bind(index, std::string_view(text)); }
  template <std::integral T>
  void bind(int index, T number) {
    bind_integer(index, static_cast<std::int64_t>(number));
  }
  template <class T>
  void bind(int index, const std::optional<T>& value) {
    if (value) {
      bind(index, *value);
    } else {
      bind_null(index);
    }
  }

  void bind_null(int index);

 private:
  void bind_integer(int index, std::int64_t number);
  void check(int code) const;

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// The first column of the first row; 0 when there is no row. The statement can be used again at once.
std::int64_t first_integer(Statement& statement);

// Rolled back unless it is committed.
class Transaction {
 public:
  explicit Transaction(Database& db);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Database& db_;
};

}  // namespace polaiga::engine
