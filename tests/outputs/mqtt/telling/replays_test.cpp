#include "telling/replays.h"

#include <gtest/gtest.h>

#include "support/fake_link.h"
#include "support/ledger_fixture.h"

namespace polaiga::mqtt {
namespace replays_test {

using engine::ChangeNumber;
using engine::test::kAll;
using engine::test::raises;
using nlohmann::json;
using test::json_of;
using Texts = std::vector<std::string>;

class ReplaysTest : public engine::test::LedgerFixture {
 protected:
  void SetUp() override {
    open(kAll);
    for (int i = 1; i <= 10; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
    feed_.emplace(path_);
  }

  void ask(ChangeNumber first, ChangeNumber last, const std::string& id) {
    replays_.take(R"({"ledger_id":")" + feed_->ledger_id() + R"(","first":)" + std::to_string(first) + R"(,"last":)" +
                      std::to_string(last) + R"(,"id":")" + id + "\"}",
                  feed_->ledger_id());
  }

  // What the messages say, in short.
  static std::string text(const Message& message) {
    const json value = json_of(message);
    const std::string id = value.value("replay", "?") + " ";
    if (value.contains("refused")) return id + "refused: " + value.at("refused").get<std::string>();
    if (value.contains("done"))
      return id + "done " + value.at("through").dump() + " after " + value.at("previous").dump();
    if (value.contains("alarms")) {
      std::string text = id + "alarms at " + value.at("number").dump() + " after " + value.at("after").dump() +
                         " through " + value.at("through").dump() + (value.at("last").get<bool>() ? " last:" : ":");
      for (const json& alarm : value.at("alarms")) {
        const std::string name = alarm.at("alarm");
        text += " " + name.substr(name.rfind('-') + 1);
      }
      return text;
    }
    if (value.contains("gap"))
      return id + "gap " + value.at("gap").at("first").dump() + " to " + value.at("gap").at("last").dump();
    return id + value.at("number").dump() + " after " + value.at("previous").dump();
  }

  // All that is told, of a broker that confirms.
  Texts told(std::size_t most = 1000) {
    Texts texts;
    for (int i = 0; i < 50; ++i) {
      while (replays_.go_on(most)) {
      }
      for (const auto& one : std::exchange(link_.sent, {})) {
        texts.push_back(text(one.message));
        EXPECT_TRUE(replays_.confirmed(one.id));
      }
    }
    EXPECT_TRUE(replays_.is_idle());
    return texts;
  }

  void ask_for_alarms(ChangeNumber after, const std::string& id) {
    replays_.take(R"({"ledger_id":")" + feed_->ledger_id() + R"(","alarms":true,"after":)" + std::to_string(after) +
                      R"(,"id":")" + id + "\"}",
                  feed_->ledger_id());
  }
  // An alarm of some 1,000 bytes or more.
  void add_alarm(ChangeNumber number, std::size_t bytes = 1000) {
    alarms_.insert_or_assign(
        number, output::OutputAlarm{.number = number, .description = std::string(bytes, 'd'), .was_told = true});
  }

