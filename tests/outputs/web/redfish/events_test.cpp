#include "redfish/events.h"

#include <gtest/gtest.h>

#include "redfish/event_stream.h"
#include "redfish/messages.h"

namespace polaiga::web {
namespace events_test {

using nlohmann::ordered_json;

// A change of the fault F0395 of a fan, with more members.
std::string change(const std::string& word, const std::string& after, const std::string& more = "") {
  return R"({"ledger_id":"abc","number":9,"change":")" + word +
         R"(","at":"2026-01-02T03:04:05Z","seq":4,"quiet":false,"folded":false,"alarm":"abc-7",)"
         R"("fault_dn":"sys/rack-unit-1/fan-1/fault-F0395","before":"cleared","after":")" +
         after + '"' + more + "}";
}

TEST(EventsTest, AChangeIsAnEvent) {
  const auto event = event_of(change("raised", "major", R"(,"record":{"name":"fltFan"})"), {});
  ASSERT_TRUE(event);
  EXPECT_EQ(event->id, "abc-9");
  ordered_json json = event->json;
  EXPECT_EQ(json.at("Oem").at("Polaiga").at("Change").at("after"), "major");
  json.erase("Oem");
  EXPECT_EQ(json, ordered_json::parse(R"({
    "EventType":"Alert","EventId":"abc-9","MemberId":"9","EventTimestamp":"2026-01-02T03:04:05Z",
    "MessageId":"Polaiga.1.0.F0395",
    "Message":"The object sys/rack-unit-1/fan-1 has the fault F0395: fltFan.",
    "MessageArgs":["sys/rack-unit-1/fan-1","fltFan"],
    "MessageSeverity":"Critical","Severity":"Critical",
    "OriginOfCondition":{"@odata.id":"/redfish/v1/Chassis/sys.rack-unit-1.fan-1"},
    "LogEntry":{"@odata.id":"/redfish/v1/Managers/polaiga/LogServices/FaultLog/Entries/7"},
    "EventGroupId":7,
    "Resolution":"Look at the object and at what reports the fault. The command 'polaiga explain' tells how the alarm came about."})"));
}

TEST(EventsTest, EachKindOfChangeHasAMessage) {
  const std::string kBy = R"(,"action":{"person":"ann"})";
  const std::tuple<std::string, const char*, const char*> kRows[] = {
      {change("raised", "minor"), "F0395", "Warning"},
      {change("refreshed", "major"), "FaultRefreshed", "Critical"},
      {change("partly_cleared", "minor"), "FaultPartlyCleared", "Warning"},
      {change("cleared", "cleared"), "F0395Over", "OK"},
      {change("superseded", "major"), "F0395Over", "OK"},
      {change("withdrawn", "cleared"), "F0395Over", "OK"},
      {change("merged", "cleared"), "AlarmMerged", "OK"},
      {change("acknowledged", "major", kBy), "AlarmAcknowledged", "OK"},
      {change("unacknowledged", "major", kBy), "AlarmUnacknowledged", "OK"},
      {change("closed", "major", kBy), "AlarmClosed", "OK"},
      {change("commented", "major", kBy), "AlarmCommented", "OK"},
      {change("shelved", "major", kBy), "AlarmShelved", "OK"},
      {change("unshelved", "major"), "AlarmUnshelved", "OK"},
      {change("out_of_service", "major", kBy), "ObjectOutOfService", "OK"},
      {change("back_in_service", "major", kBy), "ObjectBackInService", "OK"},
      {change("chattering", "major"), "FaultChattering", "Warning"},
      {change("settled", "major"), "FaultSettled", "OK"},
  };
  for (const auto& [text, key, health] : kRows) {
    const auto event = event_of(text, {});
    ASSERT_TRUE(event) << text;
    EXPECT_EQ(event->message_id, std::string("Polaiga.1.0.") + key);
    EXPECT_EQ(event->health, health) << key;
    EXPECT_EQ(event->json.at("MessageArgs").at(0), "sys/rack-unit-1/fan-1") << key;
    EXPECT_EQ(event->json.at("Message").get<std::string>().find('%'), std::string::npos) << key;
  }
}

TEST(EventsTest, WhoActedIsNamed) {
  const auto by_ann = event_of(change("acknowledged", "major", R"(,"action":{"person":"ann"})"), {});
  EXPECT_EQ(by_ann->json.at("Message"),
            "ann acknowledged the alarm of the object sys/rack-unit-1/fan-1 with the fault F0395.");
  const auto by_itself = event_of(change("unshelved", "major", R"(,"action":{"action":"unshelve"})"), {});
  EXPECT_EQ(by_itself->json.at("MessageArgs").at(2), "the engine");
}

TEST(EventsTest, QuietChangesAreNotTold) {
  std::string quiet = change("raised", "major");
  quiet.replace(quiet.find("\"quiet\":false"), 13, "\"quiet\":true");
  EXPECT_FALSE(event_of(quiet, {}));
}

TEST(EventsTest, AnObjectThatGoesOutOfServiceIsAnEvent) {
  const auto event = event_of(R"({"ledger_id":"abc","number":9,"change":"out_of_service","at":"2026-01-02T03:04:05Z",)"
                              R"("dn":"sys/rack-unit-1/board","quiet":false,"action":{"person":"ann"}})",
                              {});
  EXPECT_EQ(event->json.at("Message"), "ann took the object sys/rack-unit-1/board out of service.");
  EXPECT_FALSE(event->json.contains("LogEntry"));
}

TEST(EventsTest, FaultsOutsideTheDictionaryHaveTheGeneralMessages) {
  EXPECT_EQ(fault_message(9999, "a/b", "x", engine::Severity::kMajor).text, "The object a/b has the fault F9999: x.");
  EXPECT_EQ(fault_message(9999, "a/b", "x", engine::Severity::kMajor).id, "Polaiga.1.0.FaultRaised");
  EXPECT_EQ(fault_over_message(9999, "a/b", "cleared").id, "Polaiga.1.0.FaultOver");
  EXPECT_EQ(fault_of("sys/a/fault-F0395").dn, "sys/a");
  EXPECT_EQ(fault_of("sys/a/fault-F0395").code, 395U);
  EXPECT_EQ(fault_of("sys/a/fault-F03x").code, std::nullopt);
  EXPECT_EQ(fault_of("sys/a/fau").dn, "sys/a/fau");
}

TEST(EventsTest, AStreamGoesOnAfterAnEvent) {
  EXPECT_EQ(cursor_after("abc-12"), (EventCursor{"abc", 12}));
  for (const char* const id : {"", "abc", "abc-", "-3", "abc-x", "abc-3x", "abc--3", "abc-99999999999999999999"}) {
    EXPECT_EQ(cursor_after(id), std::nullopt) << id;
  }
}

TEST(EventsTest, TestsAreToldOnce) {
  TestEvents tests;
  std::uint64_t seen = tests.last();
  EXPECT_TRUE(tests.after(seen).empty());
  for (std::size_t i = 0; i <= TestEvents::kMost; ++i)
    tests.add({.id = std::to_string(i), .message_id = {}, .health = {}, .json = {}});
  const auto fresh = tests.after(seen);
  ASSERT_EQ(fresh.size(), TestEvents::kMost);
  EXPECT_EQ(fresh.front().id, "1") << "those that are too old are not kept";
  EXPECT_TRUE(tests.after(seen).empty());
}

}  // namespace events_test
}  // namespace polaiga::web
