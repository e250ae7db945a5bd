#include "recorded/recording.h"

#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "report/json_object.h"

namespace polaiga::fleet {
namespace {

using engine::ChangeKind;
using engine::ChangeNumber;
using engine::Sequence;
using simdjson::dom::element;
using simdjson::dom::object;

std::string text_of(const object& from, const char* name) {
  std::string_view text;
  if (from[name].get(text) != simdjson::SUCCESS) return {};
  return std::string(text);
}

std::int64_t number_of(const object& from, const char* name) {
  std::int64_t number = 0;
  if (from[name].get(number) != simdjson::SUCCESS) return 0;
  return number;
}

// Of the id of an alarm.
ChangeNumber alarm_number(std::string_view id) {
  id.remove_prefix(std::min(id.size(), id.rfind('-') + 1));
  ChangeNumber number = 0;
  std::from_chars(id.data(), id.data() + id.size(), number);
  return number;
}

bool is_any(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::ranges::find(names, name) != names.end();
}

// A line, as far as it is needed to choose among the lines.
struct Line {
  object members;
  ChangeNumber number = 0;
  ChangeNumber alarm = 0;
  ChangeNumber related = 0;
  ChangeNumber merged_into = 0;
  ChangeKind kind = ChangeKind::kRaised;
  bool is_over = false;
  bool is_action = false;
};

Line read_line(const element& parsed, std::size_t line_number) {
  Line line;
  const auto bad = [&](const std::string& what) {
    return BadRecording("line " + std::to_string(line_number) + ": " + what);
  };
  if (parsed.get(line.members) != simdjson::SUCCESS) throw bad("it is not a JSON object");
  line.number = number_of(line.members, "number");
  if (line.number < 1) throw bad("the member 'number' must be the number of a change");
  const auto kind = engine::find_change(text_of(line.members, "change"));
  if (!kind) throw bad("the member 'change' must be a kind of change");
  line.kind = *kind;
  line.alarm = alarm_number(text_of(line.members, "alarm"));
  line.related = alarm_number(text_of(line.members, "related"));
  line.merged_into = alarm_number(text_of(line.members, "merged_into"));
  line.is_over = text_of(line.members, "after") == "cleared";
  element action;
  line.is_action = line.members["action"].get(action) == simdjson::SUCCESS;
  return line;
}

bool is_told(const Line& line) {
  bool is_quiet = false;
  bool is_folded = false;
  if (line.members["quiet"].get(is_quiet) != simdjson::SUCCESS) return false;
  if (line.members["folded"].get(is_folded) != simdjson::SUCCESS) return false;
  return !is_quiet && !is_folded;
}

// The alarms that are left out.
std::set<ChangeNumber> left_out(const std::vector<Line>& lines) {
  std::set<ChangeNumber> begun;
  std::set<ChangeNumber> active;
  std::set<ChangeNumber> out;
  for (const Line& line : lines) {
    if (line.alarm == 0) continue;
    if (line.kind == ChangeKind::kRaised && line.number == line.alarm) begun.insert(line.alarm);
    const bool is_of_events = engine::is_of_fault(line.kind) && !line.is_action;
    if (!is_told(line) || !is_of_events || !begun.contains(line.alarm)) out.insert(line.alarm);
    if (line.is_over) {
      active.erase(line.alarm);
    } else {
      active.insert(line.alarm);
    }
  }
  out.insert(active.begin(), active.end());
  // Nor may an alarm name one that is left out.
  for (std::size_t before = 0; before != out.size();) {
    before = out.size();
    for (const Line& line : lines) {
      if (out.contains(line.related) || out.contains(line.merged_into)) out.insert(line.alarm);
    }
  }
  return out;
}

class Writer {
 public:
  explicit Writer(FilledText& text) : text_(text) {}

