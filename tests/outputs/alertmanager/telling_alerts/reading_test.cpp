#include "telling_alerts/reading.h"

#include <gtest/gtest.h>

#include <vector>

#include "ledger/columns.h"
#include "support/manual_clock.h"

namespace polaiga::alertmanager {
namespace reading_test {

class ReadingTest : public testing::Test {
 protected:
  void fail(const char* why) {
    reading_.attempt("http://h", [why] { throw engine::LedgerError(why); });
  }
  void succeed() {
    reading_.attempt("http://h", [] {});
  }

  engine::test::ManualClock clock_{1000};
  std::vector<std::string> said_;
  Reading reading_{clock_, [this](engine::Priority, const std::string& text) { said_.push_back(text); }};
};

TEST_F(ReadingTest, TroubleThatLastsIsToldOnceAndSoIsItsEnd) {
  fail("row 1");
  EXPECT_TRUE(reading_.has_trouble());
  EXPECT_TRUE(said_.empty());
  for (int i = 0; i < 5; ++i) {
    clock_.pass(1);
    fail("row 1");
  }
  succeed();
  succeed();
  EXPECT_FALSE(reading_.has_trouble());
  EXPECT_EQ(said_, (std::vector<std::string>{
                       "http://h: what it is to be told cannot be read: row 1; it is tried again until it can be read",
                       "http://h: the ledger can be read again for it"}));
}

TEST_F(ReadingTest, OtherTroubleIsToldToo) {
  for (const char* const why : {"row 1", "row 1", "row 2", "row 2"}) {
    fail(why);
    clock_.pass(1);
  }
  EXPECT_EQ(said_.size(), 2U);
}

TEST_F(ReadingTest, TroubleThatIsShortIsNotTold) {
  for (int i = 0; i < 3; ++i) {
    fail("row 1");
    succeed();
    clock_.pass(2);
  }
  EXPECT_TRUE(said_.empty());
}

}  // namespace reading_test
}  // namespace polaiga::alertmanager
