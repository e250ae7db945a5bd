#include "database/intake.h"

#include <gtest/gtest.h>

#include <chrono>
#include <pqxx/transaction>
#include <thread>

#include "database/known_rows.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace intake_test {

using engine::ChangeKind;
using engine::Severity;
using namespace sent;

// A database with the schema and an intake for it.
class IntakeTest : public testing::Test {
 protected:
  TestDatabase test_;
  Database database_{test_.url("polaiga_collector"), "intake_test"};
  Intake intake_{database_};

  std::string changes() { return test_.sql("select number, kind, alarm from change order by ledger_no, number"); }
  std::string alarms() {
    return test_.sql("select number, last_change, severity, worst, count, ended from alarm order by ledger_no, number");
  }
  std::string progress() {
    return test_.sql(
        "select left(ledger_id, 2), through, wanted_through, is_list_wanted, list_after, ended is not null from ledger "
        "order by ledger_no");
  }
};

TEST_F(IntakeTest, NothingIsTakenOfNothing) {
  const Taken taken = intake_.take({});
  EXPECT_EQ(taken.changes, 0);
  EXPECT_EQ(test_.sql("select count(*) from controller"), "0\n");
}

TEST_F(IntakeTest, ARaise) {
  const Taken taken = take(intake_, sender(), raised(1));
  EXPECT_EQ(taken.changes, 1);
  EXPECT_EQ(taken.repeats, 0);
  EXPECT_EQ(taken.early, 0);
  EXPECT_EQ(answers(taken, Kind::kAck), "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"through\":1}\n");
  EXPECT_EQ(test_.sql("select s.name, c.name, is_online, silent_since is null from controller c join site s using "
                      "(site_id)"),
            "lab|rack-1|t|t\n");
  EXPECT_EQ(
      test_.sql("select number, at, kind, alarm, fault_dn, dn, severity_before, severity_after, sequence, person, "
                "comment, body from change"),
      "1|2025-03-12 12:00:01+00|raised|1|sys/fan-1/fault-F0395|sys/fan-1|0|4|1|||{\"number\":1}\n");
  EXPECT_EQ(
      test_.sql("select number, fault, last_change, fault_dn, dn, code, name, sensor, description, cause, oid from "
                "alarm"),
      "1|1|1|sys/fan-1/fault-F0395|sys/fan-1|395|fltFanInoperable|FAN1_TACH|Fan 1 is inoperable|"
      "equipment-inoperable|1.2.3\n");
  EXPECT_EQ(test_.sql("select severity, worst, created, since, updated, cleared, ended, count, reporters, "
                      "is_acknowledged, is_closed, is_shelved, was_unshelved, is_out_of_service, acknowledged_by, "
                      "raises, is_grouping_due from alarm"),
            "4|4|2025-03-12 12:00:01+00|2025-03-12 12:00:01+00|2025-03-12 12:00:01+00|||1|1|f|f|f|f|f||0|t\n");
  EXPECT_EQ(progress(), "aa|1|0|t|0|f\n");
}

TEST_F(IntakeTest, TheSameBatchTwice) {
  take(intake_, sender(), raised(1), raised(2));
  const std::string before = alarms();
  const Taken again = take(intake_, sender(), raised(1), raised(2));
  EXPECT_EQ(again.changes, 0);
  EXPECT_EQ(again.repeats, 2);
  // The acknowledgement may have been lost.
  EXPECT_EQ(answers(again, Kind::kAck), "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"through\":2}\n");
  EXPECT_EQ(alarms(), before);
  EXPECT_EQ(changes(), "1|raised|1\n2|raised|2\n");
}

