#include "daemon/control_request.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace control_request_test {

TEST(ControlRequest, Status) {
  EXPECT_TRUE(std::holds_alternative<StatusRequest>(parse_control_request(R"({"do":"status"})")));
}

TEST(ControlRequest, Cursor) {
  const auto request =
      std::get<CursorRequest>(parse_control_request(R"({"do":"cursor","publisher":"mqtt.a-1_b","through":17})"));
  EXPECT_EQ(request.publisher, "mqtt.a-1_b");
  EXPECT_EQ(request.through, 17);
  const auto most = std::get<CursorRequest>(
      parse_control_request(R"({"do":"cursor","publisher":"a","through":9223372036854775807})"));
  EXPECT_EQ(most.through, 9223372036854775807);
}

TEST(ControlRequest, ACursorAloneReportsNothing) {
  const auto request = std::get<CursorRequest>(parse_control_request(R"({"do":"cursor","publisher":"a","through":1})"));
  EXPECT_EQ(request.ledger_id, std::nullopt);
  EXPECT_EQ(request.report, PublisherReport{});
}

TEST(ControlRequest, ACursorWithAReport) {
  const auto request = std::get<CursorRequest>(parse_control_request(
      R"({"do":"cursor","publisher":"a","through":1,"ledger_id":"0f","peer":"mqtt.example:8883","connected":false,)"
      R"("told":9223372036854775807,"lost":0,"cut":3,"last_success":"2027-01-15T08:00:00Z",)"
      R"("last_error":"Zeitüberschreitung","last_error_at":"2027-01-15T08:00:01Z"})"));
  EXPECT_EQ(request.ledger_id, "0f");
  EXPECT_EQ(request.report.peer, "mqtt.example:8883");
  EXPECT_EQ(request.report.connected, false);
  EXPECT_EQ(request.report.told, 9223372036854775807U);
  EXPECT_EQ(request.report.lost, 0U);
  EXPECT_EQ(request.report.cut, 3U);
  EXPECT_EQ(request.report.last_success, 1'800'000'000);
  EXPECT_EQ(request.report.last_error, "Zeitüberschreitung");
  EXPECT_EQ(request.report.last_error_at, 1'800'000'001);
}

TEST(ControlRequest, TheLongestTextsOfAReport) {
  const std::string begin = R"({"do":"cursor","publisher":"a","through":1,)";
  const auto peer =
      std::get<CursorRequest>(parse_control_request(begin + R"("peer":")" + std::string(256, 'x') + "\"}"));
  EXPECT_EQ(peer.report.peer->size(), 256U);
  const auto error =
      std::get<CursorRequest>(parse_control_request(begin + R"("last_error":")" + std::string(512, 'x') + "\"}"));
  EXPECT_EQ(error.report.last_error->size(), 512U);
}

TEST(ControlRequest, Forget) {
  EXPECT_EQ(std::get<ForgetRequest>(parse_control_request(R"({"do":"forget","publisher":"snmp"})")).publisher, "snmp");
}

OperatorAction action_in(const std::string& line) {
  return std::get<ActionRequest>(parse_control_request(line)).action;
}

TEST(ControlRequest, Action) {
  const auto request = std::get<ActionRequest>(parse_control_request(
      R"({"do":"acknowledge","alarms":"17,+1,+5,3","comment":"Ersatzteil für Lüfter 1","id":"a-1","ledger_id":"0f","on_behalf_of":"anna"})"));
  EXPECT_EQ(request.ledger_id, "0f");
  EXPECT_EQ(request.action.kind, ActionKind::kAcknowledge);
  EXPECT_EQ(request.action.alarms, (std::vector<ChangeNumber>{3, 17, 18, 23}));
  EXPECT_EQ(request.action.comment, "Ersatzteil für Lüfter 1");
  EXPECT_EQ(request.action.id, "a-1");
  EXPECT_EQ(request.action.on_behalf_of, "anna");
  EXPECT_EQ(request.action.person, "");
}

