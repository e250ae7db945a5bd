#include "metrics/alarm_families.h"

#include <algorithm>
#include <array>
#include <functional>

#include "report/shown.h"

namespace polaiga::web {
namespace {

using engine::ActiveRow;
using engine::Severity;

constexpr Severity kSeverities[] = {Severity::kCritical, Severity::kMajor, Severity::kMinor, Severity::kWarning,
                                    Severity::kIndeterminate};

std::string_view state_word(const ActiveRow& row) {
  return row.is_out_of_service ? "out_of_service" : operator_state_word(row.standing.state());
}

// The alarms are in the order in which they were raised, which stays among those of one severity.
std::vector<const ActiveRow*> worst_first(const std::vector<ActiveRow>& active) {
  std::vector<const ActiveRow*> rows;
  rows.reserve(active.size());
  for (const ActiveRow& row : active) rows.push_back(&row);
  std::ranges::stable_sort(rows, std::greater(), [](const ActiveRow* row) { return row->fault.severity; });
  return rows;
}

void add_alarms(const engine::Overview& now, std::size_t most, Families& families) {
  auto alarms = gauge("polaiga_alarm_active",
                      "1 for each active alarm. The state is that of the alarm for its operators, or out_of_service "
                      "when its object is.");
  std::vector<const ActiveRow*> told = worst_first(now.active);
  told.resize(std::min(most, told.size()));
  for (const ActiveRow* const row : told) {
    const std::string code = engine::code_text(row->fault.code);
    add(alarms, 1,
        {{"dn", row->fault.dn},
         {"code", code},
         {"severity", severity_word(row->fault.severity)},
         {"state", state_word(*row)}});
  }
  families.push_back(std::move(alarms));
  auto cut = gauge("polaiga_metrics_series_cut",
                   "Active alarms that have no series of polaiga_alarm_active, because the limit of series is reached. "
                   "The worst alarms have one.");
  add(cut, static_cast<double>(now.active.size() - told.size()));
  families.push_back(std::move(cut));
}

void add_counts(const engine::Overview& now, Families& families) {
  std::array<std::array<std::size_t, 2>, std::size(kSeverities) + 1> counts{};
  for (const ActiveRow& row : now.active) {
    ++counts.at(static_cast<std::size_t>(row.fault.severity)).at(row.is_silenced() ? 1 : 0);
  }
  auto alarms = gauge("polaiga_alarms",
                      "Active alarms by severity. Silenced are those that are shelved or whose object is out of "
                      "service.");
  for (const Severity severity : kSeverities) {
    const auto& [heard, silenced] = counts.at(static_cast<std::size_t>(severity));
    add(alarms, static_cast<double>(heard), {{"severity", severity_word(severity)}, {"silenced", "false"}});
    add(alarms, static_cast<double>(silenced), {{"severity", severity_word(severity)}, {"silenced", "true"}});
  }
  families.push_back(std::move(alarms));
}

}  // namespace

void add_alarm_families(const engine::Overview& now, std::size_t most_series, Families& families) {
  add_counts(now, families);
  auto missed = gauge("polaiga_alarms_missed", "Alarms that came and went, and that nobody has acknowledged.");
  add(missed, static_cast<double>(now.missed));
  families.push_back(std::move(missed));
  auto maintenance = gauge("polaiga_maintenance_objects", "Objects that operators have taken out of service.");
  add(maintenance, static_cast<double>(now.maintenance.size()));
  families.push_back(std::move(maintenance));
  add_alarms(now, most_series, families);
}

}  // namespace polaiga::web
