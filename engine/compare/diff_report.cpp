#include "compare/diff_report.h"

#include <cstring>
#include <utility>
#include <variant>

#include "base/printable.h"
#include "report/json_forms.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

std::string place_of(const PlacedEvent& event) { return event.file + ":" + std::to_string(event.line); }

std::string shown(const Value& value) {
  if (const auto* const number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
  return std::string("'").append(printable(std::get<std::string>(value))).append("'");
}

std::string shown(const Ending& ending) {
  if (!ending.by_signal) return "with status " + std::to_string(ending.number);
  return "by signal " + std::to_string(ending.number) + " (" + ::strsignal(ending.number) + ")";
}

void add(JsonArray& array, const Value& value) {
  std::visit([&array](const auto& held) { array.add(held); }, value);
}

void add(JsonArray& array, const std::optional<Ending>& ending) {
  if (!ending) {
    array.add_null();
    return;
  }
  JsonObject object;
  object.add(ending->by_signal ? "signal" : "status", ending->number);
  array.add(object);
}

template <class Held>
JsonArray pair_of(const Held& a, const Held& b) {
  JsonArray pair;
  add(pair, a);
  add(pair, b);
  return pair;
}

// An event with the place that it came from.
JsonObject form_of(const PlacedEvent& placed) {
  JsonObject object;
  object.add("file", placed.file).add("line", placed.line).add("event", event_form(placed.event));
  return object;
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
  JsonObject fields;
  for (const Difference& difference : differences) fields.add(difference.field, pair_of(difference.a, difference.b));
  return form_of(event).add("fields", fields).line();
}

std::string JsonDiffReport::ended(const PlacedEvent* event, const Endings& endings) const {
  JsonObject object = event != nullptr ? form_of(*event) : JsonObject();
  return object.add("ended", pair_of(endings[0], endings[1])).line();
}

std::string JsonDiffReport::summary(const DiffCounts& counts) const {
  JsonObject object;
  return object.add("a", libraries_[0])
      .add("b", libraries_[1])
      .add("events", counts.events)
      .add("differ", counts.differ)
      .add("bad_lines", counts.bad_lines)
      .line();
}

}  // namespace polaiga::engine