  Writer& name(std::string_view name) {
    text_.add(is_first_ ? "{\"" : ",\"").add(name).add("\":");
    is_first_ = false;
    return *this;
  }
  void place(std::string_view member, Place place, std::int64_t recorded = 0) {
    name(member);
    text_.add(place, recorded);
  }
  void place_in_quotes(std::string_view member, Place place, std::int64_t recorded = 0) {
    name(member);
    text_.add("\"").add(place, recorded).add("\"");
  }
  void text(std::string_view member, std::string_view value) {
    name(member);
    std::string quoted;
    engine::add_json_text(quoted, value);
    text_.add(quoted);
  }
  void as_it_is(std::string_view member, const element& value) {
    name(member);
    text_.add(simdjson::minify(value));
  }

 private:
  FilledText& text_;
  bool is_first_ = true;
};

void write_event(FilledText& text, const object& event, ChangeNumber number) {
  Writer writer(text);
  for (const auto& [name, value] : event) {
    if (name == "seq") {
      writer.place(name, Place::kSequence, number_of(event, "seq"));
    } else if (is_any(name, {"received", "at", "time"})) {
      writer.place_in_quotes(name, Place::kMoment, number);
    } else if (name != "id") {  // which would come again with each round
      writer.as_it_is(name, value);
    }
  }
  text.add("}");
}

void write_record(FilledText& text, const object& record, ChangeNumber number) {
  Writer writer(text);
  for (const auto& [name, value] : record) {
    if (name == "created_time") {
      writer.place(name, Place::kSeconds, number);
    } else {
      writer.as_it_is(name, value);
    }
  }
  text.add("}");
}

// Without the brace at its end: more members come.
FilledText line_text(const Line& line) {
  FilledText text;
  Writer writer(text);
  for (const auto& [name, value] : line.members) {
    object inner;
    if (name == "ledger_id") {
      writer.place_in_quotes(name, Place::kLedgerId);
    } else if (is_any(name, {"number", "fault"})) {
      writer.place(name, Place::kNumber, value.get_int64().value());
    } else if (name == "at") {
      writer.place_in_quotes(name, Place::kMoment, line.number);
    } else if (is_any(name, {"seq", "shown_seq"})) {
      writer.place(name, Place::kSequence, value.get_int64().value());
    } else if (is_any(name, {"alarm", "related", "merged_into"})) {
      writer.place_in_quotes(name, Place::kAlarm, alarm_number(value.get_string().value()));
    } else if (name == "event" && value.get(inner) == simdjson::SUCCESS) {
      writer.name(name);
      write_event(text, inner, line.number);
    } else if (name == "record" && value.get(inner) == simdjson::SUCCESS) {
      writer.name(name);
      write_record(text, inner, line.number);
    } else {
      writer.as_it_is(name, value);
    }
  }
  return text;
}

// What the list of alarms says of one, beside what its changes say.
struct Standing {
  ChangeNumber fault = 0;    // the change that raised the fault that it has now
  ChangeNumber updated = 0;  // the change that did so last
  std::uint64_t count = 0;   // records that raised or refreshed the fault
};

void take(const Line& line, Standing& standing) {
  const ChangeNumber fault = number_of(line.members, "fault");
  if (fault != standing.fault) standing = {.fault = fault, .updated = line.number, .count = 0};
  if (line.kind == ChangeKind::kRaised || line.kind == ChangeKind::kRefreshed) ++standing.count;
  if (line.kind != ChangeKind::kMerged) standing.updated = line.number;
}

// The form of an alarm in a list. `shown` is the line of the event whose record the alarm shows.
FilledText listed_text(const Line& line, const Line& shown, const Standing& standing) {
  object record;
  object event;
  if (shown.members["record"].get(record) != simdjson::SUCCESS ||
      shown.members["event"].get(event) != simdjson::SUCCESS) {
    throw BadRecording("the change " + std::to_string(line.number) +
                       " shows a record that the recording does not have");
  }
  FilledText text;
  Writer writer(text);
  writer.place_in_quotes("alarm", Place::kAlarm, line.alarm);
  writer.place("fault", Place::kNumber, standing.fault);
  writer.text("fault_dn", text_of(line.members, "fault_dn"));
  writer.text("dn", text_of(record, "dn"));
  const auto from_record = [&](const char* name) {
    element value;
    if (record[name].get(value) != simdjson::SUCCESS) {
      throw BadRecording("the record of the change " + std::to_string(shown.number) + " has no '" + name + "'");
    }
    writer.as_it_is(name, value);
  };
  for (const char* const name : {"code", "name"}) from_record(name);
  writer.text("severity", text_of(line.members, "after"));
  writer.place_in_quotes("created", Place::kMoment, line.alarm);
  writer.place_in_quotes("since", Place::kMoment, standing.fault);
  writer.place_in_quotes("updated", Place::kMoment, standing.updated);
  writer.name("count");
  text.add(std::to_string(standing.count));
  writer.name("reporters");
  text.add(std::to_string(number_of(line.members, "reporters")));
  writer.text("operator_state", "none");
  writer.name("out_of_service");
  text.add("false");
  writer.text("sensor", text_of(event, "sensor"));
  writer.text("description", text_of(record, "descr"));
  writer.text("cause", text_of(record, "cause"));
  writer.text("oid", text_of(record, "oid"));
  for (const char* const name : {"event_type", "probable_cause", "probable_cause_number"}) from_record(name);
  text.add("}");
  return text;
}

}  // namespace

Recording::Recording(std::string_view lines) {
  std::vector<Line> read;
  // A parser keeps one document only, and the lines are needed together.
  std::vector<std::unique_ptr<simdjson::dom::parser>> parsers;
  std::size_t line_number = 0;
  while (!lines.empty()) {
    const std::string_view text = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(lines.size(), text.size() + 1));
    ++line_number;
    if (text.empty()) continue;
    parsers.push_back(std::make_unique<simdjson::dom::parser>());
    element parsed;
    if (parsers.back()->parse(text.data(), text.size()).get(parsed) != simdjson::SUCCESS) {
      throw BadRecording("line " + std::to_string(line_number) + ": it is not JSON");
    }
    read.push_back(read_line(parsed, line_number));
    if (read.back().number <= length_) {
      throw BadRecording("line " + std::to_string(line_number) + ": its number does not go on from the line before");
    }
    length_ = read.back().number;
    inputs_ = std::max<Sequence>(inputs_, number_of(read.back().members, "seq"));
  }

