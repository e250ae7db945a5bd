#include "database/duties.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <pqxx/transaction>

#include "database/duty.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace duties_test {

using namespace sent;
using std::chrono::hours;
using std::chrono::seconds;

class DutiesTest : public testing::Test {
 protected:
  TestDatabase test_;
  Database database_{test_.url("polaiga_collector"), "duties_test"};
  Intake intake_{database_};
  Duties duties_{database_};

  // The id under which an action goes down: with the second of its asking.
  std::string told_id(int action_no) {
    const std::string asked = test_.sql("select extract(epoch from asked)::bigint from action where action_no = " +
                                        std::to_string(action_no));
    return "fleet-" + std::to_string(action_no) + "-" + asked.substr(0, asked.size() - 1);
  }

  std::string silent() {
    return test_.sql(
        "select a.dn, a.name, a.severity, a.description, a.ended from alarm a where ledger_no is null "
        "order by alarm_no");
  }
};

TEST_F(DutiesTest, AControllerThatWasNotHeardIsSilent) {
  take(intake_, sender(), online(0));
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0);
  test_.sql("update controller set heard = now() - interval '99 s'");
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0);
  test_.sql("update controller set heard = now() - interval '101 s'");
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 1);
  const std::string alarm =
      "site/lab/controller/rack-1|fltFleetControllerSilent|4|Nothing was heard of controller rack-1 "
      "for 100 s|";
  EXPECT_EQ(silent(), alarm + "\n");
  EXPECT_EQ(test_.sql("select code, number, ledger_no, cleared, fault_dn from alarm"),
            "0||||site/lab/controller/rack-1/fault-F0000\n");
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0) << "once";
  take(intake_, sender(), online(0));
  EXPECT_EQ(silent(), alarm + "cleared\n");
  EXPECT_EQ(test_.sql("select silent_since is null from controller"), "t\n");
  // And again.
  test_.sql("update controller set heard = now() - interval '101 s'");
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 1);
  EXPECT_EQ(silent(), alarm + "cleared\n" + alarm + "\n");
}

// The clock jumped an hour ahead after the caller had looked at it.
TEST_F(DutiesTest, SilenceIsJudgedByTheTimeThatIsGiven) {
  take(intake_, sender(), online(0));
  const auto now = duties_.now();
  test_.sql("update controller set heard = now() - interval '1 hour'");
  EXPECT_EQ(duties_.find_silent(seconds(100), now - std::chrono::hours(1)), 0);
  EXPECT_EQ(duties_.find_silent(seconds(100), now), 1);
}

TEST_F(DutiesTest, AControllerThatWentOfflineIsSilentAtOnce) {
  take(intake_, sender(), raised(1), lost());
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 1);
  const std::string alarm = "site/lab/controller/rack-1|fltFleetControllerSilent|4|Controller rack-1 went offline|";
  EXPECT_EQ(silent(), alarm + "\n");
  // What was on its way before does not say that it is there again.
  take(intake_, sender(), raised(2));
  EXPECT_EQ(silent(), alarm + "\n");
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0);
  take(intake_, sender(), online(2));
  EXPECT_EQ(silent(), alarm + "cleared\n");
  EXPECT_EQ(test_.sql("select number, ended from alarm where number is not null order by number"), "1|\n2|\n");
}

TEST_F(DutiesTest, AControllerOfWhichOnlyChangesCameIsThere) {
  take(intake_, sender(), raised(1));
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0);
}

TEST_F(DutiesTest, ADutyIsDoneByOneCollectorAtATime) {
  take(intake_, sender(), lost());
  pqxx::connection other(test_.url());
  {
    pqxx::work transaction(other);
    ASSERT_TRUE(take_duty(transaction, Duty::kSilence));
    EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 0);
  }
  EXPECT_EQ(duties_.find_silent(seconds(100), duties_.now()), 1);
}

// Adds an action for each controller that there is.
void add_actions(TestDatabase& test, const std::string& expires) {
  test.sql(
      "insert into action (controller_id, ledger_no, request, person, expires) select controller_id, ledger_no, "
      "'{\"do\":\"acknowledge\",\"alarms\":\"1\",\"comment\":\"it''s \\\"mine\\\"\"}', 'anna', " +
      expires + " from controller order by controller_id");
}

