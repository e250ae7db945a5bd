#include "access/cookies.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace cookies_test {

TEST(CookiesTest, ACookieIsFoundByItsName) {
  const struct {
    const char* header;
    std::optional<std::string_view> value;
  } kRows[] = {
      {"", std::nullopt},
      {"s", std::nullopt},
      {"s=", ""},
      {"s=1", "1"},
      {"a=2; s=1", "1"},
      {"s=1; a=2", "1"},
      {"a=2;s=1", "1"},
      {"xs=1", std::nullopt},
      {"S=1", std::nullopt},
      {"a=s=1", std::nullopt},
      {"s=1=2", "1=2"},
      {"a=\"x y\"; ;; =; s=1", "1"},  // what others put there does no harm
  };
  for (const auto& [header, value] : kRows) EXPECT_EQ(find_cookie(header, "s"), value) << header;
}

TEST(CookiesTest, WhatCannotBeTrustedIsNothing) {
  for (const char* const header : {"s=1; s=2", "s=1; s=1", "s=1, s=2", "s=\"1\"", "s=a b", "s=\x7F", "s=\xC3\xA4"}) {
    EXPECT_EQ(find_cookie(header, "s"), std::nullopt) << header;
  }
}

}  // namespace cookies_test
}  // namespace polaiga::web
