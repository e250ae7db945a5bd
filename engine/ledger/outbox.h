// What publishers publish: every change of a fault, in order. Each output has a
// cursor of its own in the ledger, so that it goes on where it was.
#pragma once

#include <string>
#include <vector>

#include "filter/filter_state.h"
#include "ledger/sqlite.h"

namespace polaiga::engine {

// A change that event `sequence` made: raised, refreshed, cleared, superseded or
// withdrawn. An event may make several.
struct OutboxItem {
  Sequence sequence = 0;
  std::string change;
  std::string fault_dn;
};

class Outbox {
 public:
  // Of a ledger that an engine may be writing. A new output begins behind the
  // latest event. Throws LedgerError and SqlError.
  Outbox(const std::string& ledger, std::string output);

  // What is to be published next: `most` items, or as many more as belong to the
  // last of their events. Retention takes none of them.
  std::vector<OutboxItem> next(std::size_t most);

  // The items of all events up to this one have been published.
  void published(Sequence sequence);

  // Ends the output; retention waits for it no more.
  void forget();

 private:
  Database db_;
  std::string output_;
};

}  // namespace polaiga::engine