// What an alarm is after all that may happen to it, change by change.
TEST_F(IntakeTest, EachKindOfChange) {
  ChangeMessage escalated = raised(3);
  escalated.alarm = 1;
  escalated.fault = 3;
  escalated.before = Severity::kMajor;
  escalated.after = Severity::kCritical;
  ChangeMessage by_anna = change(4, ChangeKind::kAcknowledged, 1);
  by_anna.fault = 3;
  by_anna.person = "anna";
  by_anna.comment = "I look at it";
  by_anna.before = by_anna.after = Severity::kCritical;
  take(intake_, sender(), raised(1), change(2, ChangeKind::kRefreshed, 1), escalated, by_anna);
  EXPECT_EQ(test_.sql("select fault, last_change, severity, worst, created, since, is_acknowledged, acknowledged_by, "
                      "ended from alarm"),
            "3|4|5|5|2025-03-12 12:00:01+00|2025-03-12 12:00:03+00|t|anna|\n");
  EXPECT_EQ(test_.sql("select person, comment, severity_before, severity_after from change where number = 4"),
            "anna|I look at it|5|5\n");

  const std::pair<ChangeKind, std::string> steps[] = {
      {ChangeKind::kClosed, "t|t|f|f|f"},        {ChangeKind::kShelved, "t|t|t|f|f"},
      {ChangeKind::kUnshelved, "t|t|f|t|f"},     {ChangeKind::kOutOfService, "t|t|f|t|t"},
      {ChangeKind::kBackInService, "t|t|f|t|f"}, {ChangeKind::kUnacknowledged, "f|f|f|t|f"},
      {ChangeKind::kCommented, "f|f|f|t|f"},
  };
  ChangeNumber number = 5;
  for (const auto& [kind, after] : steps) {
    ChangeMessage step = change(number++, kind, 1);
    step.fault = 3;
    take(intake_, sender(), step);
    EXPECT_EQ(test_.sql("select is_acknowledged, is_closed, is_shelved, was_unshelved, is_out_of_service from alarm"),
              after + "\n")
        << engine::change_word(kind);
  }
  ChangeMessage end = cleared(12, 1);
  end.fault = 3;
  take(intake_, sender(), end);
  EXPECT_EQ(test_.sql("select ended, cleared, last_change from alarm"), "cleared|2025-03-12 12:00:12+00|12\n");
}

TEST_F(IntakeTest, AChangeOfAnObjectTouchesNoAlarm) {
  ChangeMessage object = change(1, ChangeKind::kOutOfService, 0);
  object.fault = 0;
  object.fault_dn.clear();
  take(intake_, sender(), object);
  EXPECT_EQ(test_.sql("select number, alarm is null, fault_dn is null, dn from change"), "1|t|t|sys/fan-1\n");
  EXPECT_EQ(alarms(), "");
}

TEST_F(IntakeTest, AnEarlyChangeIsNotTakenButAskedFor) {
  take(intake_, sender(), raised(1));
  // The list is asked for first; it is answered.
  const std::string id = test_.sql("select asked_for from controller");
  take(intake_, sender(),
       ListMessage{.ledger_id = kLedger,
                   .replay = id.substr(0, id.size() - 1),
                   .number = 1,
                   .through = 1,
                   .is_last = true,
                   .alarms = {listed(1)}});
  const Taken early = take(intake_, sender(), raised(5));
  EXPECT_EQ(early.early, 1);
  EXPECT_EQ(early.changes, 0);
  EXPECT_EQ(progress(), "aa|1|5|f|0|f\n");
  const std::string request = answers(early, Kind::kReplay);
  EXPECT_EQ(request,
            "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"first\":2,\"last\":5,\"id\":\"" + id_of(request) + "\"}\n");
  EXPECT_EQ(answers(take(intake_, sender(), raised(6)), Kind::kReplay), "") << "one request at a time";
  // What was asked for comes, and its end.
  const Taken replayed = take(intake_, sender(), raised(2), raised(3), raised(4), raised(5), raised(6),
                              ReplayDone{.ledger_id = kLedger, .replay = id_of(request), .through = 6});
  EXPECT_EQ(replayed.changes, 5);
  EXPECT_EQ(progress(), "aa|6|6|f|0|f\n");
  EXPECT_EQ(test_.sql("select asked_for from controller"), "\n");
}

TEST_F(IntakeTest, ARequestIsMadeAgainAfterAWhile) {
  const Taken first = take(intake_, sender(), raised(1));
  EXPECT_NE(answers(first, Kind::kReplay), "");
  EXPECT_EQ(answers(take(intake_, sender(), raised(2)), Kind::kReplay), "");
  test_.sql("update controller set asked = now() - interval '29 s'");
  EXPECT_EQ(answers(take(intake_, sender(), raised(3)), Kind::kReplay), "");
  test_.sql("update controller set asked = now() - interval '31 s'");
  const std::string again = answers(take(intake_, sender(), raised(4)), Kind::kReplay);
  EXPECT_NE(again, "");
  EXPECT_NE(id_of(again), id_of(answers(first, Kind::kReplay)));
}