  std::optional<engine::ChangeFeed> feed_;
  test::FakeLink link_;
  ChangeNumber number_ = 10;
  std::map<ChangeNumber, output::OutputAlarm> alarms_;
  engine::AlarmProfile profile_;
  Replays replays_{
      {.site = "lab", .controller = "rack-1"},
      "polaiga/v1/lab/rack-1/replayed",
      {.read = [this](ChangeNumber after, std::size_t most) { return feed_->next(after, most); },
       .told_before = [](ChangeNumber number) { return number; },
       .send = [this](const Message& message) { return link_.send(message); },
       .look =
           [this] {
             return Picture{.ledger_id = feed_->ledger_id(), .number = number_, .alarms = alarms_, .profile = profile_};
           }}};
};

TEST_F(ReplaysTest, ARange) {
  ask(3, 5, "x");
  EXPECT_EQ(told(), (Texts{"x 3 after 2", "x 4 after 3", "x 5 after 4", "x done 5 after 5"}));
}

TEST_F(ReplaysTest, AllThatThereIs) {
  ask(9, 9'000'000'000'000, "x");
  EXPECT_EQ(told(), (Texts{"x 9 after 8", "x 10 after 9", "x done 10 after 10"}));
}

TEST_F(ReplaysTest, NothingIsThereYet) {
  ask(12, 15, "x");
  EXPECT_EQ(told(), (Texts{"x done 10 after 10"}));
  ask(11, 15, "y");
  EXPECT_EQ(told(), (Texts{"y done 10 after 10"}));
}

TEST_F(ReplaysTest, AGap) {
  open({.events = 3, .days = 0, .bytes = 0});
  // Active faults keep their records, not their changes.
  for (int i = 11; i <= 20; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  const ChangeNumber oldest = feed_->oldest_number();
  ASSERT_GT(oldest, 4);
  ask(2, oldest, "x");
  EXPECT_EQ(told(), (Texts{"x gap 2 to " + std::to_string(oldest - 1),
                           "x " + std::to_string(oldest) + " after " + std::to_string(oldest - 1),
                           "x done " + std::to_string(oldest) + " after " + std::to_string(oldest)}));
  ask(2, 3, "y");
  EXPECT_EQ(told(), (Texts{"y gap 2 to 3", "y done 3 after 3"}));
}

TEST_F(ReplaysTest, OneAfterTheOtherAndNotTooMany) {
  for (const char* id : {"a", "b", "c", "d", "e", "f"}) ask(1, 1, id);
  const std::string refused = "f refused: 4 requests wait already; ask again when one of them is done";
  EXPECT_EQ(told(), (Texts{refused, "a 1 after 0", "a done 1 after 1", "b 1 after 0", "b done 1 after 1", "c 1 after 0",
                           "c done 1 after 1", "d 1 after 0", "d done 1 after 1", "e 1 after 0", "e done 1 after 1"}));
}

TEST_F(ReplaysTest, RefusalsAreFew) {
  for (int i = 0; i < 100; ++i) replays_.take("nonsense", feed_->ledger_id());
  EXPECT_EQ(link_.sent.size(), Replays::kMostAnswers);
  EXPECT_EQ(told().front(), "? refused: The message is not JSON");
}

TEST_F(ReplaysTest, AnotherLedger) {
  replays_.take(R"({"ledger_id":"ffffffffffffffffffffffffffffffff","first":1,"last":2,"id":"x"})", feed_->ledger_id());
  EXPECT_EQ(told(), (Texts{"x refused: The ledger is another one; read its id in 'status'"}));
}

TEST_F(ReplaysTest, FewAreOnTheirWayAtOnce) {
  ask(1, 10, "x");
  while (replays_.go_on(3)) {
  }
  EXPECT_EQ(link_.sent.size(), 3U);
  EXPECT_FALSE(replays_.go_on(3));
  EXPECT_EQ(told(3).size(), 11U);
}

TEST_F(ReplaysTest, AfterALossItBeginsAgain) {
  ask(1, 3, "x");
  while (replays_.go_on(1000)) {
  }
  EXPECT_EQ(link_.sent.size(), 4U);
  EXPECT_TRUE(replays_.confirmed(link_.sent.front().id));
  link_.sent.clear();
  replays_.again();
  EXPECT_EQ(told(), (Texts{"x 1 after 0", "x 2 after 1", "x 3 after 2", "x done 3 after 3"}));
}

TEST_F(ReplaysTest, WhatTheBrokerRefusesIsGivenUp) {
  ask(1, 3, "x");
  ask(4, 4, "y");
  EXPECT_FALSE(replays_.go_on(1));
  ASSERT_EQ(link_.sent.size(), 1U);
  const MessageId first = link_.sent.front().id;
  link_.sent.clear();
  EXPECT_TRUE(replays_.refused(first));
  EXPECT_EQ(told(), (Texts{"y 4 after 3", "y done 4 after 4"}));
}

TEST_F(ReplaysTest, WhenAllMessagesOfARequestAreRefusedTheNextOneIsAnswered) {
  ask(1, 3, "x");
  ask(4, 4, "y");
  while (replays_.go_on(1000)) {
  }
  const auto sent = std::exchange(link_.sent, {});
  ASSERT_EQ(sent.size(), 4U);
  for (const auto& one : sent) EXPECT_TRUE(replays_.refused(one.id));
  EXPECT_EQ(told(), (Texts{"y 4 after 3", "y done 4 after 4"}));
}

TEST_F(ReplaysTest, WhenTheLastMessageOfARequestIsRefusedTheNextOneIsAnswered) {
  ask(3, 3, "x");
  ask(4, 4, "y");
  while (replays_.go_on(1000)) {
  }
  const auto sent = std::exchange(link_.sent, {});
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_TRUE(replays_.confirmed(sent[0].id));
  EXPECT_TRUE(replays_.refused(sent[1].id));
  EXPECT_EQ(told(), (Texts{"y 4 after 3", "y done 4 after 4"}));
}

TEST_F(ReplaysTest, WithAnotherLedgerWhatWaitsIsRefused) {
  ask(1, 3, "x");
  ask(4, 4, "y");
  EXPECT_FALSE(replays_.go_on(1));
  const auto sent = std::exchange(link_.sent, {});
  ASSERT_EQ(sent.size(), 1U);
  replays_.forget();
  ask(5, 5, "z");
  // A late refusal is not of the request that came since.
  EXPECT_TRUE(replays_.refused(sent[0].id));
  const std::string why = " refused: The ledger is another one; read its id in 'status'";
  EXPECT_EQ(told(), (Texts{"x" + why, "y" + why, "z 5 after 4", "z done 5 after 5"}));
}

TEST_F(ReplaysTest, AlarmsInOnePart) {
  ask_for_alarms(0, "x");
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 0 through 10 last:"})) << "there is none";
  for (const ChangeNumber number : {3, 5, 9}) add_alarm(number);
  ask_for_alarms(0, "x");
  ask_for_alarms(3, "y");
  ask_for_alarms(9, "z");
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 0 through 10 last: 3 5 9",
                           "y alarms at 10 after 3 through 10 last: 5 9", "z alarms at 10 after 9 through 10 last:"}));
  ask_for_alarms(12, "x");
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 12 through 12 last:"})) << "no number goes back";
}

