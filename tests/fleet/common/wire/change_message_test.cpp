#include <gtest/gtest.h>

#include "support/spoiled.h"

namespace polaiga::fleet {
namespace change_message_test {

using engine::ChangeKind;
using engine::Severity;
using test::complaint;
using test::expect_complaints;
using test::kLedger;
using test::kRack;
using test::parse_as;
using test::with;

// As an engine and polaiga-mqtt made it.
const std::string kRaised =
    R"json({"ledger_id":"0123456789abcdef0123456789abcdef","number":8,"change":"raised","at":"2025-03-12T09:06:00Z",)json"
    R"json("seq":7,"quiet":false,"folded":false,"alarm":"0123456789abcdef0123456789abcdef-8","fault":8,)json"
    R"json("fault_dn":"sys/rack-unit-1/board/fault-F0409","before":"cleared","after":"major","shown_seq":7,)json"
    R"json("reporters":1,"event":{"seq":7,"received":"2025-03-12T09:06:01Z","at":"2025-03-12T09:06:00Z",)json"
    R"json("entity":"sys_board","sensor":"RISER1_INLET_TMP","instance":1,"group":0,"entity_id":7,"entity_subtype":0,)json"
    R"json("reading_type":1,"offset":118,"state":5,"time":"2025-03-12T09:06:00Z"},"record":{"event":)json"
    R"json({"sensor":"RISER1_INLET_TMP","instance":4,"group":0,"entity_id":7,"entity_subtype":1,"reading_type":1,)json"
    R"json("offset":118,"state":5},"fault_key":117441537,"dn":"sys/rack-unit-1/board",)json"
    R"json("fault_dn":"sys/rack-unit-1/board/fault-F0409","rn":"rack-unit-1/board","code_text":"F0409",)json"
    R"json("oid":"1.3.6.1.4.1.32473.5.100.1.9.6.1","oid_len":13,"descr":"RISER1_INLET_TMP: Riser 1 inlet temperature )json"
    R"json(has crossed upper critical threshold: Check device cooling","disposition":4,"cause_id":215,)json"
    R"json("clear_cause_id":214,"cause":"thermal-problem","clear_cause":"equipment-inoperable","code":409,)json"
    R"json("clear_code":410,"name":"fltEquipmentChassisThermalThresholdCritical","created":"2025-03-12T09:06:00",)json"
    R"json("created_time":1741770360,"severity":"major","event_type":"environmentalAlarm",)json"
    R"json("probable_cause":"temperatureUnacceptable","probable_cause_number":548},"previous":7,"site":"lab",)json"
    R"json("controller":"rack-1","version":"1.0.0"})json";
const std::string kOfObject =
    R"({"ledger_id":"0123456789abcdef0123456789abcdef","number":14,"change":"out_of_service",)"
    R"("at":"2025-03-12T10:00:00Z","seq":10,"quiet":false,"folded":false,"dn":"sys","action":{"action":"maintain",)"
    R"("seq":10,"person":"root","comment":"swap","dn":"sys","until":"2025-03-12T10:10:00Z"},"previous":13,)"
    R"("site":"lab","controller":"rack-1","version":"1.0.0"})";
const std::string kSettled =
    R"({"ledger_id":"0123456789abcdef0123456789abcdef","number":30,"change":"settled","at":"2025-03-12T10:00:00Z",)"
    R"("seq":21,"quiet":false,"folded":false,"alarm":"0123456789abcdef0123456789abcdef-28",)"
    R"("fault_dn":"sys/psu-1/fault-F0378","before":"major","after":"cleared","reporters":0,"raises":12,)"
    R"("in_place_of":"0123456789abcdef0123456789abcdef-11","action":{"action":"settle","seq":21,)"
    R"("dn":"sys/psu-1/fault-F0378"},"previous":14,"site":"lab","controller":"rack-1","version":"1.0.0"})";

ChangeMessage change(const std::string& payload) { return parse_as<ChangeMessage>(Kind::kChange, payload); }