TEST_F(IntakeTest, NothingIsAskedOfAControllerThatIsOffline) {
  const Taken taken = take(intake_, sender(), lost(), raised(1));
  EXPECT_EQ(answers(taken, Kind::kReplay), "");
  EXPECT_NE(answers(taken, Kind::kAck), "");
}

TEST_F(IntakeTest, AStatusSaysWhatIsMissing) {
  const Taken taken = take(intake_, sender(), online(1500));
  EXPECT_EQ(progress(), "aa|0|1500|t|0|f\n");
  EXPECT_EQ(test_.sql("select is_online, is_engine_answering, version from controller"), "t|t|1.0.0\n");
  const std::string list = answers(taken, Kind::kReplay);
  EXPECT_EQ(list,
            "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"alarms\":true,\"after\":0,\"id\":\"" + id_of(list) + "\"}\n");
  EXPECT_EQ(answers(taken, Kind::kAck), "") << "a status is no change";
  const Taken done =
      take(intake_, sender(),
           ListMessage{.ledger_id = kLedger, .replay = id_of(list), .number = 1500, .through = 1500, .is_last = true});
  const std::string request = answers(done, Kind::kReplay);
  EXPECT_EQ(request,
            "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"first\":1,\"last\":1000,\"id\":\"" + id_of(request) + "\"}\n");
}

TEST_F(IntakeTest, OfflineAndOnlineAgain) {
  take(intake_, sender(), online(0), lost());
  EXPECT_EQ(test_.sql("select is_online from controller"), "f\n");
  take(intake_, sender(), online(0, kNoon + 1));
  EXPECT_EQ(test_.sql("select is_online from controller"), "t\n");
  take(intake_, sender(), StatusMessage{.is_online = false, .is_lost = false, .at = kNoon + 2, .version = "1.0.0"});
  EXPECT_EQ(test_.sql("select is_online from controller"), "f\n");
  // The clock of the controller was set back meanwhile.
  take(intake_, sender(), online(0, kNoon - 1000));
  EXPECT_EQ(test_.sql("select is_online from controller"), "t\n");
}

TEST_F(IntakeTest, AGapMovesOnAndWantsTheList) {
  take(intake_, sender(), raised(1));
  test_.sql("update ledger set is_list_wanted = false; update controller set asked_for = ''");
  const Taken taken = take(intake_, sender(), GapMessage{.ledger_id = kLedger, .first = 2, .last = 40, .previous = 1});
  EXPECT_EQ(progress(), "aa|40|0|t|0|f\n");
  EXPECT_EQ(test_.sql("select first, last, is_put_back from gap"), "2|40|f\n");
  EXPECT_EQ(answers(taken, Kind::kAck), "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"through\":40}\n");
  EXPECT_NE(answers(taken, Kind::kReplay), "");
  const Taken again = take(intake_, sender(), GapMessage{.ledger_id = kLedger, .first = 2, .last = 40, .previous = 1});
  EXPECT_EQ(again.repeats, 1);
  EXPECT_EQ(test_.sql("select count(*) from gap"), "1\n");
}

TEST_F(IntakeTest, ANewLedgerEndsTheFormerOnesAlarms) {
  take(intake_, sender(), online(2), raised(1), raised(2), cleared(3, 2));
  const Taken taken = take(intake_, sender(), raised(1, kOtherLedger));
  EXPECT_EQ(taken.changes, 1);
  EXPECT_EQ(test_.sql("select number, ended, cleared is not null from alarm order by alarm_no"),
            "1|ledger_gone|t\n2|cleared|t\n1||f\n");
  EXPECT_EQ(progress(), "aa|3|2|t|0|t\nbb|1|0|t|0|f\n");
  EXPECT_EQ(test_.sql("select left(l.ledger_id, 2) from controller c join ledger l using (ledger_no)"), "bb\n");
  // Messages of the former one, which come late, are repeats.
  const Taken late = take(intake_, sender(), raised(4), cleared(5, 1), online(9, kNoon));
  EXPECT_EQ(late.repeats, 2);
  EXPECT_EQ(late.changes, 0);
  EXPECT_EQ(answers(late, Kind::kAck), "");
  EXPECT_EQ(progress(), "aa|3|2|t|0|t\nbb|1|0|t|0|f\n");
}

