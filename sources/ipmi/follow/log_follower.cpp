#include "follow/log_follower.h"

#include <algorithm>
#include <utility>

#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

// Whether the contents of a record name it: two records with a time of a clock that was never set may be alike.
bool has_time(const SelBytes& bytes) { return parse_sel_record(bytes).time.has_value(); }

// Without the id, which a controller may change.
bool is_same_content(const SelBytes& one, const SelBytes& other) {
  return std::equal(one.begin() + 2, one.end(), other.begin() + 2);
}

void push(std::deque<ReadRecord>& trail, ReadRecord record) {
  trail.push_back(record);
  if (trail.size() > Position::kTrail) trail.pop_front();
}

// All records of the log, in the order of the chain.
std::vector<std::pair<ReadRecord, std::uint16_t>> walk(Controller& controller) {
  std::vector<std::pair<ReadRecord, std::uint16_t>> records;
  std::bitset<0x10000> read;
  for (std::uint16_t next = Controller::kFirstRecord; next != Controller::kLastRecord && !read[next];) {
    const auto entry = controller.log_entry(next);
    if (!entry) break;
    const std::uint16_t id = next == Controller::kFirstRecord ? entry->record.id : next;
    if (read[id]) break;
    read[id] = true;
    records.push_back({{id, entry->record.bytes}, entry->next_id});
    next = entry->next_id;
  }
  return records;
}

}  // namespace

void LogFollower::tell_once(bool& is_told, const std::string& text) {
  if (!std::exchange(is_told, true)) tell_(text);
}

void LogFollower::begin(Controller& controller, bool with_history) {
  if (!position_.trail.empty()) {
    position_.epoch = new_epoch_();
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

// Nothing: the cursor's record is gone, or another one has its id.
std::optional<LogFollower::Place> LogFollower::after_cursor(Controller& controller, const Position& position) const {
  if (position.trail.empty()) return Place{position};
  const ReadRecord& cursor = position.trail.back();
  const auto entry = controller.log_entry(cursor.id);
  if (!entry || entry->record.bytes != cursor.bytes) return std::nullopt;
  return Place{position, entry->next_id};
}

// Looks for the last records that were read, from the latest, under whatever id they have now. So the log goes on where
// it was read to when the cursor's record alone was deleted, or when the controller has counted anew.
std::optional<LogFollower::Place> LogFollower::find_again(Controller& controller, const Position& position) {
  if (std::ranges::none_of(position.trail, [](const ReadRecord& record) { return has_time(record.bytes); })) {
    return std::nullopt;
  }
  const auto records = walk(controller);
  for (auto wanted = position.trail.rbegin(); wanted != position.trail.rend(); ++wanted) {
    if (!has_time(wanted->bytes)) continue;
    const auto found = std::ranges::find_if(
        records, [&](const auto& record) { return is_same_content(record.first.bytes, wanted->bytes); });
    if (found == records.end()) continue;
    Place place{position, found->second};
    place.position.trail.assign(1, found->first);
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
    tell_(
        "the last record that was read is no longer where it was in the controller's log; the log was searched, and "
        "is read on from the latest record that was read before");
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
  if (place.next == Controller::kLastRecord || place.next == position.cut_at) return false;
  const bool is_first = position.trail.empty();
  if (!is_first && read_ids_[place.next]) {
    tell_once(loop_told_, "the chain of the controller's log leads from record " + hex(position.trail.back().id) +
                              " back to record " + hex(place.next) + ", which was read before; reading ends there");
    position.cut_at = place.next;
    return false;
  }
  const auto entry = controller.log_entry(place.next);
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
  if (!is_first && place.next == Controller::kFirstRecord && id != Controller::kFirstRecord) {
    // 0 stands for the first record, unless a record has it as its id.
    position.cut_at = Controller::kFirstRecord;
    return false;
  }
  if (!is_first && id <= position.trail.back().id) {
    position.epoch = new_epoch_();
    batch.has_restarted = true;
  }
  read_ids_[id] = true;
  batch.records.push_back({entry->record, position.epoch});
  push(position.trail, {id, entry->record.bytes});
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