TEST_F(DutiesTest, ActionsGoDownUntilTheyAreAnswered) {
  take(intake_, sender(), raised(1), online(1));
  add_actions(test_, "'2099-01-02 03:04:05+00'");
  const std::vector<Answer> due = duties_.due_actions();
  ASSERT_EQ(due.size(), 1);
  EXPECT_EQ(due[0].sender, sender());
  EXPECT_EQ(due[0].kind, Kind::kAction);
  EXPECT_EQ(due[0].payload, "{\"id\":\"" + told_id(1) + "\",\"ledger_id\":\"" + kLedger +
                                "\",\"expires\":\"2099-01-02T03:04:05Z\",\"person\":\"anna\",\"request\":{\"do\":"
                                "\"acknowledge\",\"alarms\":\"1\",\"comment\":\"it's \\\"mine\\\"\"}}");
  EXPECT_EQ(duties_.due_actions().size(), 0) << "sent just now";
  test_.sql("update action set sent = now() - interval '31 s'");
  EXPECT_EQ(duties_.due_actions().size(), 1);
  take(intake_, sender(), ActedMessage{.id = told_id(1), .is_done = true});
  test_.sql("update action set sent = now() - interval '31 s'");
  EXPECT_EQ(duties_.due_actions().size(), 0);
  EXPECT_EQ(test_.sql("select state from action"), "done\n");
}

TEST_F(DutiesTest, ActionsExpire) {
  take(intake_, sender(), raised(1), online(1));
  add_actions(test_, "now() - interval '1 s'");
  EXPECT_EQ(duties_.due_actions().size(), 0);
  EXPECT_EQ(test_.sql("select state, ended is not null, sent is null from action"), "expired|t|t\n");
}

TEST_F(DutiesTest, ActionsWaitForAControllerThatIsOffline) {
  take(intake_, sender(), raised(1), lost());
  add_actions(test_, "now() + interval '1 h'");
  EXPECT_EQ(duties_.due_actions().size(), 0);
  take(intake_, sender(), online(1));
  EXPECT_EQ(duties_.due_actions().size(), 1);
}

TEST_F(DutiesTest, RequestsThatNobodyAnsweredAreMadeAgain) {
  take(intake_, sender(), online(0));
  take(intake_, sender("rack-2"), online(0), lost());
  EXPECT_EQ(duties_.due_requests().size(), 0) << "asked just now";
  test_.sql("update controller set asked = now() - interval '31 s'");
  const std::vector<Answer> due = duties_.due_requests();
  ASSERT_EQ(due.size(), 1) << "not of the one that is offline";
  EXPECT_EQ(due[0].kind, Kind::kReplay);
  EXPECT_EQ(due[0].payload,
            "{\"ledger_id\":\"" + kLedger + "\",\"alarms\":true,\"after\":0,\"id\":\"" + id_of(due[0].payload) + "\"}");
  EXPECT_EQ(test_.sql("select asked_for from controller where name = 'rack-1'"), id_of(due[0].payload) + "\n");
  EXPECT_EQ(duties_.due_requests().size(), 0);
}

TEST_F(DutiesTest, ReportsOfCollectors) {
  Duties::Collector collector{.name = "host-1",
                              .begun = kNoon,
                              .version = "1.0.0",
                              .queues = 3,
                              .messages = 10,
                              .changes = 7,
                              .repeats = 2,
                              .early = 1,
                              .dead_letters = 4};
  duties_.report(collector);
  EXPECT_EQ(test_.sql("select * from (select name, begun, version, queues, messages, changes, repeats, early, "
                      "dead_letters, last_problem, last_problem_at from collector) c"),
            "host-1|2025-03-12 12:00:00+00|1.0.0|3|10|7|2|1|4||\n");
  collector.messages = 11;
  collector.last_problem = "the broker is away";
  collector.last_problem_at = kNoon + 5;
  duties_.report(collector);
  EXPECT_EQ(test_.sql("select name, messages, last_problem, last_problem_at from collector"),
            "host-1|11|the broker is away|2025-03-12 12:00:05+00\n");
}

TEST_F(DutiesTest, PartitionsAreMadeAndDropped) {
  const auto partitions = [this] {
    return test_.sql(
        "select right(inhrelid::regclass::text, 8)::date - (now() at time zone 'UTC')::date from "
        "pg_inherits where inhparent = 'polaiga.change'::regclass order by 1");
  };
  EXPECT_EQ(partitions(), "0\n1\n2\n");
  test_.sql("drop table change_" + test_.sql("select to_char((now() at time zone 'UTC')::date + 2, 'YYYYMMDD')"));
  test_.sql("select make_change_partition((now() at time zone 'UTC')::date - n) from generate_series(1, 4) n");
  take(intake_, sender(), raised(1));
  EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 2);
  EXPECT_EQ(partitions(), "-2\n-1\n0\n1\n2\n");
  EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 0);
  EXPECT_EQ(test_.sql("select count(*) from change"), "1\n");
}

// Somebody reads changes for long: then nobody waits for us.
TEST_F(DutiesTest, PartitionsThatAreReadAreDroppedLater) {
  test_.sql("select make_change_partition((now() at time zone 'UTC')::date - 9)");
  pqxx::connection other(test_.url());
  {
    pqxx::work reading(other);
    reading.exec("select count(*) from polaiga.change");
    EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 0);
  }
  EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 1);
}

