// Ledgers that were put back to an earlier state: by messages, and by the duty that deletes what they lost.
#include <gtest/gtest.h>

#include <pqxx/transaction>

#include "database/duties.h"
#include "database/duty.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace put_back_test {

using engine::ChangeKind;
using namespace sent;

GapMessage put_back(ChangeNumber first, ChangeNumber last) {
  return {.ledger_id = kLedger, .first = first, .last = last, .previous = last};
}

class PutBackTest : public testing::Test {
 protected:
  TestDatabase test_;
  Database database_{test_.url("polaiga_collector"), "put_back_test"};
  Intake intake_{database_};
  Duties duties_{database_};

  std::string changes() { return test_.sql("select number, kind, alarm from change order by ledger_no, number"); }
  std::string alarms() {
    return test_.sql("select number, last_change, severity, worst, count, ended from alarm order by ledger_no, number");
  }
  std::string progress() {
    return test_.sql(
        "select left(ledger_id, 2), through, wanted_through, is_list_wanted, put_back_before, ended is not null from "
        "ledger order by ledger_no");
  }
  // What is acknowledged by that.
  std::string acks() {
    Taken taken;
    taken.answers = duties_.put_back();
    return answers(taken, Kind::kAck);
  }
  static std::string ack(ChangeNumber through) {
    return "rack-1 {\"ledger_id\":\"" + kLedger + "\",\"through\":" + std::to_string(through) + "}\n";
  }
};

// A ledger with changes 1 to 6 was put back to change 3.
TEST_F(PutBackTest, ALedger) {
  take(intake_, sender(), raised(1), raised(2), raised(3), cleared(4, 1), raised(5),
       change(6, ChangeKind::kRefreshed, 2));
  EXPECT_EQ(alarms(), "1|4|4|4|1|cleared\n2|6|4|4|2|\n3|3|4|4|1|\n5|5|4|4|1|\n");
  const Taken taken = take(intake_, sender(), put_back(4, 6));
  EXPECT_TRUE(taken.answers.empty()) << "it is acknowledged when all is deleted";
  EXPECT_EQ(progress(), "aa|6|0|t|4|f\n");
  EXPECT_EQ(test_.sql("select first, last, is_put_back from gap"), "4|6|t\n");
  // What comes meanwhile comes again.
  const Taken meanwhile = take(intake_, sender(), put_back(4, 6), raised(4), online(4));
  EXPECT_TRUE(meanwhile.answers.empty());
  EXPECT_EQ(meanwhile.changes, 0);
  EXPECT_EQ(test_.sql("select count(*) from gap"), "1\n");
  EXPECT_EQ(duties_.due_requests().size(), 0);

  EXPECT_EQ(acks(), ack(3));
  EXPECT_EQ(changes(), "1|raised|1\n2|raised|2\n3|raised|3\n");
  EXPECT_EQ(alarms(), "1|3|4|4|1|cleared\n2|3|4|4|2|\n3|3|4|4|1|\n");
  EXPECT_EQ(progress(), "aa|3|4|t||f\n");
  EXPECT_EQ(acks(), "");
  // The numbers are used anew, and the list tells what is active.
  const auto requests = duties_.due_requests();
  ASSERT_EQ(requests.size(), 1);
  const Taken then = take(intake_, sender(), raised(4),
                          ListMessage{.ledger_id = kLedger,
                                      .replay = id_of(requests[0].payload),
                                      .number = 4,
                                      .through = 4,
                                      .is_last = true,
                                      .alarms = {listed(1), listed(2), listed(3), listed(4)}},
                          cleared(5, 4));
  EXPECT_EQ(then.changes, 2);
  EXPECT_EQ(changes(), "1|raised|1\n2|raised|2\n3|raised|3\n4|raised|4\n5|cleared|4\n");
  EXPECT_EQ(alarms(), "1|4|4|4|1|\n2|4|4|4|1|\n3|4|4|4|1|\n4|5|4|4|1|cleared\n");
}

TEST_F(PutBackTest, AmidABatch) {
  take(intake_, sender(), raised(1), raised(2));
  const Taken taken = take(intake_, sender(), raised(3), change(4, ChangeKind::kRefreshed, 1), put_back(2, 4),
                           cleared(2, 1), raised(3));
  EXPECT_EQ(taken.changes, 2);
  EXPECT_EQ(taken.early, 2);
  EXPECT_EQ(acks(), ack(1));
  EXPECT_EQ(take(intake_, sender(), cleared(2, 1), raised(3)).changes, 2);
  EXPECT_EQ(changes(), "1|raised|1\n2|cleared|1\n3|raised|3\n");
  EXPECT_EQ(alarms(), "1|2|4|4|2|cleared\n3|3|4|4|1|\n");
  EXPECT_EQ(progress(), "aa|3|3|t||f\n");
}