  const std::set<ChangeNumber> out = left_out(read);
  std::map<std::pair<Sequence, std::string>, std::size_t> records;  // by their input and the fault that they are of
  std::map<ChangeNumber, Standing> active;
  beginnings_.push_back(0);
  for (std::size_t i = 0; i < read.size(); ++i) {
    const Line& line = read[i];
    element record;
    const std::string fault_dn = text_of(line.members, "fault_dn");
    if (line.kind != ChangeKind::kSuperseded && line.members["record"].get(record) == simdjson::SUCCESS) {
      records.emplace(std::pair(number_of(line.members, "seq"), fault_dn), i);
    }
    if (line.alarm == 0 || out.contains(line.alarm)) continue;
    RecordedChange change{.number = line.number,
                          .alarm = line.alarm,
                          .is_over = line.is_over,
                          .fault_dn = fault_dn,
                          .severity = text_of(line.members, "after"),
                          .line = line_text(line),
                          .listed = {}};
    Standing& standing = active[line.alarm];
    take(line, standing);
    if (line.is_over) {
      active.erase(line.alarm);
    } else {
      const auto shown = records.find({number_of(line.members, "shown_seq"), fault_dn});
      change.listed = listed_text(line, shown == records.end() ? line : read[shown->second], standing);
    }
    changes_.emplace(line.number, std::move(change));
    if (active.empty()) beginnings_.push_back(line.number);
  }
  if (changes_.empty()) throw BadRecording("no alarm in it begins and ends");
  // What comes after the last one is its first one again.
  if (beginnings_.back() == length_) beginnings_.pop_back();
}

const RecordedChange* Recording::find(ChangeNumber number) const {
  const auto found = changes_.find(number);
  return found == changes_.end() ? nullptr : &found->second;
}

}  // namespace polaiga::fleet
