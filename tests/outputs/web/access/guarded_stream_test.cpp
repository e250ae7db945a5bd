#include "access/guarded_stream.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace guarded_stream_test {

class Numbers final : public Stream {
 public:
  std::string next() override { return std::to_string(++number_); }
  bool is_over() const override { return number_ == 3; }

 private:
  int number_ = 0;
};

class SwitchedGate final : public Gate {
 public:
  std::variant<Caller, Response> admit(const Request& /*request*/) override { return Caller{}; }
  bool holds(const Caller& caller) override {
    asked_for = caller.name;
    return is_open;
  }

  bool is_open = true;
  std::string asked_for;
};

TEST(GuardedStreamTest, ItEndsWhenTheCallerMayNotReadItAnyMore) {
  SwitchedGate gate;
  GuardedStream stream(std::make_unique<Numbers>(), gate, {.name = "anna"}, std::chrono::milliseconds(0));
  EXPECT_EQ(stream.next(), "1");
  EXPECT_FALSE(stream.is_over());
  EXPECT_EQ(gate.asked_for, "anna");
  gate.is_open = false;
  EXPECT_EQ(stream.next(), "");
  EXPECT_TRUE(stream.is_over());
  gate.is_open = true;
  EXPECT_EQ(stream.next(), "") << "it stays over";
}

TEST(GuardedStreamTest, ItEndsWhenTheOtherDoes) {
  SwitchedGate gate;
  GuardedStream stream(std::make_unique<Numbers>(), gate, {}, std::chrono::milliseconds(0));
  for (int i = 0; i < 3; ++i) stream.next();
  EXPECT_TRUE(stream.is_over());
}

TEST(GuardedStreamTest, TheGateIsAskedNowAndThen) {
  SwitchedGate gate;
  GuardedStream stream(std::make_unique<Numbers>(), gate, {.name = "anna"}, std::chrono::hours(1));
  EXPECT_EQ(stream.next(), "1");
  EXPECT_EQ(gate.asked_for, "anna");
  gate.asked_for.clear();
  EXPECT_EQ(stream.next(), "2");
  EXPECT_EQ(gate.asked_for, "");
}

}  // namespace guarded_stream_test
}  // namespace polaiga::web