// The batch that tells of it takes no time, however much is lost.
TEST_F(PutBackTest, MillionsOfChanges) {
  take(intake_, sender(), raised(1));
  take(intake_, sender("rack-2"), raised(1));
  const std::string of_rack = " where controller_id = (select controller_id from controller where name = 'rack-1')";
  test_.sql(
      "insert into change (ledger_no, number, at, kind, alarm, severity_before, severity_after, sequence, body) "
      "select ledger_no, n, now(), 'raised', n, 0, 4, n, '{}' from ledger, generate_series(2, 35000) n" +
      of_rack);
  test_.sql(
      "insert into alarm (controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, "
      "description, severity, worst, created, since, updated) select controller_id, site_id, ledger_no, n, n, "
      "case when n < 12000 then 34000 else n end, fault_dn, dn, code, name, description, severity, worst, created, "
      "since, updated from alarm, generate_series(2, 35000) n" +
      of_rack);
  test_.sql("update ledger set through = 35000" + of_rack);
  take(intake_, sender(), put_back(12001, 35000));
  EXPECT_EQ(test_.sql("select count(*) from change"), "35001\n");
  EXPECT_EQ(take(intake_, sender("rack-2"), raised(2)).changes, 1) << "others are taken meanwhile";
  std::string done;
  for (int calls = 0; done.empty() && calls < 100; ++calls) done = acks();
  EXPECT_EQ(done, ack(12000));
  EXPECT_EQ(test_.sql("select controller_id, count(*), max(number) from change join ledger using (ledger_no) group by 1"
                      " order by 1"),
            "1|12000|12000\n2|2|2\n");
  EXPECT_EQ(test_.sql("select count(*), max(number), max(last_change) from alarm" + of_rack), "12000|12000|12000\n");
  EXPECT_EQ(progress(), "aa|12000|0|t||f\naa|2|0|t||f\n");
}

TEST_F(PutBackTest, AControllerWhoseMessagesAreBeingTakenIsLeftForLater) {
  take(intake_, sender(), raised(1), raised(2), put_back(2, 2));
  pqxx::connection other(test_.url());
  {
    pqxx::work taking(other);
    taking.exec("select 1 from polaiga.controller for update");
    EXPECT_EQ(acks(), "");
  }
  {
    pqxx::work duty(other);
    ASSERT_TRUE(take_duty(duty, Duty::kPuttingBack));
    EXPECT_EQ(acks(), "");
  }
  EXPECT_EQ(acks(), ack(1));
}

TEST_F(PutBackTest, FartherThanAtFirst) {
  take(intake_, sender(), raised(1), raised(2), raised(3), raised(4), put_back(4, 4));
  take(intake_, sender(), put_back(2, 4));
  EXPECT_EQ(acks(), ack(1));
  EXPECT_EQ(changes(), "1|raised|1\n");
  EXPECT_EQ(test_.sql("select first, last from gap order by first"), "2|4\n4|4\n");
}

// There is nothing to delete, as when a collector was killed before it had told that all is deleted.
TEST_F(PutBackTest, NothingIsLost) {
  take(intake_, sender(), raised(1), raised(2));
  for (int i = 0; i < 2; ++i) {
    take(intake_, sender(), put_back(3, 9));
    EXPECT_EQ(acks(), ack(2));
  }
  EXPECT_EQ(changes(), "1|raised|1\n2|raised|2\n");
  EXPECT_EQ(progress(), "aa|2|0|t||f\n");
}

TEST_F(PutBackTest, AFormerLedger) {
  take(intake_, sender(), raised(1), raised(2), put_back(2, 2), raised(1, kOtherLedger));
  EXPECT_EQ(progress(), "aa|2|0|t|2|t\nbb|1|0|t||f\n");
  EXPECT_EQ(acks(), "") << "its controller has another one";
  EXPECT_EQ(changes(), "1|raised|1\n1|raised|1\n");
  EXPECT_EQ(progress(), "aa|1|0|t||t\nbb|1|0|t||f\n");
}

}  // namespace put_back_test
}  // namespace polaiga::fleet
