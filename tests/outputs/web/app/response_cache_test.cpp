#include "app/response_cache.h"

#include <gtest/gtest.h>

#include "http/answers.h"

namespace polaiga::web {
namespace response_cache_test {

class ResponseCacheTest : public ::testing::Test {
 protected:
  Response ask(const std::string& target, std::uint64_t version, const std::string& etag = "") {
    Request request;
    request.target = parse_target(target);
    if (!etag.empty()) request.headers["if-none-match"] = etag;
    return cache_.answer(request, version, [this](const Request& question) {
      ++made_;
      if (question.target.path.back() == "bad") return problem(400, "It is not right.");
      if (question.target.path.back() == "large") {
        return json_content(question, std::string(ResponseCache::kMostBytes + 1, 'x'));
      }
      return json_content(question, question.target.path.back() + std::to_string(made_));
    });
  }

  std::string body(const std::string& target, std::uint64_t version) { return *ask(target, version).body; }

  ResponseCache cache_;
  int made_ = 0;
};

TEST_F(ResponseCacheTest, AnAnswerIsMadeOnceForEachVersion) {
  EXPECT_EQ(body("/a", 1), "a1");
  EXPECT_EQ(body("/a", 1), "a1");
  EXPECT_EQ(body("/a", 2), "a2");
  EXPECT_EQ(body("/a", 2), "a2");
}

TEST_F(ResponseCacheTest, EachAddressHasItsOwnAnswer) {
  EXPECT_EQ(body("/x/a?b=c", 1), "a1");
  EXPECT_EQ(body("/x/a?b=d", 1), "a2");
  EXPECT_EQ(body("/x/a?b=c&d=e", 1), "a3");
  EXPECT_EQ(body("/x/a?b=c%26d%3De", 1), "a4");
  EXPECT_EQ(body("/x%2Fa", 1), "x/a5");
  EXPECT_EQ(body("/x/a", 1), "a6");
  EXPECT_EQ(body("/x/a?b=c", 1), "a1");
}

TEST_F(ResponseCacheTest, WhoHasTheAnswerIsToldSo) {
  const Response first = ask("/a", 1);
  const std::string etag = etag_of(*first.body);
  EXPECT_EQ(ask("/a", 1, etag).status, 304);
  EXPECT_EQ(ask("/a", 2, etag).status, 200) << "a2";
  EXPECT_EQ(ask("/a", 3, etag_of("a3")).status, 304) << "it is made for those who have it, too";
  EXPECT_EQ(ask("/a", 3).status, 200);
  EXPECT_EQ(made_, 3);
}

TEST_F(ResponseCacheTest, WhatIsWrongOrLargeOrManyIsNotRemembered) {
  EXPECT_EQ(ask("/bad", 1).status, 400);
  EXPECT_EQ(ask("/bad", 1).status, 400);
  EXPECT_EQ(made_, 2);
  EXPECT_EQ(body("/large", 1).size(), ResponseCache::kMostBytes + 1);
  EXPECT_EQ(body("/large", 1).size(), ResponseCache::kMostBytes + 1);
  EXPECT_EQ(made_, 4);
  for (std::size_t i = 0; i <= ResponseCache::kMostAnswers; ++i) ask("/many?i=" + std::to_string(i), 1);
  const int made = made_;
  ask("/many?i=0", 1);
  EXPECT_EQ(made_, made);
  ask("/many?i=" + std::to_string(ResponseCache::kMostAnswers), 1);
  EXPECT_EQ(made_, made + 1);
}

}  // namespace response_cache_test
}  // namespace polaiga::web
