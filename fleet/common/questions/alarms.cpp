#include "questions/alarms.h"

#include <pqxx/result>

#include "questions/row_values.h"
#include "questions/statement.h"

namespace polaiga::fleet {
namespace {

constexpr Statement::Sql kColumns =
    "select a.alarm_no, s.name, c.name, coalesce(l.ledger_id, ''), coalesce(a.number, 0), a.fault, a.fault_dn, a.dn, "
    "a.code, a.name, a.sensor, a.description, a.cause, a.oid, a.severity, a.worst, "
    "extract(epoch from a.created)::bigint, extract(epoch from a.since)::bigint, "
    "extract(epoch from a.updated)::bigint, extract(epoch from a.cleared)::bigint, a.ended, a.count, a.reporters, "
    "a.is_shelved, a.is_closed, a.is_acknowledged, a.was_unshelved, a.is_out_of_service, a.acknowledged_by, a.raises, "
    "a.group_no from ";
constexpr Statement::Sql kJoins =
    " a join controller c on c.controller_id = a.controller_id join site s on s.site_id = a.site_id "
    "left join ledger l on l.ledger_no = a.ledger_no";

// As engine::AlarmStanding tells it.
engine::OperatorState state_of(bool is_shelved, bool is_closed, bool is_acknowledged, bool was_unshelved) {
  using engine::OperatorState;
  if (is_shelved) return OperatorState::kShelved;
  if (is_closed) return OperatorState::kClosed;
  if (is_acknowledged) return OperatorState::kAcknowledged;
  return was_unshelved ? OperatorState::kUnshelved : OperatorState::kNone;
}

AlarmRow read_row(const pqxx::row& row) {
  AlarmRow alarm{.id = row[0].as<std::int64_t>(),
                 .site = row[1].as<std::string>(),
                 .controller = row[2].as<std::string>(),
                 .ledger_id = row[3].as<std::string>(),
                 .number = row[4].as<std::int64_t>(),
                 .fault = row[5].as<std::int64_t>(),
                 .fault_dn = row[6].as<std::string>(),
                 .dn = row[7].as<std::string>(),
                 .code = row[8].as<std::int64_t>(),
                 .name = row[9].as<std::string>(),
                 .sensor = row[10].as<std::string>(),
                 .description = row[11].as<std::string>(),
                 .cause = row[12].as<std::string>(),
                 .oid = row[13].as<std::string>(),
                 .severity = read_severity(row[14]),
                 .worst = read_severity(row[15]),
                 .created = row[16].as<engine::Moment>(),
                 .since = row[17].as<engine::Moment>(),
                 .updated = row[18].as<engine::Moment>(),
                 .cleared = moment_or_nothing(row[19]),
                 .ended = row[20].as<std::string>(),
                 .count = row[21].as<std::int64_t>(),
                 .reporters = row[22].as<std::int64_t>(),
                 .state = state_of(row[23].as<bool>(), row[24].as<bool>(), row[25].as<bool>(), row[26].as<bool>()),
                 .is_out_of_service = row[27].as<bool>(),
                 .acknowledged_by = row[28].as<std::string>(),
                 .raises = row[29].as<std::int64_t>(),
                 .group = {}};
  if (!row[30].is_null()) alarm.group = row[30].as<std::int64_t>();
  return alarm;
}

std::vector<AlarmRow> read_rows(const pqxx::result& result) {
  std::vector<AlarmRow> rows;
  rows.reserve(result.size());
  for (const pqxx::row& row : result) rows.push_back(read_row(row));
  return rows;
}

void add_place(Statement& statement, const std::string& site, const std::string& controller) {
  if (!site.empty()) {
    statement.condition("site_id = (select site_id from site where name = ").value(site).add(")");
  }
  if (controller.empty()) return;
  statement.condition("controller_id in (select c.controller_id from controller c join site s on s.site_id = c.site_id")
      .add(" where c.name = ")
      .value(controller);
  if (!site.empty()) statement.add(" and s.name = ").value(site);
  statement.add(")");
}

void add_state(Statement& statement, engine::OperatorState state) {
  using engine::OperatorState;
  switch (state) {
    case OperatorState::kShelved:
      statement.condition("is_shelved");
      return;
    case OperatorState::kClosed:
      statement.condition("is_closed and not is_shelved");
      return;
    case OperatorState::kAcknowledged:
      statement.condition("is_acknowledged and not is_closed and not is_shelved");
      return;
    case OperatorState::kUnshelved:
      statement.condition("was_unshelved and not is_acknowledged and not is_closed and not is_shelved");
      return;
    case OperatorState::kNone:
      statement.condition("not was_unshelved and not is_acknowledged and not is_closed and not is_shelved");
      return;
  }
}

// An action has the word of the change that it would be at a controller.
std::vector<AlarmStep> read_own_steps(pqxx::transaction_base& transaction, const AlarmRow& alarm, std::int64_t limit) {
  Statement statement(
      "select action_no, case request->>'do' when 'acknowledge' then 'acknowledged' when 'unacknowledge' then "
      "'unacknowledged' else 'commented' end, extract(epoch from ended)::bigint, person, "
      "coalesce(request->>'comment', '') from action");
  statement.condition("alarm_no = ").value(alarm.id).add(" order by action_no desc limit ").value(limit);
  std::vector<AlarmStep> steps;
  for (const pqxx::row& row : statement.run(transaction)) {
    steps.push_back({.number = row[0].as<std::int64_t>(),
                     .kind = row[1].as<std::string>(),
                     .at = row[2].as<engine::Moment>(),
                     .before = alarm.severity,
                     .after = alarm.severity,
                     .person = row[3].as<std::string>(),
                     .comment = row[4].as<std::string>()});
  }
  return steps;
}

void add_filter(Statement& statement, const AlarmFilter& filter) {
  statement.condition("ended = ''");
  add_place(statement, filter.site, filter.controller);
  if (filter.least) statement.condition("severity >= ").value(static_cast<int>(*filter.least));
  if (filter.state) add_state(statement, *filter.state);
  if (filter.is_unacknowledged) statement.condition("not is_acknowledged and not is_closed");
  if (filter.is_silenced) statement.condition("(is_shelved or is_out_of_service)");
  const bool may_be_silenced = filter.is_silenced || filter.is_all || filter.state == engine::OperatorState::kShelved;
  if (!may_be_silenced) statement.condition("not is_shelved and not is_out_of_service");
  if (filter.group) statement.condition("group_no = ").value(*filter.group);
  if (!filter.text.empty()) {
    statement
        .condition(
            "(fault_dn || ' ' || name || ' F' || lpad(code::text, 4, '0') || ' ' || description || ' ' || sensor) "
            "ilike ")
        .value(like_pattern(filter.text));
  }
}

}  // namespace

ActiveAlarms read_active(pqxx::transaction_base& transaction, const AlarmFilter& filter, AlarmOrder order,
                         std::int64_t limit, std::int64_t skip) {
  ActiveAlarms active;
  Statement counted("select count(*) from (select 1 from alarm");
  add_filter(counted, filter);
  counted.add(" limit ").value(kMostCounted + 1).add(") found");
  active.found = counted.run(transaction)[0][0].as<std::int64_t>();
  active.is_more = active.found > kMostCounted;
  if (active.is_more) active.found = kMostCounted;
  if (limit == 0 || active.found == 0) return active;
  Statement statement(kColumns);
  statement.add("(select * from alarm");
  add_filter(statement, filter);
  const Statement::Sql kNewest = " order by created desc, alarm_no desc limit ";
  const Statement::Sql kWorst = " order by severity desc, created desc, alarm_no desc limit ";
  statement.add(order == AlarmOrder::kWorst ? kWorst : kNewest);
  statement.value(limit).add(" offset ").value(skip).add(")").add(kJoins);
  const Statement::Sql kNewestRow = " order by a.created desc, a.alarm_no desc";
  const Statement::Sql kWorstRow = " order by a.severity desc, a.created desc, a.alarm_no desc";
  statement.add(order == AlarmOrder::kWorst ? kWorstRow : kNewestRow);
  active.rows = read_rows(statement.run(transaction));
  return active;
}

std::optional<AlarmRow> read_alarm(pqxx::transaction_base& transaction, std::int64_t id) {
  Statement statement(kColumns);
  statement.add("alarm").add(kJoins).condition("a.alarm_no = ").value(id);
  const pqxx::result rows = statement.run(transaction);
  if (rows.empty()) return std::nullopt;
  return read_row(rows[0]);
}

std::optional<AlarmRow> read_alarm(pqxx::transaction_base& transaction, const std::string& ledger_id,
                                   std::int64_t number) {
  Statement statement(kColumns);
  statement.add("alarm").add(kJoins).condition("a.number = ").value(number);
  statement.condition("a.ledger_no in (select ledger_no from ledger where ledger_id = ").value(ledger_id);
  statement.add(") limit 1");
  const pqxx::result rows = statement.run(transaction);
  if (rows.empty()) return std::nullopt;
  return read_row(rows[0]);
}

std::vector<AlarmRow> read_history(pqxx::transaction_base& transaction, const HistoryWanted& wanted) {
  Statement statement(kColumns);
  statement.add("(select * from alarm");
  add_place(statement, wanted.site, wanted.controller);
  if (!wanted.fault_dn.empty()) statement.condition("fault_dn = ").value(wanted.fault_dn);
  if (wanted.group) statement.condition("group_no = ").value(*wanted.group);
  if (wanted.before) {
    statement.condition("(created, alarm_no) < (select created, alarm_no from alarm where alarm_no = ")
        .value(*wanted.before)
        .add(")");
  }
  statement.add(" order by created desc, alarm_no desc limit ").value(wanted.limit).add(")").add(kJoins);
  statement.add(" order by a.created desc, a.alarm_no desc");
  return read_rows(statement.run(transaction));
}

ChangesRead read_changes(pqxx::transaction_base& transaction, const std::string& site, const std::string& controller,
                         std::int64_t after, std::int64_t limit) {
  Statement of(
      "select l.ledger_no, l.ledger_id, l.through from controller c join site s on s.site_id = c.site_id "
      "join ledger l on l.ledger_no = c.ledger_no");
  of.condition("s.name = ").value(site).condition("c.name = ").value(controller);
  const pqxx::result ledgers = of.run(transaction);
  if (ledgers.empty()) return {};
  ChangesRead read{
      .ledger_id = ledgers[0][1].as<std::string>(), .through = ledgers[0][2].as<std::int64_t>(), .bodies = {}};
  Statement statement("select body from change");
  statement.condition("ledger_no = ").value(ledgers[0][0].as<std::int64_t>()).condition("number > ").value(after);
  statement.add(" order by number limit ").value(limit);
  for (const pqxx::row& row : statement.run(transaction)) read.bodies.push_back(row[0].as<std::string>());
  return read;
}

std::vector<AlarmStep> read_steps(pqxx::transaction_base& transaction, const AlarmRow& alarm, std::int64_t limit) {
  if (alarm.ledger_id.empty()) return read_own_steps(transaction, alarm, limit);
  Statement statement(
      "select number, kind, extract(epoch from at)::bigint, severity_before, severity_after, coalesce(person, ''), "
      "coalesce(comment, '') from change");
  statement.condition("ledger_no = (select ledger_no from alarm where alarm_no = ").value(alarm.id).add(")");
  statement.condition("alarm = ").value(alarm.number).add(" order by number desc limit ").value(limit);
  std::vector<AlarmStep> steps;
  for (const pqxx::row& row : statement.run(transaction)) {
    steps.push_back({.number = row[0].as<std::int64_t>(),
                     .kind = row[1].as<std::string>(),
                     .at = row[2].as<engine::Moment>(),
                     .before = read_severity(row[3]),
                     .after = read_severity(row[4]),
                     .person = row[5].as<std::string>(),
                     .comment = row[6].as<std::string>()});
  }
  return steps;
}

}  // namespace polaiga::fleet
