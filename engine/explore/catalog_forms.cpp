#include "explore/catalog_forms.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/printable.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

using nlohmann::ordered_json;
using States = std::uint8_t;  // a set of states, one bit each
using StatesByOffset = std::map<std::int32_t, States>;

std::string joined(const std::vector<std::string>& parts, std::string_view between) {
  std::string text;
  for (std::size_t i = 0; i < parts.size(); ++i) text.append(i == 0 ? "" : between).append(parts[i]);
  return text;
}

std::string states_text(States states) {
  constexpr std::size_t kMany = 4;
  std::vector<std::string> with;
  std::vector<std::string> without;
  for (std::int32_t state = 0; state < kStates; ++state) {
    ((states >> state & 1) != 0 ? with : without).push_back(std::to_string(state));
  }
  if (without.empty()) return "any";
  return with.size() > kMany ? "any but " + joined(without, ", ") : joined(with, ", ");
}

// Writes ascending offsets as ranges.
std::string ranges_text(const std::vector<std::int32_t>& offsets) {
  std::vector<std::string> ranges;
  for (std::size_t first = 0; first < offsets.size();) {
    std::size_t last = first;
    while (last + 1 < offsets.size() && offsets[last + 1] == offsets[last] + 1) ++last;
    const std::string end = last > first ? "-" + std::to_string(offsets[last]) : "";
    ranges.push_back(std::to_string(offsets[first]) + end);
    first = last + 1;
  }
  return joined(ranges, ", ");
}

std::string offsets_text(const std::vector<std::int32_t>& offsets) {
  if (offsets.front() != kTriedOffsets.front().first || offsets.back() != kTriedOffsets.back().last) {
    return ranges_text(offsets);
  }
  std::vector<std::int32_t> others;
  for (const OffsetRange& tried : kTriedOffsets) {
    for (std::int32_t offset = tried.first; offset <= tried.last; ++offset) {
      if (!std::ranges::binary_search(offsets, offset)) others.push_back(offset);
    }
  }
  return others.empty() ? "any" : "any but " + ranges_text(others);
}

// Offsets with the same states are written together.
std::string grouped_text(const StatesByOffset& events) {
  std::vector<std::pair<States, std::vector<std::int32_t>>> groups;
  for (const auto& [offset, states] : events) {
    auto group = std::ranges::find(groups, states, [](const auto& one) { return one.first; });
    if (group == groups.end()) group = groups.insert(group, {states, {}});
    group->second.push_back(offset);
  }
  std::vector<std::string> parts;
  parts.reserve(groups.size());
  for (const auto& [states, offsets] : groups) parts.push_back(offsets_text(offsets) + ": " + states_text(states));
  return joined(parts, "; ");
}

std::string memories_text(Memories memories) {
  std::vector<std::string> names;
  for (std::size_t memory = 0; memory < kMemoryNames.size(); ++memory) {
    if ((memories >> memory & 1) == 0) continue;
    names.emplace_back(memory == 0 ? "log not low" : kMemoryNames[memory]);
  }
  return " (" + joined(names, " or ") + ")";
}

void add(StatesByOffset& events, const EventKey& key) {
  events[key.offset] = static_cast<States>(events[key.offset] | 1U << key.state);
}

}  // namespace

std::string brief_events(const Events& events, std::size_t memories) {
  StatesByOffset discrete;
  StatesByOffset threshold;
  std::map<Memories, StatesByOffset> at_times;
  for (const auto& [key, when] : events) {
    const auto always = static_cast<Memories>(is_remembered(key) ? (1U << memories) - 1 : 1U);
    if (when != always) {
      add(at_times[when], key);
    } else {
      add(key.threshold ? threshold : discrete, key);
    }
  }
  std::vector<std::string> parts;
  if (threshold.empty() || discrete == threshold) {
    if (!discrete.empty()) parts.push_back(grouped_text(discrete));
  } else {
    parts.push_back("threshold " + grouped_text(threshold));
    if (!discrete.empty()) parts.push_back("discrete " + grouped_text(discrete));
  }
  for (const auto& [when, keys] : at_times) parts.push_back("threshold " + grouped_text(keys) + memories_text(when));
  return joined(parts, "; ");
}

