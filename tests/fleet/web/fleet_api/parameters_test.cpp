#include "fleet_api/parameters.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace parameters_test {

TEST(ParametersTest, ListsOfNumbers) {
  using Numbers = std::vector<std::int64_t>;
  struct Case {
    const char* text;
    std::optional<Numbers> expected;
  };
  const Case cases[] = {
      {"3", Numbers{3}},
      {"3,+4", Numbers{3, 7}},
      {"3,4,+1", Numbers{3, 4, 5}},
      {"9,3", Numbers{3, 9}},
      {"3,3", Numbers{3}},
      {"", std::nullopt},
      {"0", std::nullopt},
      {"-1", std::nullopt},
      {"+3", std::nullopt},
      {"3,", std::nullopt},
      {",3", std::nullopt},
      {"3,+0", std::nullopt},
      {"3 ,4", std::nullopt},
      {"3;4", std::nullopt},
      {"1000000000000000", Numbers{1'000'000'000'000'000}},
      {"1000000000000001", std::nullopt},
      {"1000000000000000,+1", std::nullopt},
      {"1,2,3,4", std::nullopt},  // one more than allowed here
  };
  for (const Case& one : cases) EXPECT_EQ(parse_numbers(one.text, 3), one.expected) << one.text;
}

TEST(ParametersTest, AFilterOfAlarms) {
  const Target target = parse_target("/a?site=hall-b&severity=minor&state=shelved&unacknowledged&text=fan%25&group=7");
  const Parameters parameters(target, {"site", "severity", "state", "unacknowledged", "text", "group"});
  const fleet::AlarmFilter filter = read_alarm_filter(parameters);
  EXPECT_EQ(filter.site, "hall-b");
  EXPECT_EQ(filter.controller, "");
  EXPECT_EQ(filter.least, engine::Severity::kMinor);
  EXPECT_EQ(filter.state, engine::OperatorState::kShelved);
  EXPECT_TRUE(filter.is_unacknowledged);
  EXPECT_FALSE(filter.is_all);
  EXPECT_EQ(filter.text, "fan%");
  EXPECT_EQ(filter.group, 7);
}

TEST(ParametersTest, WhatIsNotRightIsRefused) {
  for (const char* const address :
       {"/a?site=hall.b", "/a?site=hall%20b", "/a?severity=bad", "/a?severity=none", "/a?state=new", "/a?group=0",
        "/a?group=x", "/a?unacknowledged=perhaps", "/a?controller=%27"}) {
    const Target target = parse_target(address);
    const Parameters parameters(target, {"site", "controller", "severity", "state", "unacknowledged", "group"});
    EXPECT_THROW(read_alarm_filter(parameters), BadParameter) << address;
  }
  EXPECT_THROW(Parameters(parse_target("/a?other=1"), {"site"}), BadParameter);
}

}  // namespace parameters_test
}  // namespace polaiga::web
