#include "messages/requests.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace polaiga::mqtt {
namespace requests_test {

const std::string kId = "0123456789abcdef0123456789abcdef";
const std::string kLedger = R"("ledger_id":")" + kId + R"(")";

template <class Parse>
std::string complaint(Parse parse, const std::string& payload) {
  try {
    parse(payload);
  } catch (const BadMessage& error) {
    return error.what();
  }
  return "none";
}

TEST(Requests, Ack) {
  EXPECT_EQ(parse_ack("{" + kLedger + R"(,"through":17})"), (Ack{kId, 17}));
  EXPECT_EQ(parse_ack("{" + kLedger + R"(,"through":0})"), (Ack{kId, 0}));
  EXPECT_EQ(parse_ack("{\"through\":9223372036854775807," + kLedger + "}"), (Ack{kId, INT64_MAX}));
}

TEST(Requests, WrongAcks) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "The message is not JSON"},
      {"17", "The message is not a JSON object"},
      {"[]", "The message is not a JSON object"},
      {"{" + kLedger + R"(,"through":17}x)", "The message is not JSON"},
      {"{}", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {R"({"ledger_id":"0123","through":1})",
       "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {R"({"ledger_id":"0123456789ABCDEF0123456789ABCDEF","through":1})",
       "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {"{" + kLedger + "}", "The member 'through' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"through":-1})", "The member 'through' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"through":1.0})", "The member 'through' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"through":"1"})", "The member 'through' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"through":9223372036854775808})",
       "The member 'through' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"through":1,"through":2})", "The member 'through' comes twice"},
      {"{" + kLedger + R"(,"through":1,"x":2})", "The member 'x' is not known"},
      {std::string(1025, ' '), "The message has 1025 bytes; at most 1024 are allowed"},
  };
  for (const auto& [payload, why] : cases) EXPECT_EQ(complaint(parse_ack, payload), why) << payload;
}

TEST(Requests, ReplayOfARange) {
  EXPECT_EQ(parse_replay("{" + kLedger + R"(,"first":3,"last":9,"id":"after the power cut"})"),
            (Replay{kId, 3, 9, "after the power cut"}));
  EXPECT_EQ(parse_replay("{" + kLedger + R"(,"first":3,"last":3})"), (Replay{kId, 3, 3, "3-3"}));
}

TEST(Requests, ReplayOfTheAlarms) {
  EXPECT_EQ(parse_replay("{" + kLedger + R"(,"alarms":true,"after":17,"id":"list 3"})"),
            (Replay{kId, 0, 0, "list 3", 17}));
  EXPECT_EQ(parse_replay("{" + kLedger + R"(,"alarms":true})"), (Replay{kId, 0, 0, "alarms-0", 0}));
}

TEST(Requests, WrongReplays) {
  const std::string range = R"(,"first":1,"last":2)";
  const std::string wrong_id = "The member 'id' must be a text of 1 to 64 bytes without control characters";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"{" + kLedger + R"(,"first":0,"last":2})", "The member 'first' must be the number of a change, 1 or more"},
      {"{" + kLedger + R"(,"first":1})", "The member 'last' must be the number of a change, 1 or more"},
      {"{" + kLedger + R"(,"first":3,"last":2})", "The member 'last' must not be less than 'first'"},
      {"{" + kLedger + range + R"(,"id":""})", wrong_id},
      {"{" + kLedger + range + R"(,"id":7})", wrong_id},
      {"{" + kLedger + range + R"(,"id":"a\u001bb"})", wrong_id},
      {"{" + kLedger + range + R"(,"id":")" + std::string(65, 'i') + "\"}", wrong_id},
      {"{" + kLedger + range + R"(,"od":"x"})", "The member 'od' is not known"},
      {"{" + kLedger + range + R"(,"alarms":true})", "The member 'first' is not known"},
      {"{" + kLedger + R"(,"alarms":false})", "The member 'alarms' must be true, or must not be there"},
      {"{" + kLedger + R"(,"alarms":1})", "The member 'alarms' must be true, or must not be there"},
      {"{" + kLedger + R"(,"alarms":true,"after":-1})", "The member 'after' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"alarms":true,"after":"1"})",
       "The member 'after' must be the number of a change, 0 or more"},
      {"{" + kLedger + R"(,"after":1})", "The member 'after' is not known"},
      {R"({"alarms":true})", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
  };
  for (const auto& [payload, why] : cases) EXPECT_EQ(complaint(parse_replay, payload), why) << payload;
}

