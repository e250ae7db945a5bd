// Reads mapping files.
#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "base/tab_separated.h"
#include "mapping/mapping_row.h"

namespace polaiga::ipmi {
namespace {

using engine::Cell;
using engine::in_quotes;

constexpr std::array<std::string_view, 5> kLadderColumns = {"ladder", "held", "offset", "up", "down"};
constexpr std::array<std::string_view, 10> kSensorColumns = {"sensor", "type",     "reading", "of",        "entity",
                                                             "name",   "instance", "group",   "entity_id", "ladders"};
constexpr std::size_t kConditions = 4;  // the first columns of a row of sensors say which ones it takes

constexpr std::string_view kNothing = "-";
constexpr std::string_view kAny = "*";

constexpr std::size_t kLongestLadderName = 32;
constexpr std::size_t kMostRungs = 16;
constexpr std::size_t kMostSteps = 8;

// A word of a cell.
struct Word {
  const Cell& cell;
  std::size_t at;  // characters before it
  std::string_view text;

  [[noreturn]] void reject(const std::string& what) const { cell.reject(what, at); }
  Word part(std::size_t from, std::size_t size = std::string_view::npos) const {
    return {cell, at + engine::characters(text.substr(0, from)), text.substr(from, size)};
  }
};

// The words of a cell, which are separated by blanks. There is at least one.
std::vector<Word> words_of(const Cell& cell) {
  std::vector<Word> words;
  for (std::size_t begin = 0; begin < cell.text.size();) {
    begin = std::min(cell.text.find_first_not_of(' ', begin), cell.text.size());
    const std::size_t end = std::min(cell.text.find(' ', begin), cell.text.size());
    if (end > begin) {
      words.push_back({cell, engine::characters(cell.text.substr(0, begin)), cell.text.substr(begin, end - begin)});
    }
    begin = end;
  }
  if (words.empty()) cell.reject("is empty");
  return words;
}

Word whole(const Cell& cell) { return {cell, 0, cell.text}; }

// A decimal number, or a hexadecimal one with an "h" behind it.
std::int32_t number_of(const Word& word, std::int32_t most) {
  const bool is_hexadecimal = word.text.ends_with('h');
  const std::string_view digits = word.text.substr(0, word.text.size() - (is_hexadecimal ? 1 : 0));
  std::int32_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, is_hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || digits.front() == '-' || number > most) {
    word.reject(in_quotes(word.text) + " is not a number from 0 to " + std::to_string(most) +
                " (hexadecimal with an h behind it, as 6Fh)");
  }
  return number;
}

std::optional<std::uint8_t> byte_or_any(const Cell& cell) {
  if (cell.text == kAny) return std::nullopt;
  return static_cast<std::uint8_t>(number_of(whole(cell), 0xFF));
}

// "117/4"
Step step_of(const Word& word) {
  const std::size_t slash = word.text.find('/');
  if (slash == std::string_view::npos) word.reject(in_quotes(word.text) + " is not offset/state, as 117/4");
  const Step step{number_of(word.part(0, slash), std::numeric_limits<std::int32_t>::max()),
                  number_of(word.part(slash + 1), std::numeric_limits<std::int32_t>::max())};
  static constexpr std::array kStates = {0, 1, 4, 5, 6};
  if (std::ranges::find(kStates, step.state) == kStates.end()) {
    word.part(slash + 1).reject("a state is 0 (deasserted), 1 (asserted), 4, 5 or 6 (a threshold's level)");
  }
  return step;
}

std::vector<Step> steps_of(const Cell& cell) {
  std::vector<Step> steps;
  if (cell.text == kNothing) return steps;
  for (const Word& word : words_of(cell)) {
    if (steps.size() == kMostSteps) word.reject("a rung sends at most " + std::to_string(kMostSteps) + " events");
    steps.push_back(step_of(word));
  }
  return steps;
}

// "7", "!0" or "6=2"
Condition condition_of(const Word& word) {
  constexpr std::int32_t kMostOffset = 15;
  Condition condition;
  condition.is_bad_when_set = !word.text.starts_with('!');
  const std::size_t begin = condition.is_bad_when_set ? 0 : 1;
  const std::size_t equals = std::min(word.text.find('='), word.text.size());
  condition.offset =
      static_cast<std::uint8_t>(number_of(word.part(begin, std::max(equals, begin) - begin), kMostOffset));
  if (equals == word.text.size()) return condition;
  if (!condition.is_bad_when_set) {
    word.part(equals).reject("an offset that is not set has no event data 3");
  }
  condition.event_data_3 = static_cast<std::uint8_t>(number_of(word.part(equals + 1), 0xFF));
  return condition;
}

bool is_ladder_name(std::string_view name) {
  return !name.empty() && name.size() <= kLongestLadderName &&
         std::ranges::all_of(name, [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'; });
}

class Reader {
 public:
  explicit Reader(const std::string& file) : file_(file) {}

  // Takes a part of the file that begins with a header line.
  void read_section(std::string_view text, std::size_t first_line) {
    ++section_;
    last_ladder_.clear();
    if (first_cell(text) == kLadderColumns.front()) {
      engine::read_rows(text, file_, kLadderColumns, std::bind_front(&Reader::take_rung, this), first_line);
    } else {
      engine::read_rows(text, file_, kSensorColumns, std::bind_front(&Reader::take_row, this), first_line);
    }
  }

  std::vector<std::shared_ptr<const MappingRow>> finish() {
    for (Wanted& wanted : wanted_) give_ladders(wanted);
    return {rows_.begin(), rows_.end()};
  }

  static std::string_view first_cell(std::string_view line) {
    return line.substr(0, std::min(line.find_first_of("\t\r\n"), line.size()));
  }

 private:
  struct Known {
    std::shared_ptr<Ladder> ladder;
    std::size_t line = 0;                                  // where it begins
    std::vector<std::pair<Condition, std::size_t>> taken;  // what its rungs stand for, and their lines
  };

  // The ladders of a row, which may come later in the file.
  struct Wanted {
    std::shared_ptr<MappingRow> row;
    std::string target;  // the cells that say which object
    Cell cell;
  };

  // A ladder that a row gives to its sensors.
  struct Given {
    std::shared_ptr<const MappingRow> row;
    std::string target;
    std::string ladder;
  };

  // What the second column says.
  struct Kind {
    Held held = Held::kState;
    bool tells_presence = false;
    bool is_choice = false;
    bool is_ended_by_state = false;

    bool operator==(const Kind&) const = default;
  };

  static Kind kind_of(const Cell& cell) {
    Kind kind;
    const std::vector<Word> words = words_of(cell);
    if (words.front().text == "log") {
      kind.held = Held::kLog;
    } else if (words.front().text != "state") {
      words.front().reject(in_quotes(words.front().text) + " is neither state nor log");
    }
    for (const Word& word : std::span(words).subspan(1)) {
      if (word.text == "presence" && !kind.tells_presence) {
        kind.tells_presence = true;
      } else if (word.text == "choice" && !kind.is_choice) {
        kind.is_choice = true;
      } else if (word.text == "recovers" && !kind.is_ended_by_state && kind.held == Held::kLog) {
        kind.is_ended_by_state = true;
      } else {
        word.reject("only presence and choice may follow and, behind log, recovers, each once");
      }
    }
    return kind;
  }

  void take_rung(std::span<const Cell> cells) {
    const Cell& name = cells[0];
    if (!is_ladder_name(name.text)) {
      name.reject(in_quotes(name.text) + " is not a name of 1 to " + std::to_string(kLongestLadderName) +
                  " small letters, digits and hyphens");
    }
    const Kind kind = kind_of(cells[1]);
    Known& known = ladders_[std::string(name.text)];
    if (known.ladder == nullptr) {
      known.ladder = std::make_shared<Ladder>(
          Ladder{std::string(name.text), kind.held, kind.tells_presence, kind.is_choice, {}, kind.is_ended_by_state});
      known.line = name.line;
    } else if (last_ladder_ != name.text) {
      name.reject("there is a ladder of this name in line " + std::to_string(known.line) +
                  "; the rungs of a ladder follow each other");
    } else if (kind != Kind{known.ladder->held, known.ladder->tells_presence, known.ladder->is_choice,
                            known.ladder->is_ended_by_state}) {
      cells[1].reject("the ladder's first rung, in line " + std::to_string(known.line) + ", says otherwise");
    }
    last_ladder_ = name.text;
    Ladder& ladder = *known.ladder;
    if (ladder.rungs.size() == kMostRungs) {
      name.reject("a ladder has at most " + std::to_string(kMostRungs) + " rungs");
    }
    Rung rung;
    for (const Word& word : words_of(cells[2])) rung.when.push_back(take_condition(word, known));
    rung.up = steps_of(cells[3]);
    if (rung.up.empty()) cells[3].reject("a rung sends at least one event when it is reached");
    rung.down = steps_of(cells[4]);
    ladder.rungs.push_back(std::move(rung));
  }

  static Condition take_condition(const Word& word, Known& known) {
    const Condition condition = condition_of(word);
    for (const auto& [other, line] : known.taken) {
      if (other.offset == condition.offset && other.event_data_3 == condition.event_data_3) {
        word.reject("this offset is on the rung in line " + std::to_string(line) + " already");
      }
      // The higher rung counts, so the lower one would never be told.
      if (other.offset == condition.offset && other.event_data_3 && !condition.event_data_3 && line != word.cell.line) {
        word.reject("the rung in line " + std::to_string(line) +
                    ", for one value of event data 3, is lower and would never count");
      }
    }
    known.taken.emplace_back(condition, word.cell.line);
    return condition;
  }

  void take_row(std::span<const Cell> cells) {
    auto row = std::make_shared<MappingRow>(MappingRow{.sensors = sensors_of(cells)});
    row->section = section_;
    row->line = cells[0].line;
    row->conditions = joined(cells.first(kConditions));
    take_conditions(*row, cells[0]);
    if (cells[4].text == kNothing) {
      for (const Cell& cell : cells.subspan(kConditions)) {
        if (cell.text != kNothing) cell.reject("sensors that are left out have - in all columns from entity on");
      }
    } else {
      read_target(cells, *row);
      wanted_.push_back({row, joined(cells.subspan(kConditions, 5)), cells[9]});
    }
    rows_.push_back(std::move(row));
  }

  static std::string joined(std::span<const Cell> cells) {
    std::string texts;
    for (const Cell& cell : cells) texts.append(cell.text).append("\t");
    return texts;
  }

  static SensorCondition sensors_of(std::span<const Cell> cells) {
    const Cell& name = cells[0];
    if (const auto complaint = NamePattern::complaint(name.text)) {
      name.reject(complaint->what, engine::characters(name.text.substr(0, complaint->at)));
    }
    return {.name = NamePattern(name.text),
            .sensor_type = byte_or_any(cells[1]),
            .reading_type = byte_or_any(cells[2]),
            .entity_id = byte_or_any(cells[3])};
  }

  static bool shares_sensors(const MappingRow& row, const MappingRow& other) {
    return row.section == other.section && row.conditions == other.conditions;
  }

  // A row with the conditions of an earlier one of its section stands right behind it. Elsewhere it would never count.
  void take_conditions(const MappingRow& row, const Cell& cell) {
    const auto earlier = std::ranges::find_if(rows_, [&row](const auto& other) { return shares_sensors(row, *other); });
    if (earlier == rows_.end()) return;
    if (!shares_sensors(row, *rows_.back()) || (*earlier)->entity == nullptr) {
      cell.reject("the row in line " + std::to_string((*earlier)->line) +
                  " takes the same sensors; rows that share them follow each other");
    }
  }

  static void read_target(std::span<const Cell> cells, MappingRow& row) {
    row.entity = engine::find_entity(cells[4].text);
    if (row.entity == nullptr)
      cells[4].reject("there is no entity " + in_quotes(cells[4].text) + ", only " + entities());
    const Cell& name = cells[5];
    if (const auto complaint = EventName::complaint(name.text, row.sensors.name)) {
      name.reject(complaint->what, engine::characters(name.text.substr(0, complaint->at)));
    }
    row.name = EventName(name.text);
    row.instance = number_source(cells[6], row.sensors.name);
    row.group = number_source(cells[7], row.sensors.name);
    row.entity_id =
        cells[8].text == kNothing ? row.entity->entity_id : static_cast<std::uint8_t>(number_of(whole(cells[8]), 0xFF));
  }

  static std::string entities() {
    std::string names;
    for (const engine::Entity& entity : engine::entities()) {
      names.append(names.empty() ? "" : ", ").append(entity.name);
    }
    return names;
  }

  static NumberSource number_source(const Cell& cell, const NamePattern& pattern) {
    using From = NumberSource::From;
    if (cell.text == "{entity}") return {From::kEntityInstance};
    if (cell.text == "{unit}") {
      if (!pattern.takes_unit()) cell.reject("the sensor's pattern has no {unit}");
      return {From::kUnit};
    }
    if (cell.text == "{group}") {
      if (!pattern.takes_group()) cell.reject("the sensor's pattern has no {group}");
      return {From::kGroup};
    }
    if (cell.text.starts_with('{')) cell.reject("only {unit}, {group}, {entity} and numbers are allowed");
    return {From::kFixed, number_of(whole(cell), std::numeric_limits<std::int32_t>::max())};
  }

  // A ladder that several rows give a sensor gets a number in its name for the second one and those that follow.
  void give_ladders(Wanted& wanted) {
    for (const Word& word : words_of(wanted.cell)) {
      const auto known = ladders_.find(word.text);
      if (known == ladders_.end()) word.reject("there is no ladder " + in_quotes(word.text) + names_of_ladders());
      std::size_t times = 1;
      for (const Given& given : given_) {
        if (!shares_sensors(*given.row, *wanted.row) || given.ladder != word.text) continue;
        if (given.target == wanted.target) {
          word.reject("line " + std::to_string(given.row->line) + " gives these sensors this ladder already");
        }
        ++times;
      }
      given_.push_back({wanted.row, wanted.target, std::string(word.text)});
      std::shared_ptr<const Ladder> ladder = known->second.ladder;
      if (times > 1) {
        Ladder another = *ladder;
        another.name += '.' + std::to_string(times);
        ladder = std::make_shared<const Ladder>(std::move(another));
      }
      wanted.row->ladders.push_back(std::move(ladder));
    }
  }

  std::string names_of_ladders() const {
    std::string names;
    for (const auto& [name, known] : ladders_) names.append(names.empty() ? ", only " : ", ").append(name);
    return names;
  }

  const std::string& file_;
  std::size_t section_ = 0;
  std::string last_ladder_;  // of the section; "": none yet
  std::map<std::string, Known, std::less<>> ladders_;
  std::vector<std::shared_ptr<MappingRow>> rows_;
  std::vector<Wanted> wanted_;
  std::vector<Given> given_;
};

}  // namespace

std::vector<std::shared_ptr<const MappingRow>> read_mapping(std::string_view text, const std::string& file) {
  Reader reader(file);
  std::size_t section_line = 1;  // where the part of the file begins that is being looked through
  std::size_t section_begin = 0;
  bool headed = false;  // whether it has its header line
  std::size_t line = 1;
  for (std::size_t at = 0; at < text.size(); ++line) {
    const std::string_view rest = text.substr(at);
    const std::string_view first = Reader::first_cell(rest);
    if (first == kLadderColumns.front() || first == kSensorColumns.front()) {
      if (headed) {
        reader.read_section(text.substr(section_begin, at - section_begin), section_line);
      }
      headed = true;
      section_begin = at;
      section_line = line;
    } else if (!headed && !first.empty() && !first.starts_with('#')) {
      const Cell cell{file, line, 1, kLadderColumns.front(), first};
      cell.reject("the file begins with " + in_quotes(first) + ", not with a header line: ladder or sensor");
    }
    at = std::min(text.find('\n', at), text.size() - 1) + 1;
  }
  if (!headed) Cell{file, 1, 1, kLadderColumns.front(), ""}.reject("there is no header line");
  reader.read_section(text.substr(section_begin), section_line);
  return reader.finish();
}

}  // namespace polaiga::ipmi