TEST_F(IntakeTest, ANewLedgerAmidABatch) {
  take(intake_, sender(), raised(1), raised(2), online(0, kNoon + 100, kOtherLedger), raised(1, kOtherLedger),
       raised(3));
  EXPECT_EQ(
      test_.sql("select left(l.ledger_id, 2), a.number, a.ended from alarm a join ledger l using (ledger_no) order "
                "by 1, 2"),
      "aa|1|ledger_gone\naa|2|ledger_gone\nbb|1|\n");
  EXPECT_EQ(changes(), "1|raised|1\n2|raised|2\n1|raised|1\n");
}

TEST_F(IntakeTest, AFormerLedgerComesBackWithALaterStatusAlone) {
  take(intake_, sender(), online(2, kNoon), raised(1), raised(2));
  take(intake_, sender(), online(0, kNoon + 60, kOtherLedger));
  take(intake_, sender(), online(2, kNoon + 60));
  EXPECT_EQ(progress(), "aa|2|2|t|0|t\nbb|0|0|t|0|f\n") << "not later";
  const Taken taken = take(intake_, sender(), online(2, kNoon + 61));
  EXPECT_EQ(progress(), "aa|2|2|t|0|f\nbb|0|0|t|0|t\n");
  const std::string id = id_of(answers(taken, Kind::kReplay));
  take(intake_, sender(),
       ListMessage{
           .ledger_id = kLedger, .replay = id, .number = 2, .through = 2, .is_last = true, .alarms = {listed(2)}},
       raised(3));
  EXPECT_EQ(test_.sql("select number, ended from alarm order by number"), "1|ledger_gone\n2|\n3|\n");
}

TEST_F(IntakeTest, AListInPartsOfWhichOneIsLost) {
  take(intake_, sender(), raised(1), raised(2), raised(3), raised(4));
  std::string id = test_.sql("select asked_for from controller");
  id.pop_back();
  const auto part = [](const std::string& replay, ChangeNumber after, ChangeNumber through, bool is_last,
                       std::vector<ListedAlarm> alarms) {
    return ListMessage{.ledger_id = kLedger,
                       .replay = replay,
                       .number = 4,
                       .after = after,
                       .through = through,
                       .is_last = is_last,
                       .alarms = std::move(alarms)};
  };
  take(intake_, sender(), part(id, 0, 2, false, {listed(1)}));
  EXPECT_EQ(alarms(), "1|4|4|4|1|\n2|4|4|4|1|missing\n3|3|4|4|1|\n4|4|4|4|1|\n");
  EXPECT_EQ(progress(), "aa|4|0|t|2|f\n");
  // The second one is lost, so the third does not fit.
  take(intake_, sender(), part(id, 3, 4, true, {}));
  EXPECT_EQ(progress(), "aa|4|0|t|2|f\n");
  EXPECT_EQ(test_.sql("select count(*) from alarm where ended = ''"), "3\n");
  // It is asked for again from there on.
  test_.sql("update controller set asked = now() - interval '31 s'");
  const std::string request = answers(take(intake_, sender(), online(4)), Kind::kReplay);
  EXPECT_EQ(request, "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"alarms\":true,\"after\":2,\"id\":\"" +
                         id_of(request) + "\"}\n");
  take(intake_, sender(), part(id_of(request), 2, 4, true, {listed(4)}));
  EXPECT_EQ(alarms(), "1|4|4|4|1|\n2|4|4|4|1|missing\n3|4|4|4|1|missing\n4|4|4|4|1|\n");
  EXPECT_EQ(progress(), "aa|4|4|f|0|f\n");
}

TEST_F(IntakeTest, AListThatNobodyAskedForIsNotTaken) {
  take(intake_, sender(), raised(1));
  take(intake_, sender(),
       ListMessage{.ledger_id = kLedger, .replay = "mine", .number = 9, .through = 9, .is_last = true});
  EXPECT_EQ(alarms(), "1|1|4|4|1|\n");
}