TEST(ChangeMessages, Raised) {
  const ChangeMessage got = change(kRaised);
  EXPECT_EQ(got.ledger_id, kLedger);
  EXPECT_EQ(got.number, 8);
  EXPECT_EQ(got.previous, 7);
  EXPECT_EQ(got.kind, ChangeKind::kRaised);
  EXPECT_EQ(got.at, 1741770360);
  EXPECT_EQ(got.alarm, 8);
  EXPECT_EQ(got.fault, 8);
  EXPECT_EQ(got.fault_dn, "sys/rack-unit-1/board/fault-F0409");
  EXPECT_EQ(got.dn, "sys/rack-unit-1/board");
  EXPECT_EQ(got.before, Severity::kCleared);
  EXPECT_EQ(got.after, Severity::kMajor);
  EXPECT_EQ(got.reporters, 1U);
  EXPECT_EQ(got.raises, 0U);
  EXPECT_EQ(got.merged_into, 0);
  EXPECT_EQ(got.in_place_of, 0);
  EXPECT_EQ(got.sequence, 7);
  EXPECT_EQ(got.shown_sequence, 7);
  EXPECT_EQ(
      got.record,
      (FaultWords{.fault_dn = "sys/rack-unit-1/board/fault-F0409",
                  .dn = "sys/rack-unit-1/board",
                  .code = 409,
                  .name = "fltEquipmentChassisThermalThresholdCritical",
                  .sensor = "RISER1_INLET_TMP",
                  .description = "RISER1_INLET_TMP: Riser 1 inlet temperature has crossed upper critical threshold: "
                                 "Check device cooling",
                  .cause = "thermal-problem",
                  .oid = "1.3.6.1.4.1.32473.5.100.1.9.6.1"}));
  EXPECT_EQ(got.person, "");
  EXPECT_EQ(got.comment, "");
  EXPECT_EQ(got.body, kRaised);
}

TEST(ChangeMessages, TheRecordOfAnotherFaultIsNotTaken) {
  std::string superseded = with(kRaised, "/change", R"("superseded")");
  superseded = with(superseded, "/fault_dn", R"("sys/rack-unit-1/board/fault-F0410")");
  EXPECT_FALSE(change(superseded).record);
  EXPECT_EQ(change(superseded).fault_dn, "sys/rack-unit-1/board/fault-F0410");
}

TEST(ChangeMessages, AnEventNeedNotHaveARecord) { EXPECT_FALSE(change(with(kRaised, "/record", "")).record); }

TEST(ChangeMessages, OfAnObject) {
  const ChangeMessage got = change(kOfObject);
  EXPECT_EQ(got.kind, ChangeKind::kOutOfService);
  EXPECT_EQ(got.alarm, 0);
  EXPECT_EQ(got.dn, "sys");
  EXPECT_EQ(got.fault_dn, "");
  EXPECT_EQ(got.person, "root");
  EXPECT_EQ(got.comment, "swap");
}

TEST(ChangeMessages, WhoActsThroughAGatewayIsNamed) {
  EXPECT_EQ(change(with(kOfObject, "/action/on_behalf_of", R"("anna")")).person, "anna");
  EXPECT_EQ(change(with(kOfObject, "/action/person", "")).person, "") << "the engine itself";
}

TEST(ChangeMessages, Settled) {
  const ChangeMessage got = change(kSettled);
  EXPECT_EQ(got.kind, ChangeKind::kSettled);
  EXPECT_EQ(got.alarm, 28);
  EXPECT_EQ(got.in_place_of, 11);
  EXPECT_EQ(got.fault, 0);
  EXPECT_EQ(got.shown_sequence, 0);
  EXPECT_EQ(got.raises, 12U);
  EXPECT_EQ(change(with(kSettled, "/in_place_of", "")).in_place_of, 0);
}

TEST(ChangeMessages, Merged) {
  std::string merged = with(kRaised, "/change", R"("merged")");
  merged = with(merged, "/merged_into", R"("0123456789abcdef0123456789abcdef-5")");
  EXPECT_EQ(change(merged).merged_into, 5);
}

TEST(ChangeMessages, AKnownKindInEachOfItsWords) {
  for (std::size_t i = 0; i < engine::kChangeKinds; ++i) {
    const auto kind = static_cast<ChangeKind>(i);
    std::string payload = with(kSettled, "/change", "\"" + std::string(change_word(kind)) + "\"");
    payload = with(with(payload, "/fault", "28"), "/merged_into", R"("0123456789abcdef0123456789abcdef-5")");
    EXPECT_EQ(change(payload).kind, kind);
  }
}

