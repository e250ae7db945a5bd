#include "ledger/ledger_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "base/printable.h"
#include "ledger/tables.h"
#include "ledger/views.h"

namespace polaiga::engine {
namespace {

constexpr int kApplicationId = 0x706F6C67;  // "polg"

constexpr int kVersion = 1;

// An event alone changes three or four pages, and each of them is written whole.
constexpr int kPageSize = 1024;

// What the engine goes on with is in these; they are always checked. Of the rest,
// a large ledger is checked as it is read: a start does not wait for it.
constexpr const char* kSmallTables[] = {"ledger", "build",  "tables",       "setting",
                                        "era",    "report", "filter_state", "publisher_cursor"};
constexpr std::uintmax_t kCheckedAsAWhole = std::uintmax_t{128} * 1024 * 1024;

constexpr const char* kWriterAdvice = "; is there a directory, and may this user write to it and to the file?";
constexpr const char* kReaderAdvice = "; is there a ledger, and may this user read it?";

std::int64_t pragma(Database& db, const std::string& name) {
  Statement statement(db, "PRAGMA " + name);
  return statement.step() ? statement.integer(0) : 0;
}

bool is_damage(const SqlError& error) { return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB; }

bool passes(Database& db, const std::string& check) {
  Statement statement(db, "PRAGMA " + check);
  return statement.step() && statement.text(0) == "ok";
}

// So that the pages are in memory when they are checked, in whatever order: from a
// disk, one after the other is many times faster.
void read_ahead(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::vector<char> buffer(std::size_t{1} << 20U);
  while (file.is_open() && ::read(file.get(), buffer.data(), buffer.size()) > 0) {
  }
}

bool is_sound(Database& db, const std::string& path) {
  const bool as_a_whole = std::filesystem::file_size(path) <= kCheckedAsAWhole;
  if (as_a_whole) read_ahead(path);
  for (const char* table : kSmallTables) {
    if (!passes(db, "integrity_check(" + std::string(table) + ")")) return false;
  }
  return !as_a_whole || passes(db, "quick_check(1)");
}

// Everything that can be told of a file that is not this program's to mend.
void reject_foreign(Database& db, const std::string& path) {
  const auto application = pragma(db, "application_id");
  const auto version = pragma(db, "user_version");
  if (application != kApplicationId && (application != 0 || version != 0 || pragma(db, "schema_version") != 0)) {
    throw LedgerError(path + ": this is no ledger, but another database");
  }
  if (version > kVersion) {
    throw LedgerError(path + ": this ledger is of version " + std::to_string(version) +
                      ", of a later program; this one knows versions up to " + std::to_string(kVersion));
  }
}

// What is acknowledged is on the disk: every commit waits for it. The log is
// brought into the file by the ledger itself, which knows how long it may become.
void prepare(Database& db) {
  db.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -16384");
  db.exec("PRAGMA wal_autocheckpoint = 0");
}

std::string random_id() {
  std::array<unsigned char, 16> bits{};
  if (::getrandom(bits.data(), bits.size(), 0) != static_cast<ssize_t>(bits.size())) {
    throw LedgerError(std::string("cannot make the ledger's id: ") + std::strerror(errno));
  }
  std::string id;
  for (const unsigned char byte : bits) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    id += kDigits[byte >> 4U];
    id += kDigits[byte & 0xFU];
  }
  return id;
}

// Page size and auto_vacuum can be chosen only before there is anything in it.
void make(Database& db, Moment now) {
  db.exec("PRAGMA page_size = " + std::to_string(kPageSize) + "; PRAGMA auto_vacuum = INCREMENTAL");
  prepare(db);
  Transaction transaction(db);
  db.exec(schema() + views());
  Insert<LedgerRow>{db}({.id = random_id(), .created = std::clamp<Moment>(now, 0, kLastMoment)});
  db.exec("PRAGMA application_id = " + std::to_string(kApplicationId));
  db.exec("PRAGMA user_version = " + std::to_string(kVersion));
  transaction.commit();
}

std::string when_text(Moment now) {
  std::string text = format_moment(now);
  std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
  return text;
}

LedgerError told(const std::string& path, const SqlError& error, const char* advice) {
  const bool shut = error.code() == SQLITE_CANTOPEN || error.code() == SQLITE_READONLY || error.code() == SQLITE_PERM;
  return LedgerError{path + ": cannot open the ledger: " + error.what() + (shut ? advice : "")};
}

void check_version(Database& db, const std::string& path) {
  if (pragma(db, "application_id") != kApplicationId) throw LedgerError(path + ": this is no ledger");
  if (const auto version = pragma(db, "user_version"); version != kVersion) {
    throw LedgerError(path + ": this ledger is of version " + std::to_string(version) + ", and this program reads " +
                      std::to_string(kVersion));
  }
}

Database open_existing(const std::string& path, Access access) {
  Database db(path, access);
  check_version(db, path);
  return db;
}

}  // namespace

