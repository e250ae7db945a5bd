#include "http/target.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace target_test {

using Path = std::vector<std::string>;
using Query = std::vector<std::pair<std::string, std::string>>;

TEST(TargetTest, PathAndQueryAreDecoded) {
  const struct {
    const char* text;
    Path path;
    Query query;
  } kRows[] = {
      {"/", {""}, {}},
      {"/api/v1/alarms", {"api", "v1", "alarms"}, {}},
      {"/api/", {"api", ""}, {}},
      {"/a?", {"a"}, {}},
      {"/a?b", {"a"}, {{"b", ""}}},
      {"/a?b=", {"a"}, {{"b", ""}}},
      {"/a?b=c=d", {"a"}, {{"b", "c=d"}}},
      {"/a?under=sys%2Frack-unit-1&text=too+hot", {"a"}, {{"under", "sys/rack-unit-1"}, {"text", "too hot"}}},
      {"/sys%2Frack/x+y", {"sys/rack", "x+y"}, {}},
      {"/%C3%A4?%c3%a4=%E2%82%AC", {"\u00e4"}, {{"\u00e4", "\u20ac"}}},
      {"/a?b=%3Cscript%3E", {"a"}, {{"b", "<script>"}}},
      {"/...", {"..."}, {}},
  };
  for (const auto& [text, path, query] : kRows) {
    const Target target = parse_target(text);
    EXPECT_EQ(target.path, path) << text;
    EXPECT_EQ(target.query, query) << text;
  }
}

TEST(TargetTest, WhatIsNoAddressIsRefusedWithTheReason) {
  std::string many = "/a?n0=1";
  for (int i = 1; i <= 32; ++i) many += "&n" + std::to_string(i) + "=1";
  const struct {
    std::string text;
    const char* why;
  } kRows[] = {
      {"", "The address does not begin with a slash"},
      {"http://host/", "The address does not begin with a slash"},
      {"*", "The address does not begin with a slash"},
      {"/a/../b", "The address has a segment of dots alone"},
      {"/a/%2e%2E", "The address has a segment of dots alone"},
      {"/.", "The address has a segment of dots alone"},
      {"/%", "The address has a % that two hexadecimal digits do not follow"},
      {"/%4", "The address has a % that two hexadecimal digits do not follow"},
      {"/%4g", "The address has a % that two hexadecimal digits do not follow"},
      {"/a?b=%x1", "The address has a % that two hexadecimal digits do not follow"},
      {"/%ff", "The address is not UTF-8"},
      {"/%c0%af", "The address is not UTF-8"},
      {"/\xff", "The address is not UTF-8"},
      {"/a%00", "The address has a character that cannot be shown, such as a control character"},
      {"/a?b=%0d%0aSet-Cookie:x", "The address has a character that cannot be shown, such as a control character"},
      {"/%e2%80%ae", "The address has a character that cannot be shown, such as a control character"},
      {"/a?b=1&b=2", "The address has the parameter 'b' twice"},
      {"/a?=1", "The address has a parameter without a name"},
      {"/a?b=1&&c=2", "The address has a parameter without a name"},
      {many, "The address has more than 32 parameters"},
      {"/" + std::string(4096, 'a'), "The address is longer than 4096 bytes"},
  };
  for (const auto& [text, why] : kRows) {
    try {
      parse_target(text);
      ADD_FAILURE() << text;
    } catch (const BadTarget& bad) {
      EXPECT_STREQ(bad.what(), why) << text;
    }
  }
}

TEST(TargetTest, ATargetIsWrittenAsItReads) {
  for (const char* text : {"/", "/api/v1/", "/a%2Fb/c%20d", "/a?b=c%26d&e=", "/%C3%A4?x=%2B"}) {
    EXPECT_EQ(target_text(parse_target(text)), text);
  }
  EXPECT_EQ(target_text(parse_target("/a:b?c=d+e&f")), "/a%3Ab?c=d%20e&f=");
}

TEST(TargetTest, AnythingCanBeEncoded) {
  EXPECT_EQ(percent_encoded("sys/rack-unit-1/a b"), "sys%2Frack-unit-1%2Fa%20b");
  EXPECT_EQ(percent_encoded("-._~aZ09"), "-._~aZ09");
  EXPECT_EQ(percent_encoded("\u00e4+&=%"), "%C3%A4%2B%26%3D%25");
}

}  // namespace target_test
}  // namespace polaiga::web
