#include "access/password_hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <thread>

namespace polaiga::web {
namespace password_hash_test {

using Verdict = PasswordChecker::Verdict;

TEST(PasswordHashTest, EachHashHasItsSalt) {
  const std::string one = hash_password("correct horse");
  const std::string other = hash_password("correct horse");
  EXPECT_TRUE(one.starts_with("$y$"));
  EXPECT_TRUE(is_password_hash(one));
  EXPECT_NE(one, other);
}

TEST(PasswordHashTest, WhatIsNoYescryptHash) {
  const std::string digest(43, 'a');
  EXPECT_TRUE(is_password_hash("$y$j9T$salt$" + digest));
  for (const std::string& text :
       {std::string(), std::string("!"), std::string("$y$"), digest, "$6$salt$" + digest, "$y$j9T$" + digest,
        "$y$j9T$salt$" + digest + "a", "$y$j9T$salt$" + digest.substr(1), "$y$j9T$salt$" + digest + "$",
        "$y$$salt$" + digest, "$y$j9T$$" + digest, "$y$j9T$sa:t$" + digest, "$y$j9T$sa t$" + digest,
        "$y$j9T$" + std::string(400, 'a') + "$" + digest}) {
    EXPECT_FALSE(is_password_hash(text)) << text;
  }
}

TEST(PasswordHashTest, PasswordsAreChecked) {
  PasswordChecker checker;
  const std::string hash = hash_password("correct horse");
  EXPECT_EQ(checker.check("correct horse", hash), Verdict::kRight);
  EXPECT_EQ(checker.check("correct horsf", hash), Verdict::kWrong);
  EXPECT_EQ(checker.check("", hash), Verdict::kWrong);
  EXPECT_EQ(checker.check("correct horse", ""), Verdict::kWrong);
  EXPECT_EQ(checker.check("", ""), Verdict::kWrong);
}

// The processor time of the fastest of some checks, which others on the machine do not change.
double fastest(PasswordChecker& checker, const std::string& hash) {
  double best = 1e9;
  for (int i = 0; i < 5; ++i) {
    timespec begin = {};
    timespec end = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
    checker.check("wrong horse", hash);
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    best = std::min(
        best, static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e9);
  }
  return best;
}

TEST(PasswordHashTest, TheTimeDoesNotTellWhetherThereIsSuchAUser) {
  PasswordChecker checker;
  const double user = fastest(checker, hash_password("correct horse"));
  const double nobody = fastest(checker, "");
  EXPECT_GT(user, 0.001) << "a password is hashed";
  EXPECT_LT(nobody, 1.5 * user);
  EXPECT_LT(user, 1.5 * nobody);
}

TEST(PasswordHashTest, OnlyTwoAreCheckedAtOnce) {
  PasswordChecker checker;
  const std::string hash = hash_password("correct horse");
  std::atomic<int> busy = 0;
  std::atomic<int> right = 0;
  std::array<std::thread, 6> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      // Goes on until some had to be turned away, which happens at once when they run side by side.
      for (int i = 0; i < 1000 && busy == 0; ++i) {
        const Verdict verdict = checker.check("correct horse", hash);
        EXPECT_NE(verdict, Verdict::kWrong);
        ++(verdict == Verdict::kBusy ? busy : right);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(busy, 0);
  EXPECT_GT(right, 0);
  EXPECT_EQ(checker.check("correct horse", hash), Verdict::kRight) << "the places are free again";
}

}  // namespace password_hash_test
}  // namespace polaiga::web