int ledger_version() { return kVersion; }

LedgerLock::LedgerLock(const std::string& ledger) {
  const std::string path = ledger + "-lock";
  fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd_ < 0) throw LedgerError(path + ": cannot open: " + std::strerror(errno) + kWriterAdvice);
  if (::flock(fd_, LOCK_EX | LOCK_NB) == 0) {
    const std::string process = std::to_string(::getpid()) + "\n";
    // Who holds it is told for people; the lock does not depend on it.
    if (::ftruncate(fd_, 0) == 0 && ::pwrite(fd_, process.data(), process.size(), 0) < 0) errno = 0;
    return;
  }
  std::array<char, 16> holder{};
  const auto count = ::pread(fd_, holder.data(), holder.size() - 1, 0);
  ::close(fd_);
  const std::string process = count > 1 ? printable({holder.data(), static_cast<std::size_t>(count - 1)}) : "?";
  throw LedgerError(ledger + ": another engine is using this ledger: process " + process);
}

LedgerLock::~LedgerLock() { ::close(fd_); }

std::string set_ledger_aside(const std::string& path, Moment now) {
  try {
    const std::string base = path + ".damaged-" + when_text(now);
    std::string aside = base;
    for (int i = 2; std::filesystem::exists(aside); ++i) aside = base + "-" + std::to_string(i);
    std::filesystem::rename(path, aside);
    for (const char* companion : {"-wal", "-shm"}) {
      if (std::filesystem::exists(path + companion)) std::filesystem::rename(path + companion, aside + companion);
    }
    return aside;
  } catch (const std::filesystem::filesystem_error& error) {
    throw LedgerError(path + ": the ledger is damaged and cannot be set aside: " + error.code().message());
  }
}

OpenedLedger open_ledger(const std::string& path, Moment now) {
  std::string set_aside;
  try {
    if (std::filesystem::exists(path)) {
      try {
        Database db(path, Access::kReadWriteCreate);
        reject_foreign(db, path);
        if (pragma(db, "schema_version") == 0) {
          make(db, now);  // an engine was stopped before it could
          return {std::move(db), ""};
        }
        prepare(db);
        if (is_sound(db, path)) return {std::move(db), ""};
      } catch (const SqlError& error) {
        if (!is_damage(error)) throw;
      }
      set_aside = set_ledger_aside(path, now);
    }
    Database db(path, Access::kReadWriteCreate);
    make(db, now);
    return {std::move(db), set_aside};
  } catch (const SqlError& error) {
    throw told(path, error, kWriterAdvice);
  } catch (const std::filesystem::filesystem_error& error) {
    throw LedgerError(path + ": cannot open the ledger: " + error.code().message());
  }
}

Database read_ledger(const std::string& path) {
  try {
    try {
      return open_existing(path, Access::kRead);
    } catch (const SqlError&) {
      // Who may not write beside a ledger cannot read it as others do when it has
      // no log; but without one nobody is writing to it.
      if (std::filesystem::exists(path + "-wal")) throw;
      return open_existing(path, Access::kReadResting);
    }
  } catch (const SqlError& error) {
    throw told(path, error, kReaderAdvice);
  }
}

}  // namespace polaiga::engine
