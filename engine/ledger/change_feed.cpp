#include "ledger/change_feed.h"

#include <utility>

#include "ledger/connection.h"
#include "ledger/stored_profile.h"
#include "ledger/stored_rows.h"

namespace polaiga::engine {

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
                      .profile = profile_->read(rows),
                      .damage = {}};
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
    if (number < gone) {
      feed.gap = {number + 1, gone};
    } else if (number > last) {
      feed.gap = {last + 1, number};
    } else if (number < last && most > 0) {
      const ChangeNumber after = number;
      rows.changes(StoredRows::Direction::kForwards, number, [&](auto&& change) {
        if (change.stored.change.number != number + 1) return false;
        ++number;
        feed.changes.push_back(std::move(change.stored));
        return feed.changes.size() < most;
      });
      feed.damage = std::move(rows.left_out);
      if (feed.changes.empty()) feed.gap = {after + 1, rows.next_readable_change(after) - 1};
    }
    return feed;
  });
}

bool ChangeFeed::has_changed() { return connection_->has_changed(); }

}  // namespace polaiga::engine
