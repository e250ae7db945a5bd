// What is too old goes, and partitions for the days that come are made.
#include <algorithm>
#include <chrono>
#include <pqxx/except>
#include <pqxx/result>
#include <pqxx/transaction>

#include "database/duties.h"
#include "database/duty.h"

namespace polaiga::fleet {
namespace {

constexpr int kMostRows = 10'000;           // of each table, that go at once
constexpr std::chrono::seconds kAtMost{5};  // for all that goes before others have their turn
constexpr int kMostLedgers = 200;           // the same; for each of them all controllers are looked at
constexpr const char* kCollectorsAreKept = "7 days";

void make_partitions(pqxx::connection& connection) {
  pqxx::work transaction(connection);
  transaction.exec("select make_change_partition(((now() at time zone 'UTC')::date) + n) from generate_series(0, 2) n");
  transaction.commit();
}

// Dropping a partition needs the whole table for a moment. When somebody reads it for long, all others would wait
// behind us; so it is left for the next time.
std::uint64_t drop_partitions(pqxx::connection& connection, std::chrono::hours keep) {
  try {
    pqxx::work transaction(connection);
    if (!take_duty(transaction, Duty::kTidying)) return 0;
    transaction.exec("set local lock_timeout = '1s'");
    const auto dropped = transaction
                             .exec_params1(
                                 "select drop_change_partitions(((now() - make_interval(hours => $1::integer)) "
                                 "at time zone 'UTC')::date)",
                                 static_cast<int>(keep.count()))[0]
                             .as<std::uint64_t>();
    transaction.commit();
    return dropped;
  } catch (const pqxx::sql_error& error) {
    if (error.sqlstate() == "55P03") return 0;
    throw;
  }
}

// Of alarms, what others lock is left for the next time. Answers how many rows went; `is_more` tells that a table may
// have more of them.
std::uint64_t delete_rows(pqxx::connection& connection, std::chrono::hours keep, std::chrono::hours keep_ledgers,
                          bool& is_more) {
  is_more = false;
  pqxx::work transaction(connection);
  if (!take_duty(transaction, Duty::kTidying)) return 0;
  std::uint64_t gone = 0;
  const int hours = static_cast<int>(keep.count());
  for (const char* const statement :
       {"delete from alarm where alarm_no in (select alarm_no from alarm where ended <> '' and "
        "cleared < now() - make_interval(hours => $1::integer) order by cleared limit $2 for update skip locked)",
        "delete from action where action_no in (select action_no from action where state <> 'waiting' and "
        "ended < now() - make_interval(hours => $1::integer) limit $2 for update skip locked)",
        "delete from gap where ctid = any(array(select ctid from gap where "
        "noted < now() - make_interval(hours => $1::integer) limit $2))",
        "delete from alarm_group where group_no in (select g.group_no from alarm_group g where "
        "g.last_created < now() - make_interval(hours => $1::integer) and "
        "not exists (select 1 from alarm a where a.group_no = g.group_no) limit $2)"}) {
    const std::uint64_t rows = transaction.exec_params(statement, hours, kMostRows).affected_rows();
    is_more = is_more || rows == kMostRows;
    gone += rows;
  }
  // A controller may have a new ledger as often as it likes.
  const std::uint64_t ledgers =
      transaction
          .exec_params(
              "delete from ledger where ledger_no in (select l.ledger_no from ledger l "
              "join controller c on c.controller_id = l.controller_id and c.ledger_no is distinct from l.ledger_no "
              "where l.ended < now() - make_interval(hours => $1::integer) and "
              "not exists (select 1 from alarm a where a.ledger_no = l.ledger_no) and "
              "not exists (select 1 from action a where a.ledger_no = l.ledger_no) and "
              "not exists (select 1 from gap g where g.ledger_no = l.ledger_no) limit $2 for update of l, c skip "
              "locked)",
              static_cast<int>(keep_ledgers.count()), kMostLedgers)
          .affected_rows();
  is_more = is_more || ledgers == kMostLedgers;
  gone += ledgers;
  gone +=
      transaction.exec(std::string("delete from collector where heard < now() - interval '") + kCollectorsAreKept + "'")
          .affected_rows();
  transaction.commit();
  return gone;
}

}  // namespace

Duties::Tidied Duties::tidy(std::chrono::hours keep_changes, std::chrono::hours keep_alarms) {
  return database_.use([keep_changes, keep_alarms](pqxx::connection& connection) {
    make_partitions(connection);
    Tidied tidied{.gone = drop_partitions(connection, keep_changes)};
    const auto until = std::chrono::steady_clock::now() + kAtMost;
    do {
      tidied.gone += delete_rows(connection, keep_alarms, std::max(keep_changes, keep_alarms), tidied.is_more);
    } while (tidied.is_more && std::chrono::steady_clock::now() < until);
    return tidied;
  });
}

}  // namespace polaiga::fleet
