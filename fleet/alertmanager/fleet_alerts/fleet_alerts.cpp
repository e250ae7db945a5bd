#include "fleet_alerts/fleet_alerts.h"

#include <memory>
#include <pqxx/transaction>
#include <utility>

#include "database/duties.h"
#include "model/dictionary.h"
#include "report/json_object.h"

namespace polaiga::alertmanager {
namespace {

using engine::JsonObject;
using engine::Severity;

Severity severity_of(int number) {
  constexpr int kWorst = static_cast<int>(Severity::kCritical);
  return 0 <= number && number <= kWorst ? static_cast<Severity>(number) : Severity::kIndeterminate;
}

void add_text(JsonObject& object, std::string_view name, std::string_view value) {
  if (!value.empty()) object.add(name, value);
}

std::string link(const std::string& page_url, const char* what, std::int64_t number) {
  return page_url.empty() ? "" : page_url + what + std::to_string(number);
}

// What operators have silenced is no alert.
constexpr const char* kHeard = "a.ended = '' and not a.is_shelved and not a.is_out_of_service";

// Of two that have the same labels the older one counts.
void add(FleetAlerts& found, Alert alert) {
  std::string labels = alert.labels;
  auto shared = std::make_shared<const Alert>(std::move(alert));
  const auto [at, is_new] = found.alerts.emplace(std::move(labels), shared);
  if (!is_new && shared->starts_at < at->second->starts_at) at->second = std::move(shared);
}

Alert group_alert(const pqxx::row& row, const std::string& page_url) {
  const auto group = row["group_no"].as<std::int64_t>();
  const auto code = row["code"].as<std::uint32_t>();
  const auto site = row["site"].as<std::string>();
  const auto name = row["name"].as<std::string>();
  const auto alarms = row["alarms"].as<std::string>();
  const auto controllers = row["controllers"].as<std::string>();
  const std::string_view severity = engine::severity_word(severity_of(row["severity"].as<int>()));
  JsonObject labels;
  labels.add("alertname", name.empty() ? code_text(code) : name)
      .add("code", code_text(code))
      .add("severity", severity)
      .add("site", site)
      .add("group", std::to_string(group));
  JsonObject annotations;
  annotations
      .add("summary", std::string(severity) + " alarm " + code_text(code) + " on " + controllers +
                          " controllers of the site " + site)
      .add("alarms", alarms)
      .add("controllers", controllers);
  add_text(annotations, "description", row["description"].as<std::string>());
  return {.labels = labels.text(),
          .annotations = annotations.text(),
          .link = link(page_url, "/group/", group),
          .starts_at = row["created"].as<engine::Moment>(),
          .alarm = -group};
}

// That of a fault has the labels that polaiga-alertmanager gives it on the controller itself.
std::string labels_of(const pqxx::row& row, Severity severity) {
  const Identity identity{
      .controller = row["controller"].as<std::string>(), .site = row["site"].as<std::string>(), .page_url = {}};
  if (!row["is_silence"].as<bool>()) {
    return alert_labels(row["dn"].as<std::string>(), row["code"].as<std::uint32_t>(), severity, identity);
  }
  return JsonObject()
      .add("alertname", row["name"].as<std::string>())
      .add("severity", engine::severity_word(severity))
      .add("controller", identity.controller)
      .add("site", identity.site)
      .text();
}

Alert alarm_alert(const pqxx::row& row, const std::string& page_url) {
  const auto number = row["alarm_no"].as<std::int64_t>();
  const Severity severity = severity_of(row["severity"].as<int>());
  const auto controller = row["controller"].as<std::string>();
  JsonObject annotations;
  annotations.add("summary",
                  row["is_silence"].as<bool>()
                      ? "The controller " + controller + " is silent; its alarms are as it told them last"
                      : alert_summary(row["dn"].as<std::string>(), row["code"].as<std::uint32_t>(), severity));
  for (const char* name : {"description", "cause", "sensor"}) add_text(annotations, name, row[name].as<std::string>());
  annotations.add("operator_state", row["operator_state"].as<std::string>());
  return {.labels = labels_of(row, severity),
          .annotations = annotations.text(),
          .link = link(page_url, "/alarm/", number),
          .starts_at = row["created"].as<engine::Moment>(),
          .alarm = number};
}

void read_groups(pqxx::transaction_base& work, const std::string& page_url, std::size_t most, FleetAlerts& found) {
  const pqxx::result rows = work.exec(
      "select g.group_no, g.code, g.name, g.description, s.name as site, "
      "extract(epoch from g.first_created)::bigint as created, count(*) as alarms, "
      "count(distinct a.controller_id) as controllers, max(a.severity) as severity "
      "from alarm a join alarm_group g using (group_no) join site s on s.site_id = g.site_id where " +
      std::string(kHeard) + " group by g.group_no, s.name order by max(a.severity) desc, g.group_no limit " +
      std::to_string(most + 1));
  found.is_cut = found.is_cut || rows.size() > most;
  for (pqxx::result::size_type i = 0; i < rows.size() && i < most; ++i) add(found, group_alert(rows[i], page_url));
}

void read_alarms(pqxx::transaction_base& work, const std::string& page_url, std::size_t most, FleetAlerts& found) {
  const pqxx::result rows = work.exec(
      "select a.alarm_no, a.dn, a.code, a.name, a.severity, a.description, a.cause, a.sensor, s.name as site, "
      "c.name as controller, a.ledger_no is null as is_silence, extract(epoch from a.created)::bigint as created, "
      "case when a.is_closed then 'closed' when a.is_acknowledged then 'acknowledged' else 'none' end as "
      "operator_state "
      "from alarm a join controller c using (controller_id) join site s on s.site_id = c.site_id where " +
      std::string(kHeard) +
      " and a.group_no is null and (not a.is_grouping_due or a.received < now() - interval '2 minutes') "
      "order by a.severity desc, a.alarm_no limit " +
      std::to_string(most + 1));
  found.is_cut = found.is_cut || rows.size() > most;
  for (pqxx::result::size_type i = 0; i < rows.size() && i < most; ++i) add(found, alarm_alert(rows[i], page_url));
}

}  // namespace

FleetAlerts read_fleet_alerts(fleet::Database& database, const std::string& page_url, std::size_t most_groups,
                              std::size_t most_alarms) {
  return database.use([&](pqxx::connection& connection) {
    // Both are of one moment, so that an alarm is in one of them.
    pqxx::transaction<pqxx::repeatable_read, pqxx::read_only> work(connection);
    FleetAlerts found;
    read_groups(work, page_url, most_groups, found);
    read_alarms(work, page_url, most_alarms, found);
    return found;
  });
}

}  // namespace polaiga::alertmanager
