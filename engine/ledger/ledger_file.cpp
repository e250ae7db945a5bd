#include "ledger/ledger_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "base/printable.h"
#include "ledger/mark.h"
#include "ledger/tables.h"
#include "ledger/views.h"

namespace polaiga::engine {
namespace {

constexpr int kApplicationId = 0x706F6C67;  // "polg"

constexpr int kVersion = 1;

// An event alone changes three or four pages, and each of them is written whole.
constexpr int kPageSize = 1024;

// How long, in ms, the engine waits for another program that writes to its ledger; it tries again
// after it has looked after its clients.
constexpr int kWriterPatience = 250;

constexpr int kLockAttempts = 5;
constexpr std::chrono::milliseconds kBetweenLockAttempts{20};

constexpr const char* kWriterAdvice = "; is there a directory, and may this user write to it and to the file?";
constexpr const char* kReaderAdvice = "; is there a ledger, and may this user read it?";

std::int64_t pragma(Database& db, const std::string& name) {
  Statement statement(db, "PRAGMA " + name);
  return statement.step() ? statement.integer(0) : 0;
}

// Whether the file's header says that it is a ledger. It is what is left to look at when
// SQLite refuses the file.
bool has_ledger_header(int fd) {
  std::array<unsigned char, 100> header{};
  if (::pread(fd, header.data(), header.size(), 0) != static_cast<ssize_t>(header.size())) return false;
  std::uint32_t application = 0;
  for (std::size_t i = 68; i < 72; ++i) application = application << 8U | header[i];
  return application == kApplicationId;
}

// What can be told of a file that SQLite can read. Answers whether there is anything in it.
bool is_begun(Database& db, const std::string& path, bool was_ledger) {
  const auto application = pragma(db, "application_id");
  const auto version = pragma(db, "user_version");
  const auto schema_version = pragma(db, "schema_version");
  if (application == kApplicationId && version > kVersion) {
    throw LedgerError(path + ": this ledger is of version " + std::to_string(version) +
                      ", of a later program; this one knows versions up to " + std::to_string(kVersion));
  }
  if (application == 0 && version == 0 && schema_version == 0) {
    if (was_ledger) throw DamagedLedger("the file is empty");
    return false;
  }
  if (application == kApplicationId && version == kVersion) return true;
  if (was_ledger) throw DamagedLedger("its header is not that of a ledger");
  throw LedgerError(path + ": this is no ledger, but another database; it is left as it is. Name another file");
}

// What is acknowledged is on the disk: every commit waits for it.
void prepare(Database& db) {
  db.exec(
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -16384; PRAGMA secure_delete = OFF");
  pragma(db, "schema_version");  // the log is opened by the first read
  db.set_patience(kWriterPatience);
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
void make(Database& db, const Beginning& beginning) {
  db.exec("PRAGMA page_size = " + std::to_string(kPageSize) + "; PRAGMA auto_vacuum = INCREMENTAL");
  prepare(db);
  Transaction transaction(db);
  db.exec(schema() + views());
  Insert<LedgerRow> insert(db);
  insert({.id = random_id(),
          .created = std::clamp<Moment>(beginning.created, 0, kLastMoment),
          .watermark_seq = beginning.after_input,
          .watermark_change = beginning.after_change,
          .watermark_at = 0,
          .missed_through = 0});
  db.exec("PRAGMA application_id = " + std::to_string(kApplicationId));
  db.exec("PRAGMA user_version = " + std::to_string(kVersion));
  transaction.commit();
  db.exec("PRAGMA wal_checkpoint(TRUNCATE)");  // so that the file's own header says what it is
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

// Where the log of the damaged ledger is while the new one comes in its place.
std::string log_gone(const std::string& path) { return path + "-wal-gone"; }

// Gives the file a second name, or where there are no hard links its content.
void keep_as(const std::string& path, const std::string& kept) {
  std::error_code failed;
  std::filesystem::create_hard_link(path, kept, failed);
  if (!failed) return;
  std::filesystem::copy_file(path, kept, failed);
  if (!failed) return;
  std::error_code ignored;
  std::filesystem::remove(kept, ignored);
  throw std::filesystem::filesystem_error("copy", failed);
}

void check_version(Database& db, const std::string& path) {
  if (pragma(db, "application_id") != kApplicationId) throw LedgerError(path + ": this is no ledger");
  if (const auto version = pragma(db, "user_version"); version != kVersion) {
    throw LedgerError(path + ": this ledger is of version " + std::to_string(version) + ", and this program reads " +
                      std::to_string(kVersion));
  }
}

// Whether an engine holds the ledger, as far as can be told.
bool may_be_in_use(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  return !file.is_open() || ::flock(file.get(), LOCK_SH | LOCK_NB) != 0;
}

Database open_existing(const std::string& path, Access access) {
  Database db(path, access);
  check_version(db, path);
  return db;
}

}  // namespace

int ledger_version() { return kVersion; }

std::string resolve_ledger(const std::string& path) {
  if (path.empty()) throw LedgerError("the name of the ledger is empty; --ledger names a file");
  if (path == ":memory:" || path.starts_with("file:")) {
    throw LedgerError(in_quotes(path) +
                      " is no name of a file, and a ledger must be one; to mean a file of that name, put ./ before it");
  }
  if (path.find('\0') != std::string::npos) throw LedgerError("the name of the ledger has a zero byte");
  std::error_code error;
  const auto status = std::filesystem::symlink_status(path, error);
  std::filesystem::path resolved;
  if (status.type() == std::filesystem::file_type::not_found) {
    // The directory must be there; the file will be made in it.
    const std::filesystem::path given(path);
    const std::filesystem::path directory = given.has_parent_path() ? given.parent_path() : std::filesystem::path(".");
    const auto real = std::filesystem::canonical(directory, error);
    if (error || !given.has_filename()) return path;  // opening it will tell what is wrong
    return (real / given.filename()).string();
  }
  resolved = std::filesystem::canonical(path, error);
  if (error) {
    throw LedgerError(path + ": cannot be followed to a file: " + error.message() +
                      "; if it is a symbolic link, it must lead to a file");
  }
  if (std::filesystem::is_directory(resolved, error))
    throw LedgerError(path + ": this is a directory; --ledger names a file");
  return resolved.string();
}

LedgerLock::LedgerLock(const std::string& ledger)
    : file_(::open(ledger.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644)) {
  if (!file_.is_open()) throw LedgerError(ledger + ": cannot open the ledger: " + std::strerror(errno) + kWriterAdvice);
  struct stat status = {};
  if (::fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    throw LedgerError(ledger + ": this is no regular file; --ledger names a file");
  }
  // A reader that asks whether an engine runs holds the lock for a moment.
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    if (::flock(file_.get(), LOCK_EX | LOCK_NB) == 0) return;
    std::this_thread::sleep_for(kBetweenLockAttempts);
  }
  const auto mark = read_mark(ledger);
  throw LedgerError(ledger + ": another engine is using this ledger" +
                    (mark ? ": process " + std::to_string(mark->process) : std::string()));
}

bool LedgerLock::is_in_place(const std::string& ledger) const {
  struct stat locked = {};
  return ::fstat(file_.get(), &locked) == 0 && identity_of(ledger) == FileIdentity{locked.st_dev, locked.st_ino};
}

std::optional<FileIdentity> identity_of(const std::string& path) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

// The last is what a file says that lacks a table or a column.
bool is_damage(const SqlError& error) {
  return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB || error.code() == SQLITE_ERROR;
}

Database open_ledger(const std::string& path, const LedgerLock& lock, const Beginning& beginning, bool was_ledger) {
  try {
    Database db(path, Access::kReadWriteCreate);
    if (is_begun(db, path, was_ledger)) {
      prepare(db);
    } else {
      make(db, beginning);
    }
    return db;
  } catch (const SqlError& error) {
    if (!is_damage(error)) throw told(path, error, kWriterAdvice);
    if (was_ledger || has_ledger_header(lock.fd())) throw DamagedLedger(error.what());
    throw LedgerError(path + ": this is no ledger; it is left as it is. Name another file");
  }
}

Database make_ledger(const std::string& path, const Beginning& beginning) {
  try {
    Database db(path, Access::kReadWriteCreate);
    make(db, beginning);
    return db;
  } catch (const SqlError& error) {
    throw told(path, error, kWriterAdvice);
  }
}

std::string fresh_path(const std::string& path) { return path + "-new"; }

void settle_replacement(const std::string& path) {
  namespace fs = std::filesystem;
  try {
    if (!fs::exists(log_gone(path))) return;
    if (fs::exists(fresh_path(path))) {
      fs::remove(path + "-shm");
      fs::rename(log_gone(path), path + "-wal");
    } else {
      fs::remove(log_gone(path));
    }
  } catch (const fs::filesystem_error& error) {
    throw LedgerError(path + ": the log " + log_gone(path) +
                      ", which a killed engine left, cannot be moved: " + error.code().message());
  }
}

std::string replace_ledger(const std::string& path, Moment now) {
  namespace fs = std::filesystem;
  try {
    const std::string log = path + "-wal";
    const bool is_empty = fs::file_size(path) == 0 && !fs::exists(log);
    if (is_empty) {
      fs::rename(fresh_path(path), path);
      return "";
    }
    const std::string base = path + ".damaged-" + when_text(now);
    std::string aside = base;
    for (int i = 2; fs::exists(aside); ++i) aside = base + "-" + std::to_string(i);
    // There is a ledger in its place at any time. Only its log must go first, because the new ledger would be read with
    // it; settle_replacement() puts it back.
    keep_as(path, aside);
    if (fs::exists(log)) {
      keep_as(log, aside + "-wal");
      fs::rename(log, log_gone(path));
    }
    fs::remove(path + "-shm");
    fs::rename(fresh_path(path), path);
    fs::remove(log_gone(path));
    return aside;
  } catch (const fs::filesystem_error& error) {
    throw LedgerError(path + ": the ledger is damaged and cannot be set aside: " + error.code().message());
  }
}

ReadLedger read_ledger(const std::string& path) {
  const std::string resolved = resolve_ledger(path);
  try {
    try {
      return {open_existing(resolved, Access::kRead), false};
    } catch (const SqlError&) {
      // Who may not write beside a ledger cannot read it as others do when it has no log, or when the index of its log
      // is not there. Without a log nobody is writing to it; with one an engine may be.
      if (!std::filesystem::exists(resolved + "-wal")) return {open_existing(resolved, Access::kReadResting), true};
      if (may_be_in_use(resolved)) throw;
      return {open_existing(resolved, Access::kReadRestingLog), true};
    }
  } catch (const SqlError& error) {
    throw told(path, error, kReaderAdvice);
  }
}

}  // namespace polaiga::engine
