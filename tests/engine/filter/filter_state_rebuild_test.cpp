// Whether the events that FilterState keeps bring back the whole memory of the
// library. The test knows nothing of what the filters remember: it gives events to
// the library, compares the library's writable memory with that of a library that
// was given the kept events alone, and so finds a filter with a new memory by itself.
//
// Some bits of that memory are written and never read: the levels that fans and
// power supplies keep. A difference is accepted after the test has tried in vain to
// see it: from both memories, every event of that unit gets the same answer and
// leaves no further difference. Time stamps are not kept in this memory, so they are
// cleared in the records alone.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <polaiga/tables.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "explore/fault_search.h"
#include "filter/filter_state.h"
#include "filter/host_tables.h"
#include "filter/services.h"
#include "support/library_memory.h"

namespace polaiga::engine {
namespace {

using test::LibraryMemory;
using Image = LibraryMemory::Image;

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kSequences = 400;
#else
constexpr unsigned kSequences = 12000;
#endif

// The catalog's test shows that no filter knows any other offset.
std::vector<std::int32_t> all_offsets() {
  std::vector<std::int32_t> offsets;
  for (const OffsetRange& tried : kTriedOffsets) {
    for (std::int32_t offset = tried.first; offset <= tried.last; ++offset) {
#ifdef POLAIGA_SHORT_WALK
      if (offset > 130 && offset != 201 && offset != 202 && offset != 883) continue;
#endif
      offsets.push_back(offset);
    }
  }
  return offsets;
}

// What a filter answers to an event.
struct Answer {
  fe_fault_record record;
  bool reported;

  bool operator==(const Answer& other) const {
    return reported == other.reported && std::memcmp(&record, &other.record, sizeof record) == 0;
  }
};

// A build of the library, with its memory as at the start.
class LoadedLibrary {
 public:
  explicit LoadedLibrary(const char* path)
      : handle_(::dlopen(path, RTLD_NOW | RTLD_LOCAL)), memory_(symbol("process_fan_fault")) {
    for (Entity entity : entities()) {
      entity.filter = reinterpret_cast<fe_fault_filter*>(symbol("process_" + std::string(entity.name) + "_fault"));
      entities_.push_back(entity);
    }
    memory_.save(fresh_);
  }
  ~LoadedLibrary() {
    memory_.restore(fresh_);
    ::dlclose(handle_);
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  const std::vector<Entity>& filters() const { return entities_; }
  const Image& fresh() const { return fresh_; }

  // Gives an event to the library with this memory, which is updated.
  Answer give(const SensorEvent& line, Image& memory) {
    memory_.restore(memory);
    Answer answer;
    std::memset(&answer.record, 0, sizeof answer.record);
    fe_sensor_event event = line.event;  // some filters write into it
    fe_fault_record* out = &answer.record;
    answer.reported = line.entity->filter(&event, &out) == 0;
    std::memset(answer.record.created, 0, sizeof answer.record.created);
    answer.record.created_time = 0;
    memory_.save(memory);
    return answer;
  }

 private:
  void* symbol(const std::string& name) const {
    void* const address = handle_ != nullptr ? ::dlsym(handle_, name.c_str()) : nullptr;
    if (address == nullptr) throw std::runtime_error(::dlerror());
    return address;
  }

  void* handle_;
  LibraryMemory memory_;
  Image fresh_;
  std::vector<Entity> entities_;
};

// The sender of an event.
struct Subject {
  const Entity* entity;
  std::string sensor = "SENSOR";
  std::int32_t instance = 1;
  std::uint8_t entity_id = entity->entity_id;
  std::uint8_t subtype = 0;
  std::uint32_t reading_type = FE_READING_THRESHOLD;