namespace {

// Writes the texts as one, with their differences in braces.
std::string with_braces(const std::vector<std::string>& texts) {
  const std::string& first = texts.front();
  if (texts.size() == 1) return first;
  std::size_t head = first.size();
  std::size_t tail = first.size();
  std::size_t shortest = first.size();
  for (const std::string& text : texts) {
    const auto same_head = std::ranges::mismatch(first, text).in1 - first.begin();
    const auto same_tail =
        std::mismatch(first.rbegin(), first.rend(), text.rbegin(), text.rend()).first - first.rbegin();
    head = std::min(head, static_cast<std::size_t>(same_head));
    tail = std::min(tail, static_cast<std::size_t>(same_tail));
    shortest = std::min(shortest, text.size());
  }
  // The braces must hold whole words.
  while (head > 0 && first[head - 1] != ' ') --head;
  tail = std::min(tail, shortest - head);
  while (tail > 0 && std::string_view(" :").find(first[first.size() - tail]) == std::string_view::npos) --tail;
  std::vector<std::string> middles;
  for (const std::string& text : texts) {
    const std::string middle = text.substr(head, text.size() - head - tail);
    middles.push_back(middle.empty() ? "(none)" : middle);
  }
  return first.substr(0, head) + "{" + joined(middles, " / ") + "}" + first.substr(first.size() - tail);
}

}  // namespace

std::vector<std::string> brief_texts(const std::map<std::string, Events>& texts) {
  std::vector<std::string> raises;
  std::vector<std::string> clears;
  for (const auto& [text, events] : texts) {
    (text.find(": Cleared") == std::string::npos ? raises : clears).push_back(text);
  }
  std::vector<std::string> brief;
  if (!raises.empty()) brief.push_back(with_braces(raises));
  if (!clears.empty()) brief.push_back(with_braces(clears));
  return brief;
}

namespace {

// Groups the behaviours that differ in nothing but sensors, objects and texts.
std::vector<std::vector<const Behaviour*>> alike(const FoundFault& fault) {
  std::vector<std::vector<const Behaviour*>> groups;
  for (const Behaviour& one : fault.behaviours) {
    const auto group = std::ranges::find_if(groups, [&](const auto& others) {
      const Behaviour& other = *others.front();
      return std::tie(other.raises, other.clears, other.supersedes, other.superseded_by) ==
             std::tie(one.raises, one.clears, one.supersedes, one.superseded_by);
    });
    if (group == groups.end()) {
      groups.push_back({&one});
    } else {
      group->push_back(&one);
    }
  }
  return groups;
}

// Lines that say what the events do: the effect, and the events that have it.
std::vector<std::pair<std::string, std::string>> effects(const Behaviour& behaviour, std::size_t memories) {
  std::vector<std::pair<std::string, std::string>> lines;
  const auto add_line = [&](const std::string& what, const Events& events) {
    if (!events.empty()) lines.emplace_back(what, brief_events(events, memories));
  };
  add_line("raised", behaviour.raises);
  for (const auto& [code, events] : behaviour.supersedes) add_line("supersedes " + code_text(code), events);
  add_line("cleared", behaviour.clears);
  for (const auto& [code, events] : behaviour.superseded_by) add_line("superseded by " + code_text(code), events);
  return lines;
}

std::vector<std::string> dns_of(const Behaviour& behaviour) {
  std::vector<std::string> dns;
  for (const auto& [dn, oid] : behaviour.objects) dns.push_back(dn);
  return dns;
}

std::vector<std::string> oids_of(const FoundFault& fault) {
  std::vector<std::string> oids;
  for (const Behaviour& behaviour : fault.behaviours) {
    for (const auto& [dn, oid] : behaviour.objects) {
      if (std::ranges::find(oids, oid) == oids.end()) oids.push_back(oid);
    }
  }
  return oids;
}

// Looks the cause up by its number, or by its text where the record has no number.
// "equipmentAlarm, powerProblems (533)"; empty for a cause that is not in the dictionary.
std::string standard_text(const FoundFault& fault) {
  const auto standard = standard_of(fault);
  if (!standard) return "";
  return std::string(event_type_word(standard->event_type)) + ", " + standard->probable_cause + " (" +
         std::to_string(standard->probable_cause_number) + ")";
}

constexpr std::string_view kUnreported = "The filter fills the record but returns -1, so this fault is never reported.";

// The entries of the profile that name the fault's code, and those for any code that fit
// one of its objects.
std::vector<const ProfileEntry*> entries_for(const FoundFault& fault, const AlarmProfile& profile) {
  const auto has_object = [&fault](const ProfileEntry& entry) {
    return std::ranges::any_of(fault.behaviours, [&entry](const Behaviour& behaviour) {
      return std::ranges::any_of(behaviour.objects, [&entry](const auto& one) { return fits(entry.dn, one.first); });
    });
  };
  std::vector<const ProfileEntry*> found;
  for (const ProfileEntry& entry : profile.entries()) {
    if (entry.code ? *entry.code == fault.code : has_object(entry)) found.push_back(&entry);
  }
  return found;
}

std::string profile_lines(const ProfileEntry& entry) {
  std::string text = "    for " + entry.dn + ": ";
  if (entry.severity) text.append(severity_word(*entry.severity)).append(", ");
  text += entry.notify ? "notified" : "not notified";
  if (entry.respond_within) text += ", respond within " + duration_text(*entry.respond_within);
  text += '\n';
  if (!entry.consequence.empty()) text.append("      consequence: ").append(entry.consequence).append(1, '\n');
  if (!entry.advice.empty()) text.append("      advice: ").append(entry.advice).append(1, '\n');
  return text;
}

std::size_t count_faults(std::span<const FoundFilter> filters) {
  std::size_t count = 0;
  for (const FoundFilter& filter : filters) count += filter.faults.size();
  return count;
}

}  // namespace

