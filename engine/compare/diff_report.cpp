#include "compare/diff_report.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "base/printable.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

using nlohmann::ordered_json;

std::string place_of(const PlacedEvent& event) { return event.file + ":" + std::to_string(event.line); }

std::string shown(const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  return std::string("'").append(printable(std::get<std::string>(value))).append("'");
}

std::string shown(const Ending& ending) {
  if (!ending.by_signal) return "with status " + std::to_string(ending.number);
  return "by signal " + std::to_string(ending.number) + " (" + ::strsignal(ending.number) + ")";
}

std::string line_of(const ordered_json& object) { return json_text(object) + "\n"; }

ordered_json json_of(const Value& value) {
  return std::visit([](const auto& held) { return ordered_json(held); }, value);
}

ordered_json json_of(const std::optional<Ending>& ending) {
  if (!ending) return nullptr;
  return {{ending->by_signal ? "signal" : "status", ending->number}};
}

// The members have the same names as in the lines of events.
ordered_json json_of(const PlacedEvent& placed) {
  const fe_sensor_event& event = placed.event.event;
  return {{"file", placed.file},
          {"line", placed.line},
          {"event",
           {{"entity", placed.event.entity->name},
            {"sensor", event.sensor_name},
            {"offset", event.event_offset},
            {"state", event.event_state},
            {"instance", event.entity_instance},
            {"group", event.group_instance},
            {"entity_id", event.entity_id},
            {"entity_subtype", event.entity_subtype},
            {"reading_type", event.reading_type}}}};
}

}  // namespace

std::string TextDiffReport::event(const PlacedEvent& event, std::span<const Difference> differences) const {
  const fe_sensor_event& given = event.event.event;
  std::string text = place_of(event) + " " + std::string(event.event.entity->name) + " " +
                     printable(given.sensor_name) + " offset " + std::to_string(given.event_offset) + " state " +
                     std::to_string(given.event_state) + "\n";
  for (const Difference& difference : differences) {
    text += "  " + difference.field + ": " + shown(difference.a) + " -> " + shown(difference.b) + "\n";
  }
  return text;
}

std::string TextDiffReport::ended(const PlacedEvent* event, const Endings& endings) const {
  const std::string where = event != nullptr ? "at " + place_of(*event) : "after the last event";
  std::string text;
  for (std::size_t i = 0; i < endings.size(); ++i) {
    if (endings[i]) text += libraries_[i] + " ended " + shown(*endings[i]) + " " + where + "\n";
  }
  return text;
}

std::string TextDiffReport::summary(const DiffCounts& counts) const {
  return plural(counts.events, "event") + ", " + std::to_string(counts.differ) +
         (counts.differ == 1 ? " differs\n" : " differ\n");
}

std::string JsonDiffReport::event(const PlacedEvent& event, std::span<const Difference> differences) const {
  ordered_json fields = ordered_json::object();
  for (const Difference& difference : differences) {
    fields[difference.field] = ordered_json::array({json_of(difference.a), json_of(difference.b)});
  }
  ordered_json object = json_of(event);
  object["fields"] = std::move(fields);
  return line_of(object);
}

std::string JsonDiffReport::ended(const PlacedEvent* event, const Endings& endings) const {
  ordered_json object = event != nullptr ? json_of(*event) : ordered_json::object();
  object["ended"] = ordered_json::array({json_of(endings[0]), json_of(endings[1])});
  return line_of(object);
}

std::string JsonDiffReport::summary(const DiffCounts& counts) const {
  return line_of({{"a", libraries_[0]},
                  {"b", libraries_[1]},
                  {"events", counts.events},
                  {"differ", counts.differ},
                  {"bad_lines", counts.bad_lines}});
}

}  // namespace polaiga::engine