  SensorEvent event(std::int32_t offset, std::int32_t state) const {
    SensorEvent line;
    line.entity = entity;
    line.event.entity_id = entity_id;
    line.event.entity_subtype = subtype;
    line.event.entity_instance = instance;
    line.event.group_instance = instance;
    line.event.event_offset = offset;
    line.event.event_state = state;
    line.event.reading_type = reading_type;
    std::snprintf(line.event.sensor_name, sizeof line.event.sensor_name, "%s", sensor.c_str());
    return line;
  }
};

template <class Rows>
void add_sensors(std::vector<std::string>& sensors, const Rows* rows, std::int32_t count) {
  for (std::int32_t row = 0; row < count; ++row) sensors.emplace_back(rows[row].sensor_name);
}

// The sensors that a filter knows by name, after one that it does not.
std::vector<std::string> sensors_of(std::string_view entity) {
  std::vector<std::string> sensors{"SENSOR"};
  if (entity == "sys_board") add_sensors(sensors, ent_map, ent_map_sz);
  if (entity == "cpu") add_sensors(sensors, ent_cpu_map, ent_cpu_map_sz);
  if (entity == "ps") add_sensors(sensors, ent_ps_map, ent_ps_map_sz);
  if (entity == "cmc") add_sensors(sensors, ent_cmc_map, ent_cmc_map_sz);
  if (entity == "drive_bp") add_sensors(sensors, ent_drive_bp_map, ent_drive_bp_map_sz);
  if (entity == "fan") {
    for (const auto* row = exceptional_fan_sensor_map; row->id >= 0; ++row) sensors.emplace_back(row->sensor_name);
  }
  return sensors;
}

// Two kinds of storage hold four kinds of object each, with entity ids in a row.
std::vector<std::uint8_t> ids_of(const Entity& entity) {
  std::vector<std::uint8_t> ids{entity.entity_id};
  if (entity.name == "storage" || entity.name == "caddora") {
    for (int i = 1; i < 4; ++i) ids.push_back(static_cast<std::uint8_t>(entity.entity_id + i));
  }
  return ids;
}

// Subjects whose events are tried at every offset.
std::vector<Subject> main_subjects(const Entity& entity) {
  std::vector<Subject> subjects;
  const auto sensors = sensors_of(entity.name);
  for (const std::string& sensor : {sensors.front(), sensors.back()}) {
    for (const std::uint32_t reading_type : {std::uint32_t{FE_READING_THRESHOLD}, 0U}) {
      subjects.push_back({.entity = &entity, .sensor = sensor, .instance = 2, .reading_type = reading_type});
    }
    if (sensors.size() == 1) break;
  }
  return subjects;
}

// Subjects whose events are tried at the offsets that mean something to the filter:
// every sensor, and units at and beyond the ends of likely ranges.
std::vector<Subject> further_subjects(const Entity& entity) {
  constexpr std::int32_t kUnits[] = {-1, 0, 1, 3, 12, 13, 20, 21, 24, 25, 255, 256, 257};
  std::vector<Subject> subjects;
  const auto sensors = sensors_of(entity.name);
  for (const std::string& sensor : sensors) subjects.push_back({.entity = &entity, .sensor = sensor});
  for (const std::int32_t unit : kUnits) {
    for (const std::uint8_t id : ids_of(entity)) {
      subjects.push_back({.entity = &entity, .instance = unit, .entity_id = id});
    }
    subjects.push_back({.entity = &entity, .sensor = sensors.back(), .instance = unit, .subtype = 1});
  }
  return subjects;
}

std::string text_of(const std::vector<SensorEvent>& lines) {
  std::string text;
  for (const SensorEvent& line : lines) {
    const fe_sensor_event& event = line.event;
    text += "\n  " + std::string(line.entity->name) + ": offset " + std::to_string(event.event_offset) + ", state " +
            std::to_string(event.event_state) + ", unit " + std::to_string(event.entity_instance) + ", sensor " +
            event.sensor_name + ", entity id " + std::to_string(event.entity_id) + ", subtype " +
            std::to_string(event.entity_subtype) + ", reading type " + std::to_string(event.reading_type);
  }
  return text;
}

// Calls a function with the index of each byte that differs, and with both bytes.
template <class Function>
void for_each_difference(const Image& a, const Image& b, Function&& function) {
  for (std::size_t word = 0; word < a.size(); ++word) {
    if (a[word] == b[word]) continue;
    for (std::size_t byte = 0; byte < sizeof a[word]; ++byte) {
      const auto one = static_cast<std::uint8_t>(a[word] >> (8 * byte));
      const auto other = static_cast<std::uint8_t>(b[word] >> (8 * byte));
      if (one != other) function(word * sizeof a[word] + byte, one, other);
    }
  }
}

// What the library was given from the start, and what that left.
struct History {
  std::vector<SensorEvent> events;
  FilterState state;
  Image memory;
};

class Comparison {
 public:
  explicit Comparison(LoadedLibrary& library) : library_(library) {}

