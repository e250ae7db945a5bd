#include "report/rfc8632.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace polaiga::engine {
namespace rfc8632_test {

using nlohmann::json;

constexpr CauseStandard kPerformance{EventType::kQualityOfService, "performanceDegraded", 532};
constexpr Moment kStart = 1735689600;  // 2025-01-01T00:00:00Z

// An input: its number, and the second after kStart at which it happened.
struct At {
  Sequence input;
  Moment second;
};

// A fault that one record raised and that is active.
StoredFault fault(ChangeNumber number, std::uint32_t code, Severity severity, At raised) {
  StoredFault one;
  one.number = number;
  one.dn = "sys/fan-1";
  one.code = code;
  one.name = "fltFan";
  one.severity = severity;
  one.raised = one.shown = raised.input;
  one.since = one.updated = kStart + raised.second;
  one.count = 1;
  return one;
}

StoredFault shows(StoredFault one, Sequence input) {
  one.shown = input;
  return one;
}

StepTexts texts(const char* raised, const char* ended = "") { return {raised, raised, 0, ended}; }

StoredFault ends(StoredFault one, At end, ChangeKind ending = ChangeKind::kCleared) {
  one.ended = end.input;
  one.ended_at = kStart + end.second;
  one.ending = ending;
  return one;
}

ToldAlarm alarm(ChangeNumber number, const std::vector<std::pair<StoredFault, StepTexts>>& steps) {
  ToldAlarm told;
  told.alarm.number = number;
  told.alarm.dn = "sys/fan-1";
  told.alarm.created = steps.front().first.since;
  told.cause = kPerformance;
  for (const auto& [step, texts] : steps) {
    told.alarm.steps.push_back(step);
    told.texts.push_back(texts);
    told.alarm.severity = step.severity;
  }
  return told;
}

// Two levels of one type.
AlarmTypes levels() {
  AlarmTypes types;
  types.qualifiers = {{395, "F0395-F0396"}, {396, "F0395-F0396"}};
  types.inventory[{"quality-of-service-alarm", "F0395-F0396"}] = {
      {Severity::kMinor, Severity::kMajor}, true, "A fan is slow"};
  return types;
}

json alarms_of(const ToldAlarms& told, const AlarmTypes& types = levels()) {
  const json all = json::parse(rfc8632_document(told, types));
  EXPECT_EQ(all.size(), 1U);
  return all.at("ietf-alarms:alarms");
}

// The only alarm of a document.
json alarm_of(const ToldAlarms& told, const AlarmTypes& types = levels()) {
  const json list = alarms_of(told, types).at("alarm-list");
  EXPECT_EQ(list.at("number-of-alarms"), 1) << list;
  EXPECT_EQ(list.at("alarm").size(), 1U) << list;
  return list.at("alarm").at(0);
}

json status(const char* time, const char* severity, const char* text) {
  return {{"time", time}, {"perceived-severity", severity}, {"alarm-text", text}};
}

TEST(Rfc8632, NoAlarms) {
  const json alarms = alarms_of({});
  EXPECT_EQ(alarms.at("alarm-list"), json({{"number-of-alarms", 0}}));
  EXPECT_EQ(alarms.at("shelved-alarms"), json({{"number-of-shelved-alarms", 0}}));
  EXPECT_EQ(alarms.at("summary").at("alarm-summary").size(), 5U);
  EXPECT_EQ(alarms.at("alarm-inventory").at("alarm-type"),
            json::array({{{"alarm-type-id", "polaiga-alarm-types:quality-of-service-alarm"},
                          {"alarm-type-qualifier", "F0395-F0396"},
                          {"will-clear", true},
                          {"severity-level", {"minor", "major"}},
                          {"description", "A fan is slow"}}}));
}

// The alarm keeps its keys while its severity changes.
TEST(Rfc8632, AnEscalation) {
  const StoredFault slow = ends(shows(fault(1, 395, Severity::kMinor, {1, 0}), 4), {5, 240}, ChangeKind::kSuperseded);
  const StoredFault slower = fault(6, 396, Severity::kMajor, {5, 240});
  const json want = {
      {"resource", "sys/fan-1"},
      {"alarm-type-id", "polaiga-alarm-types:quality-of-service-alarm"},
      {"alarm-type-qualifier", "F0395-F0396"},
      {"time-created", "2025-01-01T00:00:00Z"},
      {"is-cleared", false},
      {"last-raised", "2025-01-01T00:00:00Z"},
      {"last-changed", "2025-01-01T00:04:00Z"},
      {"perceived-severity", "major"},
      {"alarm-text", "slower"},
      {"status-change",
       {status("2025-01-01T00:04:00Z", "major", "slower"), status("2025-01-01T00:03:00Z", "minor", "slow again"),
        status("2025-01-01T00:00:00Z", "minor", "slow")}}};
  const ToldAlarms told{
      .alarms = {alarm(1, {{slow, {"slow", "slow again", kStart + 180, ""}}, {slower, texts("slower")}})},
      .changed = kStart + 300,
      .tables = {}};
  EXPECT_EQ(alarm_of(told), want);
  EXPECT_EQ(alarms_of(told).at("alarm-list").at("last-changed"), "2025-01-01T00:05:00Z");
}

TEST(Rfc8632, ClearedAndRaisedAgain) {
  const StoredFault first = ends(fault(1, 396, Severity::kMajor, {1, 0}), {2, 60});
  const StoredFault second = ends(fault(3, 395, Severity::kMinor, {3, 120}), {4, 180});
  const StoredFault third = fault(5, 395, Severity::kMinor, {5, 240});
  ToldAlarms told{.alarms = {alarm(1, {{first, texts("slower", "well")}})}, .changed = {}, .tables = {}};

  json one = alarm_of(told);
  EXPECT_EQ(one.at("is-cleared"), true);
  EXPECT_EQ(one.at("perceived-severity"), "major");
  EXPECT_EQ(one.at("alarm-text"), "well");
  EXPECT_EQ(one.at("last-raised"), "2025-01-01T00:00:00Z");
  EXPECT_EQ(one.at("last-changed"), "2025-01-01T00:01:00Z");

  told.alarms.push_back(alarm(3, {{second, texts("slow", "well")}}));
  one = alarm_of(told);
  EXPECT_EQ(one.at("is-cleared"), true);
  EXPECT_EQ(one.at("perceived-severity"), "minor");
  EXPECT_EQ(one.at("last-raised"), "2025-01-01T00:02:00Z");

  told.alarms.push_back(alarm(5, {{third, texts("slow")}}));
  one = alarm_of(told);
  EXPECT_EQ(one.at("is-cleared"), false);
  EXPECT_EQ(one.at("time-created"), "2025-01-01T00:00:00Z");
  EXPECT_EQ(one.at("last-raised"), "2025-01-01T00:04:00Z");
  EXPECT_EQ(
      one.at("status-change"),
      json::array({status("2025-01-01T00:04:00Z", "minor", "slow"), status("2025-01-01T00:03:00Z", "cleared", "well"),
                   status("2025-01-01T00:02:00Z", "minor", "slow"), status("2025-01-01T00:01:00Z", "cleared", "well"),
                   status("2025-01-01T00:00:00Z", "major", "slower")}));
  EXPECT_EQ(alarms_of(told).at("alarm-list").at("last-changed"), "2025-01-01T00:04:00Z");
}

// No record says that a fault is over which the library withdraws.
TEST(Rfc8632, Withdrawn) {
  const StoredFault one = ends(fault(1, 395, Severity::kMinor, {1, 0}), {2, 60}, ChangeKind::kWithdrawn);
  const json got = alarm_of({.alarms = {alarm(1, {{one, texts("slow")}})}, .changed = {}, .tables = {}});
  EXPECT_EQ(got.at("is-cleared"), true);
  EXPECT_EQ(got.at("alarm-text"), "slow");
  EXPECT_EQ(got.at("status-change").at(0), status("2025-01-01T00:01:00Z", "cleared", "slow"));
}

// Two sensors of an object report two levels: the worse one is told.
TEST(Rfc8632, TwoLevelsAtOnce) {
  const StoredFault minor = fault(1, 395, Severity::kMinor, {1, 0});
  const StoredFault major = fault(2, 396, Severity::kMajor, {2, 60});
  const ToldAlarm first = alarm(1, {{minor, texts("slow")}});
  json one = alarm_of({.alarms = {first, alarm(2, {{major, texts("slower")}})}, .changed = {}, .tables = {}});
  EXPECT_EQ(one.at("perceived-severity"), "major");
  EXPECT_EQ(one.at("alarm-text"), "slower");
  EXPECT_FALSE(one.contains("related-alarm"));

  one = alarm_of(
      {.alarms = {first, alarm(2, {{ends(major, {3, 90}), texts("slower", "well")}})}, .changed = {}, .tables = {}});
  EXPECT_EQ(one.at("is-cleared"), false);
  EXPECT_EQ(one.at("perceived-severity"), "minor");
  EXPECT_EQ(one.at("last-raised"), "2025-01-01T00:00:00Z");
  EXPECT_EQ(one.at("status-change"), json::array({status("2025-01-01T00:01:30Z", "minor", "slow"),
                                                  status("2025-01-01T00:01:00Z", "major", "slower"),
                                                  status("2025-01-01T00:00:00Z", "minor", "slow")}));
}

// The fault that both alarms have is one fault.
TEST(Rfc8632, Merged) {
  const StoredFault minor = ends(fault(1, 395, Severity::kMinor, {1, 0}), {3, 120}, ChangeKind::kSuperseded);
  const StoredFault major = ends(shows(fault(2, 396, Severity::kMajor, {2, 60}), 3), {4, 180});
  const StepTexts both{"slower 1", "slower 2", kStart + 120, "well"};
  ToldAlarm merged = alarm(2, {{major, both}});
  merged.alarm.related = merged.alarm.merged_into = 1;
  const json one =
      alarm_of({.alarms = {alarm(1, {{minor, texts("slow")}, {major, both}}), merged}, .changed = {}, .tables = {}});
  EXPECT_FALSE(one.contains("related-alarm"));
  EXPECT_EQ(one.at("status-change"), json::array({status("2025-01-01T00:03:00Z", "cleared", "well"),
                                                  status("2025-01-01T00:02:00Z", "major", "slower 2"),
                                                  status("2025-01-01T00:01:00Z", "major", "slower 1"),
                                                  status("2025-01-01T00:00:00Z", "minor", "slow")}));
}

TEST(Rfc8632, RelatedAlarms) {
  ToldAlarm other = alarm(2, {{fault(2, 400, Severity::kMajor, {2, 60}), texts("hot")}});
  other.alarm.related = 1;
  const ToldAlarm first = alarm(1, {{fault(1, 395, Severity::kMinor, {1, 0}), texts("slow")}});
  const json alarms = alarms_of({.alarms = {first, other}, .changed = {}, .tables = {}}).at("alarm-list").at("alarm");
  ASSERT_EQ(alarms.size(), 2U);
  EXPECT_FALSE(alarms[0].contains("related-alarm"));
  EXPECT_EQ(alarms[1].at("related-alarm"),
            json::array({{{"resource", "sys/fan-1"},
                          {"alarm-type-id", "polaiga-alarm-types:quality-of-service-alarm"},
                          {"alarm-type-qualifier", "F0395-F0396"}}}));
  // One that is not told is not named.
  EXPECT_FALSE(alarm_of({.alarms = {other}, .changed = {}, .tables = {}}).contains("related-alarm"));
}

// Times are keys, and the latest time has the latest state.
TEST(Rfc8632, TimesAreKeys) {
  const StoredFault first = ends(fault(1, 395, Severity::kMinor, {1, 60}), {2, 60});
  const StoredFault second = ends(fault(3, 395, Severity::kMinor, {3, 0}), {4, 61});  // the clock went back
  const json one =
      alarm_of({.alarms = {alarm(1, {{first, texts("slow", "well")}}), alarm(3, {{second, texts("slow", "well")}})},
                .changed = kStart,
                .tables = {}});
  EXPECT_EQ(one.at("time-created"), "2025-01-01T00:01:00Z");
  EXPECT_EQ(one.at("last-raised"), "2025-01-01T00:01:00.000002Z");
  EXPECT_EQ(one.at("last-changed"), "2025-01-01T00:01:01Z");
  EXPECT_EQ(one.at("status-change"), json::array({status("2025-01-01T00:01:01Z", "cleared", "well"),
                                                  status("2025-01-01T00:01:00.000002Z", "minor", "slow"),
                                                  status("2025-01-01T00:01:00.000001Z", "cleared", "well"),
                                                  status("2025-01-01T00:01:00Z", "minor", "slow")}));
}

TEST(Rfc8632, TheLatestStatusChanges) {
  ToldAlarms told;
  for (int i = 0; i < 20; ++i) {
    const StoredFault one = ends(fault(2 * i + 1, 395, Severity::kMinor, {2 * i + 1, 2 * i}), {2 * i + 2, 2 * i + 1});
    told.alarms.push_back(alarm(one.number, {{one, texts("slow", "well")}}));
  }
  const json changes = alarm_of(told).at("status-change");
  EXPECT_EQ(changes.size(), 32U);
  EXPECT_EQ(changes.front(), status("2025-01-01T00:00:39Z", "cleared", "well"));
  EXPECT_EQ(changes.back(), status("2025-01-01T00:00:08Z", "minor", "slow"));
}

TEST(Rfc8632, OperatorStates) {
  ToldAlarm told = alarm(1, {{fault(1, 395, Severity::kMinor, {1, 0}), texts("slow")}});
  told.operators = {{2, kStart + 60, "ack", "ann", "on my way"}, {3, kStart + 60, "closed", "bob", ""}};
  const json alarms = alarms_of({.alarms = {told}, .changed = {}, .tables = {}});
  const json& one = alarms.at("alarm-list").at("alarm").at(0);
  EXPECT_EQ(one.at("last-changed"), "2025-01-01T00:01:00.000001Z");
  EXPECT_EQ(
      one.at("operator-state-change"),
      json::array({{{"time", "2025-01-01T00:01:00Z"}, {"operator", "ann"}, {"state", "ack"}, {"text", "on my way"}},
                   {{"time", "2025-01-01T00:01:00.000001Z"}, {"operator", "bob"}, {"state", "closed"}}}));
  EXPECT_EQ(alarms.at("summary").at("alarm-summary").at(2), json({{"severity", "minor"},
                                                                  {"total", 1},
                                                                  {"not-cleared", 1},
                                                                  {"cleared", 0},
                                                                  {"cleared-not-closed", 0},
                                                                  {"cleared-closed", 0},
                                                                  {"not-cleared-closed", 1},
                                                                  {"not-cleared-not-closed", 0}}));
  EXPECT_FALSE(alarms.at("summary").contains("shelves-active"));
}

// An acknowledgement is gone with the alarm's end.
TEST(Rfc8632, OperatorStatesEndWithTheAlarm) {
  ToldAlarm first = alarm(1, {{ends(fault(1, 395, Severity::kMinor, {1, 0}), {2, 60}), texts("slow", "well")}});
  first.alarm.ended = 2;
  ToldAlarm second = alarm(3, {{ends(fault(3, 395, Severity::kMinor, {3, 120}), {4, 180}), texts("slow", "well")}});
  second.alarm.ended = 4;
  const ToldAlarm third = alarm(5, {{fault(5, 395, Severity::kMinor, {5, 240}), texts("slow")}});
  const json raised_again = {{"time", "2025-01-01T00:02:00Z"},
                             {"operator", "polaiga"},
                             {"state", "none"},
                             {"text", "The alarm was raised again."}};
  const json closed = {{"time", "2025-01-01T00:00:30Z"}, {"operator", "ann"}, {"state", "closed"}};

  EXPECT_FALSE(
      alarm_of({.alarms = {first, second, third}, .changed = {}, .tables = {}}).contains("operator-state-change"));
  first.operators = {{2, kStart + 30, "closed", "ann", ""}};
  EXPECT_EQ(alarm_of({.alarms = {first}, .changed = {}, .tables = {}}).at("operator-state-change"),
            json::array({closed}));
  const json alarms = alarms_of({.alarms = {first, second, third}, .changed = {}, .tables = {}});
  EXPECT_EQ(alarms.at("alarm-list").at("alarm").at(0).at("operator-state-change"), json::array({closed, raised_again}));
  EXPECT_EQ(alarms.at("summary").at("alarm-summary").at(2).at("not-cleared-not-closed"), 1);

  // As long as one of them is active, the other one's state counts.
  first.alarm.ended.reset();
  EXPECT_EQ(alarm_of({.alarms = {first, third}, .changed = {}, .tables = {}}).at("operator-state-change"),
            json::array({closed}));
}

// The clock went back before the alarm was unshelved.
TEST(Rfc8632, TheLatestOperatorStateIsThatOfTheLatestChange) {
  ToldAlarm told = alarm(1, {{fault(1, 395, Severity::kMinor, {1, 0}), texts("slow")}});
  told.operators = {{2, kStart + 7200, "shelved", "ann", ""}, {3, kStart + 60, "un-shelved", "ann", ""}};
  const json alarms = alarms_of({.alarms = {told}, .changed = {}, .tables = {}});
  EXPECT_EQ(alarms.at("alarm-list").at("number-of-alarms"), 1);
  EXPECT_EQ(alarms.at("shelved-alarms").at("number-of-shelved-alarms"), 0);
  const json& changes = alarms.at("alarm-list").at("alarm").at(0).at("operator-state-change");
  EXPECT_EQ(changes.at(1).at("state"), "un-shelved");
  EXPECT_EQ(changes.at(1).at("time"), "2025-01-01T02:00:00.000001Z");
}

TEST(Rfc8632, ShelvedAlarms) {
  ToldAlarm told = alarm(1, {{fault(1, 395, Severity::kMinor, {1, 0}), texts("slow")}});
  told.operators = {{2, kStart + 60, "shelved", "ann", "for 2h"}};
  const json alarms = alarms_of({.alarms = {told}, .changed = {}, .tables = {}});
  EXPECT_EQ(alarms.at("alarm-list").at("number-of-alarms"), 0);
  EXPECT_FALSE(alarms.at("alarm-list").contains("alarm"));
  EXPECT_EQ(alarms.at("shelved-alarms").at("number-of-shelved-alarms"), 1);
  EXPECT_EQ(alarms.at("shelved-alarms").at("shelved-alarm").at(0).at("resource"), "sys/fan-1");
  EXPECT_FALSE(alarms.at("shelved-alarms").at("shelved-alarm").at(0).contains("time-created"));
  EXPECT_EQ(alarms.at("summary").at("shelves-active"), json::array({nullptr}));
  EXPECT_EQ(alarms.at("summary").at("alarm-summary").at(2).at("total"), 0);
}

// A fault of a table of former days.
TEST(Rfc8632, ATypeThatTheCatalogDoesNotKnow) {
  ToldAlarm told = alarm(1, {{fault(1, 1399, Severity::kIndeterminate, {1, 0}), texts("odd")}});
  told.cause.reset();
  const json alarms = alarms_of({.alarms = {told}, .changed = {}, .tables = {}});
  const json& one = alarms.at("alarm-list").at("alarm").at(0);
  EXPECT_EQ(one.at("alarm-type-id"), "polaiga-alarm-types:other-alarm");
  EXPECT_EQ(one.at("alarm-type-qualifier"), "F1399");
  const json types = alarms.at("alarm-inventory").at("alarm-type");
  ASSERT_EQ(types.size(), 2U);
  EXPECT_EQ(types[0], json({{"alarm-type-id", "polaiga-alarm-types:other-alarm"},
                            {"alarm-type-qualifier", "F1399"},
                            {"will-clear", true},
                            {"severity-level", {"indeterminate"}},
                            {"description", "F1399 fltFan"}}));
}

TEST(Rfc8632, TextsOfAnyKind) {
  ToldAlarm told = alarm(1, {{fault(1, 395, Severity::kMinor, {1, 0}), texts("a\x1b[31m\xFF\"\\ ")}});
  told.alarm.dn = "sys/\x07";
  told.operators = {{2, kStart, "ack", "\x01", "\n"}};
  const json one = alarm_of({.alarms = {told}, .changed = {}, .tables = {}});
  EXPECT_EQ(one.at("resource"), "sys/?");
  EXPECT_EQ(one.at("alarm-text"), "a?[31m?\"\\");
  EXPECT_EQ(one.at("operator-state-change").at(0).at("operator"), "?");
  EXPECT_EQ(one.at("operator-state-change").at(0).at("text"), "?");
}

TEST(Rfc8632, Identities) {
  EXPECT_EQ(alarm_identity(std::nullopt), "other-alarm");
  EXPECT_EQ(alarm_identity(cause_standard(std::uint32_t{214})), "equipment-alarm");
  EXPECT_EQ(alarm_identity(cause_standard(std::uint32_t{215})), "environmental-alarm");
  EXPECT_EQ(alarm_identity(cause_standard(std::uint32_t{242})), "communications-alarm");
  EXPECT_EQ(alarm_identity(cause_standard(std::uint32_t{338})), "processing-error-alarm");
  EXPECT_EQ(alarm_identity(cause_standard(std::uint32_t{381})), "quality-of-service-alarm");
}

TEST(Rfc8632, TheSummaryAlone) {
  AlarmSummary summary;
  summary.add(Severity::kCritical, false, false);
  summary.add(Severity::kCritical, false, true);
  summary.add(Severity::kCritical, true, false);
  summary.add(Severity::kCritical, true, false);
  summary.add(Severity::kCritical, true, true);
  summary.add(Severity::kCritical, true, true);
  summary.add(Severity::kCritical, true, true);
  summary.add_shelved();
  const json got = json::parse(rfc8632_document(summary)).at("ietf-alarms:alarms");
  EXPECT_EQ(got.size(), 1U);
  EXPECT_EQ(got.at("summary").at("shelves-active"), json::array({nullptr}));
  const json& list = got.at("summary").at("alarm-summary");
  ASSERT_EQ(list.size(), 5U);
  EXPECT_EQ(list.at(0).at("severity"), "indeterminate");
  EXPECT_EQ(list.at(0).at("total"), 0);
  EXPECT_EQ(list.at(4), json({{"severity", "critical"},
                              {"total", 7},
                              {"not-cleared", 2},
                              {"cleared", 5},
                              {"cleared-not-closed", 2},
                              {"cleared-closed", 3},
                              {"not-cleared-closed", 1},
                              {"not-cleared-not-closed", 1}}));
}

}  // namespace rfc8632_test
}  // namespace polaiga::engine