TEST(ChangeMessages, MembersThatAreNotKnownArePassedOver) {
  EXPECT_EQ(complaint(Kind::kChange, with(kRaised, "/later", R"({"a":[1,null]})")), "none");
  EXPECT_EQ(complaint(Kind::kChange, with(kRaised, "/record/later", "1")), "none");
  EXPECT_EQ(complaint(Kind::kReplayed, with(kRaised, "/replay", R"("x")")), "none");
}

constexpr const char* kAlarmId = "The member 'alarm' must be the id of an alarm of the message's ledger, as LEDGER-17";
constexpr const char* kSeverities = "cleared, indeterminate, warning, minor, major or critical";

TEST(ChangeMessages, WrongMembers) {
  const std::string before = std::string("The member 'before' must be ") + kSeverities;
  const std::string after = std::string("The member 'after' must be ") + kSeverities;
  const test::Spoiled cases[] = {
      {"/ledger_id", "", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"/ledger_id", R"("0123")", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"/ledger_id", R"("0123456789ABCDEF0123456789ABCDEF")",
       "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"/number", "", "The member 'number' must be a whole number, 1 or more"},
      {"/number", "0", "The member 'number' must be a whole number, 1 or more"},
      {"/number", "8.0", "The member 'number' must be a whole number, 1 or more"},
      {"/number", R"("8")", "The member 'number' must be a whole number, 1 or more"},
      {"/number", "9223372036854775808", "The member 'number' must be a whole number, 1 or more"},
      {"/previous", "", "The member 'previous' must be a whole number, 0 or more"},
      {"/previous", "-1", "The member 'previous' must be a whole number, 0 or more"},
      {"/previous", "8", "The member 'previous' must be less than 'number'"},
      {"/change", "", "The member 'change' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/change", R"("exploded")", "The member 'change' must be a change that this version knows"},
      {"/at", "", "The member 'at' must be a time as 2025-01-31T23:59:59Z"},
      {"/at", R"("yesterday")", "The member 'at' must be a time as 2025-01-31T23:59:59Z"},
      {"/seq", "0", "The member 'seq' must be a whole number, 1 or more"},
      {"/alarm", "", "The member 'alarm' must be there, since only maintenance is a change of an object"},
      {"/alarm", "8", kAlarmId},
      {"/alarm", R"("8")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef-")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef-0")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef--8")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef-8x")", kAlarmId},
      {"/alarm", R"("0123456789abcdef0123456789abcdef-9223372036854775808")", kAlarmId},
      {"/alarm", R"("ffffffffffffffffffffffffffffffff-8")", kAlarmId},
      {"/fault", "", "The member 'fault' must be a whole number, 1 or more"},
      {"/fault", "0", "The member 'fault' must be a whole number, 1 or more"},
      {"/fault_dn", "", "The member 'fault_dn' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/fault_dn", R"("")", "The member 'fault_dn' must be a text that is not empty"},
      {"/before", R"("bad")", before.c_str()},
      {"/after", "", after.c_str()},
      {"/shown_seq", "0", "The member 'shown_seq' must be a whole number, 1 or more"},
      {"/reporters", "", "The member 'reporters' must be a whole number from 0 to 4294967295"},
      {"/reporters", "4294967296", "The member 'reporters' must be a whole number from 0 to 4294967295"},
      {"/raises", "-1", "The member 'raises' must be a whole number, 0 or more"},
      {"/event", "", "The member 'event' must be there, or 'action' in its place"},
      {"/action", R"({"action":"close"})", "The member 'event' must be there, or 'action' in its place"},
      {"/event", "7", "The member 'event' must be an object"},
      {"/event/sensor", "", "The member 'event.sensor' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record", "[]", "The member 'record' must be an object"},
      {"/record/fault_dn", "",
       "The member 'record.fault_dn' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record/dn", "7", "The member 'record.dn' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record/code", "-1", "The member 'record.code' must be a whole number from 0 to 4294967295"},
      {"/record/name", "", "The member 'record.name' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record/descr", R"("a\u0000b")",
       "The member 'record.descr' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record/cause", "null",
       "The member 'record.cause' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/record/oid", "", "The member 'record.oid' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
  };
  expect_complaints(Kind::kChange, kRaised, cases);
  const std::string too_long = "\"" + std::string(4097, 'x') + "\"";
  EXPECT_EQ(complaint(Kind::kChange, with(kRaised, "/record/descr", too_long)),
            "The member 'record.descr' must be a text of at most 4096 bytes, in UTF-8 and without NUL");
  EXPECT_EQ(complaint(Kind::kChange, with(kRaised, "/record/descr", "\"" + std::string(4096, 'x') + "\"")), "none");
}