// Nobody makes a collector read all alarms again and again.
TEST_F(IntakeTest, PartsThatNobodyAskedForAreNotRead) {
  take(intake_, sender(), raised(1), raised(2), raised(3));
  const auto alarms_read = [this](const std::string& replay, ChangeNumber after, ChangeNumber through) {
    const std::vector<Received> messages(
        50, {.sender = sender(),
             .message =
                 ListMessage{.ledger_id = kLedger, .replay = replay, .number = 9, .after = after, .through = through}});
    pqxx::connection connection(test_.url("polaiga_collector"));
    connection.set_variable("search_path", "polaiga");
    pqxx::work transaction(connection);
    KnownControllers known;
    EXPECT_TRUE(lock_controllers(transaction, messages, known));
    read_known(transaction, messages, known);
    return known.controllers.at(sender()).ledgers.at(kLedger).alarms.size();
  };
  test_.sql("update ledger set is_list_wanted = true, list_after = 1; update controller set asked_for = 'list-7'");
  EXPECT_EQ(alarms_read("mine", 1, 99), 0);
  EXPECT_EQ(alarms_read("", 1, 99), 0);
  EXPECT_EQ(alarms_read("list-7", 0, 99), 0) << "that part has come";
  EXPECT_EQ(alarms_read("list-7", 1, 2), 1);
  EXPECT_EQ(alarms_read("list-7", 1, 99), 2);
}

// A raise of alarm 1 as a real controller tells it.
std::string told_by(const std::string& controller, const std::string& description) {
  return "{\"ledger_id\":\"" + kLedger +
         "\",\"number\":1,\"change\":\"raised\",\"at\":\"2025-03-12T12:00:01Z\",\"seq\":1,\"quiet\":false,"
         "\"folded\":false,\"alarm\":\"" +
         kLedger +
         "-1\",\"fault\":1,\"fault_dn\":\"sys/fan-1/fault-F0395\",\"before\":\"cleared\",\"after\":\"major\","
         "\"reporters\":1,\"shown_seq\":1,\"event\":{\"id\":\"x\",\"sensor\":\"A\"},\"record\":{\"fault_dn\":"
         "\"sys/fan-1/fault-F0395\",\"dn\":\"sys/fan-1\",\"code\":395,\"name\":\"fltFanInoperable\",\"descr\":\"" +
         description +
         "\",\"cause\":\"equipment-inoperable\",\"oid\":\"1.2.3\"},\"previous\":0,\"site\":\"lab\",\"controller\":\"" +
         controller + "\",\"version\":\"1.0.0\"}";
}

TEST_F(IntakeTest, AFaultShowsTheRecordOfAnotherReporter) {
  FaultWords first = words();
  first.description = "Fan 1 by sensor A";
  ChangeMessage second = change(2, ChangeKind::kRefreshed, 1);
  second.record = words();
  second.record->description = "Fan 1 by sensor B";
  // As a real controller tells the first one, since it is read again from the table.
  ChangeMessage one = raised(1, kLedger, first);
  one.body = told_by("rack-1", "Fan 1 by sensor A");
  take(intake_, sender(), one, second);
  EXPECT_EQ(test_.sql("select description from alarm"), "Fan 1 by sensor B\n");
  ChangeMessage partly = change(3, ChangeKind::kPartlyCleared, 1);
  partly.shown_sequence = 1;
  take(intake_, sender(), partly);
  EXPECT_EQ(test_.sql("select description from alarm"), "Fan 1 by sensor A\n");
  // One that came in the same batch.
  ChangeMessage third = change(4, ChangeKind::kRefreshed, 1);
  third.record = words();
  third.record->description = "Fan 1 by sensor C";
  ChangeMessage fourth = change(5, ChangeKind::kRefreshed, 1);
  fourth.record = words();
  ChangeMessage partly_again = change(6, ChangeKind::kPartlyCleared, 1);
  partly_again.shown_sequence = 4;
  take(intake_, sender(), third, fourth, partly_again);
  EXPECT_EQ(test_.sql("select description from alarm"), "Fan 1 by sensor C\n");
  // One that nobody has leaves the text as it is.
  ChangeMessage unknown = change(7, ChangeKind::kPartlyCleared, 1);
  unknown.shown_sequence = 99;
  take(intake_, sender(), unknown);
  EXPECT_EQ(test_.sql("select description from alarm"), "Fan 1 by sensor C\n");
}

