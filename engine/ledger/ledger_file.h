// The file of the ledger: its schema, and how it is opened.
//
//   event    every accepted event, by its sequence number
//   record   what the filter made of it, if anything
//   episode  a fault from its raise to its end; that of an active fault has none
//   filter_state  the events that the library's memory is brought back by
//   tables   the host tables that events were handled under
//   output   how far each publisher has come
//   outbox   what publishers publish: every change of a fault, in order
#pragma once

#include <stdexcept>
#include <string>

#include "ledger/sqlite.h"
#include "model/moment.h"

namespace polaiga::engine {

// What is wrong with a ledger, and where.
struct LedgerError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Held by the one engine that writes to a ledger, as long as it lives.
class LedgerLock {
 public:
  // Throws LedgerError when another engine holds it, or when it cannot be had.
  explicit LedgerLock(const std::string& ledger);
  ~LedgerLock();
  LedgerLock(const LedgerLock&) = delete;
  LedgerLock& operator=(const LedgerLock&) = delete;

 private:
  int fd_ = -1;
};

struct OpenedLedger {
  Database db;
  std::string set_aside;  // where a damaged file went; empty: there was none
};

// For the engine: made when there is none, migrated when it is of an older
// version, set aside when it is damaged. Throws LedgerError.
OpenedLedger open_ledger(const std::string& path, Moment now);

// Moves a damaged ledger away, with what belongs to it; answers where it is now.
std::string set_ledger_aside(const std::string& path, Moment now);

// A ledger that an engine may be writing: for questions, and for publishers, who
// move their cursors. Both throw LedgerError.
Database read_ledger(const std::string& path);
Database join_ledger(const std::string& path);

// Version of the schema that this program writes.
int ledger_version();

// Brings a database from a version of the schema to a later one; for tests of
// what older programs have left.
void migrate_ledger(Database& db, int from, int to);

}  // namespace polaiga::engine
