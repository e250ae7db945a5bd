#include "access/secrets.h"

#include <gtest/gtest.h>

#include <set>

namespace polaiga::web {
namespace secrets_test {

TEST(SecretsTest, DigestsAreThoseOfTheStandard) {
  // The first two examples of FIPS 180-2.
  EXPECT_EQ(hexadecimal(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hexadecimal(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(SecretsTest, RandomTextsAreNeverTheSame) {
  std::set<std::string> texts;
  for (int i = 0; i < 1000; ++i) texts.insert(random_text(32));
  EXPECT_EQ(texts.size(), 1000U);
  for (const std::string& text : texts) {
    EXPECT_EQ(text.size(), 64U);
    EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos);
  }
}

TEST(SecretsTest, EachKeyMakesOtherDigests) {
  const KeyedDigest one;
  const KeyedDigest other;
  EXPECT_EQ(one.of("text"), one.of("text"));
  EXPECT_NE(one.of("text"), one.of("Text"));
  EXPECT_NE(one.of("text"), other.of("text"));
}

TEST(SecretsTest, TextsAreCompared) {
  EXPECT_TRUE(are_equal("", ""));
  EXPECT_TRUE(are_equal("abc", "abc"));
  EXPECT_FALSE(are_equal("abc", "abd"));
  EXPECT_FALSE(are_equal("abc", "ab"));
  EXPECT_FALSE(are_equal("", "a"));
}

TEST(SecretsTest, ASecretLeavesNothingWhereItWas) {
  std::string text = "short";
  const char* const place = text.data();
  Secret first(std::move(text));
  EXPECT_EQ(first.view(), "short");
  EXPECT_EQ(std::string(place, 5), std::string(5, '\0'));
  Secret second(std::move(first));
  EXPECT_EQ(second.view(), "short");
  EXPECT_EQ(first.view(), "");  // NOLINT(bugprone-use-after-move): it is specified
  Secret third{std::string("other")};
  third = std::move(second);
  EXPECT_EQ(third.view(), "short");
}

}  // namespace secrets_test
}  // namespace polaiga::web
