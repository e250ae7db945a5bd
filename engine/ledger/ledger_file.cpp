#include "ledger/ledger_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr int kApplicationId = 0x706F6C67;  // "polg"

// Each step leads to the next version. A step that was released never changes.
constexpr const char* kSteps[] = {
    R"sql(
CREATE TABLE tables (
  id INTEGER PRIMARY KEY,
  nm TEXT NOT NULL,
  cmc TEXT NOT NULL,
  drive_bp TEXT NOT NULL
);
CREATE TABLE event (
  seq INTEGER PRIMARY KEY,
  id TEXT,                         -- the sender's own; an event comes once
  received INTEGER NOT NULL,       -- seconds since 1970 in UTC, as all times
  time INTEGER,                    -- the event's own; null: it brought none
  tables INTEGER NOT NULL REFERENCES tables,
  entity TEXT NOT NULL,
  sensor TEXT NOT NULL,
  event_offset INTEGER NOT NULL,
  event_state INTEGER NOT NULL,
  entity_instance INTEGER NOT NULL,
  group_instance INTEGER NOT NULL,
  entity_id INTEGER NOT NULL,
  entity_subtype INTEGER NOT NULL,
  reading_type INTEGER NOT NULL
);
CREATE UNIQUE INDEX event_id ON event (id) WHERE id IS NOT NULL;
CREATE TABLE record (
  seq INTEGER PRIMARY KEY REFERENCES event,
  change TEXT NOT NULL,            -- of its own fault: raised, refreshed, cleared, already_clear
  raised_seq INTEGER,              -- the record that raised its fault; null: it was not active
  superseded INTEGER NOT NULL,     -- 1: the fault of clear_code went with it
  severity TEXT NOT NULL,          -- as ITU-T X.733 names it
  entity_id INTEGER NOT NULL,      -- these four as the filter left them
  entity_subtype INTEGER NOT NULL,
  entity_instance INTEGER NOT NULL,
  event_state INTEGER NOT NULL,
  fault_key INTEGER NOT NULL,
  dn TEXT NOT NULL,
  fault_dn TEXT NOT NULL,
  rn TEXT NOT NULL,
  code_text TEXT NOT NULL,
  oid TEXT NOT NULL,               -- dotted
  oid_len INTEGER NOT NULL,
  descr TEXT NOT NULL,
  created TEXT NOT NULL,
  created_time INTEGER NOT NULL,
  disposition INTEGER NOT NULL,
  cause_id INTEGER NOT NULL,
  clear_cause_id INTEGER NOT NULL,
  cause TEXT NOT NULL,
  clear_cause TEXT NOT NULL,
  code INTEGER NOT NULL,
  clear_code INTEGER NOT NULL,
  name TEXT NOT NULL
);
CREATE TABLE episode (             -- the fault is that of the record that raised it
  raised_seq INTEGER PRIMARY KEY REFERENCES record,
  raised_at INTEGER NOT NULL,
  last_seq INTEGER NOT NULL REFERENCES record,  -- the latest that raised or refreshed it
  updated_at INTEGER NOT NULL,
  reports INTEGER NOT NULL,                     -- records that raised or refreshed it
  ended_seq INTEGER REFERENCES event,           -- null: it is active
  ended_at INTEGER,
  ending TEXT                                   -- cleared, superseded, withdrawn
);
CREATE INDEX episode_active ON episode (raised_seq) WHERE ended_seq IS NULL;
CREATE INDEX episode_ended ON episode (ended_seq) WHERE ended_seq IS NOT NULL;
CREATE TABLE filter_state (
  slot TEXT NOT NULL,
  seq INTEGER NOT NULL REFERENCES event,
  PRIMARY KEY (slot, seq)
) WITHOUT ROWID;
CREATE INDEX filter_state_seq ON filter_state (seq);
CREATE TABLE horizon (             -- one row: what retention has taken
  through_seq INTEGER NOT NULL,    -- up to here only what is still needed is left
  through_at INTEGER NOT NULL      -- the latest time of what is gone
);
INSERT INTO horizon VALUES (0, 0);
)sql",
    R"sql(
CREATE TABLE output (
  name TEXT PRIMARY KEY,
  seq INTEGER NOT NULL             -- all up to here is published
) WITHOUT ROWID;
CREATE VIEW outbox AS
  SELECT seq, 2 AS step, change, fault_dn FROM record WHERE change IN ('raised', 'refreshed', 'cleared')
  UNION ALL
  SELECT ended_seq, 1, ending, fault_dn FROM episode JOIN record ON record.seq = episode.raised_seq
  WHERE ended_seq IS NOT NULL AND ending <> 'cleared';
)sql",
};
constexpr int kVersion = static_cast<int>(std::size(kSteps));

constexpr const char* kWriterAdvice = "; is there a directory, and may this user write to it and to the file?";
constexpr const char* kReaderAdvice = "; is there a ledger, and may this user read it?";

std::int64_t pragma(Database& db, const std::string& name) {
  Statement statement(db, "PRAGMA " + name);
  return statement.step() ? statement.integer(0) : 0;
}

bool is_damage(const SqlError& error) { return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB; }

bool is_sound(Database& db) {
  Statement check(db, "PRAGMA integrity_check(1)");
  return check.step() && check.text(0) == "ok";
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

// What is acknowledged is on the disk: every commit waits for it.
void prepare(Database& db) {
  db.exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA cache_size = -16384");
  // The log is brought in when it has 16 MiB, and is no larger afterwards.
  db.exec("PRAGMA wal_autocheckpoint = 4096; PRAGMA journal_size_limit = 16777216");
}

void migrate(Database& db) {
  const int version = static_cast<int>(pragma(db, "user_version"));
  if (version == kVersion) return;
  Transaction transaction(db);
  migrate_ledger(db, version, kVersion);
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
                      std::to_string(kVersion) +
                      (version < kVersion ? "; `polaiga run` brings it up to date" : "; it is of a later program"));
  }
}

Database open_existing(const std::string& path, Access access) {
  Database db(path, access);
  check_version(db, path);
  return db;
}

}  // namespace

int ledger_version() { return kVersion; }

void migrate_ledger(Database& db, int from, int to) {
  for (int version = from; version < to; ++version) db.exec(kSteps[version]);
  db.exec("PRAGMA application_id = " + std::to_string(kApplicationId));
  db.exec("PRAGMA user_version = " + std::to_string(to));
}

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
  const std::string base = path + ".damaged-" + when_text(now);
  std::string aside = base;
  for (int i = 2; std::filesystem::exists(aside); ++i) aside = base + "-" + std::to_string(i);
  std::filesystem::rename(path, aside);
  for (const char* companion : {"-wal", "-shm"}) {
    if (std::filesystem::exists(path + companion)) std::filesystem::rename(path + companion, aside + companion);
  }
  return aside;
}

OpenedLedger open_ledger(const std::string& path, Moment now) {
  std::string set_aside;
  try {
    if (std::filesystem::exists(path)) {
      try {
        Database db(path, Access::kReadWriteCreate);
        reject_foreign(db, path);
        prepare(db);
        if (is_sound(db)) {
          migrate(db);
          return {std::move(db), ""};
        }
      } catch (const SqlError& error) {
        if (!is_damage(error)) throw;
      }
      set_aside = set_ledger_aside(path, now);
    }
    Database db(path, Access::kReadWriteCreate);
    prepare(db);
    migrate(db);
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

Database join_ledger(const std::string& path) {
  try {
    return open_existing(path, Access::kReadWrite);
  } catch (const SqlError& error) {
    throw told(path, error, kWriterAdvice);
  }
}

}  // namespace polaiga::engine
