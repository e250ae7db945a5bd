#include "ledger/change_feed.h"

#include <set>
#include <utility>

#include "ledger/connection.h"
#include "ledger/stored_profile.h"
#include "ledger/stored_rows.h"

namespace polaiga::engine {
namespace {

// What is told of an alarm of a chattering fault is told of the fault.
bool is_left_out(const ActiveRow& row, const std::set<ChangeNumber>& shown) {
  const bool is_told_apart = row.standing.was_told && !shown.contains(row.fault.alarm);
  return row.chattering && !is_told_apart;
}

}  // namespace

ChangeFeed::ChangeFeed(const std::string& ledger)
    : connection_(std::make_unique<LedgerConnection>(ledger)), profile_(std::make_unique<StoredProfile>()) {
  ledger_id_ = connection_->ask([&] { return ledger_row(connection_->db()).id; });
}
ChangeFeed::~ChangeFeed() = default;
ChangeFeed::ChangeFeed(ChangeFeed&& other) noexcept = default;
ChangeFeed& ChangeFeed::operator=(ChangeFeed&& other) noexcept = default;

std::optional<ChangeNumber> ChangeFeed::cursor(const std::string& publisher) {
  return connection_->ask([&]() -> std::optional<ChangeNumber> {
    Statement row(connection_->db(), "SELECT " + columns_sql<CursorRow>() + " FROM publisher_cursor WHERE name = ?");
    if (!row.with(publisher).step()) return std::nullopt;
    return read_row<CursorRow>(row).change;
  });
}

Snapshot ChangeFeed::snapshot() {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    Snapshot snapshot{.ledger_id = ledger_id_,
                      .number = rows.last_change(),
                      .active = rows.active(),
                      .chattering = {},
                      .profile = profile_->read(rows),
                      .damage = {}};
    std::set<ChangeNumber> shown;
    for (const ChatteringFault& fault : rows.chattering()) {
      if (fault.shown_alarm != 0) shown.insert(fault.shown_alarm);
      snapshot.chattering.push_back({.fault = fault, .raise = {}});
      rows.leave_out_damage([&] {
        const auto last = rows.latest_fault(fault.fault_dn);
        if (last) snapshot.chattering.back().raise = rows.record(last->raised_seq);
      });
    }
    std::erase_if(snapshot.active, [&shown](const ActiveRow& row) { return is_left_out(row, shown); });
    snapshot.damage = std::move(rows.left_out);
    return snapshot;
  });
}

Feed ChangeFeed::next(ChangeNumber number, std::size_t most) {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    Feed feed;
    if (connection_->is_replaced()) {
      throw LedgerError("the ledger is gone, or another one is in its place; open it again and begin with a snapshot");
    }
    feed.profile = profile_->read(rows);
    feed.damage = rows.left_out;
    const ChangeNumber gone = rows.ledger().watermark_change;
    const ChangeNumber last = rows.last_change();
    feed.through = number;
    if (number < gone) {
      feed.gap = {number + 1, gone};
    } else if (number > last) {
      feed.gap = {last + 1, number};
    } else if (number < last && most > 0) {
      const ChangeNumber after = number;
      std::size_t read = 0;
      rows.changes(StoredRows::Direction::kForwards, number, [&](auto&& change) {
        if (change.stored.change.number != number + 1) return false;
        feed.through = ++number;
        if (!change.stored.change.is_folded) feed.changes.push_back(std::move(change.stored));
        return ++read < most;
      });
      feed.damage = std::move(rows.left_out);
      if (number == after) feed.gap = {after + 1, rows.next_readable_change(after) - 1};
      for (StoredChange& one : feed.changes) {
        if (one.change.kind == ChangeKind::kSettled && one.change.shown != 0)
          one.shown = rows.kept_record(one.change.shown);
      }
    }
    return feed;
  });
}

bool ChangeFeed::has_changed() { return connection_->has_changed(); }
bool ChangeFeed::is_replaced() const { return connection_->is_replaced(); }

}  // namespace polaiga::engine