TEST(ControlRequest, AnAlarmThatComesTwiceCountsOnce) {
  EXPECT_EQ(action_in(R"({"do":"unshelve","alarms":"5,5,5"})").alarms, std::vector<ChangeNumber>{5});
}

TEST(ControlRequest, WhenAShelfEnds) {
  const OperatorAction shelf = action_in(R"({"do":"shelve","alarms":"5","for":7200,"comment":"c"})");
  EXPECT_EQ(shelf.lasts, 7200);
  const OperatorAction until =
      action_in(R"({"do":"maintain","dn":"sys/psu-1/","until":"2027-01-15T08:00:00Z","comment":"c"})");
  EXPECT_EQ(until.lasts, 0);
  EXPECT_EQ(until.until, 1'800'000'000);
  EXPECT_EQ(until.dn, "sys/psu-1");
}

TEST(ControlRequest, OtherActions) {
  EXPECT_EQ(action_in(R"({"do":"end_maintenance","dn":"sys"})").dn, "sys");
  EXPECT_EQ(action_in(R"({"do":"acknowledge_missed","through":0})").kind, ActionKind::kAcknowledgeMissed);
  EXPECT_EQ(action_in(R"({"do":"acknowledge_missed","through":17})").through, 17);
  EXPECT_FALSE(action_in(R"({"do":"acknowledge","alarms":"1","selection":false})").is_selection);
  EXPECT_TRUE(action_in(R"({"do":"acknowledge","alarms":"1","selection":true})").is_selection);
  EXPECT_EQ(action_in(R"({"do":"close","alarms":"1","comment":")" + std::string(1024, 'x') + "\"}").comment->size(),
            1024U);
}

struct Bad {
  std::string line;
  std::string complaint;
};

class BadControlRequest : public ::testing::TestWithParam<Bad> {};

TEST_P(BadControlRequest, IsRefusedWithTheReason) {
  try {
    parse_control_request(GetParam().line);
    FAIL() << GetParam().line;
  } catch (const BadRequest& bad) {
    EXPECT_EQ(std::string(bad.what()), GetParam().complaint);
  }
}

constexpr const char* kName = "; its name has 1 to 32 of the characters a-z, 0-9, '-', '_' and '.'";

