#include "model/alarm_profile.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/record.h"

namespace polaiga::engine {
namespace alarm_profile_test {

const std::string kHeader = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n";

AlarmProfile profile_of(const std::string& rows) { return {kHeader + rows, "f"}; }

// What is said of a file; "nothing" when it is right.
std::string complaint_about(const std::string& text) {
  try {
    AlarmProfile(text, "f");
  } catch (const TableError& error) {
    return error.what();
  }
  return "nothing";
}

// The same of one row, less the file and the line.
std::string about_row(const std::string& row) {
  const std::string what = complaint_about(kHeader + row + "\n");
  return what.starts_with("f:2:") ? what.substr(4) : what;
}

TEST(AlarmProfile, EveryColumnHasItsField) {
  const AlarmProfile profile = profile_of(
      "# of the plant\n\n"
      "F0410\tsys/rack-unit-1/board\tmajor\tyes\t4h\tThe intake is blocked.\tClean the filter mats.\n"
      "*\t**\t-\tno\t-\t-\t-\r\n");
  ASSERT_EQ(profile.entries().size(), 2U);
  EXPECT_EQ(profile.entries()[0], (ProfileEntry{.code = 410,
                                                .dn = "sys/rack-unit-1/board",
                                                .severity = Severity::kMajor,
                                                .notify = true,
                                                .respond_within = 14'400,
                                                .consequence = "The intake is blocked.",
                                                .advice = "Clean the filter mats."}));
  EXPECT_EQ(profile.entries()[1], (ProfileEntry{.code = std::nullopt,
                                                .dn = "**",
                                                .severity = std::nullopt,
                                                .notify = false,
                                                .respond_within = std::nullopt,
                                                .consequence = "",
                                                .advice = ""}));
}

TEST(AlarmProfile, WithoutAFileItSaysNothing) {
  EXPECT_EQ(AlarmProfile().find(395, "sys"), nullptr);
  EXPECT_EQ(AlarmProfile("", "f").entries().size(), 0U);
  EXPECT_EQ(AlarmProfile(kHeader, "f").find(395, "sys"), nullptr);
  EXPECT_EQ(AlarmProfile(kHeader, "f").text(), kHeader);
}

TEST(AlarmProfile, Codes) {
  const auto code_of = [](const std::string& code) {
    return profile_of(code + "\ta\t-\tyes\t-\t-\t-\n").entries()[0].code;
  };
  EXPECT_EQ(code_of("F0001"), 1U);
  EXPECT_EQ(code_of("F1783"), 1783U);
  EXPECT_EQ(code_of("F2147483647"), 2147483647U);
  EXPECT_EQ(code_of("*"), std::nullopt);
  for (const char* code : {"", "F", "F395", "f0395", "0395", "395", "F0000", "F00395", "F0395 ", " F0395", "F-395",
                           "F+395", "F2147483648", "F99999999999999999999", "F039x", "F*", "**", "-"}) {
    EXPECT_EQ(about_row(std::string(code) + "\ta\t-\tyes\t-\t-\t-"),
              std::string("1: code: '") + code + "' is neither * nor the code of a fault, as F0410");
  }
}

TEST(AlarmProfile, Severities) {
  const auto severity_of = [](const std::string& word) {
    return profile_of("*\ta\t" + word + "\tyes\t-\t-\t-\n").entries()[0].severity;
  };
  EXPECT_EQ(severity_of("-"), std::nullopt);
  EXPECT_EQ(severity_of("indeterminate"), Severity::kIndeterminate);
  EXPECT_EQ(severity_of("warning"), Severity::kWarning);
  EXPECT_EQ(severity_of("minor"), Severity::kMinor);
  EXPECT_EQ(severity_of("major"), Severity::kMajor);
  EXPECT_EQ(severity_of("critical"), Severity::kCritical);
  for (const char* word : {"", "cleared", "Major", "info", "3"}) {
    EXPECT_EQ(
        about_row(std::string("*\ta\t") + word + "\tyes\t-\t-\t-"),
        std::string("5: severity: '") + word + "' is none of indeterminate, warning, minor, major, critical and -");
  }
}

TEST(AlarmProfile, Notify) {
  EXPECT_TRUE(profile_of("*\ta\t-\tyes\t-\t-\t-\n").entries()[0].notify);
  EXPECT_FALSE(profile_of("*\ta\t-\tno\t-\t-\t-\n").entries()[0].notify);
  for (const char* word : {"", "-", "Yes", "true"}) {
    EXPECT_EQ(about_row(std::string("*\ta\t-\t") + word + "\t-\t-\t-"),
              std::string("7: notify: '") + word + "' is neither yes nor no");
  }
}

TEST(AlarmProfile, TimesToRespond) {
  const auto time_of = [](const std::string& time) {
    return profile_of("*\ta\t-\tyes\t" + time + "\t-\t-\n").entries()[0].respond_within;
  };
  EXPECT_EQ(time_of("-"), std::nullopt);
  EXPECT_EQ(time_of("1s"), 1);
  EXPECT_EQ(time_of("90m"), 5'400);
  EXPECT_EQ(time_of("4h"), 14'400);
  EXPECT_EQ(time_of("365d"), 31'536'000);
  EXPECT_EQ(time_of("31536000s"), 31'536'000);
  for (const char* time : {"", "0s", "4", "h", "-4h", "4 h", "4H", "4hh", "1.5h", "366d", "31536001s",
                           "99999999999999999999s", "9223372036854775807d"}) {
    EXPECT_EQ(about_row(std::string("*\ta\t-\tyes\t") + time + "\t-\t-"),
              std::string("11: respond_within: '") + time +
                  "' is neither - nor a time up to 365d, with s, m, h or d, such as 4h");
  }
}

TEST(AlarmProfile, Texts) {
  const std::string longest(512, 'x');
  const AlarmProfile profile = profile_of("*\ta\t-\tyes\t-\t" + longest +
                                          "\t\xC3\x9C"
                                          "berhitzung\n");
  const ProfileEntry& entry = profile.entries().at(0);
  EXPECT_EQ(entry.consequence, longest);
  EXPECT_EQ(entry.advice,
            "\xC3\x9C"
            "berhitzung");
  EXPECT_EQ(about_row("*\ta\t-\tyes\t-\t\t-"), "13: consequence: is empty; write - for nothing");
  EXPECT_EQ(about_row("*\ta\t-\tyes\t-\t-\t"), "15: advice: is empty; write - for nothing");
  EXPECT_EQ(about_row("*\ta\t-\tyes\t-\tx" + longest + "\t-"),
            "13: consequence: has 513 bytes; at most 512 are allowed");
  EXPECT_EQ(about_row("*\ta\t-\tyes\t-\t-\tx" + longest), "15: advice: has 513 bytes; at most 512 are allowed");
}

TEST(AlarmProfile, NothingThatCannotBeShown) {
  for (const std::string hostile :
       {"\x1b", "\b", "\x7f", "\xC2\x9B", "\xE2\x80\xAE", "\xE2\x80\x8B", "\xE2\x80\xA8", "\xEF\xBB\xBF", "\r"}) {
    EXPECT_EQ(about_row("*\ta\t-\tyes\t-\tab" + hostile + "c\t-"), "15: a character that cannot be shown") << hostile;
    EXPECT_EQ(about_row("# \xC3\xBC" + hostile + "c"), "4: a character that cannot be shown") << hostile;
  }
  for (const std::string broken : {"\xFF", "\xC3", "\xC0\xAF", "\xED\xA0\x80"}) {
    EXPECT_EQ(about_row("*\ta\t-\tyes\t-\tab" + broken + "\t-"), "15: not UTF-8");
  }
  EXPECT_EQ(about_row(std::string("*\ta\0", 4)), "4: a character that cannot be shown");
  EXPECT_EQ(complaint_about("\xEF\xBB\xBF" + kHeader), "f:1:1: a character that cannot be shown");
}

TEST(AlarmProfile, Header) {
  EXPECT_EQ(complaint_about("# nothing\n"), "f:1:1: code: there is no header line");
  EXPECT_EQ(complaint_about("F0395\ta\t-\tyes\t-\t-\t-\n"), "f:1:1: code: the header names this column 'F0395'");
  EXPECT_EQ(about_row("F0395\ta\t-"), "10: notify: the line has 3 of 7 columns");
  EXPECT_EQ(about_row("F0395\ta\t-\tyes\t-\t-\t-\tx"), "21: extra: the line has more than 7 columns");
}

TEST(AlarmProfile, GreatestNumberOfRows) {
  std::string rows;
  for (int i = 0; i < 1000; ++i) rows += "*\tunit-" + std::to_string(i) + "\t-\tyes\t-\t-\t-\n";
  EXPECT_EQ(complaint_about(kHeader + rows), "nothing");
  EXPECT_EQ(complaint_about(kHeader + rows + "*\tmore\t-\tyes\t-\t-\t-\n"),
            "f:1002:1: code: the table has more than 1000 rows");
}

TEST(AlarmProfile, Patterns) {
  EXPECT_EQ(about_row("*\t\t-\tyes\t-\t-\t-"), "3: dn: is empty");
  EXPECT_EQ(about_row("*\t" + std::string(80, 'x') + "\t-\tyes\t-\t-\t-"),
            "3: dn: has 80 bytes; at most 79 are allowed");
  EXPECT_EQ(about_row("*\tsys/\t-\tyes\t-\t-\t-"), "7: dn: a level of the DN is empty");
  EXPECT_EQ(about_row("*\t/sys\t-\tyes\t-\t-\t-"), "3: dn: a level of the DN is empty");
  EXPECT_EQ(about_row("*\tsys//a\t-\tyes\t-\t-\t-"), "7: dn: a level of the DN is empty");
  EXPECT_EQ(about_row("*\tsys/\xC3\xBC/b**\t-\tyes\t-\t-\t-"), "9: dn: ** must be a level of its own, as in sys/**");
  EXPECT_EQ(about_row("*\t***\t-\tyes\t-\t-\t-"), "3: dn: ** must be a level of its own, as in sys/**");
  EXPECT_EQ(about_row("*\tsys/**/a*b*\t-\tyes\t-\t-\t-"), "nothing");
}

TEST(AlarmProfile, WhatAPatternFits) {
  const struct {
    const char* pattern;
    const char* dn;
    bool fits;
  } kRows[] = {
      {"sys/a", "sys/a", true},         {"sys/a", "sys/ab", false},
      {"sys/a", "sys", false},          {"sys/a", "sys/a/b", false},
      {"sys/A", "sys/a", false},        {"sys/a*", "sys/a", true},
      {"sys/a*", "sys/abc", true},      {"sys/a*", "sys/a/b", false},  // a star stays within its level
      {"sys/*", "sys/a", true},         {"sys/*", "sys/a/b", false},
      {"sys/*", "sys", false},          {"sys/*/b", "sys/a/b", true},
      {"sys/*/b", "sys/a/c", false},    {"sys/*a*b", "sys/xaxbxab", true},
      {"sys/*a*b", "sys/xaxba", false}, {"sys/a*b*c", "sys/abbc", true},
      {"sys/a*b*c", "sys/acb", false},  {"*", "sys", true},
      {"*", "sys/a/b", true},  // alone it stands for every object
      {"**", "sys/a/b", true},          {"**", "", true},
      {"sys/**", "sys", true},  // the object and all below it
      {"sys/**", "sys/a", true},        {"sys/**", "sys/a/b", true},
      {"sys/**", "sysa/b", false},      {"**/b", "b", true},
      {"**/b", "sys/a/b", true},        {"**/b", "sys/a/b/c", false},
      {"sys/**/b", "sys/b", true},      {"sys/**/b", "sys/a/b/a/b", true},
      {"sys/**/b", "sys/ab", false},    {"**/a/*/c", "a/b/a/b/c", true},
      {"**/a/**/c", "x/a/c", true},     {"**/a/**/c", "x/a/c/d", false},
      {"sys/[ab]?", "sys/a1", false},  // only stars stand for something else
      {"sys/[ab]?", "sys/[ab]?", true},
  };
  for (const auto& row : kRows) EXPECT_EQ(fits(row.pattern, row.dn), row.fits) << row.pattern << " " << row.dn;
}

TEST(AlarmProfile, TheFirstRowThatFitsWins) {
  const AlarmProfile profile = profile_of(
      "F0395\tsys/fan-1\tcritical\tyes\t-\t-\t-\n"
      "*\tsys/fan-2\twarning\tyes\t-\t-\t-\n"
      "F0395\tsys/*\tmajor\tyes\t-\t-\t-\n"
      "F0396\t**\t-\tno\t-\t-\t-\n"
      "*\tsys/**\tminor\tyes\t-\t-\t-\n");
  const auto found = [&](std::uint32_t code, const char* dn) {
    const ProfileEntry* const entry = profile.find(code, dn);
    return entry == nullptr ? -1 : static_cast<int>(entry - profile.entries().data());
  };
  EXPECT_EQ(found(395, "sys/fan-1"), 0);
  EXPECT_EQ(found(395, "sys/fan-2"), 1);
  EXPECT_EQ(found(395, "sys/fan-3"), 2);
  EXPECT_EQ(found(395, "sys/fan-3/x"), 4);
  EXPECT_EQ(found(395, "other"), -1);
  EXPECT_EQ(found(396, "sys/fan-1"), 3);
  EXPECT_EQ(found(396, "sys/fan-2"), 1);
  EXPECT_EQ(found(396, "other"), 3);
  EXPECT_EQ(found(397, "sys"), 4);
  EXPECT_EQ(found(397, "other"), -1);
  EXPECT_EQ(profile.find("sys/fan-1/fault-F0395"), &profile.entries()[0]);
  EXPECT_EQ(profile.find("other/fault-F0396"), &profile.entries()[3]);
  EXPECT_EQ(profile.find("sys/fault-F0001/fault-F0397"), &profile.entries()[4]);
  for (const char* no_fault : {"", "sys/fan-1", "sys/fan-1/fault-F", "sys/fan-1/fault-F039x", "fault-F0396"}) {
    EXPECT_EQ(profile.find(no_fault), nullptr) << no_fault;
  }
}

TEST(AlarmProfile, NoRowThatAnotherBeforeItCovers) {
  const auto about = [](const std::string& first, const std::string& second) {
    const std::string rest = "\t-\tyes\t-\t-\t-\n";
    const std::string what = complaint_about(kHeader + first + rest + "# between\n" + second + rest);
    return what == "f:4:1: code: this row has no effect: line 2 already matches every fault that it matches" ? "covered"
                                                                                                             : what;
  };
  const std::pair<const char*, const char*> covered[] = {
      {"F0395\ta", "F0395\ta"},         {"*\ta", "F0395\ta"},         {"*\ta*", "*\tab*c"},
      {"F0395\t*", "F0395\tsys/a"},     {"*\t**", "*\tsys/*/b"},      {"*\t*", "*\t**"},
      {"*\tsys/**", "*\tsys"},          {"*\tsys/**", "*\tsys/a/**"}, {"*\tsys/*/b", "*\tsys/x*/b"},
      {"*\t**/b*", "F0001\tsys/**/b*b"}};
  for (const auto& [first, second] : covered) {
    EXPECT_EQ(about(first, second), "covered") << first << " " << second;
  }
  const std::pair<const char*, const char*> not_covered[] = {
      {"F0395\ta", "F0396\ta"},    {"F0395\ta", "*\ta"},          {"*\tab*c", "*\ta*"},
      {"*\tsys/*", "*\tsys/**"},   {"*\tsys/*/b", "*\tsys/**/b"}, {"*\tsys/a*", "*\tsys/*a"},
      {"*\tsys/a", "*\tsys/a/**"}, {"*\tsys/a/**", "*\tsys/**"}};
  for (const auto& [first, second] : not_covered) {
    EXPECT_EQ(about(first, second), "nothing") << first << " " << second;
  }
}

TEST(AlarmProfile, SeverityOfARecord) {
  using test::make_record;
  const AlarmProfile profile = profile_of("F0395\to/*\tcritical\tyes\t-\t-\t-\n*\to/**\t-\tno\t-\t-\t-\n");
  const auto word = [](const AlarmProfile& by, const test::RecordOf& record) {
    return severity_word(by.severity_of(make_record(record)));
  };
  EXPECT_EQ(word(profile, {.dn = "o/a", .code = 395}), "critical");
  EXPECT_EQ(word(profile, {.dn = "o/a/b", .code = 395}), "minor");
  EXPECT_EQ(word(profile, {.dn = "o/a", .code = 396}), "major");
  EXPECT_EQ(word(profile, {.dn = "p/a", .code = 395}), "minor");
  EXPECT_EQ(word(AlarmProfile(), {.dn = "o/a", .code = 395}), "minor");
  EXPECT_EQ(word(profile, {.dn = "o/a", .code = 395, .clear_code = 395, .state = 0}), "cleared");
}

}  // namespace alarm_profile_test
}  // namespace polaiga::engine
