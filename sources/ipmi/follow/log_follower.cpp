#include "follow/log_follower.h"

#include <algorithm>
#include <utility>

#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

// Whether the contents of a record name it: two records with a time of a clock that was never set may be alike.
bool has_time(const SelBytes& bytes) { return parse_sel_record(bytes).time.has_value(); }

void push(std::deque<ReadRecord>& trail, ReadRecord record) {
  trail.push_back(record);
  if (trail.size() > Position::kTrail) trail.pop_front();
}

}  // namespace

void LogFollower::tell_once(bool& is_told, const std::string& text) {
  if (!std::exchange(is_told, true)) tell_(text);
}

void LogFollower::begin(Controller& controller, bool with_history) {
  if (position_.epoch != 0) {
    position_.epoch = new_epoch_();
    position_.wants_new_epoch = false;
    return;
  }
  Position position{.epoch = new_epoch_(), .erased = controller.log_info().erased};
  if (!with_history) {
    if (const auto last = controller.log_entry(Controller::kLastRecord)) {
      position.trail.push_back({last->record.id, last->record.bytes});
    }
  }
  position_ = std::move(position);
  end_pass();
}

void LogFollower::tell_loop(const Position& position, std::uint16_t to) {
  tell_once(loop_told_, "the chain of the controller's log leads from record " + hex(position.trail.back().id) +
                            " back to record " + hex(to) + ", which was read before; reading ends there");
}

// Nothing: the cursor's record is gone, or another one has its id.
std::optional<LogFollower::Place> LogFollower::after_cursor(Controller& controller, const Position& position) {
  if (position.trail.empty()) return Place{position};
  const ReadRecord& cursor = position.trail.back();
  const auto entry = controller.log_entry(cursor.id);
  if (entry && entry->record.bytes == cursor.bytes) return Place{position, entry->next_id};
  if (cursor.id != Controller::kFirstRecord || !entry || entry->record.id == cursor.id) return std::nullopt;
  // A record has the id 0, and the controller answers with its first one. The record is the last one, or 1 follows it.
  const auto last = controller.log_entry(Controller::kLastRecord);
  if (last && last->record.bytes == cursor.bytes) return Place{position, Controller::kLastRecord};
  return controller.log_entry(1) ? std::optional(Place{position, 1}) : std::nullopt;
}

// The chain leads to 0, for which the controller answers with its first record.
std::optional<LogEntry> LogFollower::entry_zero(Controller& controller, const SelBytes& cursor) {
  auto last = controller.log_entry(Controller::kLastRecord);
  // To some controllers 0 means that nothing follows.
  if (!last || last->record.bytes == cursor) return std::nullopt;
  if (last->record.id == 0) return last;
  auto next = controller.log_entry(1);
  if (next && read_ids_[1]) next.reset();
  if (next) {
    tell_once(zero_told_,
              "a record of the controller's log has the id 0, under which it cannot be asked for when others "
              "have come after it; it is left out");
  }
  return next;
}

// Looks for the last records that were read, from the latest. So the log goes on where it was read to when the cursor's
// record alone was deleted.
std::optional<LogFollower::Place> LogFollower::find_again(Controller& controller, const Position& position) {
  for (auto wanted = position.trail.rbegin(); wanted != position.trail.rend(); ++wanted) {
    if (!has_time(wanted->bytes)) continue;
    const auto entry = controller.log_entry(wanted->id);
    if (!entry || entry->record.bytes != wanted->bytes) continue;
    Place place{position, entry->next_id};
    place.position.trail.erase(place.position.trail.begin() + (wanted.base() - position.trail.begin()),
                               place.position.trail.end());
    return place;
  }
  return std::nullopt;
}

LogFollower::Place LogFollower::find_place(Controller& controller, const LogInfo& info, LogBatch& batch) {
  const bool was_erased = info.erased != position_.erased;
  // The time of erasure changes, too, when a single record is deleted. But when the log was cleared, and the clock is
  // not set, a new record may be like the old one.
  const bool can_trust_cursor =
      position_.trail.empty() || !(was_erased || is_distrusted_) || has_time(position_.trail.back().bytes);
  std::optional<Place> place;
  if (can_trust_cursor && !(is_distrusted_ && position_.trail.empty())) place = after_cursor(controller, position_);
  if (place) {
    place->position.erased = info.erased;
    return *place;
  }
  batch.has_gap = true;
  end_pass();
  // It may have been cleared after the controller told of it.
  const std::uint32_t erased = controller.log_info().erased;
  place = find_again(controller, position_);
  if (place) {
    tell_("the last record that was read is gone from the controller's log; it is read on from the one before");
  } else {
    place = Place{};
    const std::string why = is_distrusted_               ? "it is the log of another controller"
                            : erased != position_.erased ? "it was cleared"
                                                         : "the last record that was read is gone from it";
    tell_("the controller's log is read from its first record: " + why);
  }
  place->position.epoch = new_epoch_();
  place->position.erased = erased;
  place->position.cut_at.reset();
  return *place;
}

// Answers whether there may be more.
bool LogFollower::take(Controller& controller, Place& place, LogBatch& batch) {
  Position& position = place.position;
  if (place.next == Controller::kLastRecord) return false;
  const bool is_first = position.trail.empty();
  auto entry = controller.log_entry(place.next);
  if (!is_first && place.next == Controller::kFirstRecord && entry && entry->record.id != Controller::kFirstRecord) {
    entry = entry_zero(controller, position.trail.back().bytes);
    if (!entry) return false;
    place.next = entry->record.id;
  }
  if (!entry) {
    // A log without records has no first one.
    if (!is_first) {
      tell_once(break_told_, "the chain of the controller's log leads from record " + hex(position.trail.back().id) +
                                 " to record " + hex(place.next) +
                                 ", which the controller does not have; it is asked for again with each poll");
    }
    return false;
  }
  break_told_ = false;
  const std::uint16_t id = place.next == Controller::kFirstRecord ? entry->record.id : place.next;
  const ReadRecord record{id, entry->record.bytes};
  if (position.cut_at == record) return false;
  const bool was_read_before =
      has_time(record.bytes) && std::ranges::find(position.trail, record) != position.trail.end();
  if (!is_first && (read_ids_[id] || was_read_before)) {
    tell_loop(position, id);
    position.cut_at = record;
    return false;
  }
  if (!is_first && id <= position.trail.back().id) {
    position.epoch = new_epoch_();
    batch.has_restarted = true;
  }
  read_ids_[id] = true;
  batch.records.push_back({entry->record, position.epoch});
  push(position.trail, record);
  position.cut_at.reset();
  place.next = entry->next_id;
  return true;
}

LogBatch LogFollower::read(Controller& controller, const LogInfo& info, std::size_t most) {
  LogBatch batch;
  Place place = find_place(controller, info, batch);
  if (!place.position.trail.empty()) read_ids_[place.position.trail.back().id] = true;
  const auto ids_before = read_ids_;
  try {
    bool goes_on = true;
    while (goes_on && batch.records.size() < most) goes_on = take(controller, place, batch);
    batch.has_more = goes_on;
  } catch (...) {
    read_ids_ = ids_before;
    throw;
  }
  position_ = std::move(place.position);
  is_distrusted_ = false;
  if (!batch.has_more) end_pass();
  return batch;
}

}  // namespace polaiga::ipmi
