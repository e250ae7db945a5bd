#include "metrics/engine_families.h"

#include <nlohmann/json.hpp>

#include "control/output_status.h"
#include "model/moment.h"

namespace polaiga::web {
namespace {

using nlohmann::json;

// A member of the status that becomes a metric with one series.
struct Single {
  const char* member;
  prometheus::MetricFamily (*type)(const char* name, const char* help);
  const char* name;
  const char* help;
  double unit = 1;  // of the member, in that of the metric
};

constexpr Single kSingles[] = {
    {"active_faults", &gauge, "polaiga_faults_active", "Active faults. Each active alarm has one."},
    {"reports", &gauge, "polaiga_reports", "Active faults, each counted once for each of its reporters."},
    {"max_active", &gauge, "polaiga_reports_limit",
     "How many polaiga_reports there may be. The faults of further reports are not tracked."},
    {"not_tracked", &counter, "polaiga_reports_not_tracked_total",
     "Reports of faults that are not tracked, because the limit is reached."},
    {"chattering", &gauge, "polaiga_faults_chattering", "Faults that are raised again and again."},
    {"duplicates", &counter, "polaiga_inputs_duplicate_total",
     "Inputs that came again under an id that was taken before. They are not applied a second time."},
    {"bad_lines", &counter, "polaiga_bad_lines_total", "Lines from sources that were no events."},
    {"unwritten", &gauge, "polaiga_inputs_unwritten", "Inputs that were taken and are not durable yet."},
    {"clients", &gauge, "polaiga_engine_clients", "Clients that are connected to the engine's socket for events."},
    {"waiting_clients", &gauge, "polaiga_engine_clients_waiting",
     "Clients that wait until the engine has a place for them."},
    {"checked_percent", &gauge, "polaiga_ledger_checked_ratio",
     "How far the engine's check of the ledger has come. It begins anew once a day.", 0.01},
    {"damage_found", &gauge, "polaiga_ledger_damage_found",
     "Things in the ledger that are not as they were written, as far as the check has come."},
    {"over_limit", &gauge, "polaiga_ledger_over_limit",
     "1 when what must be kept takes more space than the ledger's limit allows."},
    {"log_held_by_reader", &gauge, "polaiga_ledger_log_held",
     "1 when a program that reads the ledger keeps its log from being emptied."},
};

// Absent or of another type: nothing.
std::optional<double> number(const json& object, const char* member) {
  const auto found = object.find(member);
  if (found == object.end()) return std::nullopt;
  if (found->is_boolean()) return found->get<bool>() ? 1 : 0;
  if (!found->is_number()) return std::nullopt;
  return found->get<double>();
}

// Absent or of another type: "".
std::string text(const json& object, const char* member) {
  const auto found = object.find(member);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

void add_kinds(const json& status, const char* member, prometheus::MetricFamily&& family, Families& families) {
  const auto counts = status.find(member);
  if (counts == status.end() || !counts->is_object()) return;
  for (const auto& [kind, count] : counts->items()) {
    if (count.is_number()) add(family, count.get<double>(), {{"kind", kind}});
  }
  families.push_back(std::move(family));
}

std::vector<std::uint64_t> numbers(const json& object, const char* member) {
  std::vector<std::uint64_t> found;
  const auto list = object.find(member);
  if (list == object.end() || !list->is_array()) return found;
  for (const json& one : *list) {
    if (one.is_number_unsigned()) found.push_back(one.get<std::uint64_t>());
  }
  return found;
}

void add_times(const json& status, const char* member, prometheus::MetricFamily&& family, Families& families) {
  const auto times = status.find(member);
  if (times == status.end() || !times->is_object()) return;
  std::vector<std::chrono::microseconds> bounds;
  for (const std::uint64_t bound : numbers(*times, "bounds_us")) bounds.emplace_back(bound);
  const std::vector<std::uint64_t> counts = numbers(*times, "counts");
  const auto total = number(*times, "total_us");
  if (counts.size() != bounds.size() + 1 || !total) return;
  add(family, bounds, counts, std::chrono::microseconds(static_cast<std::int64_t>(*total)));
  families.push_back(std::move(family));
}

void add_ledger_size(const json& status, Families& families) {
  auto size = gauge("polaiga_ledger_size_bytes", "Size of the ledger: its file, and its log.");
  if (const auto bytes = number(status, "file_bytes")) add(size, *bytes, {{"part", "file"}});
  if (const auto bytes = number(status, "log_bytes")) add(size, *bytes, {{"part", "log"}});
  families.push_back(std::move(size));
}

// A member of what the status tells of each output.
struct OutputNumber {
  const char* member;
  prometheus::MetricFamily (*type)(const char* name, const char* help);
  const char* name;
  const char* help;
};

constexpr OutputNumber kOutputNumbers[] = {
    {"through", &gauge, "polaiga_output_through_change", "The number of the last change that the output has told."},
    {"behind", &gauge, "polaiga_output_behind_changes", "Changes that the output has not told yet."},
    {"told", &counter, "polaiga_output_told_changes_total", "Changes that the output's peer has taken."},
    {"lost", &counter, "polaiga_output_lost_changes_total",
     "Changes that retention took before the output could tell them."},
    {"cut", &counter, "polaiga_output_cut_messages_total",
     "Messages of the output in which a text or a list had to be shortened."},
};

constexpr OutputNumber kOutputMoments[] = {
    {"updated", &gauge, "polaiga_output_updated_timestamp_seconds",
     "When the output last told the engine how far it has come."},
    {"last_success", &gauge, "polaiga_output_last_success_timestamp_seconds",
     "When the output's peer took something last."},
};

// 1 or 0; nothing when the output does not say it. One that was not heard for long tells nobody anything.
std::optional<double> connected(const json& publisher) {
  const auto silent = number(publisher, "silent_s");
  if (!silent || *silent > engine::kSilentAfter) return 0;
  return number(publisher, "connected");
}

void add_outputs(const json& status, Families& families) {
  const auto publishers = status.find("publishers");
  if (publishers == status.end() || !publishers->is_array()) return;
  const auto add_all = [&](prometheus::MetricFamily&& family, const auto& value_of) {
    for (const json& publisher : *publishers) {
      const std::string name = text(publisher, "publisher");
      const std::optional<double> value = name.empty() ? std::nullopt : value_of(publisher);
      if (value) add(family, *value, {{"publisher", name}});
    }
    families.push_back(std::move(family));
  };
  add_all(gauge("polaiga_output_connected",
                "1 when the output can tell its peer something. 0 also when the output was not heard for 30 s."),
          connected);
  for (const OutputNumber& one : kOutputNumbers) {
    add_all(one.type(one.name, one.help), [&](const json& publisher) { return number(publisher, one.member); });
  }
  for (const OutputNumber& one : kOutputMoments) {
    add_all(one.type(one.name, one.help), [&](const json& publisher) -> std::optional<double> {
      const auto then = engine::parse_moment(text(publisher, one.member));
      if (!then) return std::nullopt;
      return static_cast<double>(*then);
    });
  }
}

void add_status(const json& status, Families& families) {
  auto build =
      gauge("polaiga_engine_build_info", "1, with the version and the build of the library that the engine uses.");
  const std::string version = text(status, "library_version");
  const std::string build_id = text(status, "build_id");
  add(build, 1, {{"version", version}, {"build_id", build_id}});
  families.push_back(std::move(build));
  auto usable = gauge("polaiga_engine_ledger_usable",
                      "1 when the engine can read and write the ledger. Otherwise it takes no event until it can.");
  add(usable, status.contains("problem") ? 0 : 1);
  families.push_back(std::move(usable));
  for (const Single& single : kSingles) {
    const auto value = number(status, single.member);
    if (!value) continue;
    auto family = single.type(single.name, single.help);
    add(family, *value * single.unit);
    families.push_back(std::move(family));
  }
  add_kinds(status, "inputs",
            counter("polaiga_inputs_total",
                    "Inputs that the engine has taken since it started: events, and actions by their kinds."),
            families);
  add_kinds(status, "changes",
            counter("polaiga_changes_total", "Changes of alarms since the engine started, by their kinds."), families);
  add_times(status, "batch_times",
            histogram("polaiga_batch_duration_seconds",
                      "How long it took to write a batch of inputs to the ledger, so that it is durable."),
            families);
  add_times(status, "sync_times",
            histogram("polaiga_sync_duration_seconds", "How long the disk took to make the ledger's log durable."),
            families);
  add_ledger_size(status, families);
  add_outputs(status, families);
}

}  // namespace

void add_engine_families(const std::optional<std::string>& status, Families& families) {
  const json told = status ? json::parse(*status, nullptr, false) : json();
  auto up = gauge("polaiga_engine_up", "1 when the engine answers at its control socket.");
  add(up, told.is_object() ? 1 : 0);
  families.push_back(std::move(up));
  if (told.is_object()) add_status(told, families);
}

}  // namespace polaiga::web