std::string catalog_as_text(std::span<const FoundFilter> filters, const AlarmProfile& profile) {
  constexpr std::size_t kWidth = 22;  // of the column that names the effect
  std::string text;
  for (const FoundFilter& filter : filters) {
    text.append(text.empty() ? "" : "\n").append(filter.entity).append("\n");
    for (const FoundFault& fault : filter.faults) {
      text += "\n  " + code_text(fault.code) + "  " + fault.name + "  " + std::string(severity_word(fault.severity)) +
              "  " + fault.cause + "  " + joined(oids_of(fault), ", ") + "\n";
      if (const std::string standard = standard_text(fault); !standard.empty()) text += "    " + standard + "\n";
      if (!fault.reported) text.append("    ").append(kUnreported).append("\n");
      for (const ProfileEntry* entry : entries_for(fault, profile)) text += profile_lines(*entry);
      for (const auto& group : alike(fault)) {
        for (const auto& [what, events] : effects(*group.front(), filter.memories)) {
          text.append("    ").append(what).append(kWidth - std::min(what.size(), kWidth - 1), ' ').append(events) +=
              '\n';
        }
        for (const Behaviour* one : group) {
          text += "      " + joined(dns_of(*one), ", ") + "  (" + joined(one->sensors, ", ") + ")\n";
          for (const std::string& line : brief_texts(one->raise_texts)) text += "        " + line + "\n";
          for (const std::string& line : brief_texts(one->clear_texts)) text += "        " + line + "\n";
        }
      }
    }
  }
  text += "\n" + plural(count_faults(filters), "fault") + " of " + plural(filters.size(), "filter") + "\n";
  return printable_lines(text);
}

namespace {

ordered_json texts_as_json(const std::map<std::string, Events>& texts, std::size_t memories) {
  ordered_json list = ordered_json::array();
  for (const auto& [text, events] : texts)
    list.push_back({{"events", brief_events(events, memories)}, {"descr", text}});
  return list;
}

ordered_json by_code_as_json(const std::map<std::uint32_t, Events>& others, std::size_t memories) {
  ordered_json list = ordered_json::array();
  for (const auto& [code, events] : others)
    list.push_back({{"code", code}, {"events", brief_events(events, memories)}});
  return list;
}

ordered_json behaviour_as_json(const Behaviour& behaviour, std::size_t memories) {
  ordered_json objects = ordered_json::array();
  for (const auto& [dn, oid] : behaviour.objects) objects.push_back({{"dn", dn}, {"oid", oid}});
  return {{"sensors", behaviour.sensors},
          {"objects", std::move(objects)},
          {"raised_by", texts_as_json(behaviour.raise_texts, memories)},
          {"cleared_by", texts_as_json(behaviour.clear_texts, memories)},
          {"supersedes", by_code_as_json(behaviour.supersedes, memories)},
          {"superseded_by", by_code_as_json(behaviour.superseded_by, memories)}};
}

ordered_json entry_as_json(const ProfileEntry& entry) {
  ordered_json form = {{"dn", entry.dn}};
  if (entry.severity) form["severity"] = severity_word(*entry.severity);
  form["notify"] = entry.notify;
  if (entry.respond_within) form["respond_within"] = *entry.respond_within;
  if (!entry.consequence.empty()) form["consequence"] = entry.consequence;
  if (!entry.advice.empty()) form["advice"] = entry.advice;
  return form;
}

}  // namespace

std::string catalog_as_json(std::span<const FoundFilter> filters, const AlarmProfile& profile) {
  std::string text;
  for (const FoundFilter& filter : filters) {
    for (const FoundFault& fault : filter.faults) {
      ordered_json behaviours = ordered_json::array();
      for (const Behaviour& one : fault.behaviours) behaviours.push_back(behaviour_as_json(one, filter.memories));
      ordered_json line = {{"filter", filter.entity},    {"code", fault.code},
                           {"name", fault.name},         {"severity", severity_word(fault.severity)},
                           {"cause_id", fault.cause_id}, {"cause", fault.cause}};
      const auto standard = standard_of(fault);
      line["event_type"] = standard ? ordered_json(event_type_word(standard->event_type)) : nullptr;
      line["probable_cause"] = standard ? ordered_json(standard->probable_cause) : nullptr;
      line["probable_cause_number"] = standard ? ordered_json(standard->probable_cause_number) : nullptr;
      line["reported"] = fault.reported;
      for (const ProfileEntry* entry : entries_for(fault, profile)) line["profile"].push_back(entry_as_json(*entry));
      line["behaviours"] = std::move(behaviours);
      text += json_text(line) + "\n";
    }
  }
  return text;
}

