#include "base/tab_separated.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace tab_separated_test {

constexpr std::array<std::string_view, 2> kColumns{"name", "value"};

// "LINE:CHARACTER column=text" of each cell, or what is complained of.
std::string read(const std::string& content) {
  std::string found;
  try {
    read_rows(content, "f.tsv", kColumns, [&](std::span<const Cell> cells) {
      for (const Cell& cell : cells) {
        found += std::to_string(cell.line) + ":" + std::to_string(cell.position) + " " + std::string(cell.column) +
                 "=" + std::string(cell.text) + ";";
      }
    });
  } catch (const TableError& error) {
    return error.what();
  }
  return found;
}

TEST(TabSeparated, Rows) {
  EXPECT_EQ(read("name\tvalue\na\t1\n"), "2:1 name=a;2:3 value=1;");
  EXPECT_EQ(read("# words\n\nname\tvalue\r\n\r\n\xC3\xBC\xC3\xBC\t\r\n#a\tb\n\tc"),
            "5:1 name=\xC3\xBC\xC3\xBC;5:4 value=;7:1 name=;7:2 value=c;");
  EXPECT_EQ(read("name\tvalue"), "");
}

TEST(TabSeparated, Complaints) {
  EXPECT_EQ(read(""), "f.tsv:1:1: name: there is no header line");
  EXPECT_EQ(read("# name\tvalue\n"), "f.tsv:1:1: name: there is no header line");
  EXPECT_EQ(read("name\tvalues\n"), "f.tsv:1:6: value: the header names this column 'values'");
  EXPECT_EQ(read("name\n"), "f.tsv:1:5: value: the line has 1 of 2 columns");
  EXPECT_EQ(read("name\tvalue\na\tb\tc\n"), "f.tsv:2:5: extra: the line has more than 2 columns");
  EXPECT_EQ(read("name\tvalue\n\na\n"), "f.tsv:3:2: value: the line has 1 of 2 columns");
}

TEST(TabSeparated, PartOfAFile) {
  std::size_t line = 0;
  const auto take = [&line](std::span<const Cell> cells) { line = cells[0].line; };
  read_rows("name\tvalue\n\na\t1\n", "f.tsv", kColumns, take, 7);
  EXPECT_EQ(line, 9U);
  const auto complaint = [&take](const std::string& content) {
    try {
      read_rows(content, "f.tsv", kColumns, take, 7);
    } catch (const TableError& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(complaint("name\tvalue\na\n"), "f.tsv:8:2: value: the line has 1 of 2 columns");
  EXPECT_EQ(complaint("\n"), "f.tsv:7:1: name: there is no header line");
}

TEST(TabSeparated, Files) {
  const test::TempDir dir;
  dir.write("f.tsv", std::string(10'000, 'x'));
  EXPECT_EQ(read_table_file(dir.file("f.tsv")).size(), 10'000U);
  EXPECT_EQ(read_table_file(dir.file("f.tsv"), 10'000).size(), 10'000U);
  const auto complaint = [&](const std::string& name, std::size_t most) {
    try {
      read_table_file(dir.file(name), most);
    } catch (const TableError& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(complaint("f.tsv", 9'999), dir.file("f.tsv") + ": the file has more than 9999 bytes");
  EXPECT_EQ(complaint("none.tsv", 1), dir.file("none.tsv") + ": cannot open: No such file or directory");
}

}  // namespace tab_separated_test
}  // namespace polaiga::engine
