#include "model/fault.h"

#include <gtest/gtest.h>

#include "support/record.h"

namespace polaiga::engine {
namespace fault_test {

using test::make_record;

TEST(OnlyClears, NeedsStateZeroAndNoOtherFault) {
  EXPECT_TRUE(only_clears(make_record({.code = 395, .clear_code = 395, .state = 0})));
  EXPECT_TRUE(only_clears(make_record({.code = 395, .clear_code = 0, .state = 0})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 396, .state = 0})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 395, .state = 1})));
  EXPECT_FALSE(only_clears(make_record({.code = 395, .clear_code = 0, .state = -1})));
}

TEST(FaultDn, HasFourDigitsAtLeast) {
  EXPECT_EQ(fault_dn("a", 7), "a/fault-F0007");
  EXPECT_EQ(fault_dn("sys/rack-unit-1", 743), "sys/rack-unit-1/fault-F0743");
  EXPECT_EQ(fault_dn("a", 1259), "a/fault-F1259");
  EXPECT_EQ(fault_dn("a", 12345), "a/fault-F12345");
  EXPECT_EQ(fault_dn("", 0), "/fault-F0000");
}

// 79 characters fit.
TEST(FaultDn, IsCutToItsField) {
  const std::string dn(75, 'x');
  EXPECT_EQ(fault_dn(dn, 395), dn + "/fau");
  EXPECT_EQ(fault_dn(std::string(67, 'x'), 395), std::string(67, 'x') + "/fault-F0395");
  EXPECT_EQ(fault_dn(std::string(68, 'x'), 395), std::string(68, 'x') + "/fault-F039");
  EXPECT_EQ(fault_dn(std::string(79, 'x'), 395), std::string(79, 'x'));
}

}  // namespace fault_test
}  // namespace polaiga::engine