// They were silenced from their beginning, and their end is not told either.
TEST_F(ReplaysTest, AlarmsThatOutputsWereNotToldOfAreLeftOut) {
  for (const ChangeNumber number : {3, 5, 9}) {
    add_alarm(number);
    alarms_.at(number).was_told = number == 5;
  }
  ask_for_alarms(0, "x");
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 0 through 10 last: 5"}));
}

TEST_F(ReplaysTest, APartHasWhatFitsIntoAMessage) {
  // Two of 30,000 bytes fit into 65,536, three do not. One that does not fit at all is not left out.
  for (const ChangeNumber number : {1, 2, 3}) add_alarm(number, 30'000);
  add_alarm(4, 70'000);
  add_alarm(5);
  ask_for_alarms(0, "x");
  while (replays_.go_on(1000)) {
  }
  for (const auto& one : link_.sent) {
    const bool is_too_large = text(one.message) == "x alarms at 10 after 3 through 4: 4";
    EXPECT_EQ(one.message.payload.size() > 65536, is_too_large);
  }
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 0 through 2: 1 2", "x alarms at 10 after 2 through 3: 3",
                           "x alarms at 10 after 3 through 4: 4", "x alarms at 10 after 4 through 10 last: 5"}));
}

TEST_F(ReplaysTest, EachPartHasItsOwnNumber) {
  for (ChangeNumber number = 1; number <= 8; ++number) add_alarm(number, 60'000);
  ask_for_alarms(0, "x");
  EXPECT_FALSE(replays_.go_on(1));
  ASSERT_EQ(link_.sent.size(), 1U);
  EXPECT_EQ(text(link_.sent.front().message), "x alarms at 10 after 0 through 1: 1");
  const MessageId first = link_.sent.front().id;
  link_.sent.clear();
  EXPECT_TRUE(replays_.confirmed(first));
  alarms_.erase(2);
  add_alarm(12);
  number_ = 12;
  EXPECT_FALSE(replays_.go_on(1));
  ASSERT_EQ(link_.sent.size(), 1U);
  EXPECT_EQ(text(link_.sent.front().message), "x alarms at 12 after 1 through 3: 3");
}

TEST_F(ReplaysTest, FewPartsAreOnTheirWayAtOnce) {
  for (ChangeNumber number = 1; number <= 8; ++number) add_alarm(number, 60'000);
  ask_for_alarms(0, "x");
  while (replays_.go_on(1000)) {
  }
  EXPECT_EQ(link_.sent.size(), 4U);
  EXPECT_EQ(told().size(), 8U);
}

TEST_F(ReplaysTest, AfterALossTheAlarmsBeginAgain) {
  for (const ChangeNumber number : {1, 2}) add_alarm(number, 60'000);
  ask_for_alarms(0, "x");
  while (replays_.go_on(1000)) {
  }
  EXPECT_EQ(link_.sent.size(), 2U);
  EXPECT_TRUE(replays_.confirmed(link_.sent.front().id));
  link_.sent.clear();
  replays_.again();
  EXPECT_EQ(told(), (Texts{"x alarms at 10 after 0 through 1: 1", "x alarms at 10 after 1 through 10 last: 2"}));
}

TEST_F(ReplaysTest, NoLedgerYet) {
  replays_.take(R"({"ledger_id":"ffffffffffffffffffffffffffffffff","first":1,"last":2,"id":"x"})", "");
  EXPECT_EQ(told(), (Texts{"x refused: No ledger could be read yet; ask again when 'status' has its id"}));
}

}  // namespace replays_test
}  // namespace polaiga::mqtt
