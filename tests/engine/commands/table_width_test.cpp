// Tables fit the terminal that they are printed on, and are whole anywhere else.
#include <sstream>

#include "base/text_width.h"
#include "support/queries.h"

namespace polaiga::engine::test {
namespace table_width_test {

class TableWidth : public Queries {
 protected:
  // What a command prints on a terminal, without its exit status looked at.
  std::string on_terminal(const std::string& arguments, std::uint16_t columns, const std::string& set = "") const {
    const Ended got =
        shell_.run_on_terminal(set + " POLAIGA_LEDGER='" + path_ + "' \"$POLAIGA\" " + arguments, columns);
    EXPECT_EQ(got.status, 0) << arguments << ": " << got.out;
    return got.out;
  }

  void expect_to_fit(const std::string& arguments, std::uint16_t columns) const {
    const std::string whole = on_terminal(arguments, 0);
    const auto lines = lines_of(on_terminal(arguments, columns));
    EXPECT_EQ(lines.size(), lines_of(whole).size()) << arguments;
    int rows = 0;
    for (const std::string& line : lines) {
      if (!contains(line, "2025-")) continue;  // a heading, or the counts of a replay
      ++rows;
      EXPECT_LE(text_width(line), columns) << arguments << ": " << line;
    }
    EXPECT_GT(rows, 2) << arguments;
  }
};

TEST_F(TableWidth, OnATerminal) {
  for (const std::uint16_t columns : std::initializer_list<std::uint16_t>{80, 100, 132}) {
    for (const char* arguments : {"active", "active --color always", "active --color never", "history",
                                  "tail --no-follow", "tail --no-follow --color never", "replay '" POLAIGA_DAY "'"}) {
      expect_to_fit(arguments, columns);
    }
  }
}

// Of what `explain` prints, the tables.
TEST_F(TableWidth, OfExplain) {
  const auto lines = lines_of(on_terminal("explain " + kSlow, 80));
  bool in_table = false;
  int rows = 0;
  for (const std::string& line : lines) {
    if (line.empty()) in_table = false;
    if (in_table) {
      EXPECT_LE(text_width(line), 80U) << line;
      ++rows;
    }
    if (line == "Its faults" || line == "Its changes") in_table = true;
  }
  EXPECT_EQ(rows, 6);
}

TEST_F(TableWidth, TheDescriptionGivesWay) {
  const auto lines = lines_of(on_terminal("active --color never --entity front_panel", 90));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "SINCE                 SEVERITY  CODE   REPORTERS  OBJECT           DESCRIPTION");
  EXPECT_EQ(lines[1], "2025-01-01T00:05:00Z  critical  F0155  1          sys/rack-unit-1  FP_TEMP: Front Panel...");
  const auto change = lines_of(on_terminal("tail --no-follow --color never --severity critical", 90));
  ASSERT_EQ(change.size(), 1U);
  EXPECT_EQ(change[0], "     7  2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  FP_TEMP: Fron...  (raised)");
}

TEST_F(TableWidth, MeasuredInColumns) {
  // Each of these characters takes two columns and three bytes.
  write_ledger(path_, {{480,
                        "{\"entity\":\"fan\",\"sensor\":\"\xE9\xA2\xA8\xE6\x89\x87\xE9\xA2\xA8\",\"instance\":7,"
                        "\"offset\":3,\"state\":1}"}});
  expect_to_fit("active", 90);
  expect_to_fit("tail --no-follow", 90);
  const std::string fan = "2025-01-01T00:08:00Z  minor     F0395  1          sys/rack-unit-1/fan-module-1-7/fan-1  ";
  EXPECT_TRUE(contains(on_terminal("active --color never --newer-than 9999d", 105),
                       fan + "\xE9\xA2\xA8\xE6\x89\x87\xE9\xA2\xA8: Fan sp...\r\n"));
}

TEST_F(TableWidth, TheVariableColumns) {
  const std::string whole = on_terminal("active", 0);
  EXPECT_LE(text_width(lines_of(on_terminal("active", 200, "COLUMNS=90")).back()), 90U);
  EXPECT_EQ(on_terminal("active", 90, "COLUMNS=1000"), whole);
  for (const char* set : {"COLUMNS=", "COLUMNS=0", "COLUMNS=-5", "COLUMNS=90x", "COLUMNS=99999999999999999999999"}) {
    EXPECT_EQ(on_terminal("active", 0, set), whole) << set;
    EXPECT_EQ(on_terminal("active", 90, set), on_terminal("active", 90)) << set;
  }
}

TEST_F(TableWidth, WholeWhereThereIsNoTerminal) {
  for (const char* question : {"active", "history", "tail --no-follow"}) {
    const std::string whole = ask(question).out;
    EXPECT_EQ(shell_.run("COLUMNS=40 POLAIGA_LEDGER='" + path_ + "' \"$POLAIGA\" " + question).out, whole) << question;
    EXPECT_FALSE(contains(whole, "...")) << question;
  }
}

}  // namespace table_width_test
}  // namespace polaiga::engine::test
