#include "database/intake.h"

#include <gtest/gtest.h>

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

}  // namespace intake_test
}  // namespace polaiga::fleet
