#include "mapping/name_pattern.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::ipmi {
namespace name_pattern_test {

// "UNIT GROUP", or "no".
std::string match(const char* pattern, const std::string& name) {
  const auto numbers = NamePattern(pattern).match(name);
  return numbers ? std::to_string(numbers->unit) + " " + std::to_string(numbers->group) : "no";
}

TEST(NamePatternTest, PlainCharacters) {
  EXPECT_EQ(match("FAN", "FAN"), "0 0");
  EXPECT_EQ(match("FAN", "FAN1"), "no");
  EXPECT_EQ(match("FAN", "FA"), "no");
  EXPECT_EQ(match("FAN", "fan"), "no");
  EXPECT_EQ(match("FAN", ""), "no");
  EXPECT_EQ(match("F?N", "F.N"), "0 0");
  EXPECT_EQ(match("F?N", "FN"), "no");
  EXPECT_EQ(match("F?", "F"), "no");
}

TEST(NamePatternTest, Stars) {
  EXPECT_EQ(match("*", ""), "0 0");
  EXPECT_EQ(match("*", "anything"), "0 0");
  EXPECT_EQ(match("F*", "F"), "0 0");
  EXPECT_EQ(match("*N", "FAN"), "0 0");
  EXPECT_EQ(match("*N", "FANS"), "no");
  EXPECT_EQ(match("*A*A*", "BANANA"), "0 0");
  EXPECT_EQ(match("*NA", "BANANA"), "0 0");
  EXPECT_EQ(match("*?", ""), "no");
  EXPECT_EQ(match("**?", "x"), "0 0");
  // Not in a time that doubles with each star.
  EXPECT_EQ(match("*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*b", std::string(60, 'a')), "no");
}

TEST(NamePatternTest, Numbers) {
  EXPECT_EQ(match("FAN{unit}", "FAN12"), "12 0");
  EXPECT_EQ(match("FAN{unit}", "FAN007"), "7 0");
  EXPECT_EQ(match("FAN{unit}", "FAN"), "no");
  EXPECT_EQ(match("FAN{unit}", "FAN-1"), "no");
  EXPECT_EQ(match("FAN{unit}_*", "FAN3_TACH1"), "3 0");
  EXPECT_EQ(match("*{unit}*", "FAN3_TACH1"), "3 0");
  EXPECT_EQ(match("*{unit}*", "FAN34_TACH1"), "34 0");
  EXPECT_EQ(match("*{unit}", "FAN3_TACH12"), "12 0");
  EXPECT_EQ(match("*{unit}*", "FAN"), "no");
  EXPECT_EQ(match("SAS{group}_PD{unit}", "SAS11_PD3"), "3 11");
  EXPECT_EQ(match("*{group}_*{unit}*", "SAS11_PD3_STATUS"), "3 11");
  EXPECT_EQ(match("{unit}{group}", "12"), "no");  // all digits are the first number's
  EXPECT_EQ(match("F{unit}", "F999999999"), "999999999 0");
  EXPECT_EQ(match("F{unit}", "F1000000000"), "no");
  EXPECT_EQ(match("F{unit}2", "F12"), "no");
}

TEST(NamePatternTest, Complaints) {
  const auto complaint = [](const char* pattern) {
    const auto found = NamePattern::complaint(pattern);
    return found ? std::to_string(found->at) + " " + found->what : "none";
  };
  EXPECT_EQ(complaint("P*{unit}?{group}"), "none");
  EXPECT_EQ(complaint(""), "0 is empty; * stands for any name");
  EXPECT_EQ(complaint("P{units}"), "1 braces are for {unit} and {group} only");
  EXPECT_EQ(complaint("P}"), "1 braces are for {unit} and {group} only");
  EXPECT_EQ(complaint("{group}-{group}"), "8 has this number twice");
}

}  // namespace name_pattern_test
}  // namespace polaiga::ipmi