// Nobody makes a collector read all changes of an alarm again and again.
TEST_F(IntakeTest, ARecordOfLongAgoIsNotLookedFor) {
  const auto description_after = [this](const std::string& controller, int changes_between) {
    ChangeMessage raise = raised(1);
    raise.body = told_by(controller, "by sensor A");
    take(intake_, sender(controller), raise);
    const std::string of_controller =
        "ledger_no = (select ledger_no from controller where name = '" + controller + "')";
    test_.sql("update alarm set description = 'by sensor B' where " + of_controller);
    test_.sql(
        "insert into change (ledger_no, number, at, kind, alarm, severity_before, severity_after, sequence, body) "
        "select ledger_no, n, at, 'refreshed', alarm, 4, 4, n, body from change, generate_series(2, " +
        std::to_string(changes_between + 1) + ") n where number = 1 and " + of_controller);
    const ChangeNumber number = changes_between + 2;
    ChangeMessage partly = change(number, ChangeKind::kPartlyCleared, 1);
    partly.previous = 1;
    partly.shown_sequence = 1;
    EXPECT_EQ(take(intake_, sender(controller), partly).changes, 1);
    return test_.sql("select description from alarm where " + of_controller);
  };
  EXPECT_EQ(description_after("rack-1", 999), "by sensor A\n");
  EXPECT_EQ(description_after("rack-2", 1000), "by sensor B\n");
}

TEST_F(IntakeTest, TextsAreNeverAPartOfAStatement) {
  const std::string hostile = "'); drop table alarm; -- \" \\ $1 {a,\"b\"} NULL \n\t ü \xF0\x9F\x94\xA5";
  FaultWords record = words();
  record.description = record.sensor = record.cause = hostile;
  ChangeMessage message = raised(1, kLedger, record);
  message.person = message.comment = message.body = hostile;
  StatusMessage status = online(1);
  status.version = hostile;
  take(intake_, sender(), message, status, ActedMessage{.id = "fleet-1'; drop table action", .why = hostile});
  EXPECT_EQ(test_.sql("select description from alarm"), hostile + "\n");
  EXPECT_EQ(test_.sql("select person = comment and comment = body, body from change"), "t|" + hostile + "\n");
  EXPECT_EQ(test_.sql("select version from controller"), hostile + "\n");
}

TEST_F(IntakeTest, NumbersOf32And63Bits) {
  FaultWords record = words();
  record.code = 4294967295U;
  ChangeMessage message = raised(9223372036854775807, kLedger, record);
  message.previous = 0;
  message.at = engine::kLastMoment;
  message.reporters = 4294967295U;
  take(intake_, sender(), message);
  EXPECT_EQ(test_.sql("select number, code, reporters, created from alarm"),
            "9223372036854775807|4294967295|4294967295|9999-12-31 23:59:59+00\n");
}

TEST_F(IntakeTest, ManyControllersInOneBatch) {
  std::vector<Received> messages;
  for (int i = 0; i < 300; ++i) {
    const Sender from = sender("rack-" + std::to_string(i), "site-" + std::to_string(i % 7));
    messages.push_back({from, raised(1)});
    messages.push_back({from, online(1)});
  }
  const Taken taken = intake_.take(messages);
  EXPECT_EQ(taken.changes, 300);
  EXPECT_EQ(test_.sql("select count(*), count(distinct site_id), count(ledger_no) from controller"), "300|7|300\n");
  EXPECT_EQ(test_.sql("select count(*) from alarm"), "300\n");
  EXPECT_EQ(intake_.take(messages).repeats, 300);
}

TEST_F(IntakeTest, AnswersToActions) {
  take(intake_, sender(), raised(1));
  take(intake_, sender("rack-2"), raised(1));
  test_.sql(
      "insert into action (controller_id, ledger_no, request, person, expires, state) select c.controller_id, "
      "c.ledger_no, '{}', 'anna', now(), n.state from controller c, (values ('waiting'), ('waiting'), ('expired'), "
      "('done')) n(state) where c.name = 'rack-1'");
  test_.sql("update action set asked = to_timestamp(50)");
  // Answers to what was asked before the database was made anew.
  take(intake_, sender(), ActedMessage{.id = "fleet-1-49", .is_done = true},
       ActedMessage{.id = "fleet-1", .is_done = true}, ActedMessage{.id = "fleet-1-", .is_done = true},
       ActedMessage{.id = "fleet-x-50", .is_done = true});
  EXPECT_EQ(test_.sql("select state from action where action_no = 1"), "waiting\n");
  take(intake_, sender(), ActedMessage{.id = "fleet-1-50", .is_done = true},
       ActedMessage{.id = "fleet-2-50", .why = "the alarm is over"}, ActedMessage{.id = "fleet-3-50", .is_done = true},
       ActedMessage{.id = "fleet-4-50", .why = "no"}, ActedMessage{.id = "other-1-50"});
  EXPECT_EQ(test_.sql("select action_no, state, why, ended is not null from action order by action_no"),
            "1|done||t\n2|refused|the alarm is over|t\n3|done||t\n4|done||f\n");
  // Another controller does not answer for this one.
  test_.sql("update action set state = 'waiting', why = ''");
  take(intake_, sender("rack-2"), ActedMessage{.id = "fleet-1-50", .is_done = true});
  EXPECT_EQ(test_.sql("select distinct state from action"), "waiting\n");
}

