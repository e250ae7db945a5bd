#include "ledger/verification.h"

#include <algorithm>

#include "ledger/connection.h"
#include "ledger/mark.h"
#include "ledger/stored_rows.h"
#include "ledger/tables.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kRowsOfStep = 5000;

// The last number that the ledger knows.
Sequence last_input(const Database& db) {
  Statement row(db,
                "SELECT max((SELECT coalesce(max(seq), 0) FROM event), (SELECT coalesce(max(last_seq), 0) FROM gap), "
                "(SELECT watermark_seq FROM ledger))");
  return row.step() ? row.integer(0) : 0;
}

}  // namespace

Verification verify_ledger(const std::string& path) {
  // Read first: what was acknowledged by then is in the ledger by now.
  const std::optional<Mark> mark = read_mark(resolve_ledger(path));
  LedgerConnection connection(path);
  Verification verification;
  std::vector<Finding> of_the_whole;
  try {
    verification.ledger_id = connection.ask([&] { return ledger_row(connection.db()).id; });
    const Sequence last = connection.ask([&] { return last_input(connection.db()); });
    if (mark && mark->last_sequence > last) {
      of_the_whole.push_back({"the ledger ends with input " + std::to_string(last) + ", but inputs up to " +
                                  std::to_string(mark->last_sequence) + " were acknowledged",
                              last + 1, mark->last_sequence});
    }
    Checker checker(connection.db());
    while (checker.step(kRowsOfStep)) {
    }
    checker.check_as_a_whole();
    verification.inputs = checker.checked_inputs();
    verification.changes = checker.checked_changes();
    verification.rows = checker.checked_rows();
    verification.found = checker.found();
    verification.findings = checker.findings();
    verification.lost = checker.known_gaps();
  } catch (const LedgerError& error) {
    of_the_whole.push_back({error.what()});
  } catch (const SqlError& error) {
    of_the_whole.push_back({std::string("the ledger cannot be read: ") + error.what()});
  }
  verification.found += of_the_whole.size();
  verification.findings.insert(verification.findings.begin(), of_the_whole.begin(), of_the_whole.end());
  return verification;
}

}  // namespace polaiga::engine
