#include "ledger/known_rows.h"

#include <gtest/gtest.h>

#include <string>

namespace polaiga::engine {
namespace known_rows_test {

TEST(KnownRows, AreFoundByWhatTheySay) {
  KnownRows known(100);
  EXPECT_EQ(known.find("a"), std::nullopt);
  known.add(7);
  EXPECT_EQ(known.find("b"), std::nullopt);
  EXPECT_EQ(known.find("a"), 7);
  EXPECT_EQ(known.find(std::string_view("a\0", 2)), std::nullopt);
  EXPECT_EQ(known.find(""), std::nullopt);
  known.clear();
  EXPECT_EQ(known.find("a"), std::nullopt);
}

TEST(KnownRows, BeginAnewWhenThereAreTooMany) {
  KnownRows known(3);
  for (Sequence row = 1; row <= 4; ++row) {
    known.find(std::to_string(row));
    known.add(row);
  }
  EXPECT_EQ(known.size(), 1U);
  EXPECT_EQ(known.find("1"), std::nullopt);
  EXPECT_EQ(known.find("4"), 4);
}

// The numbers are another implementation's: that of Python, with a key of zeros.
TEST(KnownRows, SipHashIsTheOneThatOthersKnow) {
  EXPECT_EQ(sip_hash("a", 0, 0), 0x407448D2B89B1813U);
  EXPECT_EQ(sip_hash("abcdefgh", 0, 0), 0x3F7B849C0B8E35EAU);
  EXPECT_EQ(sip_hash(std::string(100, 'x'), 0, 0), 0x12DE6D6E12E5750CU);
}

}  // namespace known_rows_test
}  // namespace polaiga::engine
