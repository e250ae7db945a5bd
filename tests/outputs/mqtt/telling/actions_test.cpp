#include "telling/actions.h"

#include <gtest/gtest.h>

#include <utility>

#include "support/fake_link.h"
#include "support/manual_clock.h"

namespace polaiga::mqtt {
namespace actions_test {

using nlohmann::json;
using test::json_of;
using Texts = std::vector<std::string>;

constexpr engine::Moment kNow = 1'795'402'800;  // 2026-11-23T03:00:00Z

class ActionsTest : public testing::Test {
 protected:
  // An action that expires after so many seconds.
  static std::string action(const std::string& id, int expires_in = 60, const std::string& what = "acknowledge") {
    return R"({"id":")" + id + R"(","ledger_id":"0123456789abcdef0123456789abcdef","expires":")" +
           engine::format_moment(kNow + expires_in) + R"(","person":"anna","request":{"do":")" + what +
           R"(","alarms":"3"}})";
  }

  void take(const std::string& id, int expires_in = 60) { actions_.take(action(id, expires_in)); }
  void engine_says(const std::string& line) { answer_ = {.is_there = true, .text = line}; }
  void engine_is_away() { answer_ = {.is_there = false, .text = "control.sock: no engine listens here"}; }

  // Which ids the engine was asked for.
  Texts asked() {
    actions_.go_on();
    Texts ids;
    for (const std::string& request : std::exchange(requests_, {})) ids.push_back(json::parse(request).at("id"));
    return ids;
  }
  // What is told, in short.
  Texts told(bool confirm = true) {
    actions_.go_on();
    actions_.tell();
    Texts texts;
    for (const auto& one : std::exchange(link_.sent, {})) {
      const json value = json_of(one.message);
      EXPECT_EQ(one.message.topic, "polaiga/v1/lab/rack-1/acted");
      EXPECT_EQ(value.at("site"), "lab");
      EXPECT_EQ(value.at("controller"), "rack-1");
      texts.push_back(value.at("id").get<std::string>() +
                      (value.at("done").get<bool>() ? " done" : ": " + value.at("why").get<std::string>()));
      EXPECT_EQ(value.contains("why"), !value.at("done").get<bool>());
      EXPECT_EQ(confirm && actions_.confirmed(one.id), confirm);
    }
    return texts;
  }

  engine::test::ManualClock clock_{kNow};
  test::FakeLink link_;
  Texts requests_;
  std::optional<Actions::Answer> answer_;
  Actions actions_{{.site = "lab", .controller = "rack-1"},
                   "polaiga/v1/lab/rack-1/acted",
                   {.clock = clock_,
                    .ask = [this](const std::string& request) { requests_.push_back(request); },
                    .take_answer = [this] { return std::exchange(answer_, std::nullopt); },
                    .send = [this](const Message& message) { return link_.send(message); }}};
};

TEST_F(ActionsTest, TheEngineIsAskedInThePersonsName) {
  take("a");
  actions_.go_on();
  EXPECT_EQ(requests_, Texts{R"({"do":"acknowledge","alarms":"3","id":"a",)"
                             R"("ledger_id":"0123456789abcdef0123456789abcdef","on_behalf_of":"anna"})"});
  EXPECT_EQ(told(), Texts{}) << "the engine has not answered";
  engine_says(R"({"seq":7,"changes":1})");
  EXPECT_EQ(told(), Texts{"a done"});
  EXPECT_TRUE(actions_.is_idle());
}

TEST_F(ActionsTest, WhatTheEngineSays) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {R"({"seq":7,"changes":0})", "x done"},
      {R"({"seq":7,"duplicate":true})", "x done"},
      {R"({"error":"The alarm 3 is over"})", "x: The alarm 3 is over"},
      {R"({"ok":true})",
       "x: The engine's answer is not understood, so it is not known whether the action was done; look at the alarms"},
      {"",
       "x: The engine's answer is not understood, so it is not known whether the action was done; look at the "
       "alarms"},
  };
  int number = 0;
  for (const auto& [line, text] : cases) {
    const std::string id = std::to_string(++number);
    take(id);
    actions_.go_on();
    engine_says(line);
    EXPECT_EQ(told(), Texts{id + text.substr(1)}) << line;
  }
}

TEST_F(ActionsTest, OneAfterTheOther) {
  for (const char* id : {"a", "b"}) take(id);
  EXPECT_EQ(asked(), Texts{"a"});
  EXPECT_EQ(asked(), Texts{});
  engine_says(R"({"seq":7,"changes":1})");
  EXPECT_EQ(asked(), Texts{"b"});
  EXPECT_EQ(actions_.until_next(), std::chrono::milliseconds(10));
  engine_says(R"({"error":"no"})");
  EXPECT_EQ(told(), (Texts{"a done", "b: no"}));
  EXPECT_EQ(actions_.until_next(), std::chrono::milliseconds(1000));
}