TEST(Requests, ARefusalKnowsTheRequest) {
  try {
    parse_replay("{" + kLedger + R"(,"first":3,"last":2,"id":"mine"})");
    FAIL();
  } catch (const BadMessage& error) {
    EXPECT_EQ(error.id(), "mine");
  }
}

std::string action_with(const std::string& request, const std::string& more = "") {
  return "{" + kLedger + R"(,"id":"fleet-17","expires":"2026-11-23T03:00:00Z","person":"anna","request":)" + request +
         more + "}";
}

TEST(Requests, Action) {
  const std::string who = R"(,"id":"fleet-17","ledger_id":")" + kId + R"(","on_behalf_of":"anna"})";
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"({"do":"acknowledge","alarms":"3,+4","comment":"seen","selection":true})",
       R"({"do":"acknowledge","alarms":"3,+4","comment":"seen","selection":true)"},
      {R"({"alarms":"3","do":"unacknowledge"})", R"({"alarms":"3","do":"unacknowledge")"},
      {R"({"do":"close","alarms":"3","comment":"a \"b\"\n"})", R"({"do":"close","alarms":"3","comment":"a \"b\"\n")"},
      {R"({"do":"comment","alarms":"3","comment":"\u00e4"})", R"({"do":"comment","alarms":"3","comment":"ä")"},
      {R"({"do":"shelve","alarms":"3","comment":"x","for":60})",
       R"({"do":"shelve","alarms":"3","comment":"x","for":60)"},
      {R"({"do":"unshelve","alarms":"3"})", R"({"do":"unshelve","alarms":"3")"},
      {R"({"do":"maintain","dn":"sys/a","comment":"x","until":"2026-11-23T04:00:00Z"})",
       R"({"do":"maintain","dn":"sys/a","comment":"x","until":"2026-11-23T04:00:00Z")"},
      {R"({"do":"end_maintenance","dn":"sys/a"})", R"({"do":"end_maintenance","dn":"sys/a")"},
      {R"({"do":"acknowledge_missed","through":9})", R"({"do":"acknowledge_missed","through":9)"},
  };
  for (const auto& [request, told] : cases) {
    // 2026-11-23 03:00 UTC
    EXPECT_EQ(parse_action(action_with(request)), (Action{"fleet-17", kId, 1795402800, told + who})) << request;
  }
}

