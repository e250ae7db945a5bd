#include "simulated/teller.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fake_link.h"
#include "short_recording.h"

namespace polaiga::fleet::teller_test {

using mqtt::Message;
using mqtt::test::FakeLink;
using nlohmann::json;
using std::chrono::seconds;

const std::string kId = "0123456789abcdef0123456789abcdef";
const std::string kBelow = "polaiga/v1/lab/rack-1/";

class SimulatedTellerTest : public testing::Test {
 protected:
  explicit SimulatedTellerTest(engine::ChangeNumber kept = 1000)
      : teller_({.site = "lab", .controller = "rack-1"}, SimulatedLedger(recording_, kId, 0, kept), link_,
                seconds(30)) {
    at(100);
  }

  void at(int moment) { teller_.set_now({.steady = seconds(moment), .wall = moment}); }
  void make(int count) {
    for (int i = 0; i < count; ++i) teller_.make_change();
  }
  // What was sent of this topic; all of it is confirmed.
  std::vector<json> sent(const std::string& topic) {
    teller_.go_on();
    std::vector<json> found;
    for (const Message& message : link_.take(&teller_)) {
      if (message.topic == kBelow + topic) found.push_back(json::parse(message.payload));
    }
    return found;
  }
  static std::vector<int> numbers(const std::vector<json>& messages) {
    std::vector<int> found;
    for (const json& one : messages) found.push_back(one.value("number", -1));
    return found;
  }
  void take(const std::string& topic, json message) {
    if (!message.contains("ledger_id")) message["ledger_id"] = kId;
    teller_.on_message(kBelow + topic, message.dump(), false);
  }
  void come_up() {
    link_.come_up(teller_);
    link_.take(&teller_);
  }

