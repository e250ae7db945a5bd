#include "ledger/range_text.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace range_text_test {

TEST(RangeTextTest, OneOrSeveral) {
  EXPECT_EQ(range_text("input", 5, 5), "input 5");
  EXPECT_EQ(range_text("input", 5, 6), "inputs 5 to 6");
}

TEST(RangeTextTest, WhatWasLost) {
  struct Case {
    GapRow gap;
    const char* text;
  };
  const Case cases[] = {
      {{.seq = 8, .last_seq = 8, .change = 9, .last_change = 8}, "input 8 was lost"},
      {{.seq = 8, .last_seq = 9, .change = 9, .last_change = 8}, "inputs 8 to 9 were lost"},
      {{.seq = 8, .last_seq = 8, .change = 9, .last_change = 9}, "input 8 and change 9 were lost"},
      {{.seq = 8, .last_seq = 9, .change = 9, .last_change = 12}, "inputs 8 to 9 and changes 9 to 12 were lost"},
      {{.seq = 8, .last_seq = 7, .change = 9, .last_change = 9}, "change 9 was lost"},
      {{.seq = 8, .last_seq = 7, .change = 9, .last_change = 10}, "changes 9 to 10 were lost"},
  };
  for (const Case& one : cases) EXPECT_EQ(lost_text(one.gap), one.text);
}

}  // namespace range_text_test
}  // namespace polaiga::engine
