#include "access/verified_passwords.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::web {
namespace verified_passwords_test {

class VerifiedPasswordsTest : public ::testing::Test {
 protected:
  engine::test::ManualClock clock_{1'000'000};
  VerifiedPasswords verified_{clock_};
  const User anna_{.name = "anna", .role = Role::kViewer, .hash = "hash"};
};

TEST_F(VerifiedPasswordsTest, OnlyTheSamePasswordOfTheSameUserIsFound) {
  EXPECT_FALSE(verified_.has(anna_, "correct horse"));
  verified_.add(anna_, "correct horse");
  EXPECT_TRUE(verified_.has(anna_, "correct horse"));
  EXPECT_FALSE(verified_.has(anna_, "correct hors"));
  EXPECT_FALSE(verified_.has(anna_, ""));
  EXPECT_FALSE(verified_.has({.name = "ann", .role = Role::kViewer, .hash = "hash"}, "correct horse"));
  EXPECT_FALSE(verified_.has({.name = "anna", .role = Role::kViewer, .hash = "other"}, "correct horse"))
      << "the password was changed";
}

TEST_F(VerifiedPasswordsTest, ItIsForgottenAfterFiveMinutes) {
  verified_.add(anna_, "correct horse");
  clock_.pass(299);
  EXPECT_TRUE(verified_.has(anna_, "correct horse"));
  clock_.pass(1);
  EXPECT_FALSE(verified_.has(anna_, "correct horse"));
}

TEST_F(VerifiedPasswordsTest, TheirNumberIsBounded) {
  verified_.add(anna_, "correct horse");
  clock_.pass(1);
  for (std::size_t i = 0; i < VerifiedPasswords::kMost; ++i) verified_.add(anna_, "password " + std::to_string(i));
  EXPECT_FALSE(verified_.has(anna_, "correct horse")) << "the oldest goes first";
  EXPECT_TRUE(verified_.has(anna_, "password 0"));
}

}  // namespace verified_passwords_test
}  // namespace polaiga::web
