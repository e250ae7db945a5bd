#include "explore/fault_search.h"

#include <polaiga/tables.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "filter/services.h"
#include "model/fault.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

// The number of the unit in the tried events, for filters whose sensor names have no
// number. It differs from all other numbers in DNs and texts, so a reader can tell
// where the unit's number goes.
constexpr std::int32_t kUnit = 7;
constexpr std::int32_t kFanModule = 3;
constexpr std::int32_t kStorageController = 2;

// The sensor and the unit whose events are tried.
struct Subject {
  std::string sensor = std::string(kAnySensor);
  std::int32_t instance = kUnit;
  std::int32_t group = 0;
  std::optional<std::uint8_t> entity_id = std::nullopt;
  std::uint8_t subtype = 0;
  OffsetRange offsets = {kTriedOffsets.front().first, kTriedOffsets.back().last};
};

std::vector<Subject> sensors_of(std::span<const fe_sensor_map_row> rows) {
  std::vector<Subject> subjects;
  for (const fe_sensor_map_row& row : rows) subjects.push_back({.sensor = row.sensor_name, .instance = row.subtype});
  return subjects;
}

std::vector<Subject> fan_subjects() {
  std::vector<Subject> subjects;
  const std::string prefix = "FAN" + std::to_string(kFanModule);
  for (const fe_exceptional_row* row = exceptional_fan_sensor_map; row->id >= 0; ++row) {
    if (std::string_view(row->sensor_name).starts_with(prefix)) {
      subjects.push_back({.sensor = row->sensor_name, .instance = kFanModule});
    }
  }
  return subjects;
}

std::vector<Subject> supply_subjects() {
  std::vector<Subject> subjects = sensors_of({ent_ps_map, static_cast<std::size_t>(ent_ps_map_sz)});
  for (std::int32_t supply = 1; supply <= 2; ++supply) {
    subjects.insert(subjects.begin() + supply - 1, {.instance = supply});
  }
  return subjects;
}

// The controller, the disk, the virtual drive and the battery, in the order of their
// entity ids. Each is tried with the offsets of its own events.
std::vector<Subject> storage_subjects(std::uint8_t first_entity_id, std::uint8_t types) {
  constexpr OffsetRange kOwn[] = {
      {kTriedOffsets.front().first, 13}, {14, 21}, {22, 25}, {26, kTriedOffsets.back().last}};
  std::vector<Subject> subjects;
  std::uint8_t entity_id = first_entity_id;
  for (const OffsetRange& own : kOwn) {
    for (std::uint8_t type = 0; type < types; ++type) {
      subjects.push_back({.group = kStorageController, .entity_id = entity_id, .subtype = type, .offsets = own});
    }
    ++entity_id;
  }
  return subjects;
}

template <class Row>
std::span<const Row> host_rows(const Row* rows, std::int32_t count) {
  return {rows, static_cast<std::size_t>(count)};
}

std::vector<Subject> subjects_of(const Entity& entity) {
  if (entity.name == "sys_board") return sensors_of({ent_map, static_cast<std::size_t>(ent_map_sz)});
  if (entity.name == "cpu") return sensors_of({ent_cpu_map, static_cast<std::size_t>(ent_cpu_map_sz)});
  if (entity.name == "drive_bp") return sensors_of(host_rows(ent_drive_bp_map, ent_drive_bp_map_sz));
  if (entity.name == "cmc") return sensors_of(host_rows(ent_cmc_map, ent_cmc_map_sz));
  if (entity.name == "fan") return fan_subjects();
  if (entity.name == "ps") return supply_subjects();
  if (entity.name == "pci") return {{.subtype = 0}, {.subtype = 1}};
  if (entity.name == "storage") return storage_subjects(entity.entity_id, 3);
  if (entity.name == "caddora") return storage_subjects(entity.entity_id, 1);
  return {{}};
}

// The offsets that mean something to a filter, with some that stand for all others. Filters over sensor rows only tell
// the thresholds, 114 to 119, apart, and in some texts 109 and 110. The rows of the node manager name offsets of their
// own.
std::span<const OffsetRange> offsets_with_meaning(const Entity& entity) {
  static constexpr OffsetRange kOfRows[] = {{108, 120}};
  static constexpr OffsetRange kOfOthers[] = {{kTriedOffsets.front().first, 128}, {883, 884}};
  constexpr std::string_view kOverRows[] = {"sys_board", "cpu", "drive_bp", "cmc"};
  if (std::ranges::find(kOverRows, entity.name) != std::end(kOverRows)) return kOfRows;
  if (entity.name == "nm") return kTriedOffsets;
  return kOfOthers;
}

// Whether the filter treats threshold readings and discrete readings differently.
bool tells_readings(const Entity& entity) { return entity.name == "sys_board" || entity.name == "cpu"; }

