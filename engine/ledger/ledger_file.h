// The file of the ledger: which one it is, who may write to it, and how it is opened.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "base/descriptor.h"
#include "ledger/columns.h"
#include "ledger/sqlite.h"
#include "model/moment.h"

namespace polaiga::engine {

// The file that a path leads to, through all links, as an absolute path: two names of
// one ledger are one ledger. Throws LedgerError for what can be no ledger's file: an
// empty name, SQLite's ":memory:" and "file:" names, a directory, a link to nothing.
std::string resolve_ledger(const std::string& path);

// Held by the one engine that writes to a ledger, as long as it lives. What is locked
// is the file of the ledger itself, so no other name leads around the lock.
class LedgerLock {
 public:
  // `ledger` is a resolved path; the file is made when there is none. Throws LedgerError
  // when another engine holds it, or when it cannot be had.
  explicit LedgerLock(const std::string& ledger);

  // Whether the path still leads to the file that is locked.
  bool is_in_place(const std::string& ledger) const;

  // Of the locked file. SQLite forgets its own locks on a file when any descriptor of
  // it is closed, so it may only be read from, and lives as long as the database.
  int fd() const { return file_.get(); }

 private:
  Descriptor file_;
};

// A file as it is known to the system, whatever its name is.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileIdentity&) const = default;
};
// Nothing when there is no such file.
std::optional<FileIdentity> identity_of(const std::string& path);

// A ledger whose structure or content is not what an engine wrote.
struct DamagedLedger : LedgerError {
  using LedgerError::LedgerError;
};

// What a new ledger begins with.
struct Beginning {
  Moment created = 0;
  Sequence after_input = 0;  // its first input has the next number
  ChangeNumber after_change = 0;
};

// Opens the ledger, or makes one in a file that is empty. Throws DamagedLedger when it
// was a ledger, LedgerError when it is something else, which is left alone, or when it
// cannot be opened. `was_ledger` says that the file is known to have been a ledger,
// whatever it looks like now.
Database open_ledger(const std::string& path, const LedgerLock& lock, const Beginning& beginning, bool was_ledger);

// Makes a ledger in a file that is not there yet.
Database make_ledger(const std::string& path, const Beginning& beginning);

// Where a new ledger is made that is to replace a damaged one.
std::string fresh_path(const std::string& path);

// Puts the complete new ledger from there in the place of the damaged one, which is kept
// aside with what belongs to it; answers where, or "" when there was nothing in it.
// Throws LedgerError.
std::string replace_ledger(const std::string& path, Moment now);

// An engine may have been killed amid that. Then the damaged ledger gets its log back, or
// the new one is already in its place. Throws LedgerError.
void settle_replacement(const std::string& path);

// Whether an error says that the file is damaged, not that it cannot be used now.
bool is_damage(const SqlError& error);

// A ledger that an engine may be writing. Throws LedgerError.
struct ReadLedger {
  Database db;
  bool is_resting = false;  // no engine was using it, and nothing written later is seen
};
ReadLedger read_ledger(const std::string& path);

// Version of the schema that this program reads and writes.
int ledger_version();

}  // namespace polaiga::engine