TEST(Requests, WrongActions) {
  const std::string acknowledge = R"({"do":"acknowledge","alarms":"3"})";
  const std::string no_action = "The member 'do' of 'request' must be an operator's action, such as 'acknowledge'";
  const std::vector<std::pair<std::string, std::string>> cases{
      {"[]", "The message is not a JSON object"},
      {"{}", "The member 'id' must be a text of 1 to 64 bytes without control characters"},
      {R"({"id":"\u0007"})", "The member 'id' must be a text of 1 to 64 bytes without control characters"},
      {R"({"id":"x"})", "The member 'ledger_id' must be the id of a ledger, 32 digits of 0-9 and a-f"},
      {R"({"id":"x",)" + kLedger + "}",
       "The member 'expires' must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'"},
      {R"({"id":"x",)" + kLedger + R"(,"expires":"2026-11-23"})",
       "The member 'expires' must be a time of RFC 3339, as in '2025-03-12T09:12:20Z'"},
      {R"({"id":"x",)" + kLedger + R"(,"expires":"2026-11-23T03:00:00Z"})",
       "The member 'person' must be a text of 1 to 64 bytes without control characters"},
      {R"({"id":"x",)" + kLedger + R"(,"expires":"2026-11-23T03:00:00Z","person":"a\nb"})",
       "The member 'person' must be a text of 1 to 64 bytes without control characters"},
      {action_with("7"), "The member 'request' must be a JSON object"},
      {action_with(acknowledge, R"(,"why":"x")"), "The member 'why' is not known"},
      {action_with(acknowledge, R"(,"id":"x")"), "The member 'id' comes twice"},
      {action_with("{}"), no_action},
      {action_with(R"({"do":7})"), no_action},
      {action_with(R"({"do":"status"})"), no_action},
      {action_with(R"({"do":"cursor"})"), no_action},
      {action_with(R"({"do":"forget"})"), no_action},
      {action_with(R"({"do":"settle"})"), no_action},
      {action_with(R"({"do":"comment","on_behalf_of":"ben"})"), "The member 'on_behalf_of' is not known"},
      {action_with(R"({"do":"comment","id":"y"})"), "The member 'id' is not known"},
      {action_with(R"({"do":"comment","ledger_id":"y"})"), "The member 'ledger_id' is not known"},
      {action_with(R"({"do":"comment","do":"settle"})"), "The member 'do' comes twice"},
      {action_with(R"({"do":"comment","alarms":[3]})"),
       "The member 'alarms' of 'request' must be a text, a whole number, true or false"},
      {action_with(R"({"do":"comment","alarms":{}})"),
       "The member 'alarms' of 'request' must be a text, a whole number, true or false"},
      {action_with(R"({"do":"shelve","for":1.5})"),
       "The member 'for' of 'request' must be a text, a whole number, true or false"},
      {action_with(R"({"do":"shelve","for":null})"),
       "The member 'for' of 'request' must be a text, a whole number, true or false"},
      {std::string(98305, ' '), "The message has 98305 bytes; at most 98304 are allowed"},
  };
  for (const auto& [payload, why] : cases) EXPECT_EQ(complaint(parse_action, payload), why) << payload;
}

// The page of a fleet lets an operator choose so many.
TEST(Requests, AnActionOnTenThousandAlarms) {
  std::string alarms = "1000000";
  for (int i = 1; i < 10'000; ++i) alarms += ",+123456";
  const Action action = parse_action(action_with(R"({"do":"acknowledge","alarms":")" + alarms + R"("})"));
  EXPECT_NE(action.request.find(alarms), std::string::npos);
}

TEST(Requests, ARefusalOfAnActionKnowsWhich) {
  try {
    parse_action(action_with(R"({"do":"settle"})"));
    FAIL();
  } catch (const BadMessage& error) {
    EXPECT_EQ(error.id(), "fleet-17");
  }
}

TEST(Requests, KeptPages) {
  using Pages = std::vector<std::size_t>;
  EXPECT_EQ(parse_kept_pages(R"({"pages":[]})"), Pages{});
  EXPECT_EQ(parse_kept_pages(R"({"count":3,"pages":[{"page":2,"number":7},{"page":0,"number":5},{"page":2}]})"),
            (Pages{0, 2}));
  EXPECT_EQ(complaint(parse_kept_pages, R"({"pages":[{"page":4096}]})"),
            "The member 'page' must be a number below 4096");
  EXPECT_EQ(complaint(parse_kept_pages, R"({"pages":[{"page":-1}]})"), "The member 'page' must be a number below 4096");
  EXPECT_EQ(complaint(parse_kept_pages, R"({"pages":[7]})"), "The member 'page' must be a number below 4096");
  EXPECT_EQ(complaint(parse_kept_pages, R"({"pages":7})"), "The member 'pages' must be a list");
  EXPECT_EQ(complaint(parse_kept_pages, "\xFF"), "The message is not JSON");
}

}  // namespace requests_test
}  // namespace polaiga::mqtt