fe_sensor_event make_event(const Entity& entity, const Subject& subject, const EventKey& key) {
  fe_sensor_event event = {};
  event.entity_id = subject.entity_id.value_or(entity.entity_id);
  event.entity_subtype = subject.subtype;
  event.entity_instance = subject.instance;
  event.group_instance = subject.group;
  event.event_offset = key.offset;
  event.event_state = key.state;
  event.reading_type = key.threshold ? FE_READING_THRESHOLD : 0;
  subject.sensor.copy(event.sensor_name, sizeof event.sensor_name - 1);
  return event;
}

struct Answer {
  fe_fault_record record = {};
  bool reported = false;
};

Answer ask(const Entity& entity, fe_sensor_event event) {
  Answer answer;
  fe_fault_record* out = &answer.record;
  answer.reported = entity.filter(&event, &out) == 0;
  return answer;
}

// Makes the system board's filter remember that the event log is as full as this
// memory says. The first two events make it forget what it remembered before.
void remember(const Entity& entity, std::size_t memory) {
  constexpr EventKey kWay[] = {{true, FE_OFFSET_UPPER_NON_CRITICAL, 1},
                               {true, FE_OFFSET_UPPER_NON_CRITICAL, 0},
                               {true, FE_OFFSET_UPPER_NON_CRITICAL, 1},
                               {true, FE_OFFSET_UPPER_CRITICAL, 1},
                               {true, FE_OFFSET_UPPER_NON_RECOVERABLE, 1}};
  for (const EventKey& key : std::span(kWay).first(2 + memory)) {
    ask(entity, make_event(entity, {.sensor = "SEL_FULLNESS"}, key));
  }
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  if (what.empty()) return text;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
  return text;
}

// The description without the sensor's name and without the name of the time zone,
// which the library puts into some texts of the host's sensors.
std::string text_of(const fe_fault_record& record, const Subject& subject) {
  const char* const zone = std::getenv("TZ");
  const std::string text = replaced(record.descr, subject.sensor, kAnySensor);
  return replaced(text, zone != nullptr ? zone : "", "");
}

std::string oid_of(const fe_fault_record& record) {
  std::string text;
  for (const std::uint32_t arc : record.oid) {
    if (arc == 0) break;
    if (!text.empty()) text += '.';
    text += std::to_string(arc);
  }
  return text;
}

// Collects the faults of one filter.
class Gathered {
 public:
  void add(const Answer& answer, const Subject& subject, const EventKey& key, Memories memory) {
    const fe_fault_record& record = answer.record;
    if (record.code == 0) return;  // the filter did not write the code
    FoundFault& fault = fault_of(answer);
    Behaviour& behaviour = behaviour_of(fault, record, subject);
    if (only_clears(record)) {
      behaviour.clears[key] |= memory;
      behaviour.clear_texts[text_of(record, subject)][key] |= memory;
      return;
    }
    behaviour.raises[key] |= memory;
    behaviour.raise_texts[text_of(record, subject)][key] |= memory;
    if (record.clear_code != 0 && record.clear_code != record.code) {
      behaviour.supersedes[record.clear_code][key] |= memory;
    }
  }

  std::vector<FoundFault> finish() && {
    std::vector<FoundFault> faults;
    for (auto& [key, fault] : faults_) faults.push_back(std::move(fault));
    link_superseded(faults);
    for (FoundFault& fault : faults) {
      merge(fault.behaviours, &Behaviour::objects, &Behaviour::sensors);
      merge(fault.behaviours, &Behaviour::sensors, &Behaviour::objects);
    }
    return faults;
  }

 private:
  FoundFault& fault_of(const Answer& answer) {
    const fe_fault_record& record = answer.record;
    FoundFault& fault = faults_[{record.code, record.name, record.cause}];
    fault.code = record.code;
    fault.name = record.name;
    fault.cause = record.cause;
    if (record.cause_id != 0) fault.cause_id = record.cause_id;  // some filters do not write the number
    fault.reported |= answer.reported;
    fe_fault_record raised = record;
    raised.event.event_state = FE_STATE_ASSERTED;
    fault.severity = severity_of(raised);
    return fault;
  }

  static Behaviour& behaviour_of(FoundFault& fault, const fe_fault_record& record, const Subject& subject) {
    const std::vector<std::string> sensors{subject.sensor};
    const std::vector<std::pair<std::string, std::string>> objects{{record.dn, oid_of(record)}};
    for (Behaviour& behaviour : fault.behaviours) {
      if (behaviour.sensors == sensors && behaviour.objects == objects) return behaviour;
    }
    Behaviour& behaviour = fault.behaviours.emplace_back();
    behaviour.sensors = sensors;
    behaviour.objects = objects;
    return behaviour;
  }

  static void link_superseded(std::vector<FoundFault>& faults) {
    for (const FoundFault& by : faults) {
      for (const Behaviour& winner : by.behaviours) {
        for (FoundFault& fault : faults) {
          const auto events = winner.supersedes.find(fault.code);
          if (events == winner.supersedes.end()) continue;
          for (Behaviour& loser : fault.behaviours) {
            if (loser.sensors == winner.sensors && loser.objects == winner.objects) {
              loser.superseded_by[by.code] = events->second;
            }
          }
        }
      }
    }
  }