TEST(ChangeMessages, WrongMembersOfOtherKinds) {
  const test::Spoiled of_object[] = {
      {"/dn", "", "The member 'dn' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/dn", R"("")", "The member 'dn' must be a text that is not empty"},
      {"/change", R"("shelved")", "The member 'alarm' must be there, since only maintenance is a change of an object"},
      {"/action", "", "The member 'event' must be there, or 'action' in its place"},
      {"/action/person", "7",
       "The member 'action.person' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
      {"/action/comment", R"("\u0000")",
       "The member 'action.comment' must be a text of at most 4096 bytes, in UTF-8 and without NUL"},
  };
  expect_complaints(Kind::kChange, kOfObject, of_object);
  const test::Spoiled settled[] = {
      {"/in_place_of", R"("11")",
       "The member 'in_place_of' must be the id of an alarm of the message's ledger, as LEDGER-17"},
      {"/change", R"("cleared")", "The member 'fault' must be a whole number, 1 or more"},
  };
  expect_complaints(Kind::kChange, kSettled, settled);
  EXPECT_EQ(complaint(Kind::kChange, with(kRaised, "/change", R"("merged")")),
            "The member 'merged_into' must be the id of an alarm of the message's ledger, as LEDGER-17");
}

// Those after it could never be taken otherwise.
TEST(ChangeMessages, ABadOneSaysWhichChangeIsMissing) {
  const auto gap_of = [](Kind kind, const std::string& payload) -> std::optional<GapMessage> {
    try {
      parse_message({kRack, kind}, payload);
    } catch (const BadMessage& error) {
      return error.gap();
    }
    ADD_FAILURE() << payload;
    return std::nullopt;
  };
  const GapMessage want{.ledger_id = kLedger, .first = 8, .last = 8, .previous = 7};
  EXPECT_EQ(gap_of(Kind::kChange, with(kRaised, "/change", R"("exploded")")), want);
  EXPECT_EQ(gap_of(Kind::kReplayed, with(kRaised, "/record/code", "-1")), want);
  EXPECT_FALSE(want.is_put_back());
  EXPECT_EQ(gap_of(Kind::kChange, with(kRaised, "/number", R"("8")")), std::nullopt);
  EXPECT_EQ(gap_of(Kind::kChange, with(kRaised, "/previous", "8")), std::nullopt);
  EXPECT_EQ(gap_of(Kind::kChange, with(kRaised, "/site", R"("other")")), std::nullopt)
      << "it is not of this controller";
}

TEST(GapMessages, OfChangesThatAreGone) {
  const std::string payload = R"({"ledger_id":"0123456789abcdef0123456789abcdef","gap":{"first":3,"last":9},)"
                              R"("previous":2,"site":"lab","controller":"rack-1","version":"1.0.0"})";
  const auto gap = parse_as<GapMessage>(Kind::kChange, payload);
  EXPECT_EQ(gap, (GapMessage{.ledger_id = kLedger, .first = 3, .last = 9, .previous = 2}));
  EXPECT_FALSE(gap.is_put_back());
  const auto put_back = parse_as<GapMessage>(Kind::kChange, with(payload, "/previous", "9"));
  EXPECT_TRUE(put_back.is_put_back());
  EXPECT_EQ(parse_as<GapMessage>(Kind::kReplayed, with(payload, "/replay", R"("x")")), gap);
  const test::Spoiled cases[] = {
      {"/gap", "7", "The member 'gap' must be an object"},
      {"/gap/first", "0", "The member 'gap.first' must be a whole number, 1 or more"},
      {"/gap/last", "2", "The member 'gap.last' must be a whole number, 3 or more"},
      {"/gap/last", "", "The member 'gap.last' must be a whole number, 3 or more"},
      {"/previous", "", "The member 'previous' must be a whole number, 0 or more"},
      {"/previous", "3", "The member 'previous' must be less than 'gap.first', or 'gap.last'"},
      {"/ledger_id", "", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
  };
  expect_complaints(Kind::kChange, payload, cases);
}

}  // namespace change_message_test
}  // namespace polaiga::fleet
