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
  };
  for (const auto& [payload, why] : cases) EXPECT_EQ(complaint(parse_replay, payload), why) << payload;
}

TEST(Requests, ARefusalKnowsTheRequest) {
  try {
    parse_replay("{" + kLedger + R"(,"first":3,"last":2,"id":"mine"})");
    FAIL();
  } catch (const BadMessage& error) {
    EXPECT_EQ(error.replay_id(), "mine");
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