  // Tries the events of one filter.
  void try_filter(const Entity& entity) {
    std::set<std::int32_t> offsets;
    for (const Subject& subject : main_subjects(entity)) {
      const auto meaningful = try_subject(subject, all_offsets());
      offsets.insert(meaningful.begin(), meaningful.end());
    }
    meaningful_[&entity].assign(offsets.begin(), offsets.end());
    for (const Subject& subject : further_subjects(entity)) try_subject(subject, meaningful_[&entity]);
  }

  // Tries random sequences, each with a subject of the filters that were tried, in
  // turn, and perhaps with others.
  void try_sequences(unsigned count) {
    std::vector<Subject> all;
    for (const auto& [entity, offsets] : meaningful_) std::ranges::copy(subjects_of(entity), std::back_inserter(all));
    for (unsigned seed = 0; seed < count && found_.empty(); ++seed) try_sequence(all[seed % all.size()], all, seed);
  }

  // What was found first; empty if FilterState keeps what it must.
  const std::string& found() const { return found_; }

  long events() const { return given_; }
  std::size_t unseen_bytes() const { return unseen_bits_.size(); }

 private:
  // Memories by the events that were kept of one history.
  using Rebuilt = std::map<std::set<Sequence>, Image>;

  // The events that may see a difference.
  struct Witness {
    const Subject& subject;
    const std::vector<std::int32_t>& offsets;
  };

  // Tries a random sequence. Then gives more events to the library and to the one that
  // was rebuilt. The events are of few subjects, offsets and states, so that they meet
  // each other's memory.
  void try_sequence(const Subject& first, const std::vector<Subject>& all, unsigned seed) {
    std::mt19937 random(seed);
    const auto pick = [&](const auto& list) -> const auto& {
      return list[std::uniform_int_distribution<std::size_t>(0, list.size() - 1)(random)];
    };
    std::vector<Subject> subjects{first};
    if (pick(std::array{0, 1}) == 1) subjects.push_back(pick(subjects_of(first.entity)));
    if (pick(std::array{0, 1}) == 1) subjects.push_back(pick(all));
    std::vector<std::pair<Subject, std::vector<std::int32_t>>> senders;
    for (const Subject& subject : subjects) {
      std::vector<std::int32_t> offsets;
      for (int i = pick(std::array{2, 4, 8}); i > 0; --i) offsets.push_back(pick(meaningful_[subject.entity]));
      senders.emplace_back(subject, offsets);
    }
    const std::array states{0, 1, pick(std::array{0, 1, 4, 5, 6, 7})};
    const auto random_event = [&] {
      const auto& [subject, offsets] = pick(senders);
      return subject.event(pick(offsets), pick(states));
    };
    History history = start();
    for (int i = pick(std::array{2, 5, 10, 30}); i > 0; --i) {
      history = after(history, random_event());
      if (i == 1 || pick(std::array{0, 1}) == 1) check(history);
    }
    Image rebuilt = rebuild(history);
    std::vector<SensorEvent> further = history.events;
    for (int i = 1; i <= 5; ++i) {
      further.push_back(random_event());
      const Answer answer = give(further.back(), history.memory);
      if (answer == give(further.back(), rebuilt)) continue;
      report("After a restart before the last " + std::to_string(i) + " of these events, the last one is answered " +
             "otherwise:" + text_of(further));
    }
  }

  History start() const { return {.events = {}, .state = {}, .memory = library_.fresh()}; }

  History after(const History& history, const SensorEvent& line) {
    History longer = history;
    longer.events.push_back(line);
    const Answer answer = give(line, longer.memory);
    longer.state.note(static_cast<Sequence>(longer.events.size()), line, answer.record);
    return longer;
  }