TEST_F(DutiesTest, AlarmsThatAreOverForLongGo) {
  take(intake_, sender(), raised(1), raised(2), raised(3), cleared(4, 1), cleared(5, 2));
  test_.sql(
      "update alarm set cleared = now() - case number when 1 then interval '25 h' else interval '23 h' end "
      "where ended <> ''");
  EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 1);
  EXPECT_EQ(test_.sql("select number from alarm order by number"), "2\n3\n");
  add_actions(test_, "now()");
  test_.sql("update action set state = 'done', ended = now() - interval '25 h'");
  test_.sql(
      "insert into gap (ledger_no, first, last, is_put_back, noted) select ledger_no, 1, 2, false, now() - "
      "interval '25 h' from ledger");
  duties_.report({.name = "gone"});
  test_.sql("update collector set heard = now() - interval '8 days'");
  EXPECT_EQ(duties_.tidy(hours(48), hours(24)).gone, 3);
}

// However many there are: more go than come.
TEST_F(DutiesTest, ManyAlarmsThatAreOverForLongGo) {
  take(intake_, sender(), raised(1));
  test_.sql(
      "insert into alarm (controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, "
      "description, cause, severity, worst, created, since, updated, cleared, ended) select controller_id, site_id, "
      "ledger_no, n, n, n, "
      "fault_dn, dn, code, name, description, cause, severity, worst, created, since, updated, now() - interval '25 "
      "h', 'cleared' "
      "from alarm, generate_series(2, 25001) n");
  const Duties::Tidied tidied = duties_.tidy(hours(48), hours(24));
  EXPECT_EQ(tidied.gone, 25000);
  EXPECT_FALSE(tidied.is_more);
  EXPECT_EQ(test_.sql("select number from alarm"), "1\n");
}

// Former ledgers go when nothing of them is left, and the one that a controller has stays.
TEST_F(DutiesTest, FormerLedgersGo) {
  take(intake_, sender(), raised(1));
  test_.sql(
      "insert into ledger (controller_id, ledger_id, ended) select controller_id, md5(n::text), now() - n * interval "
      "'1 h' "
      "from controller, generate_series(40, 299) n");
  test_.sql(
      "insert into gap (ledger_no, first, last, is_put_back) select ledger_no, 1, 2, false from ledger where ledger_id "
      "= "
      "md5('299')");
  const Duties::Tidied tidied = duties_.tidy(hours(48), hours(24));
  EXPECT_EQ(tidied.gone, 251);
  EXPECT_EQ(
      test_.sql(
          "select count(*) filter (where ended is null), count(*) filter (where ended > now() - interval '48 h'), "
          "count(*) filter (where ledger_id = md5('299')) from ledger"),
      "1|8|1\n");
}

// An operator's role may write any request and any end.
TEST_F(DutiesTest, ActionsThatNobodyCanRead) {
  take(intake_, sender(), raised(1), online(1));
  add_actions(test_, "'infinity'");
  add_actions(test_, "now() + interval '1 h'");
  test_.sql("update action set request = '{\"do\": 1e400}' where action_no = 2");
  const std::vector<Answer> due = duties_.due_actions();
  ASSERT_EQ(due.size(), 1);
  EXPECT_TRUE(due[0].payload.starts_with("{\"id\":\"" + told_id(1) + "\"")) << due[0].payload;
  EXPECT_EQ(test_.sql("select action_no, state, why from action order by 1"),
            "1|waiting|\n2|refused|The request cannot be read\n");
}

// Actions that nobody answers do not keep others from going down.
TEST_F(DutiesTest, NewActionsGoBeforeThoseThatNobodyAnswered) {
  take(intake_, sender(), raised(1), online(1));
  test_.sql(
      "insert into action (controller_id, ledger_no, request, person, expires, sent) select controller_id, ledger_no, "
      "'{}', 'anna', now() + interval '1 h', now() - interval '31 s' from ledger, generate_series(1, 600)");
  add_actions(test_, "now() + interval '1 h'");
  const std::vector<Answer> due = duties_.due_actions();
  ASSERT_EQ(due.size(), 500);
  EXPECT_TRUE(
      std::ranges::any_of(due, [](const Answer& one) { return one.payload.starts_with("{\"id\":\"fleet-601-"); }));
}

// After the database's clock was put back, what was sent in the future is sent again.
TEST_F(DutiesTest, TheClockWasPutBack) {
  take(intake_, sender(), raised(1), online(1));
  add_actions(test_, "now() + interval '2 h'");
  test_.sql("update action set sent = now() + interval '1 h'");
  test_.sql("update controller set asked = now() + interval '1 h'; update ledger set wanted_through = 9");
  EXPECT_EQ(duties_.due_actions().size(), 1);
  EXPECT_EQ(duties_.due_requests().size(), 1);
}

}  // namespace duties_test
}  // namespace polaiga::fleet