TEST_F(IntakeTest, ADayWithoutItsPartitionGetsIt) {
  test_.sql(
      "do $$ declare one text; begin for one in select inhrelid::regclass::text from pg_inherits where inhparent = "
      "'polaiga.change'::regclass loop execute 'drop table ' || one; end loop; end $$");
  EXPECT_EQ(take(intake_, sender(), raised(1)).changes, 1);
  EXPECT_EQ(changes(), "1|raised|1\n");
}

TEST_F(IntakeTest, WhenItThrowsNothingIsTaken) {
  ChangeMessage wrong = raised(2);
  wrong.body = std::string("\xC3(", 2);  // not UTF-8; the parser lets none through
  EXPECT_THROW(take(intake_, sender(), raised(1), wrong), DatabaseRefuses);
  EXPECT_EQ(test_.sql("select count(*) from controller"), "0\n");
  EXPECT_EQ(changes(), "");
  EXPECT_EQ(take(intake_, sender(), raised(1)).changes, 1) << "the connection goes on";
}

// Somebody who locks rows in another order, as no program of ours does.
TEST_F(IntakeTest, AfterADeadlockItIsTriedAgain) {
  take(intake_, sender("rack-1"), raised(1));
  take(intake_, sender("rack-2"), raised(1));
  test_.sql("alter role polaiga_collector set deadlock_timeout = '200ms'");
  pqxx::connection connection(test_.url());
  pqxx::work other(connection);
  other.exec("set local deadlock_timeout = '60s'");
  other.exec("select 1 from polaiga.controller where name = 'rack-2' for update");
  std::uint64_t changes = 0;
  std::thread taking([this, &changes] {
    Database database(test_.url("polaiga_collector"), "deadlocked");
    Intake intake(database);
    const Received messages[] = {{sender("rack-1"), raised(2)}, {sender("rack-2"), raised(2)}};
    EXPECT_NO_THROW(changes = intake.take(messages).changes);
  });
  while (test_.sql("select 1 from pg_stat_activity where application_name = 'deadlocked' and wait_event_type = 'Lock'")
             .empty()) {
    std::this_thread::yield();
  }
  other.exec("select 1 from polaiga.controller where name = 'rack-1' for update");
  other.commit();
  taking.join();
  EXPECT_EQ(changes, 2);
  // The server counts it when the connection ends.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::string deadlocks;
  while ((deadlocks.empty() || deadlocks == "0\n") && std::chrono::steady_clock::now() < end) {
    deadlocks = test_.sql("select pg_stat_get_db_deadlocks(oid) from pg_database where datname = current_database()");
  }
  EXPECT_NE(deadlocks, "0\n");
  test_.sql("alter role polaiga_collector reset deadlock_timeout");
}

// As its owner does when a controller is gone for good.
TEST_F(IntakeTest, AControllerThatIsDeletedBeginsAnew) {
  take(intake_, sender("rack-1"), raised(1), raised(2));
  take(intake_, sender("rack-2"), raised(1));
  test_.sql(
      "delete from controller c using site s where s.site_id = c.site_id and s.name = 'lab' and c.name = 'rack-1'");
  EXPECT_EQ(alarms(), "1|1|4|4|1|\n");
  EXPECT_EQ(test_.sql("select count(*) from ledger"), "1\n");
  EXPECT_EQ(take(intake_, sender("rack-1"), raised(3)).early, 1);
  EXPECT_EQ(test_.sql("select count(*) from controller"), "2\n");
}

}  // namespace intake_test
}  // namespace polaiga::fleet
