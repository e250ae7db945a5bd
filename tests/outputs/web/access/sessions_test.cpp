#include "access/sessions.h"

#include <gtest/gtest.h>

#include "support/manual_clock.h"

namespace polaiga::web {
namespace sessions_test {

class SessionsTest : public ::testing::Test {
 protected:
  Sessions::Opened open(const std::string& name, TokenKind kind = TokenKind::kCookie) {
    return sessions_.open(name, "proof of " + name, kind, "192.0.2.7");
  }
  bool is_open(const Sessions::Opened& opened) { return sessions_.find(opened.token, opened.facts.kind).has_value(); }

  engine::test::ManualClock clock_{1'000'000};
  Sessions sessions_{
      clock_, {.idle = std::chrono::seconds(60), .lasts = std::chrono::seconds(300), .most = 4, .most_per_user = 2}};
};

TEST_F(SessionsTest, ASessionIsFoundByItsTokenAndById) {
  const auto opened = open("anna");
  EXPECT_EQ(opened.token.size(), 64U);
  const auto found = sessions_.find(opened.token, TokenKind::kCookie);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->name, "anna");
  EXPECT_EQ(found->proof, "proof of anna");
  EXPECT_EQ(found->id, opened.facts.id);
  EXPECT_EQ(sessions_.find_by_id(opened.facts.id).value_or(Sessions::Found{}).name, "anna");
  EXPECT_FALSE(sessions_.find(opened.facts.id, TokenKind::kCookie)) << "the id is public";
  EXPECT_FALSE(sessions_.find(opened.token, TokenKind::kHeader)) << "a cookie's token is none of a header";
  EXPECT_FALSE(sessions_.find("", TokenKind::kCookie));
  EXPECT_FALSE(sessions_.find_by_id(""));
}

TEST_F(SessionsTest, ASessionEndsWhenNobodyUsesIt) {
  const auto opened = open("anna");
  clock_.pass(59);
  EXPECT_TRUE(is_open(opened));
  clock_.pass(59);
  EXPECT_TRUE(sessions_.find_by_id(opened.facts.id));
  clock_.pass(60);
  EXPECT_FALSE(is_open(opened));
}

TEST_F(SessionsTest, ASessionEndsInAnyCase) {
  const auto opened = open("anna");
  for (int i = 0; i < 9; ++i) {
    clock_.pass(30);
    EXPECT_TRUE(is_open(opened));
  }
  clock_.pass(30);
  EXPECT_FALSE(is_open(opened));
}

TEST_F(SessionsTest, ASessionIsEnded) {
  const auto opened = open("anna");
  EXPECT_TRUE(sessions_.end(opened.facts.id));
  EXPECT_FALSE(sessions_.end(opened.facts.id));
  EXPECT_FALSE(is_open(opened));
}

TEST_F(SessionsTest, OneMoreEndsTheOneThatWasUsedLongestAgo) {
  const auto anna = open("anna");
  clock_.pass(1);
  const auto bob = open("bob");
  clock_.pass(1);
  const auto carl = open("carl");
  clock_.pass(1);
  const auto dora = open("dora");
  clock_.pass(1);
  EXPECT_TRUE(is_open(anna));
  const auto emil = open("emil");
  EXPECT_TRUE(is_open(anna));
  EXPECT_FALSE(is_open(bob));
  EXPECT_TRUE(is_open(emil));
  EXPECT_EQ(sessions_.list().size(), 4U);
}

TEST_F(SessionsTest, WhoLogsInAgainAndAgainEndsTheOwnSessions) {
  const auto bob = open("bob");
  clock_.pass(1);
  const auto first = open("anna");
  clock_.pass(1);
  const auto second = open("anna");
  clock_.pass(1);
  const auto third = open("anna");
  EXPECT_TRUE(is_open(bob));
  EXPECT_FALSE(is_open(first));
  EXPECT_TRUE(is_open(second));
  EXPECT_TRUE(is_open(third));
}

TEST_F(SessionsTest, SessionsAreListedInTheirOrder) {
  open("anna");
  clock_.pass(5);
  open("bob", TokenKind::kHeader);
  const auto all = sessions_.list();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].name, "anna");
  EXPECT_EQ(all[0].created, 1'000'000);
  EXPECT_EQ(all[0].address, "192.0.2.7");
  EXPECT_EQ(all[1].name, "bob");
  EXPECT_EQ(all[1].created, 1'000'005);
  EXPECT_EQ(all[1].kind, TokenKind::kHeader);
}

}  // namespace sessions_test
}  // namespace polaiga::web
