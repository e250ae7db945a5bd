#include <gtest/gtest.h>

#include "support/spoiled.h"

namespace polaiga::fleet {
namespace list_message_test {

using test::complaint;
using test::expect_complaints;
using test::kLedger;
using test::parse_as;
using test::with;

const std::string kList =
    R"({"ledger_id":"0123456789abcdef0123456789abcdef","replay":"list-1","number":40,"after":3,"through":17,)"
    R"("last":false,"alarms":[{"alarm":"0123456789abcdef0123456789abcdef-5","fault":8,)"
    R"("fault_dn":"sys/board/fault-F0409","dn":"sys/board","code":409,"name":"fltHot","severity":"major",)"
    R"("created":"2025-03-12T09:03:00Z","since":"2025-03-12T09:06:00Z","updated":"2025-03-12T09:07:00Z","count":2,)"
    R"("reporters":2,"operator_state":"acknowledged","out_of_service":true,"sensor":"RISER2_INLET_TMP",)"
    R"("description":"too hot","cause":"thermal-problem","oid":"1.3.6","event_type":null,"probable_cause":null,)"
    R"("probable_cause_number":null,"raises":12},{"alarm":"0123456789abcdef0123456789abcdef-17","fault":17,)"
    R"("fault_dn":"sys/psu-1/fault-F0378","dn":"sys/psu-1","code":378,"name":"","severity":"indeterminate",)"
    R"("created":"2025-03-12T09:03:00Z","since":"2025-03-12T09:03:00Z","updated":"2025-03-12T09:03:00Z","count":1,)"
    R"("reporters":1,"operator_state":"none","out_of_service":false,"sensor":"","description":"","cause":"",)"
    R"("oid":""}],"site":"lab","controller":"rack-1","version":"1.0.0"})";

TEST(ListMessages, APart) {
  const auto list = parse_as<ListMessage>(Kind::kReplayed, kList);
  EXPECT_EQ(list.ledger_id, kLedger);
  EXPECT_EQ(list.replay, "list-1");
  EXPECT_EQ(list.number, 40);
  EXPECT_EQ(list.after, 3);
  EXPECT_EQ(list.through, 17);
  EXPECT_FALSE(list.is_last);
  ASSERT_EQ(list.alarms.size(), 2U);
  const ListedAlarm& first = list.alarms[0];
  EXPECT_EQ(first.number, 5);
  EXPECT_EQ(first.fault, 8);
  EXPECT_EQ(first.words, (FaultWords{.fault_dn = "sys/board/fault-F0409",
                                     .dn = "sys/board",
                                     .code = 409,
                                     .name = "fltHot",
                                     .sensor = "RISER2_INLET_TMP",
                                     .description = "too hot",
                                     .cause = "thermal-problem",
                                     .oid = "1.3.6"}));
  EXPECT_EQ(first.severity, engine::Severity::kMajor);
  EXPECT_EQ(first.created, 1741770180);
  EXPECT_EQ(first.since, 1741770360);
  EXPECT_EQ(first.updated, 1741770420);
  EXPECT_EQ(first.count, 2U);
  EXPECT_EQ(first.reporters, 2U);
  EXPECT_EQ(first.operator_state, engine::OperatorState::kAcknowledged);
  EXPECT_TRUE(first.is_out_of_service);
  EXPECT_EQ(first.raises, 12U);
  EXPECT_EQ(list.alarms[1].number, 17);
  EXPECT_EQ(list.alarms[1].raises, 0U);
  EXPECT_FALSE(list.alarms[1].is_out_of_service);
}

TEST(ListMessages, AListOfNone) {
  const std::string payload = R"({"ledger_id":"0123456789abcdef0123456789abcdef","replay":"list-1","number":0,)"
                              R"("after":0,"through":0,"last":true,"alarms":[],"site":"lab","controller":"rack-1",)"
                              R"("version":"1.0.0"})";
  const auto list = parse_as<ListMessage>(Kind::kReplayed, payload);
  EXPECT_TRUE(list.is_last);
  EXPECT_TRUE(list.alarms.empty());
  EXPECT_EQ(complaint(Kind::kReplayed, with(payload, "/last", "false")),
            "The member 'through' must be greater than 'after'")
      << "it would be asked for again for ever";
}

TEST(ListMessages, WrongMembers) {
  const char* const order =
      "The member 'alarms' must be in the order of their numbers, which are greater than 'after' and at most 'through'";
  const test::Spoiled cases[] = {
      {"/ledger_id", "", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"/replay", "", "The member 'replay' must be a text of at most 64 bytes, in UTF-8 and without NUL"},
      {"/replay", R"("")", "The member 'replay' must be a text that is not empty"},
      {"/number", "-1", "The member 'number' must be a whole number, 0 or more"},
      {"/number", "0", "The member 'number' must be 1 or more when there are alarms"},
      {"/after", "", "The member 'after' must be a whole number, 0 or more"},
      {"/after", "5", order},
      {"/through", "2", "The member 'through' must be a whole number, 3 or more"},
      {"/through", "16", order},
      {"/last", "1", "The member 'last' must be true or false"},
      {"/alarms", "7", "The member 'alarms' must be a list"},
      {"/alarms/0", "7", "The member 'alarms' must be a list of objects"},
      {"/alarms/0/alarm", R"("5")",
       "The member 'alarms.alarm' must be the id of an alarm of the message's ledger, as LEDGER-17"},
      {"/alarms/0/alarm", R"("0123456789abcdef0123456789abcdef-17")", order},
      {"/alarms/0/fault", "0", "The member 'alarms.fault' must be a whole number, 1 or more"},
      {"/alarms/0/fault_dn", R"("")", "The member 'alarms.fault_dn' must be a text that is not empty"},
      {"/alarms/0/dn", "", "The member 'alarms.dn' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/code", "4294967296", "The member 'alarms.code' must be a whole number from 0 to 4294967295"},
      {"/alarms/0/name", "1",
       "The member 'alarms.name' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/severity", R"("cleared")", "The member 'alarms.severity' must be that of an active alarm"},
      {"/alarms/0/created", "", "The member 'alarms.created' must be a time as 2025-01-31T23:59:59Z"},
      {"/alarms/0/since", "1", "The member 'alarms.since' must be a time as 2025-01-31T23:59:59Z"},
      {"/alarms/0/updated", R"("now")", "The member 'alarms.updated' must be a time as 2025-01-31T23:59:59Z"},
      {"/alarms/0/count", "-1", "The member 'alarms.count' must be a whole number, 0 or more"},
      {"/alarms/0/reporters", "-1", "The member 'alarms.reporters' must be a whole number from 0 to 4294967295"},
      {"/alarms/0/operator_state", R"("asleep")",
       "The member 'alarms.operator_state' must be none, acknowledged, closed, shelved or unshelved"},
      {"/alarms/0/out_of_service", R"("no")", "The member 'alarms.out_of_service' must be true or false"},
      {"/alarms/0/sensor", "",
       "The member 'alarms.sensor' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/description", R"("\u0000")",
       "The member 'alarms.description' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/cause", "",
       "The member 'alarms.cause' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/oid", "7", "The member 'alarms.oid' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/alarms/0/raises", R"("many")", "The member 'alarms.raises' must be a whole number, 0 or more"},
  };
  expect_complaints(Kind::kReplayed, kList, cases);
}

}  // namespace list_message_test
}  // namespace polaiga::fleet