  const Recording recording_{test::short_recording()};
  FakeLink link_;
  SimulatedTeller teller_;
};

TEST_F(SimulatedTellerTest, TheStatusSaysHowFarItIs) {
  make(4);
  link_.come_up(teller_);
  const auto status = sent("status");
  ASSERT_EQ(status.size(), 1U);
  EXPECT_EQ(status[0]["state"], "online");
  EXPECT_EQ(status[0]["ledger_id"], kId);
  EXPECT_EQ(status[0]["number"], 5);
  EXPECT_EQ(status[0]["oldest_number"], 1);
  EXPECT_EQ(status[0]["told"], 0);
  EXPECT_EQ(status[0]["at"], "1970-01-01T00:01:40Z");
  at(129);
  EXPECT_TRUE(sent("status").empty());
  at(130);
  EXPECT_EQ(sent("status").at(0)["told"], 5);
}

TEST_F(SimulatedTellerTest, ChangesAreToldWithTheNumberOfTheOneBefore) {
  come_up();
  make(4);
  const auto changes = sent("change");
  EXPECT_EQ(numbers(changes), (std::vector<int>{1, 2, 3, 5}));
  EXPECT_EQ(changes[0]["previous"], 0);
  EXPECT_EQ(changes[3]["previous"], 3);
  EXPECT_EQ(changes[3]["site"], "lab");
  EXPECT_EQ(changes[3]["controller"], "rack-1");
  EXPECT_FALSE(changes[3].contains("replay"));
}

TEST_F(SimulatedTellerTest, OnlyAnAcknowledgementMovesIt) {
  come_up();
  make(3);
  sent("change");
  at(102);
  take("ack", {{"through", 2}});
  EXPECT_EQ(teller_.waiting(), 1U);
  EXPECT_EQ(teller_.counts().acked, 2U);
  EXPECT_EQ(teller_.take_latencies(), (std::vector<SimulatedTeller::Steady>{seconds(2), seconds(2)}));
  take("ack", {{"through", 4}});
  EXPECT_EQ(teller_.waiting(), 1U) << "an acknowledgement beyond the ledger is ignored";
  take("ack", {{"through", 3}, {"ledger_id", std::string(32, '0')}});
  EXPECT_EQ(teller_.waiting(), 1U) << "and so is one of another ledger";
  take("ack", {{"through", 3}});
  EXPECT_EQ(teller_.waiting(), 0U);
}

TEST_F(SimulatedTellerTest, WhatWasNotAcknowledgedIsToldAgainAfterAConnectAndAfterEverLongerPauses) {
  come_up();
  make(2);
  EXPECT_EQ(sent("change").size(), 2U);
  link_.go_down(teller_);
  come_up();
  EXPECT_EQ(numbers(sent("change")), (std::vector<int>{1, 2}));
  at(129);
  EXPECT_TRUE(sent("change").empty());
  at(130);
  sent("status");  // it is due, too, and goes first
  EXPECT_TRUE(sent("change").empty());
  EXPECT_EQ(numbers(sent("change")), (std::vector<int>{1, 2}));
  at(189);
  sent("status");
  EXPECT_TRUE(sent("change").empty());
  at(190);
  EXPECT_TRUE(sent("change").empty());
  EXPECT_EQ(numbers(sent("change")), (std::vector<int>{1, 2}));
  EXPECT_EQ(teller_.counts().told_again, 2U);
}

TEST_F(SimulatedTellerTest, AtMostTwoThousandAreToldBeyondTheAcknowledgement) {
  link_.most = 10'000;
  come_up();
  make(2010);
  EXPECT_EQ(sent("change").size(), 2000U);
  take("ack", {{"through", 1}});
  EXPECT_EQ(sent("change").size(), 1U);
}

TEST_F(SimulatedTellerTest, AReplayHasTheChangesAndItsEnd) {
  come_up();
  make(6);
  sent("change");
  take("replay", {{"first", 3}, {"last", 6}, {"id", "x"}});
  const auto answers = sent("replayed");
  ASSERT_EQ(answers.size(), 4U);
  EXPECT_EQ(numbers(answers), (std::vector<int>{3, 5, 6, -1}));
  EXPECT_EQ(answers[1]["previous"], 3);
  EXPECT_EQ(answers[1]["replay"], "x");
  EXPECT_EQ(answers[3]["done"], true);
  EXPECT_EQ(answers[3]["through"], 6);
  EXPECT_EQ(answers[3]["previous"], 6);
  EXPECT_EQ(teller_.counts().replays, 1U);
}

TEST_F(SimulatedTellerTest, ARangeMayEndBeyondTheLedger) {
  come_up();
  make(3);
  sent("change");
  take("replay", {{"first", 3}, {"last", 900}, {"id", "x"}});
  const auto answers = sent("replayed");
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[1]["through"], 3);
}

class SimulatedTellerThatForgetsTest : public SimulatedTellerTest {
 protected:
  SimulatedTellerThatForgetsTest() : SimulatedTellerTest(2) {}
};

TEST_F(SimulatedTellerThatForgetsTest, WhatIsGoneIsAGap) {
  come_up();
  make(6);
  sent("change");
  take("replay", {{"first", 2}, {"last", 7}, {"id", "x"}});
  const auto answers = sent("replayed");
  ASSERT_EQ(answers.size(), 4U);
  EXPECT_EQ(answers[0]["gap"], (json{{"first", 2}, {"last", 5}}));
  EXPECT_EQ(answers[0]["previous"], 1);
  EXPECT_EQ(numbers(answers), (std::vector<int>{-1, 6, 7, -1}));
}

TEST_F(SimulatedTellerTest, TheListComesInPartsThatGoOnAfterEachOther) {
  come_up();
  make(3);
  sent("change");
  take("replay", {{"alarms", true}, {"id", "x"}});
  auto answers = sent("replayed");
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0]["replay"], "x");
  EXPECT_EQ(answers[0]["number"], 3);
  EXPECT_EQ(answers[0]["after"], 0);
  EXPECT_EQ(answers[0]["through"], 3);
  EXPECT_EQ(answers[0]["last"], true);
  ASSERT_EQ(answers[0]["alarms"].size(), 1U);
  EXPECT_EQ(answers[0]["alarms"][0]["alarm"], kId + "-1");
  take("replay", {{"alarms", true}, {"after", 1}, {"id", "y"}});
  answers = sent("replayed");
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0]["after"], 1);
  EXPECT_TRUE(answers[0]["alarms"].empty());
}