  // Merges behaviours that differ in nothing but the list `list`. They must have the
  // same `same`.
  template <class Same, class List>
  static void merge(std::vector<Behaviour>& behaviours, Same same, List list) {
    const auto everything_else = [](const Behaviour& one) {
      return std::tie(one.raises, one.clears, one.supersedes, one.superseded_by, one.raise_texts, one.clear_texts);
    };
    std::vector<Behaviour> merged;
    for (Behaviour& one : behaviours) {
      const auto twin = std::ranges::find_if(merged, [&](const Behaviour& other) {
        return other.*same == one.*same && everything_else(other) == everything_else(one);
      });
      if (twin == merged.end()) {
        merged.push_back(std::move(one));
      } else {
        std::ranges::move(one.*list, std::back_inserter((*twin).*list));
      }
    }
    behaviours = std::move(merged);
  }

  std::map<std::tuple<std::uint32_t, std::string, std::string>, FoundFault> faults_;
};

class Search {
 public:
  Search(const Entity& entity, std::span<const OffsetRange> offsets)
      : entity_(entity),
        offsets_(offsets),
        memories_(entity.name == "sys_board" ? kMemoryNames.size() : 1),
        both_readings_(tells_readings(entity)) {}

  FoundFilter run(const std::vector<Subject>& subjects) && {
    for (const Subject& subject : subjects) {
      for (const OffsetRange& tried : offsets_) {
        const std::int32_t last = std::min(tried.last, subject.offsets.last);
        for (std::int32_t offset = std::max(tried.first, subject.offsets.first); offset <= last; ++offset) {
          try_states(subject, offset);
        }
      }
    }
    return {entity_.name, memories_, std::move(gathered_).finish()};
  }

 private:
  // State 0 is tried last, so that a unit that was said to be missing is present again.
  void try_states(const Subject& subject, std::int32_t offset) {
    for (std::int32_t turn = 1; turn <= kStates; ++turn) {
      const std::int32_t state = turn % kStates;
      try_event(subject, {false, offset, state}, 0);
      if (!both_readings_) continue;
      const EventKey threshold{true, offset, state};
      for (std::size_t memory = 0; memory < (is_remembered(threshold) ? memories_ : 1); ++memory) {
        if (memories_ > 1) remember(entity_, memory);
        try_event(subject, threshold, memory);
      }
    }
  }

  void try_event(const Subject& subject, const EventKey& key, std::size_t memory) {
    gathered_.add(ask(entity_, make_event(entity_, subject, key)), subject, key, static_cast<Memories>(1U << memory));
  }

  const Entity& entity_;
  std::span<const OffsetRange> offsets_;
  std::size_t memories_;
  bool both_readings_;
  Gathered gathered_;
};

}  // namespace

bool is_remembered(const EventKey& key) {
  return key.threshold && key.offset >= FE_OFFSET_LOWER_NON_CRITICAL && key.offset <= FE_OFFSET_UPPER_NON_RECOVERABLE;
}

std::vector<FoundFilter> find_faults(Thoroughness thoroughness) {
  provide_services([](const std::string& /*fault_dn*/) {}, 0, Log::kOff);
  std::vector<FoundFilter> found;
  for (const Entity& entity : entities()) {
    const bool is_whole = thoroughness == Thoroughness::kWhole;
    found.push_back(Search(entity, is_whole ? kTriedOffsets : offsets_with_meaning(entity)).run(subjects_of(entity)));
  }
  return found;
}

FoundFilter find_faults(const Entity& entity, const fe_sensor_event& like) {
  provide_services([](const std::string& /*fault_dn*/) {}, 0, Log::kOff);
  return Search(entity, kTriedOffsets)
      .run({{.sensor = std::string(field_text(like.sensor_name)),
             .instance = like.entity_instance,
             .group = like.group_instance,
             .entity_id = like.entity_id,
             .subtype = like.entity_subtype}});
}

EventKey tried_as(const Entity& entity, const fe_sensor_event& event) {
  constexpr auto kLow = kTriedOffsets.front();
  constexpr auto kHigh = kTriedOffsets.back();
  const bool between = event.event_offset > kLow.last && event.event_offset < kHigh.first;
  const bool named = event.event_state >= 0 && event.event_state < kStates;
  return {.threshold = tells_readings(entity) && event.reading_type == FE_READING_THRESHOLD,
          .offset = between ? kLow.last : std::clamp(event.event_offset, kLow.first, kHigh.last),
          .state = named ? event.event_state : kStates - 1};
}

std::optional<CauseStandard> standard_of(const FoundFault& fault) {
  return fault.cause_id != 0 ? cause_standard(fault.cause_id) : cause_standard(fault.cause);
}

}  // namespace polaiga::engine
