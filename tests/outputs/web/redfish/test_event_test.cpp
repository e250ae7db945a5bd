#include "redfish/test_event.h"

#include <gtest/gtest.h>

#include "redfish/errors.h"

namespace polaiga::web {
namespace test_event_test {

using nlohmann::ordered_json;

TEST(TestEventTest, WhatTheClientSaysIsTold) {
  const EventRecord event = parse_test_event(R"({"MessageId":"Test.1.0.Hello","EventId":"17","EventType":"Alert",
    "EventTimestamp":"2026-01-02T03:04:05Z","Message":"Hello","MessageArgs":["one"],"MessageSeverity":"Warning",
    "EventGroupId":4,"OriginOfCondition":"/redfish/v1/Chassis/a"})");
  EXPECT_EQ(event.id, "17");
  EXPECT_EQ(event.json, ordered_json::parse(R"({"EventType":"Alert","EventId":"17","MemberId":"0",
    "EventTimestamp":"2026-01-02T03:04:05Z","MessageId":"Test.1.0.Hello","Message":"Hello","MessageArgs":["one"],
    "MessageSeverity":"Warning","Severity":"Warning","EventGroupId":4,
    "OriginOfCondition":{"@odata.id":"/redfish/v1/Chassis/a"}})"));
}

TEST(TestEventTest, OnlyTheMessageIsNeeded) {
  const EventRecord event = parse_test_event(R"({"MessageId":"Test.1.0.Hello"})");
  EXPECT_EQ(event.health, "OK");
  EXPECT_EQ(event.json.at("Message"), "This is a test.");
}

TEST(TestEventTest, WhatIsNotRightIsRefused) {
  const auto with = [](const std::string& more) { return R"({"MessageId":"Test.1.0.Hello",)" + more + "}"; };
  const std::pair<std::string, const char*> kRows[] = {
      {"{}", "PropertyMissing"},
      {R"({"MessageId":7})", "PropertyValueTypeError"},
      {R"({"MessageId":"Hello"})", "PropertyValueFormatError"},
      {R"({"MessageId":"Test.1.0."})", "PropertyValueFormatError"},
      {R"({"MessageId":"Test.a.0.Hello"})", "PropertyValueFormatError"},
      {R"({"MessageId":"Test.1.0.0.Hello"})", "PropertyValueFormatError"},
      {with(R"("Color":"red")"), "PropertyUnknown"},
      {with(R"("MessageArgs":"one")"), "PropertyValueTypeError"},
      {with(R"("MessageArgs":[1])"), "PropertyValueTypeError"},
      {with(R"("EventGroupId":"4")"), "PropertyValueTypeError"},
      {with(R"("EventTimestamp":"now")"), "PropertyValueFormatError"},
      {with(R"("MessageSeverity":"Minor")"), "PropertyValueNotInList"},
  };
  for (const auto& [body, id] : kRows) {
    try {
      parse_test_event(body);
      ADD_FAILURE() << "it was taken: " << body;
    } catch (const Refusal& refusal) {
      EXPECT_EQ(refusal_message(refusal.reason).id, std::string("Base.1.18.") + id) << body;
    }
  }
}

}  // namespace test_event_test
}  // namespace polaiga::web
