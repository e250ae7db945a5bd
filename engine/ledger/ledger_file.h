// The file of the ledger, and how it is opened.
#pragma once

#include <string>

#include "ledger/columns.h"
#include "ledger/sqlite.h"
#include "model/moment.h"

namespace polaiga::engine {

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

// For the engine: made when there is none, set aside when it is damaged. Of a
// large file not every page is looked at. Throws LedgerError.
OpenedLedger open_ledger(const std::string& path, Moment now);

// Moves a damaged ledger away, with what belongs to it; answers where it is now.
std::string set_ledger_aside(const std::string& path, Moment now);

// A ledger that an engine may be writing. Throws LedgerError.
Database read_ledger(const std::string& path);

// Version of the schema that this program reads and writes.
int ledger_version();

}  // namespace polaiga::engine
