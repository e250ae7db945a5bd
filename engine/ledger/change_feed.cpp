#include "ledger/change_feed.h"

#include <algorithm>
#include <map>
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

// The chattering faults by the alarms that outputs take for active.
std::map<ChangeNumber, ChatteringFault> shown_alarms(StoredRows& rows) {
  std::map<ChangeNumber, ChatteringFault> shown;
  for (const ChatteringFault& fault : rows.chattering()) {
    if (fault.shown_alarm != 0) shown.emplace(fault.shown_alarm, fault);
  }
  return shown;
}

FeedAlarm feed_alarm(ActiveRow&& row) {
  const ChangeNumber number = row.fault.alarm;
  return {.number = number,
          .created = row.alarm_since,
          .fault = std::move(row.fault),
          .shown = std::move(row.shown),
          .standing = row.standing,
          .is_out_of_service = row.is_out_of_service,
          .chattering = std::move(row.chattering)};
}

// Of an alarm that is over, though outputs take it for active because its fault is chattering.
std::optional<FeedAlarm> feed_alarm_that_is_over(StoredRows& rows, const ChatteringFault& chattering) {
  const auto alarm = rows.alarm(chattering.shown_alarm);
  if (!alarm) return std::nullopt;
  const auto step = std::ranges::find(alarm->steps, chattering.fault_dn, &StoredFault::fault_dn);
  if (step == alarm->steps.end()) return std::nullopt;
  return FeedAlarm{.number = alarm->number,
                   .created = alarm->created,
                   .fault = *step,
                   .shown = rows.record(step->raised),
                   .standing = alarm->standing,
                   .is_out_of_service = alarm->is_out_of_service,
                   .chattering = chattering};
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

ChangeNumber ChangeFeed::oldest_number() {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    const ChangeNumber oldest = rows.ledger().watermark_change + 1;
    return oldest <= rows.last_change() ? oldest : 0;
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

FeedStart ChangeFeed::start() {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    FeedStart start{.number = rows.last_change(), .alarms = rows.active_alarms()};
    for (const auto& shown : shown_alarms(rows)) start.alarms.push_back(shown.first);
    std::ranges::sort(start.alarms);
    start.alarms.erase(std::unique(start.alarms.begin(), start.alarms.end()), start.alarms.end());
    return start;
  });
}

FeedAlarms ChangeFeed::alarms(std::span<const ChangeNumber> numbers) {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    const std::map<ChangeNumber, ChatteringFault> shown = shown_alarms(rows);
    FeedAlarms found;
    for (const ChangeNumber number : numbers) {
      const std::size_t before = rows.left_out.size();
      rows.leave_out_damage([&] {
        const auto chattering = shown.find(number);
        std::optional<ActiveRow> row = rows.active_of(number);
        std::optional<FeedAlarm> alarm;
        if (chattering == shown.end()) {
          if (row && !(row->chattering && !row->standing.was_told)) alarm = feed_alarm(std::move(*row));
        } else {
          alarm = row ? feed_alarm(std::move(*row)) : feed_alarm_that_is_over(rows, chattering->second);
          if (alarm) alarm->fault.severity = chattering->second.shown_severity;
        }
        if (alarm) found.alarms.push_back(std::move(*alarm));
      });
      if (rows.left_out.size() > before) found.unread.push_back(number);
    }
    found.damage = std::move(rows.left_out);
    return found;
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
