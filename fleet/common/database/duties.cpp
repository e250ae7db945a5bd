#include "database/duties.h"

#include <nlohmann/json.hpp>
#include <pqxx/result>
#include <pqxx/transaction>
#include <utility>

#include "database/action_id.h"
#include "database/duty.h"
#include "database/known_rows.h"
#include "database/requests.h"
#include "database/row_arrays.h"
#include "report/json_text.h"

namespace polaiga::fleet {
namespace {

constexpr int kMostActions = 500;    // that go down at once
constexpr int kMostRequests = 1000;  // that are made at once

Sender read_sender(const pqxx::row& row, int first) {
  return {.site = row[first].as<std::string>(), .controller = row[first + 1].as<std::string>()};
}

}  // namespace

std::chrono::microseconds Duties::now() {
  return database_.use([](pqxx::connection& connection) {
    pqxx::work transaction(connection);
    return std::chrono::microseconds(
        transaction.exec1("select (extract(epoch from now()) * 1000000)::bigint")[0].as<std::int64_t>());
  });
}

// A controller whose row is locked is being heard right now.
std::uint64_t Duties::find_silent(std::chrono::seconds after, std::chrono::microseconds now) {
  return database_.use([after, now](pqxx::connection& connection) -> std::uint64_t {
    pqxx::work transaction(connection);
    if (!take_duty(transaction, Duty::kSilence)) return 0;
    const pqxx::result found = transaction.exec_params(
        "with due as (select controller_id from controller where silent_since is null and "
        "(not is_online or heard < to_timestamp($3::bigint / 1000000.0) - make_interval(secs => $1::bigint)) "
        "order by controller_id "
        "for update skip locked), "
        "silent as (update controller c set silent_since = now() from due where c.controller_id = due.controller_id "
        "returning c.controller_id, c.site_id, c.name, c.is_online, c.heard) "
        "insert into alarm (controller_id, site_id, fault_dn, dn, code, name, description, cause, severity, worst, "
        "created, since, updated) "
        "select silent.controller_id, silent.site_id, 'site/' || s.name || '/controller/' || silent.name || "
        "'/fault-F0000', 'site/' || s.name || '/controller/' || silent.name, 0, $2, "
        "case when silent.is_online then 'Nothing was heard of controller ' || silent.name || ' for ' || $1::bigint || "
        "' s' else 'Controller ' || silent.name || ' went offline' end, '', 4, 4, date_trunc('second', now()), "
        "date_trunc('second', now()), date_trunc('second', now()) from silent join site s on s.site_id = "
        "silent.site_id on conflict do nothing",
        after.count(), kSilentName, now.count());
    transaction.commit();
    return found.affected_rows();
  });
}

std::vector<Answer> Duties::due_actions() {
  return database_.use([](pqxx::connection& connection) {
    std::vector<Answer> due;
    pqxx::work transaction(connection);
    if (!take_duty(transaction, Duty::kActions)) return due;
    transaction.exec(
        "with due as (select action_no from action where state = 'waiting' and expires <= now() order by action_no "
        "for update skip locked) update action a set state = 'expired', ended = now() from due "
        "where a.action_no = due.action_no");
    const pqxx::result rows = transaction.exec_params(
        "with due as (select a.action_no from action a join controller c using (controller_id) "
        "where a.state = 'waiting' and c.is_online and c.silent_since is null and "
        "(a.sent is null or a.sent <= now() - make_interval(secs => $1::bigint) or a.sent > now()) "
        "order by a.sent nulls first, a.action_no limit $2 "
        "for update of a skip locked) "
        "update action a set sent = now() from due, controller c, site s, ledger l "
        "where a.action_no = due.action_no and c.controller_id = a.controller_id and s.site_id = c.site_id and "
        "l.ledger_no = a.ledger_no "
        "returning a.action_no, s.name, c.name, l.ledger_id, "
        "extract(epoch from least(a.expires, '9999-12-31 23:59:59+00'))::bigint, a.person, "
        "a.request, extract(epoch from a.asked)::bigint",
        Intake::kAskAgainAfter.count(), kMostActions);
    for (const pqxx::row& row : rows) {
      auto request = nlohmann::ordered_json::parse(row[6].as<std::string>(), nullptr, false);
      if (request.is_discarded()) {
        // Such as a number that is too great for anybody.
        transaction.exec_params(
            "update action set state = 'refused', why = 'The request cannot be read', ended = now() "
            "where action_no = $1",
            row[0].as<std::int64_t>());
        continue;
      }
      const nlohmann::ordered_json message{{"id", told_action_id(row[0].as<std::int64_t>(), row[7].as<std::int64_t>())},
                                           {"ledger_id", row[3].as<std::string>()},
                                           {"expires", engine::format_moment(row[4].as<std::int64_t>())},
                                           {"person", row[5].as<std::string>()},
                                           {"request", std::move(request)}};
      due.push_back({.sender = read_sender(row, 1), .kind = Kind::kAction, .payload = engine::json_text(message)});
    }
    transaction.commit();
    return due;
  });
}

std::vector<Answer> Duties::due_requests() {
  return database_.use([](pqxx::connection& connection) {
    std::vector<Answer> due;
    pqxx::work transaction(connection);
    if (!take_duty(transaction, Duty::kRequests)) return due;
    const pqxx::result rows = transaction.exec_params(
        std::string("select c.controller_id, s.name, c.name, c.asked_for, "
                    "(extract(epoch from now()) * 1000000)::bigint, ") +
            kProgressColumns +
            " from controller c join site s using (site_id) join ledger l on l.ledger_no = c.ledger_no "
            "where c.is_online and c.silent_since is null and l.put_back_before is null and (l.is_list_wanted or "
            "l.wanted_through > l.through) and "
            "(c.asked is null or c.asked_for = '' or c.asked <= now() - make_interval(secs => $1::bigint) or "
            "c.asked > now()) "
            "order by c.controller_id limit $2 for update of c skip locked",
        Intake::kAskAgainAfter.count(), kMostRequests);
    RowArrays asked{{"controller_id", "bigint"}, {"asked_for", "text"}};
    for (const pqxx::row& row : rows) {
      LedgerProgress progress = read_progress(row, 5);
      progress.asked_for = row[3].as<std::string>();
      auto request = ask_for_missing(read_sender(row, 1), false, row[4].as<std::int64_t>(), progress);
      if (!request) continue;
      due.push_back(std::move(*request));
      asked.number(row[0].as<std::int64_t>()).text(progress.asked_for);
    }
    if (!asked.empty()) {
      asked.run(transaction, "update controller c set asked = now(), asked_for = w.asked_for from " + asked.as_w() +
                                 " where c.controller_id = w.controller_id");
    }
    transaction.commit();
    return due;
  });
}

void Duties::report(const Collector& collector) {
  database_.use([&collector](pqxx::connection& connection) {
    pqxx::work transaction(connection);
    const auto as_signed = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
    transaction.exec_params(
        "insert into collector (name, begun, version, queues, messages, changes, repeats, early, dead_letters, "
        "last_problem, last_problem_at) values ($1, to_timestamp($2::bigint), $3, $4, $5, $6, $7, $8, $9, $10, "
        "to_timestamp(nullif($11::bigint, 0))) on conflict (name) do update set begun = excluded.begun, "
        "heard = now(), version = excluded.version, queues = excluded.queues, messages = excluded.messages, "
        "changes = excluded.changes, repeats = excluded.repeats, early = excluded.early, "
        "dead_letters = excluded.dead_letters, last_problem = excluded.last_problem, "
        "last_problem_at = excluded.last_problem_at",
        collector.name, collector.begun, collector.version, collector.queues, as_signed(collector.messages),
        as_signed(collector.changes), as_signed(collector.repeats), as_signed(collector.early),
        as_signed(collector.dead_letters), collector.last_problem, collector.last_problem_at);
    transaction.commit();
  });
}

}  // namespace polaiga::fleet
