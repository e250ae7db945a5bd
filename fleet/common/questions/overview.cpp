#include "questions/overview.h"

#include <pqxx/result>
#include <unordered_map>

#include "questions/row_values.h"
#include "questions/statement.h"

namespace polaiga::fleet {
namespace {

using engine::Severity;

std::vector<ControllerRow> read_controllers(pqxx::transaction_base& transaction) {
  const pqxx::result rows = transaction.exec(
      "select c.controller_id, s.name, c.name, c.is_online, c.is_engine_answering, c.version, "
      "extract(epoch from c.heard)::bigint, extract(epoch from c.silent_since)::bigint, coalesce(l.ledger_id, ''), "
      "coalesce(l.through, 0), coalesce(l.wanted_through, 0), coalesce(l.is_list_wanted, false) "
      "from controller c join site s on s.site_id = c.site_id left join ledger l on l.ledger_no = c.ledger_no "
      "order by s.name, c.name");
  std::vector<ControllerRow> controllers;
  controllers.reserve(rows.size());
  for (const pqxx::row& row : rows) {
    controllers.push_back({.id = row[0].as<std::int64_t>(),
                           .site = row[1].as<std::string>(),
                           .name = row[2].as<std::string>(),
                           .is_online = row[3].as<bool>(),
                           .is_engine_answering = row[4].as<bool>(),
                           .version = row[5].as<std::string>(),
                           .heard = row[6].as<engine::Moment>(),
                           .silent_since = moment_or_nothing(row[7]),
                           .ledger_id = row[8].as<std::string>(),
                           .through = row[9].as<std::int64_t>(),
                           .wanted_through = row[10].as<std::int64_t>(),
                           .is_list_wanted = row[11].as<bool>()});
  }
  return controllers;
}

void count_alarms(pqxx::transaction_base& transaction, std::vector<ControllerRow>& controllers) {
  std::unordered_map<std::int64_t, ControllerRow*> by_id;
  by_id.reserve(controllers.size());
  for (ControllerRow& controller : controllers) by_id.emplace(controller.id, &controller);
  const pqxx::result rows = transaction.exec(
      "select controller_id, severity, is_shelved or is_out_of_service, count(*), "
      "count(*) filter (where not is_acknowledged and not is_closed) "
      "from alarm where ended = '' group by 1, 2, 3");
  for (const pqxx::row& row : rows) {
    const auto found = by_id.find(row[0].as<std::int64_t>());
    if (found == by_id.end()) continue;
    AlarmCounts& counts = found->second->counts;
    const auto count = row[3].as<std::uint64_t>();
    if (row[2].as<bool>()) {
      counts.silenced += count;
    } else {
      counts.of_severity.at(static_cast<std::size_t>(read_severity(row[1]))) += count;
      counts.unacknowledged += row[4].as<std::uint64_t>();
    }
  }
}

}  // namespace

Severity AlarmCounts::worst() const {
  for (std::size_t i = of_severity.size() - 1; i > 0; --i) {
    if (of_severity.at(i) > 0) return static_cast<Severity>(i);
  }
  return Severity::kCleared;
}

std::uint64_t AlarmCounts::all() const {
  std::uint64_t sum = 0;
  for (const std::uint64_t count : of_severity) sum += count;
  return sum;
}

AlarmCounts& AlarmCounts::operator+=(const AlarmCounts& other) {
  for (std::size_t i = 0; i < of_severity.size(); ++i) of_severity.at(i) += other.of_severity.at(i);
  unacknowledged += other.unacknowledged;
  silenced += other.silenced;
  return *this;
}

std::vector<SiteRow> sites_of(const std::vector<ControllerRow>& controllers) {
  std::vector<SiteRow> sites;
  for (const ControllerRow& controller : controllers) {
    if (sites.empty() || sites.back().name != controller.site) sites.push_back({.name = controller.site});
    SiteRow& site = sites.back();
    ++site.controllers;
    if (controller.silent_since) ++site.silent;
    site.changes += static_cast<std::uint64_t>(controller.through);
    site.behind += static_cast<std::uint64_t>(controller.behind());
    site.counts += controller.counts;
  }
  return sites;
}

std::vector<GroupRow> read_groups(pqxx::transaction_base& transaction, const GroupsWanted& wanted) {
  Statement statement(
      "select g.group_no, s.name, g.code, g.name, g.description, extract(epoch from g.first_created)::bigint, "
      "extract(epoch from g.last_created)::bigint, g.alarms, g.controllers, "
      "coalesce(now.severity, g.worst), now.active, now.unacknowledged "
      "from (select * from alarm_group");
  if (wanted.number) statement.condition("group_no = ").value(*wanted.number);
  if (wanted.before) statement.condition("group_no < ").value(*wanted.before);
  if (!wanted.site.empty()) {
    statement.condition("site_id = (select site_id from site where name = ").value(wanted.site).add(")");
  }
  statement.add(" order by group_no desc limit ").value(wanted.limit);
  statement.add(
      ") g join site s on s.site_id = g.site_id cross join lateral (select count(*) as active, "
      "count(*) filter (where not a.is_acknowledged and not a.is_closed) as unacknowledged, "
      "max(a.severity) as severity from alarm a where a.group_no = g.group_no and a.ended = '') now");
  if (wanted.is_active_only) statement.add(" where now.active > 0");
  statement.add(" order by g.group_no desc");
  std::vector<GroupRow> groups;
  for (const pqxx::row& row : statement.run(transaction)) {
    groups.push_back({.number = row[0].as<std::int64_t>(),
                      .site = row[1].as<std::string>(),
                      .code = row[2].as<std::int64_t>(),
                      .name = row[3].as<std::string>(),
                      .description = row[4].as<std::string>(),
                      .first_created = row[5].as<engine::Moment>(),
                      .last_created = row[6].as<engine::Moment>(),
                      .alarms = row[7].as<std::uint64_t>(),
                      .controllers = row[8].as<std::uint64_t>(),
                      .worst = read_severity(row[9]),
                      .active = row[10].as<std::uint64_t>(),
                      .unacknowledged = row[11].as<std::uint64_t>()});
  }
  return groups;
}

std::vector<CollectorRow> read_collectors(pqxx::transaction_base& transaction) {
  std::vector<CollectorRow> collectors;
  for (const pqxx::row& row : transaction.exec(
           "select name, extract(epoch from begun)::bigint, extract(epoch from heard)::bigint, version, queues, "
           "messages, "
           "changes, repeats, early, dead_letters, last_problem, extract(epoch from last_problem_at)::bigint "
           "from collector order by name limit 1000")) {
    collectors.push_back({.name = row[0].as<std::string>(),
                          .begun = row[1].as<engine::Moment>(),
                          .heard = row[2].as<engine::Moment>(),
                          .version = row[3].as<std::string>(),
                          .queues = row[4].as<std::int64_t>(),
                          .messages = row[5].as<std::uint64_t>(),
                          .changes = row[6].as<std::uint64_t>(),
                          .repeats = row[7].as<std::uint64_t>(),
                          .early = row[8].as<std::uint64_t>(),
                          .dead_letters = row[9].as<std::uint64_t>(),
                          .last_problem = row[10].as<std::string>(),
                          .last_problem_at = moment_or_nothing(row[11])});
  }
  return collectors;
}

Overview read_overview(pqxx::transaction_base& transaction) {
  Overview overview;
  overview.controllers = read_controllers(transaction);
  count_alarms(transaction, overview.controllers);
  overview.sites = sites_of(overview.controllers);
  for (const SiteRow& site : overview.sites) {
    overview.counts += site.counts;
    overview.silent += site.silent;
  }
  overview.groups = read_groups(transaction, {.site = {}, .number = {}, .before = {}, .is_active_only = true});
  overview.collectors = read_collectors(transaction);
  return overview;
}

}  // namespace polaiga::fleet