namespace {

std::string in_code(const std::string& text) { return text.empty() ? "*nothing*" : "`" + text + "`"; }

std::string in_codes(std::vector<std::string> texts, std::string_view between) {
  for (std::string& text : texts) text = in_code(text);
  return joined(texts, between);
}

std::string row(const std::vector<std::string>& cells) { return "| " + joined(cells, " | ") + " |\n"; }

constexpr std::string_view kIntroduction = R"(# Faults

This page lists every fault that the library can raise. It is the output of `polaiga catalog --markdown`, which gives
every filter its events and reads the records, so do not edit it. `polaiga catalog --json` prints the same for programs.

- **Events** are written as `offsets: states`. `1-2: any but 0` means offset 1 or 2 in any state but 0. The offsets from
  -1 to 255 and from 880 to 1024 were tried; no other offset has a meaning of its own. The states from 0 to 7 were
  tried; the filters treat a higher state like 7. The filters of the system board and of the processors treat
  *threshold* readings and *discrete* readings differently. Where a line says neither word, it is true of both.
- **Raised**: the fault is active from then on. **Supersedes**: the fault is active from then on, and replaces another
  fault of the same object, which is then no longer active. **Cleared**: the fault is no longer active.
- **Sensors**: `SENSOR` means any sensor. In the texts it stands for the name of the sensor. Where texts differ, the
  differences are in braces, and a record has one of them.
- Each fault has an **event type** of ITU-T X.733 and a **probable cause** of IANA's list with its number
  (`IANAItuEventType` and `IANAItuProbableCause`, RFC 3877). Both follow from the cause.
- **Objects** are examples: unit 7 of its kind, power supplies 1 and 2, the fans of module 3, the storage controllers in
  slot 2. Each was tried with the events of its own kind. Other units have their own number in DN and text. All units
  are present. Some filters remember that a unit is missing; then it raises only that fault until it is back.
- The faults of `drive_bp`, `nm` and `cmc` come from the program's tables; a host may have other tables. In their texts,
  `(none)` is where the library puts the name of the time zone, if the server has one set.
)";

std::string fault_as_markdown(const FoundFault& fault, std::size_t memories) {
  std::string text = "### " + code_text(fault.code) + " " + fault.name + "\n\n";
  text += std::string(severity_word(fault.severity)) + ", " + fault.cause;
  if (fault.cause_id != 0) text += " (" + std::to_string(fault.cause_id) + ")";
  text += ", " + in_codes(oids_of(fault), ", ") + "\n\n";
  if (const std::string standard = standard_text(fault); !standard.empty()) text += standard + "\n\n";
  if (!fault.reported) text.append(kUnreported).append("\n\n");
  for (const auto& group : alike(fault)) {
    for (const auto& [what, events] : effects(*group.front(), memories))
      text.append("- ").append(what).append(": `").append(events).append("`\n");
    text += "\n" + row({"object", "sensors", "raised as", "cleared as"}) + "| --- | --- | --- | --- |\n";
    for (const Behaviour* one : group) {
      text += row({in_codes(dns_of(*one), "<br>"), in_codes(one->sensors, "<br>"),
                   in_codes(brief_texts(one->raise_texts), "<br>"), in_codes(brief_texts(one->clear_texts), "<br>")});
    }
    text += "\n";
  }
  return text;
}

}  // namespace

std::string catalog_as_markdown(std::span<const FoundFilter> filters) {
  std::string text(kIntroduction);
  text += "\n" + row({"entity", "filter", "faults"}) + "| --- | --- | ---: |\n";
  for (const FoundFilter& filter : filters) {
    const std::string name(filter.entity);
    const std::string link = std::string("[").append(name).append("](#").append(name).append(")");
    const std::string function = std::string("`process_").append(name).append("_fault`");
    text += row({link, function, std::to_string(filter.faults.size())});
  }
  for (const FoundFilter& filter : filters) {
    text += "\n## " + std::string(filter.entity) + "\n\n";
    text += row({"code", "name", "severity", "cause"}) + "| --- | --- | --- | --- |\n";
    for (const FoundFault& fault : filter.faults) {
      text += row({code_text(fault.code), fault.name, std::string(severity_word(fault.severity)), fault.cause});
    }
    text += "\n";
    for (const FoundFault& fault : filter.faults) text += fault_as_markdown(fault, filter.memories);
    text.pop_back();  // removes the blank line after the last fault
  }
  return printable_lines(text);
}

}  // namespace polaiga::engine
