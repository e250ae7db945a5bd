#include "ledger/outbox.h"

#include <utility>

#include "ledger/ledger_file.h"

namespace polaiga::engine {

Outbox::Outbox(const std::string& ledger, std::string output) : db_(join_ledger(ledger)), output_(std::move(output)) {
  Statement(db_,
            "INSERT OR IGNORE INTO output SELECT ?, max(through_seq, coalesce((SELECT max(seq) FROM event), 0)) "
            "FROM horizon")
      .with(output_)
      .run();
}

std::vector<OutboxItem> Outbox::next(std::size_t most) {
  std::vector<OutboxItem> items;
  Statement rows(db_,
                 "SELECT seq, change, fault_dn FROM outbox WHERE seq > (SELECT seq FROM output WHERE name = ?) "
                 "ORDER BY seq, step");
  rows.with(output_);
  while (rows.step()) {
    const Sequence sequence = rows.integer(0);
    if (items.size() >= most && items.back().sequence != sequence) break;
    items.push_back({sequence, std::string(rows.text(1)), std::string(rows.text(2))});
  }
  return items;
}

void Outbox::published(Sequence sequence) {
  Statement(db_, "UPDATE output SET seq = max(seq, ?2) WHERE name = ?1").with(output_, sequence).run();
}

void Outbox::forget() { Statement(db_, "DELETE FROM output WHERE name = ?").with(output_).run(); }

}  // namespace polaiga::engine
