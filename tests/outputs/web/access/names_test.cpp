#include "access/names.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::web {
namespace names_test {

TEST(NamesTest, WhatIsAUserName) {
  const struct {
    std::string name;
    bool is_one;
  } kRows[] = {
      {"a", true},
      {"anna", true},
      {"anna.b@example.org", true},
      {"Änne Ö", true},
      {std::string(64, 'a'), true},
      {std::string(65, 'a'), false},
      {"", false},
      {"a:b", false},
      {" a", false},
      {"a ", false},
      {"#a", false},
      {"a\nb", false},
      {std::string("a\0b", 3), false},
      {"a\x7F", false},
      {"a\xC0\x80", false},
      {"a\xE2\x80\xAE", false},  // turns the direction of what follows
  };
  for (const auto& [name, is_one] : kRows) EXPECT_EQ(is_user_name(name), is_one) << name;
}

TEST(NamesTest, WhatIsAPassword) {
  const struct {
    std::string password;
    bool is_one;
  } kRows[] = {
      {"12345678", true},
      {"1234567", false},
      {std::string(128, 'x'), true},
      {std::string(129, 'x'), false},
      {"with : and #", true},
      {"ünïcödé", true},
      {"12345678\n", false},
      {std::string("1234\0005678", 9), false},
      {"12345678\xFF", false},
  };
  for (const auto& [password, is_one] : kRows) EXPECT_EQ(is_password(password), is_one) << password;
}

}  // namespace names_test
}  // namespace polaiga::web
