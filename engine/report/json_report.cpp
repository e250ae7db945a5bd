#include "report/json_report.h"

#include <algorithm>
#include <concepts>
#include <nlohmann/json.hpp>
#include <utility>

#include "model/dictionary.h"
#include "model/record_text.h"
#include "report/json_text.h"

namespace polaiga::engine {
namespace {

using nlohmann::ordered_json;

bool needs_escape(char c) { return c < ' ' || c > '~' || c == '"' || c == '\\'; }

// An object as text, built at once: records are many, and a tree of values for
// each would take most of a replay's time.
class Object {
 public:
  Object& add(std::string_view name, std::string_view value) {
    begin(name);
    if (std::ranges::any_of(value, needs_escape)) {
      text_ += json_text(value);
    } else {
      text_.append(1, '"').append(value).append(1, '"');
    }
    return *this;
  }

  template <std::integral T>
  Object& add(std::string_view name, T value) {
    begin(name);
    if constexpr (std::same_as<T, bool>) {
      text_ += value ? "true" : "false";
    } else {
      text_ += std::to_string(value);
    }
    return *this;
  }

  Object& add(std::string_view name, const Object& value) {
    begin(name);
    text_.append(value.text_).append(1, '}');
    return *this;
  }

  std::string line() && { return std::move(text_.append("}\n")); }

 private:
  void begin(std::string_view name) {
    text_.append(1, text_.empty() ? '{' : ',').append(1, '"').append(name).append("\":");
  }

  std::string text_;
};

Object event_object(const fe_sensor_event& event) {
  Object object;
  object.add("entity_id", event.entity_id)
      .add("entity_subtype", event.entity_subtype)
      .add("group_instance", event.group_instance)
      .add("entity_instance", event.entity_instance)
      .add("event_state", event.event_state)
      .add("event_offset", event.event_offset)
      .add("sensor_name", event.sensor_name)
      .add("reading_type", event.reading_type);
  return object;
}

}  // namespace

std::string JsonReport::record(const Reported& reported) const {
  const fe_fault_record& record = reported.record;
  Object object;
  object.add("event", event_object(record.event))
      .add("fault_key", record.fault_key)
      .add("dn", record.dn)
      .add("fault_dn", record.fault_dn)
      .add("rn", record.rn)
      .add("code_text", record.code_text)
      .add("oid", dotted_oid(record))
      .add("oid_len", record.oid_len)
      .add("descr", record.descr)
      .add("created", record.created)
      .add("created_time", record.created_time)
      .add("disposition", record.disposition)
      .add("cause_id", record.cause_id)
      .add("clear_cause_id", record.clear_cause_id)
      .add("cause", record.cause)
      .add("clear_cause", record.clear_cause)
      .add("code", record.code)
      .add("clear_code", record.clear_code)
      .add("name", record.name)
      .add("severity", severity_word(severity_of(record)))
      .add("change", change_word(reported.outcome.change))
      .add("superseded", reported.outcome.superseded);
  if (reported.time) object.add("time", format_moment(*reported.time));
  return std::move(object).line();
}

std::string JsonReport::summary(const ActiveFaults& faults, const LineCounts& counts) const {
  ordered_json active = ordered_json::array();
  for (const ActiveFault* fault : faults.in_order()) {
    const fe_fault_record& record = fault->record;
    active.push_back({{"fault_dn", record.fault_dn},
                      {"code", record.code},
                      {"name", record.name},
                      {"severity", severity_word(severity_of(record))},
                      {"cause", record.cause},
                      {"descr", record.descr},
                      {"since", format_moment(fault->since)},
                      {"updated", format_moment(fault->updated)},
                      {"reports", fault->reports}});
  }
  const FaultCounts& changes = faults.counts();
  return json_text({{"active", std::move(active)},
                    {"counts",
                     {{"events", counts.events},
                      {"raised", changes.raised},
                      {"refreshed", changes.refreshed},
                      {"cleared", changes.cleared},
                      {"already_clear", changes.already_clear},
                      {"superseded", changes.superseded},
                      {"of_no_interest", counts.of_no_interest},
                      {"bad_lines", counts.bad_lines}}}}) +
         "\n";
}

}  // namespace polaiga::engine