  // Tries every event of a subject on two libraries: one that has no memory yet, and
  // one that was given each event of the subject that leaves a memory of its own.
  // Returns the offsets that mean something.
  std::vector<std::int32_t> try_subject(const Subject& subject, const std::vector<std::int32_t>& offsets) {
    std::vector<std::int32_t> meaningful;
    std::set<Image> effects{library_.fresh()};
    std::vector<Answer> usual;
    History stirred = start();
    for (const std::int32_t offset : offsets) {
      bool means_something = offset == offsets.front() || offset == offsets.back();
      for (std::int32_t state = 0; state < kStates; ++state) {
        const SensorEvent line = subject.event(offset, state);
        Image memory = library_.fresh();
        Answer answer = give(line, memory);
        if (effects.insert(memory).second) {
          means_something = true;
          stirred = after(stirred, line);
        }
        answer.record.event.event_offset = 0;
        answer.record.fault_key = 0;
        if (usual.size() <= static_cast<std::size_t>(state)) usual.push_back(answer);
        means_something |= !(answer == usual[static_cast<std::size_t>(state)]);
      }
      if (means_something) meaningful.push_back(offset);
    }
    const Witness witness{subject, offsets};
    const History fresh = start();
    for (const History* before : std::initializer_list<const History*>{&fresh, &stirred}) {
      Rebuilt rebuilt;
      check(*before, &witness);
      for (const std::int32_t offset : offsets) {
        for (std::int32_t state = 0; state < kStates && found_.empty(); ++state) {
          check(after(*before, subject.event(offset, state)), &witness, &rebuilt);
        }
      }
    }
    return meaningful;
  }

  // Reports a history whose kept events do not bring its memory back, unless the
  // difference is known not to be seen or a witness now fails to see it.
  void check(const History& history, const Witness* witness = nullptr, Rebuilt* known = nullptr) {
    if (!found_.empty()) return;
    const Image rebuilt = rebuild(history, known);
    if (witness == nullptr ? has_only_unseen_bits(history.memory, rebuilt) : is_unseen(history.memory, rebuilt)) return;
    if (witness != nullptr && !can_see(*witness, history.memory, rebuilt)) {
      accept(history.memory, rebuilt);
      return;
    }
    report("The kept events do not bring back the memory that these events leave:" +
           text_of(witness == nullptr ? shortened(history.events) : history.events));
  }

  // Whether just these differences were accepted before, byte by byte.
  bool is_unseen(const Image& a, const Image& b) const {
    bool unseen = true;
    for_each_difference(a, b, [&](std::size_t byte, std::uint8_t one, std::uint8_t other) {
      unseen = unseen && unseen_.contains({byte, one, other});
    });
    return unseen;
  }

  // Whether the bits that differ did so in an accepted difference, if in other company.
  bool has_only_unseen_bits(const Image& a, const Image& b) const {
    bool unseen = true;
    for_each_difference(a, b, [&](std::size_t byte, std::uint8_t one, std::uint8_t other) {
      const auto bits = unseen_bits_.find(byte);
      unseen = unseen && bits != unseen_bits_.end() && ((one ^ other) & ~bits->second) == 0;
    });
    return unseen;
  }

  void accept(const Image& a, const Image& b) {
    for_each_difference(a, b, [&](std::size_t byte, std::uint8_t one, std::uint8_t other) {
      unseen_.insert({byte, one, other});
      unseen_bits_[byte] |= one ^ other;
    });
  }

  // Leaves out events that the difference does not need.
  std::vector<SensorEvent> shortened(std::vector<SensorEvent> events) {
    for (std::size_t i = events.size(); i-- > 0;) {
      std::vector<SensorEvent> fewer = events;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      History history = start();
      for (const SensorEvent& line : fewer) history = after(history, line);
      if (!has_only_unseen_bits(history.memory, rebuild(history))) events = std::move(fewer);
    }
    return events;
  }

  // Whether an event is answered differently by libraries with these memories, or
  // leaves a difference where there was none.
  bool can_see(const Witness& witness, const Image& a, const Image& b) {
    for (const std::int32_t offset : witness.offsets) {
      for (std::int32_t state = 0; state < kStates; ++state) {
        Image after_a = a;
        Image after_b = b;
        const SensorEvent line = witness.subject.event(offset, state);
        if (!(give(line, after_a) == give(line, after_b))) return true;
        for (std::size_t i = 0; i < a.size(); ++i) {
          if (((after_a[i] ^ after_b[i]) & ~(a[i] ^ b[i])) != 0) return true;
        }
      }
    }
    return false;
  }

