#include "ledger/mark.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ledger/columns.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace mark_test {

const std::string kId = "00112233445566778899aabbccddeeff";

class MarkTest : public testing::Test {
 protected:
  test::TempDir dir_;
  const std::string ledger_ = dir_.file("ledger.db");
};

TEST_F(MarkTest, SaysWhatWasWrittenLast) {
  EXPECT_FALSE(read_mark(ledger_));
  MarkFile file(ledger_);
  EXPECT_FALSE(read_mark(ledger_));
  file.write({kId, 1, 2, false, 77});
  file.write({kId, 9'000'000'000, 12, true, 78});
  const auto mark = read_mark(ledger_);
  ASSERT_TRUE(mark);
  EXPECT_EQ(mark->ledger_id, kId);
  EXPECT_EQ(mark->last_sequence, 9'000'000'000);
  EXPECT_EQ(mark->last_change, 12);
  EXPECT_TRUE(mark->is_damaged);
  EXPECT_EQ(mark->process, 78);
  EXPECT_EQ(dir_.read("ledger.db-mark"),
            "polaiga mark 1\nledger " + kId +
                "\ninput 0000000009000000000\nchange 0000000000000000012\ndamaged 1\nprocess 0000000078\n"
                "crc " +
                dir_.read("ledger.db-mark").substr(141));
}

TEST_F(MarkTest, AChangedByteMakesItNoMark) {
  MarkFile(ledger_).write({kId, 5, 6, false, 7});
  const std::string content = dir_.read("ledger.db-mark");
  for (std::size_t i = 0; i < content.size(); ++i) {
    std::string changed = content;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    dir_.write("ledger.db-mark", changed);
    EXPECT_FALSE(read_mark(ledger_)) << i;
  }
  dir_.write("ledger.db-mark", content.substr(1));
  EXPECT_FALSE(read_mark(ledger_));
  dir_.write("ledger.db-mark", content + "\n");
  EXPECT_FALSE(read_mark(ledger_));
  dir_.write("ledger.db-mark", content);
  EXPECT_TRUE(read_mark(ledger_));
}

TEST_F(MarkTest, NeverFollowsALink) {
  dir_.write("notes.txt", "mine");
  std::filesystem::create_symlink(dir_.file("notes.txt"), ledger_ + "-mark");
  const std::string refused = "the ledger's mark: it is a symbolic link, which is never followed; remove it";
  EXPECT_EQ(test::complaint_of([&] { MarkFile file(ledger_); }), ledger_ + "-mark: cannot open " + refused);
  EXPECT_EQ(test::complaint_of([&] { read_mark(ledger_); }), ledger_ + "-mark: cannot open " + refused);
  EXPECT_EQ(dir_.read("notes.txt"), "mine");
}

}  // namespace mark_test
}  // namespace polaiga::engine