INSTANTIATE_TEST_SUITE_P(
    Lines, BadControlRequest,
    ::testing::Values(Bad{"", "The request is not JSON"}, Bad{"status", "The request is not JSON"},
                      Bad{R"({"do":"status"} {})", "The request is not JSON"},
                      Bad{"{\"do\":\"st\xFFtus\"}", "The request is not JSON"},
                      Bad{"[]", "The request is not a flat JSON object"},
                      Bad{"7", "The request is not a flat JSON object"},
                      Bad{R"({"do":{"a":1}})", "The request is not a flat JSON object"},
                      Bad{R"({"do":{"a":{"b":1}}})", "The request is not a flat JSON object"},
                      Bad{R"({"do":"cursor","publisher":"a","through":[1]})", "The request is not a flat JSON object"},
                      Bad{std::string(30'000, '[') + std::string(30'000, ']'), "The request is not a flat JSON object"},
                      Bad{"{}", "The request has no member 'do'"}, Bad{R"({"do":7})", "The member 'do' must be a text"},
                      Bad{R"({"do":"status","do":"status"})", "A member of the request comes twice"},
                      Bad{R"({"do":"stop"})",
                          "The request 'do' is 'stop'; it may be 'status', 'cursor', 'forget' or an operator's action, "
                          "such as 'acknowledge'"},
                      Bad{R"({"do":"status","x":1})", "The member 'x' is not known in this request"},
                      Bad{R"({"do":"cursor","publisher":"a"})", "The request has no member 'through'"},
                      Bad{R"({"do":"cursor","through":1})", "The request has no member 'publisher'"},
                      Bad{R"({"do":"cursor","publisher":"a","through":-1})",
                          "The member 'through' must be the number of a change, or 0"},
                      Bad{R"({"do":"cursor","publisher":"a","through":1.0})",
                          "The member 'through' must be the number of a change, or 0"},
                      Bad{R"({"do":"cursor","publisher":"a","through":9223372036854775808})",
                          "The member 'through' must be the number of a change, or 0"},
                      Bad{R"({"do":"forget","publisher":""})", std::string("The publisher is ''") + kName},
                      Bad{R"({"do":"forget","publisher":"A"})", std::string("The publisher is 'A'") + kName},
                      Bad{R"({"do":"forget","publisher":"a\n"})", std::string("The publisher is 'a?'") + kName},
                      Bad{R"({"do":"forget","publisher":"012345678901234567890123456789012"})",
                          std::string("The publisher is '012345678901234567890123456789012'") + kName}));

std::string report_with(const std::string& member) {
  return R"({"do":"cursor","publisher":"a","through":1,)" + member + "}";
}

constexpr const char* kMoment = " must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'";
constexpr const char* kCount = " must be a whole number that is not negative";

INSTANTIATE_TEST_SUITE_P(
    Reports, BadControlRequest,
    ::testing::Values(
        Bad{report_with(R"("peer":7)"), "The member 'peer' must be a text"},
        Bad{report_with(R"("peer":"a\nb")"),
            "The member 'peer' has a character that cannot be shown, such as a control character or the end of a line"},
        Bad{report_with(R"("peer":")" + std::string(257, 'x') + "\""),
            "The member 'peer' has 257 bytes; at most 256 are allowed"},
        Bad{report_with(R"("last_error":"\u001b[2J")"),
            "The member 'last_error' has a character that cannot be shown, such as a control character or the end of a "
            "line"},
        Bad{report_with(R"("last_error":")" + std::string(513, 'x') + "\""),
            "The member 'last_error' has 513 bytes; at most 512 are allowed"},
        Bad{report_with(R"("connected":1)"), "The member 'connected' must be true or false"},
        Bad{report_with(R"("connected":"true")"), "The member 'connected' must be true or false"},
        Bad{report_with(R"("told":-1)"), std::string("The member 'told'") + kCount},
        Bad{report_with(R"("told":9223372036854775808)"), std::string("The member 'told'") + kCount},
        Bad{report_with(R"("lost":1.5)"), std::string("The member 'lost'") + kCount},
        Bad{report_with(R"("cut":"1")"), std::string("The member 'cut'") + kCount},
        Bad{report_with(R"("cut":true)"), std::string("The member 'cut'") + kCount},
        Bad{report_with(R"("last_success":"yesterday")"), std::string("The member 'last_success'") + kMoment},
        Bad{report_with(R"("last_success":1800000000)"), "The member 'last_success' must be a text"},
        Bad{report_with(R"("last_error_at":"2027-02-30T00:00:00Z")"),
            std::string("The member 'last_error_at'") + kMoment},
        Bad{report_with(R"("ledger_id":"")"), "The member 'ledger_id' is empty"},
        Bad{report_with(R"("ledger_id":")" + std::string(33, '0') + "\""),
            "The member 'ledger_id' has 33 bytes; at most 32 are allowed"},
        Bad{report_with(R"("behind":1)"), "The member 'behind' is not known in this request"},
        Bad{R"({"do":"forget","publisher":"a","peer":"b"})", "The member 'peer' is not known in this request"}));

constexpr const char* kList = "The member 'alarms' is not a list of numbers of alarms, as in '17,18,+5'";
constexpr const char* kShown =
    "The member 'comment' has a character that cannot be shown, such as a control character or the end of a line";

