#include "ledger/joined_rows.h"

#include <gtest/gtest.h>

namespace polaiga::engine {
namespace joined_rows_test {

TEST(JoinedRowsTest, WhatIsGoneIsNamed) {
  EXPECT_EQ(gone("change", 17), "change 17 is gone, though it is still referred to");
  EXPECT_EQ(gone("fault", 1), "fault 1 is gone, though it is still referred to");
}

}  // namespace joined_rows_test
}  // namespace polaiga::engine
