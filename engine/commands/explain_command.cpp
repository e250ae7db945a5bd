#include "commands/explain_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "base/printable.h"
#include "explore/catalog_forms.h"
#include "ledger/ledger_query.h"
#include "model/record_text.h"
#include "report/json_text.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

using nlohmann::ordered_json;

struct ExplainOptions {
  std::string ledger;
  std::string fault_dn;
  bool json = false;
  std::string tables;  // directory; empty: those of the ledger
};

// What the filter does to the fault, by events of the sensor that raised it.
struct Rule {
  std::string raised_by;
  std::string cleared_by;                              // empty: nothing does
  std::map<std::uint32_t, std::string> superseded_by;  // by the code that takes its place
};

bool is_of(const FoundFault& fault, const fe_fault_record& record) {
  return fault.code == record.code && fault.name == field_text(record.name) && fault.cause == field_text(record.cause);
}

// Nothing when the filter of this build does not raise the fault by its event.
std::optional<Rule> rule_of(const StoredRecord& raise) {
  const SensorEvent& line = raise.event.line;
  const FoundFilter filter = find_faults(*line.entity, line.event);
  const EventKey key = tried_as(*line.entity, line.event);
  for (const FoundFault& fault : filter.faults) {
    if (!is_of(fault, raise.record)) continue;
    for (const Behaviour& behaviour : fault.behaviours) {
      if (!behaviour.raises.contains(key)) continue;
      Rule rule{.raised_by = brief_events(behaviour.raises, filter.memories),
                .cleared_by = brief_events(behaviour.clears, filter.memories),
                .superseded_by = {}};
      for (const auto& [code, events] : behaviour.superseded_by) {
        rule.superseded_by[code] = brief_events(events, filter.memories);
      }
      return rule;
    }
  }
  return std::nullopt;
}

// A block of lines: a heading, and names with what they stand for.
class Block {
 public:
  explicit Block(const std::string& heading) : text_("\n" + heading + "\n") {}

