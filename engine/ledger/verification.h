// The check of a whole ledger, for `polaiga verify`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ledger/checker.h"

namespace polaiga::engine {

struct Verification {
  std::string ledger_id;
  std::uint64_t inputs = 0;
  std::uint64_t changes = 0;
  std::uint64_t rows = 0;         // of all tables
  std::uint64_t found = 0;        // findings; 0: the ledger is sound
  std::vector<Finding> findings;  // the first Checker::kMostFindings of them
  std::vector<std::string> lost;  // what was lost earlier, which the ledger knows; a sentence each
};

// Checks all that Checker knows to check, and that the ledger does not end before its
// mark. An engine may be writing to the ledger meanwhile. Throws LedgerError when there is
// no ledger that could be checked.
Verification verify_ledger(const std::string& path);

}  // namespace polaiga::engine
