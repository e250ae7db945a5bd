#include "daemon/control_request.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace {

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

TEST(ControlRequest, Forget) {
  EXPECT_EQ(std::get<ForgetRequest>(parse_control_request(R"({"do":"forget","publisher":"snmp"})")).publisher, "snmp");
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
                      Bad{R"({"do":"stop"})", "The request 'do' is 'stop'; it may be 'status', 'cursor' or 'forget'"},
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

}  // namespace
}  // namespace polaiga::engine
