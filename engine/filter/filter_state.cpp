#include "filter/filter_state.h"

#include <polaiga/tables.h>

#include <algorithm>
#include <utility>

namespace polaiga::engine {
namespace {

// Units that can be missing. The filter keeps state for the units from `first` to
// `last`. An event with one of these offsets says whether the unit is missing. It says
// so in every state and whatever was known before, so the last such event is enough
// to rebuild what is known of a unit.
struct Unit {
  std::string_view entity;
  std::int32_t first;
  std::int32_t last;
  struct {
    std::int32_t first;
    std::int32_t last;
  } offsets[2];
};
constexpr Unit kUnits[] = {
    {"fan", 1, 20, {{1, 2}, {1, 2}}},          {"ps", 0, 255, {{30, 30}, {112, 112}}},
    {"add_in", 0, 256, {{63, 63}, {63, 63}}},  {"caddora", 0, 12, {{12, 12}, {18, 20}}},
    {"storage", 1, 256, {{12, 12}, {18, 20}}},
};

constexpr const char* kLogSlot = "sys_board log";

// How full the event log is said to be, as a set of bits.
constexpr std::uint8_t kLow = 1 << 0;
constexpr std::uint8_t kVeryLow = 1 << 1;
constexpr std::uint8_t kFull = 1 << 2;

constexpr std::uint8_t with(std::uint8_t fullness, std::uint8_t sets, std::uint8_t clears = 0) {
  return static_cast<std::uint8_t>((fullness & ~unsigned{clears}) | sets);
}

bool is_event_log(const char* sensor) {
  const std::int32_t id = expectional_sensor_lookup(sensor);
  return id == 1 || id == 8;
}

// Events of every sensor of the board can make the log fuller. Only events of the
// log's own sensors can say that it is no longer low.
bool may_change_log(const fe_sensor_event& event) {
  if (event.reading_type != FE_READING_THRESHOLD) return false;
  switch (event.event_offset) {
    case FE_OFFSET_UPPER_NON_CRITICAL:
      return event.event_state == FE_STATE_ASSERTED ||
             (event.event_state == FE_STATE_DEASSERTED && is_event_log(event.sensor_name));
    case FE_OFFSET_UPPER_CRITICAL:
    case FE_OFFSET_UPPER_NON_RECOVERABLE:
      return event.event_state == FE_STATE_ASSERTED;
    default:
      return false;
  }
}

// What the system board's filter makes of the fullness when it gets such an event.
std::uint8_t fullness_after(const fe_sensor_event& event, std::uint8_t fullness) {
  const bool low = (fullness & kLow) != 0;
  const bool very_low = (fullness & kVeryLow) != 0;
  if (event.event_offset == FE_OFFSET_UPPER_NON_CRITICAL) {
    if (event.event_state == FE_STATE_ASSERTED) return kLow;
    return low ? 0 : fullness;
  }
  if (event.event_offset == FE_OFFSET_UPPER_CRITICAL) {
    if (very_low) return with(fullness, kLow, kVeryLow);
    return low ? with(fullness, kVeryLow, kLow) : with(fullness, kLow);
  }
  return very_low ? with(fullness, kFull, kVeryLow) : with(fullness, kVeryLow, kFull);
}

// The index of the last row of that name, as the filters search; -1 if there is none.
template <class Row>
std::int32_t row_named(const Row* rows, std::int32_t count, std::string_view name) {
  std::int32_t row = count - 1;
  while (row >= 0 && name != rows[row].sensor_name) --row;
  return row;
}

// The row of the event's sensor. The filter remembers the state of the event as the
// last one of this row. -1 if the event has no row.
std::int32_t row_of(std::string_view entity, const fe_sensor_event& event) {
  const std::string_view sensor = event.sensor_name;
  if (entity == "sys_board") return row_named(ent_map, ent_map_sz, sensor);
  if (entity == "cpu") return row_named(ent_cpu_map, ent_cpu_map_sz, sensor);
  if (entity == "cmc") return row_named(ent_cmc_map, ent_cmc_map_sz, sensor);
  if (entity == "drive_bp") return row_named(ent_drive_bp_map, ent_drive_bp_map_sz, sensor);
  if (entity != "nm") return -1;
  std::int32_t row = ent_nm_map_sz - 1;
  while (row >= 0 && ent_nm_map[row].event_offset != static_cast<std::uint32_t>(event.event_offset)) --row;
  return row;
}

Slot slot_of(std::string_view entity, const char* what, std::int32_t number) {
  return std::string(entity) + what + std::to_string(number);
}

}  // namespace

void FilterState::note(Sequence sequence, const SensorEvent& line, const fe_fault_record& record) {
  note_unit(line, record, sequence);
  note_row(line, sequence);
}

void FilterState::set(const Slot& slot, Sequence sequence) {
  last_[slot] = sequence;
  changed_.insert(slot);
}

// A filter may number units differently from the event, and writes its own number
// into the record. Power supplies are remembered by the event's number.
void FilterState::note_unit(const SensorEvent& line, const fe_fault_record& record, Sequence sequence) {
  const auto* const unit = std::ranges::find(kUnits, line.entity->name, &Unit::entity);
  if (unit == std::end(kUnits)) return;
  const auto says_so = [&](const auto& offsets) {
    return offsets.first <= line.event.event_offset && line.event.event_offset <= offsets.last;
  };
  if (!std::ranges::any_of(unit->offsets, says_so)) return;
  const std::int32_t number = unit->entity == "ps" ? line.event.entity_instance : record.event.entity_instance;
  if (unit->first <= number && number <= unit->last) set(slot_of(unit->entity, " ", number), sequence);
}

void FilterState::note_row(const SensorEvent& line, Sequence sequence) {
  const std::int32_t row = row_of(line.entity->name, line.event);
  if (row < 0) return;
  const Slot slot = slot_of(line.entity->name, " row ", row);
  set(slot, sequence);
  if (line.entity->name == "sys_board") note_log(line.event, slot, sequence);
}

void FilterState::note_log(const fe_sensor_event& event, const Slot& row, Sequence sequence) {
  const bool had_step = std::ranges::find(log_, row, &LogStep::row) != log_.end();
  const bool has_step = may_change_log(event);
  if (!had_step && !has_step) return;
  const std::uint8_t before = log_.empty() ? 0 : log_.back().fullness;
  if (has_step) log_.push_back({sequence, row, fullness_after(event, before)});
  shorten_log();
  changed_.insert(kLogSlot);
}

// Drops events that are no longer needed to rebuild the fullness.
//
// The steps are a way through the values of the fullness. Where the way comes back to
// a value that it had before, the steps between are a detour, and are dropped. But
// the last event of each sensor row is given to the library in any case, and changes
// the fullness then, too. So such a step is always kept, and a detour is looked for
// only between two of them.
void FilterState::shorten_log() {
  std::vector<LogStep> kept;
  std::size_t way = 0;  // where the steps since the last such event begin
  for (const LogStep& step : log_) {
    if (last_[step.row] == step.sequence) {
      kept.push_back(step);
      way = kept.size();
      continue;
    }
    const auto begin = kept.begin() + static_cast<std::ptrdiff_t>(way);
    const auto seen = std::ranges::find(begin, kept.end(), step.fullness, &LogStep::fullness);
    if (step.fullness == (way == 0 ? 0 : kept[way - 1].fullness)) {
      kept.erase(begin, kept.end());
    } else if (seen != kept.end()) {
      kept.erase(std::next(seen), kept.end());
    } else {
      kept.push_back(step);
    }
  }
  log_ = std::move(kept);
}

std::set<Sequence> FilterState::events() const {
  std::set<Sequence> events;
  for (const auto& [slot, sequence] : last_) events.insert(sequence);
  for (const LogStep& step : log_) events.insert(step.sequence);
  return events;
}

std::map<Slot, std::vector<Sequence>> FilterState::take_changes() {
  std::map<Slot, std::vector<Sequence>> changes;
  for (const Slot& slot : changed_) {
    std::vector<Sequence>& events = changes[slot];
    if (const auto found = last_.find(slot); found != last_.end()) events.push_back(found->second);
    if (slot == kLogSlot) {
      for (const LogStep& step : log_) events.push_back(step.sequence);
    }
  }
  changed_.clear();
  return changes;
}

}  // namespace polaiga::engine