INSTANTIATE_TEST_SUITE_P(
    Actions, BadControlRequest,
    ::testing::Values(
        Bad{R"({"do":"acknowledge"})", "The request has no member 'alarms'"},
        Bad{R"({"do":"acknowledge","alarms":""})", "The member 'alarms' names no alarm"},
        Bad{R"({"do":"acknowledge","alarms":7})", "The member 'alarms' must be a text"},
        Bad{R"({"do":"acknowledge","alarms":"0"})", kList}, Bad{R"({"do":"acknowledge","alarms":"-1"})", kList},
        Bad{R"({"do":"acknowledge","alarms":"1,"})", kList}, Bad{R"({"do":"acknowledge","alarms":",1"})", kList},
        Bad{R"({"do":"acknowledge","alarms":"+1"})", kList}, Bad{R"({"do":"acknowledge","alarms":"1 2"})", kList},
        Bad{R"({"do":"acknowledge","alarms":"1,+-1"})", kList},
        Bad{R"({"do":"acknowledge","alarms":"99999999999999999999"})", kList},
        Bad{R"({"do":"acknowledge","alarms":"9223372036854775807,+1"})", kList},
        Bad{R"({"do":"acknowledge_missed"})", "The request has no member 'through'"},
        Bad{R"({"do":"acknowledge_missed","through":-1})", "The member 'through' must be the number of a change, or 0"},
        Bad{R"({"do":"acknowledge","alarms":"1","selection":1})", "The member 'selection' must be true or false"},
        Bad{R"({"do":"end_maintenance","dn":"sys//x"})",
            "The member 'dn' must be the DN of an object, as in 'sys/rack-unit-1/psu-1'"},
        Bad{R"({"do":"end_maintenance","dn":"sys/x "})",
            "The member 'dn' must be the DN of an object, as in 'sys/rack-unit-1/psu-1'"},
        Bad{R"({"do":"acknowledge","alarms":"1","dn":"sys"})", "The member 'dn' is not known in this request"},
        Bad{R"({"do":"acknowledge","alarms":"1","for":1})", "The member 'for' is not known in this request"},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":""})", "The member 'comment' is empty"},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":"  "})", "The member 'comment' is empty"},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":"a\nb"})", kShown},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":"\u001b[2J"})", kShown},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":"\u202e"})", kShown},
        Bad{R"({"do":"acknowledge","alarms":"1","comment":")" + std::string(1025, 'x') + "\"}",
            "The member 'comment' has 1025 bytes; at most 1024 are allowed"},
        Bad{R"({"do":"close","alarms":"1"})", "The request has no member 'comment'; the action 'close' wants one"},
        Bad{R"({"do":"shelve","alarms":"1","for":60})",
            "The request has no member 'comment'; the action 'shelve' wants one"},
        Bad{R"({"do":"comment","alarms":"1"})", "The request has no member 'comment'; the action 'comment' wants one"},
        Bad{R"({"do":"shelve","alarms":"1","comment":"c"})",
            "The request must have one of 'for', in seconds, and 'until', a time"},
        Bad{R"({"do":"shelve","alarms":"1","comment":"c","for":1,"until":"2027-01-15T08:00:00Z"})",
            "The request must have one of 'for', in seconds, and 'until', a time"},
        Bad{R"({"do":"shelve","alarms":"1","comment":"c","for":0})",
            "The member 'for' must be a number of seconds, from 1 to 2592000, which are 30 days"},
        Bad{R"({"do":"shelve","alarms":"1","comment":"c","until":"tomorrow"})",
            "The member 'until' must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'"},
        Bad{R"({"do":"maintain","dn":"/","for":1,"comment":"c"})",
            "The member 'dn' must be the DN of an object, as in 'sys/rack-unit-1/psu-1'"},
        Bad{R"({"do":"maintain","dn":")" + std::string(400, 'x') + R"(","for":1,"comment":"c"})",
            "The member 'dn' has 400 bytes; at most 79 are allowed"}));

}  // namespace control_request_test
}  // namespace polaiga::engine