TEST_F(ActionsTest, ARepeatIsAnsweredAgain) {
  for (const char* id : {"a", "b"}) take(id);
  take("a");
  EXPECT_EQ(asked(), Texts{"a"});
  engine_says(R"({"seq":7,"changes":1})");
  EXPECT_EQ(asked(), Texts{"b"});
  take("b");
  engine_says(R"({"error":"no"})");
  EXPECT_EQ(told(), (Texts{"a done", "b: no"}));
  // The engine is not asked again, so what was refused is not done later.
  take("b");
  take("a");
  EXPECT_EQ(asked(), Texts{});
  EXPECT_EQ(told(), (Texts{"b: no", "a done"}));
}

TEST_F(ActionsTest, AnEngineThatIsAwayIsAskedAgain) {
  take("a");
  EXPECT_EQ(asked(), Texts{"a"});
  engine_is_away();
  EXPECT_EQ(asked(), Texts{});
  clock_.pass(2);
  EXPECT_EQ(asked(), Texts{"a"});
  engine_says(R"({"seq":7,"duplicate":true})");
  EXPECT_EQ(told(), Texts{"a done"});
}

TEST_F(ActionsTest, WhatHasExpiredIsRefused) {
  take("late", 0);
  EXPECT_EQ(told(), Texts{"late: It came after it had expired, by the clock of this controller"});
  take("a", 10);
  take("b", 10);
  take("c", 60);
  EXPECT_EQ(asked(), Texts{"a"});
  clock_.pass(10);
  EXPECT_EQ(told(), Texts{"b: It expired before the engine answered"}) << "the engine may be doing a";
  engine_is_away();
  EXPECT_EQ(told(), Texts{"a: It expired before the engine answered (control.sock: no engine listens here); it is not "
                          "known whether it was done"});
  clock_.pass(2);
  EXPECT_EQ(asked(), Texts{"c"});
  engine_says(R"({"seq":7,"changes":1})");
  EXPECT_EQ(told(), Texts{"c done"});
}

TEST_F(ActionsTest, AHundredWait) {
  for (int i = 1; i <= 101; ++i) take(std::to_string(i));
  EXPECT_EQ(told(), Texts{"101: 100 actions wait for the engine already; do it again later"});
}

TEST_F(ActionsTest, AnswersWaitForTheBrokerAndAreFew) {
  for (int i = 1; i <= 200; ++i) take(std::to_string(i), 0);
  EXPECT_THROW(take("x"), BadMessage);
  EXPECT_EQ(told(false).size(), 200U);
  EXPECT_EQ(told(false), Texts{}) << "they are on their way";
  actions_.again();
  EXPECT_EQ(told().size(), 200U);
  EXPECT_TRUE(actions_.is_idle());
  take("x");
  EXPECT_EQ(asked(), Texts{"x"});
}

TEST_F(ActionsTest, WhatTheBrokerRefusesIsGivenUp) {
  take("a", 0);
  actions_.tell();
  ASSERT_EQ(link_.sent.size(), 1U);
  EXPECT_FALSE(actions_.refused(link_.sent.front().id + 1));
  EXPECT_TRUE(actions_.refused(link_.sent.front().id));
  EXPECT_TRUE(actions_.is_idle());
}

TEST_F(ActionsTest, AThousandAreRemembered) {
  take("first");
  EXPECT_EQ(asked(), Texts{"first"});
  engine_says(R"({"seq":7,"changes":1})");
  EXPECT_EQ(told(), Texts{"first done"});
  for (int i = 1; i <= 1000; ++i) {
    take(std::to_string(i), 0);
    told();
  }
  take("1");
  EXPECT_EQ(told(), Texts{"1: It came after it had expired, by the clock of this controller"});
  take("first");
  EXPECT_EQ(asked(), Texts{"first"}) << "the engine knows what it did";
}

TEST_F(ActionsTest, NonsenseIsRefusedOrIgnored) {
  actions_.take(action("a", 60, "settle"));
  EXPECT_EQ(told(), Texts{"a: The member 'do' of 'request' must be an operator's action, such as 'acknowledge'"});
  EXPECT_THROW(actions_.take("nonsense"), BadMessage);
  EXPECT_TRUE(actions_.is_idle());
  EXPECT_EQ(asked(), Texts{});
}

}  // namespace actions_test
}  // namespace polaiga::mqtt