  // The memory of a library that is given the kept events alone. `known` holds the
  // memories before the last event, for histories that differ in that event alone.
  Image rebuild(const History& history, Rebuilt* known = nullptr) {
    std::set<Sequence> kept = history.state.events();
    const bool keeps_last = kept.erase(static_cast<Sequence>(history.events.size())) != 0;
    Image memory;
    if (const auto found = known != nullptr ? known->find(kept) : Rebuilt::iterator();
        known != nullptr && found != known->end()) {
      memory = found->second;
    } else {
      memory = library_.fresh();
      for (const Sequence sequence : kept) give(history.events[static_cast<std::size_t>(sequence - 1)], memory);
      if (known != nullptr) known->emplace(kept, memory);
    }
    if (keeps_last) give(history.events.back(), memory);
    return memory;
  }

  Answer give(const SensorEvent& line, Image& memory) {
    ++given_;
    return library_.give(line, memory);
  }

  const std::vector<Subject>& subjects_of(const Entity* entity) {
    auto& subjects = subjects_[entity];
    if (subjects.empty()) {
      subjects = main_subjects(*entity);
      std::ranges::copy(further_subjects(*entity), std::back_inserter(subjects));
    }
    return subjects;
  }

  void report(const std::string& what) {
    if (found_.empty()) found_ = what;
  }

  LoadedLibrary& library_;
  std::set<std::tuple<std::size_t, std::uint8_t, std::uint8_t>> unseen_;  // accepted differences: index, both bytes
  std::map<std::size_t, unsigned> unseen_bits_;                           // of all of them, by index
  std::map<const Entity*, std::vector<std::int32_t>> meaningful_;
  std::map<const Entity*, std::vector<Subject>> subjects_;
  std::string found_;
  long given_ = 0;
};

// While this lives, what the filters print goes nowhere.
class Silence {
 public:
  Silence() : kept_(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, STDOUT_FILENO);
    ::close(nowhere);
  }
  ~Silence() {
    std::fflush(stdout);
    ::dup2(kept_, STDOUT_FILENO);
    ::close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_;
};

void prepare_host() {
  load_host_tables(POLAIGA_TABLES_DIR);
  provide_services([](const std::string& /*fault_dn*/) {}, 0, Log::kOff);
}

TEST(FilterStateRebuild, OfEveryFilter) {
  prepare_host();
  LoadedLibrary library(POLAIGA_LIBRARY);
  Comparison comparison(library);
  {
    const Silence silence;
    for (const Entity& entity : library.filters()) comparison.try_filter(entity);
    comparison.try_sequences(kSequences);
  }
  EXPECT_EQ(comparison.found(), "");
  RecordProperty("events", std::to_string(comparison.events()));
  RecordProperty("unseen_bytes", std::to_string(comparison.unseen_bytes()));
}

// Builds of the library in which one filter remembers more than FilterState knows.
TEST(FilterStateRebuild, FindsANewMemory) {
  struct Row {
    const char* library;
    const char* entity;
    const char* found;
    bool has_initial_value = false;
  };
  const Row kRows[] = {
      {POLAIGA_FLAG, "pci", "pci: offset 63, state 1"},
      {POLAIGA_LAST_STATE, "front_panel", "front_panel: offset 105", true},
      {POLAIGA_FURTHER_BIT, "fan", "fan: offset 4"},
      {POLAIGA_FURTHER_UNIT, "add_in", "add_in: offset 63, state 1, unit 257"},
  };
  prepare_host();
  for (const Row& row : kRows) {
    if (!LibraryMemory::kWithInitialValues && row.has_initial_value) continue;  // such memory is not covered then
    LoadedLibrary library(row.library);
    Comparison comparison(library);
    {
      const Silence silence;
      comparison.try_filter(*std::ranges::find(library.filters(), row.entity, &Entity::name));
    }
    EXPECT_NE(comparison.found().find(row.found), std::string::npos) << row.library << ": " << comparison.found();
  }
}

}  // namespace
}  // namespace polaiga::engine