TEST_F(SimulatedTellerTest, RequestsThatAreNotRightAreRefused) {
  struct Case {
    json request;
    std::string why;
  };
  const std::vector<Case> cases = {
      {{{"first", 1}, {"last", 2}, {"ledger_id", std::string(32, '0')}}, "The ledger is another one"},
      {{{"first", 2}, {"last", 1}}, "The members 'first' and 'last' must be numbers of changes"},
      {{{"last", 1}}, "The members 'first' and 'last' must be numbers of changes"},
      {{{"alarms", true}, {"after", -1}}, "The member 'after' must be a number"},
  };
  come_up();
  for (const Case& one : cases) {
    take("replay", one.request);
    const auto answers = sent("replayed");
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0]["refused"], one.why);
  }
  link_.most = 0;  // so that no request is answered
  for (int i = 0; i < 6; ++i) take("replay", {{"first", 1}, {"last", 2}});
  EXPECT_EQ(sent("replayed").at(0)["refused"], "Too many requests wait");
  EXPECT_EQ(teller_.counts().refused, 5U);
}

TEST_F(SimulatedTellerTest, AnActionIsRefused) {
  come_up();
  take("action", {{"id", "fleet-17"}});
  const auto answers = sent("acted");
  ASSERT_EQ(answers.size(), 1U);
  EXPECT_EQ(answers[0]["id"], "fleet-17");
  EXPECT_EQ(answers[0]["done"], false);
}

TEST_F(SimulatedTellerTest, ABrokerThatConfirmsNothingIsGivenUp) {
  link_.come_up(teller_);
  at(131);
  teller_.go_on();
  EXPECT_EQ(link_.dropped, "the broker has not confirmed a message for 30 s");
}

TEST_F(SimulatedTellerTest, ABrokerThatLeavesOneMessageUnconfirmedIsGivenUp) {
  come_up();
  make(1);
  teller_.go_on();
  link_.sent.clear();  // the change, which is never confirmed
  at(130);
  EXPECT_EQ(sent("status").size(), 1U);
  EXPECT_EQ(link_.dropped, "");
  at(131);
  teller_.go_on();
  EXPECT_EQ(link_.dropped, "the broker has not confirmed a message for 30 s");
}

TEST_F(SimulatedTellerTest, WhenNothingIsAcknowledgedItSubscribesAgain) {
  come_up();
  make(1);
  sent("change");
  at(129);
  sent("change");
  EXPECT_EQ(link_.subscribed_again, 0);
  at(130);
  sent("status");  // it is due, too, and goes first
  sent("change");
  EXPECT_EQ(link_.subscribed_again, 1);
}

TEST_F(SimulatedTellerTest, AnAcknowledgementThatSaysNothingNewDoesNotKeepItFromTellingAgain) {
  come_up();
  make(2);
  sent("change");
  at(120);
  take("ack", {{"through", 0}});
  at(130);
  sent("status");  // it is due, too, and goes first
  EXPECT_TRUE(sent("change").empty());
  EXPECT_EQ(numbers(sent("change")), (std::vector<int>{1, 2}));
}

TEST_F(SimulatedTellerTest, TheLastWordIsThatItWasStopped) {
  come_up();
  teller_.say_goodbye();
  EXPECT_EQ(teller_.in_flight(), 1U);
  const auto status = sent("status");
  ASSERT_EQ(status.size(), 1U);
  EXPECT_EQ(status[0]["state"], "offline");
  EXPECT_EQ(status[0]["reason"], "stopped");
  EXPECT_EQ(teller_.in_flight(), 0U);
  const json will = json::parse(SimulatedTeller::will({.site = "lab", .controller = "rack-1"}));
  EXPECT_EQ(will["reason"], "lost");
}

}  // namespace polaiga::fleet::teller_test