  Block& add(std::string_view name, const std::string& value) {
    constexpr std::size_t kWidth = 14;
    text_.append(kGap).append(padded(name, kWidth)).append(value);
    text_.erase(text_.find_last_not_of(' ') + 1);
    text_ += '\n';
    return *this;
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

std::string by_event(Sequence sequence, Moment when) {
  return "event " + std::to_string(sequence) + " at " + format_moment(when);
}

std::string ending_of(const Episode& episode) {
  const bool replaced = episode.ending == "superseded";
  return episode.ending + (replaced ? " by " + printable(episode.end_code) + ", by " : " by ") +
         by_event(*episode.ended, episode.ended_at);
}

std::string state_text(const Episode& episode) {
  if (!episode.ended) return "active since " + format_moment(episode.raised_at);
  return "active from " + format_moment(episode.raised_at) + ", " + ending_of(episode);
}

std::string event_text(const StoredEvent& stored) {
  const fe_sensor_event& event = stored.line.event;
  Block block("Raised by event " + std::to_string(stored.sequence));
  if (stored.line.time) block.add("time", format_moment(*stored.line.time));
  block.add("received", format_moment(stored.received));
  if (stored.line.id) block.add("id", printable(*stored.line.id));
  block.add("sensor", printable(field_text(event.sensor_name)))
      .add("entity", std::string(stored.line.entity->name))
      .add("offset", std::to_string(event.event_offset))
      .add("state", std::to_string(event.event_state))
      .add("instance", std::to_string(event.entity_instance));
  return block.text();
}

std::string record_text(const StoredRecord& raise) {
  const fe_fault_record& record = raise.record;
  return Block("What the record said")
      .add("code", printable(field_text(record.code_text)))
      .add("name", printable(field_text(record.name)))
      .add("severity", printable(raise.severity))
      .add("cause", printable(field_text(record.cause)))
      .add("description", shown_description(field_text(record.descr)))
      .text();
}

std::string since_then_text(const Explanation& found) {
  const Episode& episode = found.episode;
  Block block("What it did");
  for (const std::string& other : found.superseded) block.add("superseded", printable(other));
  const std::uint64_t times = episode.reports - 1;
  block.add("refreshed",
            times == 0 ? "never" : plural(times, "time") + ", last by " + by_event(episode.last, episode.updated_at));
  block.add("ended", episode.ended ? ending_of(episode) : "not yet");
  return block.text();
}

std::string rule_text(const std::optional<Rule>& rule, const SensorEvent& line) {
  Block raised("The rule, as OFFSETS: STATES");
  raised.add("filter", std::string(line.entity->name));
  if (!rule) return raised.add("raised by", "other events: this build would not raise it by that one").text();
  raised.add("raised by", rule->raised_by);
  Block ends("What ends it, as OFFSETS: STATES of " + printable(field_text(line.event.sensor_name)));
  if (rule->cleared_by.empty()) {
    ends.add("cleared by", "No event clears it.");
  } else {
    ends.add("cleared by", rule->cleared_by);
  }
  for (const auto& [code, events] : rule->superseded_by) {
    ends.add("superseded by", code_text(code) + " " + fault_name(code) + ", raised by " + events);
  }
  return raised.text() + ends.text();
}

std::string as_text(const Explanation& found, const std::optional<Rule>& rule) {
  return printable(found.episode.fault_dn) + "\n" + state_text(found.episode) + "\n" + event_text(found.raise.event) +
         record_text(found.raise) + since_then_text(found) + rule_text(rule, found.raise.event.line);
}

ordered_json event_as_json(const StoredEvent& stored) {
  const fe_sensor_event& event = stored.line.event;
  ordered_json object = {{"seq", stored.sequence}};
  if (stored.line.id) object["id"] = *stored.line.id;
  if (stored.line.time) object["time"] = format_moment(*stored.line.time);
  object["received"] = format_moment(stored.received);
  object["entity"] = stored.line.entity->name;
  object["sensor"] = field_text(event.sensor_name);
  object["offset"] = event.event_offset;
  object["state"] = event.event_state;
  object["instance"] = event.entity_instance;
  object["group"] = event.group_instance;
  object["entity_id"] = event.entity_id;
  object["entity_subtype"] = event.entity_subtype;
  object["reading_type"] = event.reading_type;
  return object;
}

// Null for a rule that this build does not have.
ordered_json rule_as_json(const std::optional<Rule>& rule, const Entity& entity) {
  if (!rule) return nullptr;
  ordered_json others = ordered_json::array();
  for (const auto& [code, events] : rule->superseded_by) {
    others.push_back({{"code", code}, {"code_text", code_text(code)}, {"name", fault_name(code)}, {"events", events}});
  }
  return {{"filter", entity.name},
          {"raised_by", rule->raised_by},
          {"cleared_by", rule->cleared_by},
          {"superseded_by", std::move(others)}};
}

std::string as_json(const Explanation& found, const std::optional<Rule>& rule) {
  const Episode& episode = found.episode;
  const fe_fault_record& record = found.raise.record;
  ordered_json object = {{"fault_dn", episode.fault_dn},
                         {"dn", field_text(record.dn)},
                         {"active", !episode.ended},
                         {"since", format_moment(episode.raised_at)},
                         {"event", event_as_json(found.raise.event)},
                         {"code", record.code},
                         {"code_text", field_text(record.code_text)},
                         {"name", field_text(record.name)},
                         {"severity", found.raise.severity},
                         {"cause", field_text(record.cause)},
                         {"descr", field_text(record.descr)},
                         {"superseded", found.superseded},
                         {"refreshed", episode.reports - 1},
                         {"updated", format_moment(episode.updated_at)},
                         {"last_seq", episode.last}};
  if (episode.ended) {
    object["ended"] = format_moment(episode.ended_at);
    object["ended_seq"] = *episode.ended;
    object["ending"] = episode.ending;
    if (episode.ending == "superseded") object["superseded_by"] = episode.end_code;
  }
  object["rule"] = rule_as_json(rule, *found.raise.event.line.entity);
  return json_text(object) + "\n";
}

Status explain(const ExplainOptions& options, StandardOutput& output) {
  const auto found = LedgerReader(options.ledger).explain(options.fault_dn);
  if (!found) {
    std::fprintf(stderr, "No history of %s.\n", printable(options.fault_dn).c_str());
    return kUnknown;
  }
  if (options.tables.empty()) {
    install_host_tables(found->tables, options.ledger);
  } else {
    load_host_tables(options.tables);
  }
  StandardOutput::divert(Others::kDiscarded);
  const auto rule = rule_of(found->raise);
  output.write(options.json ? as_json(*found, rule) : as_text(*found, rule));
  output.flush();
  return kDone;
}

}  // namespace

Command explain_command(CLI::App& program) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* const app = program.add_subcommand("explain", "Tell why a fault was raised, and what would end it");
  app->footer(
      "Example:\n  polaiga explain sys/rack-unit-1/psu-1/fault-F0383\n\n"
      "Tells of the fault that is active, or was last: the event that raised it, the\n"
      "rule of the filter, the record, and what came of it. Without --tables, the\n"
      "sensors are those of the time when it was raised.\n\n"
      "Exit status: 0 when all is well, 1 when FAULT_DN never was, 2 when the ledger\n"
      "or the tables cannot be read.");
  app->add_option("FAULT_DN", options->fault_dn, "The fault")->required();
  add_ledger_option(*app, options->ledger);
  app->add_flag("--json", options->json, "Print a JSON object");
  add_tables_option(*app, options->tables);
  return {app, [options](StandardOutput& output) { return explain(*options, output); }};
}

}  // namespace polaiga::engine
