#include "telling_alerts/telling.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "support/fake_post.h"
#include "support/ledger_fixture.h"
#include "support/manual_clock.h"

namespace polaiga::alertmanager {
namespace telling_test {

using engine::test::clears;
using engine::test::kAll;
using engine::test::moves;
using engine::test::raises;
using nlohmann::json;
using std::chrono::milliseconds;

constexpr engine::Moment kNow = 5000;

// An engine writes a ledger, and a telling follows it. The peers are the test itself.
class TellingTest : public engine::test::LedgerFixture {
 protected:
  void start(const std::string& alertmanager, const std::string& webhook) {
    Peers peers;
    if (!alertmanager.empty()) peers.alertmanagers.push_back(parse_address(alertmanager, Query::kRefused));
    if (!webhook.empty()) peers.webhooks.push_back(parse_address(webhook, Query::kAllowed));
    post_ = std::make_unique<test::FakePost>();
    telling_ = std::make_unique<Telling>(
        path_, peers, Identity{.controller = "web1", .site = "", .page_url = ""}, std::chrono::seconds(60),
        Surroundings{.post = *post_,
                     .clock = clock_,
                     .tell = [this](auto, const std::string& text) { said_ += text + "\n"; },
                     .random = [] { return std::uint64_t{0}; }});
    go_on();
  }

  void go_on() {
    for (int i = 0; i < 4; ++i) {
      clock_.pass(milliseconds(50));
      telling_->go_on();
    }
  }

  // An active alert is valid for minutes.
  std::string name_of(const json& alert) const {
    return alert.at("labels").at("dn").get<std::string>() + " " + alert.at("labels").at("severity").get<std::string>() +
           (alert.at("endsAt") <= engine::format_moment(clock_.wall()) ? " over" : "");
  }

  // What the Alertmanager is told, until there is no more; "; " between requests.
  std::string alerts(long status = 200) {
    std::string text;
    for (go_on(); post_->has_requests(); go_on()) {
      text += text.empty() ? "" : "; ";
      const json body = post_->answer(status);
      for (std::size_t i = 0; i < body.size(); ++i) text += (i == 0 ? "" : ", ") + name_of(body[i]);
      if (status >= 300) break;
    }
    return text;
  }

  // The ids of the events that the webhook is told, without the ledger's, and what they say is before.
  std::string events(long status = 200, int most = 1000) {
    std::string text;
    for (go_on(); most-- > 0 && post_->has_requests(); go_on()) {
      event_ = post_->answer(status);
      const auto id = event_.at("id").get<std::string>();
      text += (text.empty() ? "" : ", ") + id.substr(engine_->ledger.id().size() + 1);
      if (event_.at("data").contains("previous")) text += " after " + event_.at("data").at("previous").dump();
    }
    return text;
  }

  // Events that nothing comes of, until retention has taken the two changes before them.
  void pass_until_changes_are_gone() {
    for (int i = 0; i < 100 && engine::test::rows(path_, "SELECT watermark_change FROM ledger").at(0) != "2"; ++i) {
      for (int event = 0; event < 100; ++event) engine_->add({.reported = false});
      engine_->write();
    }
  }

  // Changes the file as a fault of the disk does.
  void change(const std::string& sql) const { engine::Database(path_, engine::Access::kReadWrite).exec(sql); }

  engine::ChangeNumber through() const { return telling_->reports().at(0).through; }

  // Notes the cursor as the engine does, and begins anew.
  void restart(const std::string& alertmanager, const std::string& webhook) {
    const auto report = telling_->reports().at(0);
    telling_.reset();
    engine_->ledger.set_cursor(report.publisher, report.through, kNow);
    start(alertmanager, webhook);
  }

  engine::test::ManualClock clock_{kNow};
  std::unique_ptr<test::FakePost> post_;
  std::unique_ptr<Telling> telling_;
  std::string said_;
  json event_;
};

TEST_F(TellingTest, AnAlertmanagerIsToldWhatIsActive) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  start("http://h/am", "");
  EXPECT_EQ(alerts(), "o minor");
  EXPECT_EQ(post_->last_url, "http://h/am/api/v2/alerts");
  EXPECT_EQ(through(), 1);
  engine_->write(moves("A", "o", 395, 396));
  EXPECT_EQ(alerts(), "o major, o minor over");
  engine_->write(clears("A", "o", 396, 4000));
  go_on();
  const json body = post_->answer();
  EXPECT_EQ(name_of(body.at(0)), "o major over");
  EXPECT_EQ(body.at(0).at("endsAt"), engine::format_moment(4000));  // as the ledger has it
  EXPECT_EQ(through(), 4);
}

TEST_F(TellingTest, TheCursorWaitsForTheAnswer) {
  open(kAll);
  start("http://h", "");
  engine_->write(raises("A", "o", 395));
  go_on();
  EXPECT_EQ(through(), 0);
  EXPECT_EQ(alerts(500), "o minor");
  EXPECT_EQ(through(), 0);
  EXPECT_EQ(telling_->reports().at(0).last_error, "the status 500");
  clock_.pass(1);
  EXPECT_EQ(alerts(), "o minor");
  EXPECT_EQ(through(), 1);
  EXPECT_TRUE(telling_->reports().at(0).is_connected);
}

// All levels that it can have been told of.
TEST_F(TellingTest, WhatEndedWhileTheProgramWasAwayEnds) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "stays", 395));
  start("http://h", "");
  EXPECT_EQ(alerts(), "o minor, stays minor");
  engine_->write(moves("A", "o", 395, 396));
  engine_->write(clears("A", "o", 396));
  engine_->write(raises("A", "new", 395));
  engine_->write(raises("A", "short", 397));
  engine_->write(clears("A", "short", 397));
  restart("http://h", "");
  EXPECT_EQ(alerts(), "stays minor, new minor, o minor over, o major over, short critical over");
  EXPECT_EQ(through(), 8);
}

// The alert was on its way when the program was killed, and the Alertmanager took it.
TEST_F(TellingTest, ACursorOfZeroEndsWhatMayHaveBeenTold) {
  open(kAll);
  start("http://h", "");
  engine_->write(raises("A", "o", 395));
  go_on();
  ASSERT_TRUE(post_->has_requests());
  ASSERT_EQ(through(), 0);
  engine_->write(clears("A", "o", 395));
  restart("http://h", "");
  EXPECT_EQ(alerts(), "o minor over");
  EXPECT_EQ(through(), 2);
}

// Or the alerts would expire meanwhile, and look like ones that have ended. They are valid for 300 seconds.
TEST_F(TellingTest, ALongPauseThatAnAlertmanagerAsksForIsCutShort) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  start("http://h", "http://h/hook");
  post_->try_after = std::chrono::seconds(300);
  post_->answer(503);
  post_->answer(503);
  clock_.pass(59);
  go_on();
  EXPECT_FALSE(post_->has_requests());
  clock_.pass(1);
  go_on();
  ASSERT_TRUE(post_->has_requests());
  post_->answer();
  EXPECT_EQ(post_->last_url, "http://h/api/v2/alerts");
  clock_.pass(58);
  go_on();
  EXPECT_FALSE(post_->has_requests());  // the webhook has the pause that it asked for
}

TEST_F(TellingTest, WhatCannotBeReadForOnePeerIsToldAndHoldsUpNoOther) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  const std::string name = publisher_name("alertmanager", parse_address("http://h", Query::kRefused));
  engine_->ledger.set_cursor(name, 1, kNow);
  change("UPDATE publisher_cursor SET change = -1");
  start("http://h", "http://h/hook");
  EXPECT_EQ(events(), "snapshot-1-1");
  for (int i = 0; i < 5; ++i, clock_.pass(1)) go_on();
  const std::string what = "http://h: what it is to be told cannot be read: " + path_ + ": ";
  EXPECT_NE(said_.find(what), std::string::npos) << said_;
  EXPECT_EQ(said_.find(what), said_.rfind(what)) << said_;
  go_on();
  EXPECT_GE(telling_->until_next(), milliseconds(1));
  EXPECT_EQ(telling_->reports().size(), 1U);
  engine_->write(clears("A", "o", 395));
  EXPECT_EQ(events(), "2 after 1");
  change("UPDATE publisher_cursor SET change = 1");
  EXPECT_EQ(alerts(), "o minor over");
  EXPECT_NE(said_.find("http://h: the ledger can be read again for it"), std::string::npos) << said_;
}

// The changes by which they ended are gone before the program has read them.
TEST_F(TellingTest, TheCursorWaitsForWhatEndedInAGap) {
  open({.events = 1, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395));
  start("http://h", "");
  EXPECT_EQ(alerts(), "o minor");
  engine_->write(clears("A", "o", 395));
  pass_until_changes_are_gone();
  engine_->write(raises("A", "p", 395));
  go_on();
  ASSERT_TRUE(post_->has_requests());
  EXPECT_EQ(through(), 1);
  EXPECT_EQ(alerts(), "o minor over, p minor");
  EXPECT_EQ(through(), 3);
}

TEST_F(TellingTest, ACursorOfAGoneChangeIsAGap) {
  open({.events = 1, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395));
  start("http://h", "");
  alerts();
  engine_->write(clears("A", "o", 395));
  pass_until_changes_are_gone();
  engine_->write(raises("A", "p", 395));
  restart("http://h", "");
  ASSERT_EQ(engine::test::rows(path_, "SELECT watermark_change FROM ledger"), std::vector<std::string>{"2"});
  EXPECT_EQ(alerts(), "p minor");
  EXPECT_EQ(telling_->reports().at(0).lost, 1U);
  EXPECT_NE(said_.find("the changes 2 to 2 were gone"), std::string::npos) << said_;
  EXPECT_EQ(through(), 3);
}

TEST_F(TellingTest, AWebhookIsToldEveryChangeInOrder) {
  open(kAll);
  start("", "http://h/hook?a=b");
  EXPECT_EQ(events(), "snapshot-0-1");
  engine_->write(raises("A", "o", 395));
  engine_->write(moves("A", "o", 395, 396));
  engine_->write(clears("A", "o", 396));
  EXPECT_EQ(events(), "1 after 0, 2 after 1, 3 after 2, 4 after 3");
  EXPECT_EQ(post_->last_url, "http://h/hook?a=b");
  EXPECT_EQ(event_.at("type"), "polaiga.change.cleared");
  EXPECT_EQ(event_.at("source"), "/polaiga/web1");
  EXPECT_EQ(event_.at("subject"), "o");
  EXPECT_EQ(through(), 4);
}

TEST_F(TellingTest, AWebhookThatFailsGetsTheSameAgain) {
  open(kAll);
  start("", "http://h");
  events();
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 395));
  EXPECT_EQ(events(500, 1), "1 after 0");
  EXPECT_EQ(through(), 0);
  EXPECT_FALSE(post_->has_requests());  // it is too early
  clock_.pass(1);
  EXPECT_EQ(events(), "1 after 0, 2 after 1");
}

TEST_F(TellingTest, AnEventThatIsRefusedAgainAndAgainIsPassedOver) {
  open(kAll);
  start("", "http://h");
  events();
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 395));
  for (unsigned i = 0; i < HookPeer::kMostRefusals; ++i, clock_.pass(30)) EXPECT_EQ(events(422, 1), "1 after 0");
  EXPECT_EQ(events(), "2 after 1");  // which says that one is missing
  EXPECT_EQ(telling_->reports().at(0).lost, 1U);
  EXPECT_NE(said_.find("the change 1 is refused again and again"), std::string::npos) << said_;
}

TEST_F(TellingTest, AWebhookGoesOnAtItsCursor) {
  open(kAll);
  start("", "http://h");
  events();
  for (const char* const dn : {"a", "b", "c"}) engine_->write(raises("A", dn, 395));
  EXPECT_EQ(events(200, 2), "1 after 0, 2 after 1");
  restart("", "http://h");
  EXPECT_EQ(events(), "3 after 2");
}

TEST_F(TellingTest, AGapIsToldAsOneAndThenThePicture) {
  open({.events = 1, .days = 0, .bytes = 0});
  start("", "http://h");
  events();
  engine_->write(raises("A", "a", 395));
  EXPECT_EQ(events(), "1 after 0");
  engine_->write(clears("A", "a", 395));
  pass_until_changes_are_gone();
  engine_->write(raises("A", "b", 395));
  restart("", "http://h");
  EXPECT_EQ(events(), "gap-2-2, snapshot-3-1");
  EXPECT_EQ(event_.at("data").at("alarms").size(), 1U);
  EXPECT_EQ(telling_->reports().at(0).lost, 1U);
  EXPECT_EQ(through(), 3);
  engine_->write(clears("A", "b", 395));
  EXPECT_EQ(events(), "4 after 3");
}

// As when an older copy of it took its place while the program was down.
TEST_F(TellingTest, ALedgerThatWasPutBackIsBegunWithItsPicture) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  for (const char* const name : {"alertmanager", "webhook"}) {
    engine_->ledger.set_cursor(publisher_name(name, parse_address("http://h", Query::kRefused)), 9, kNow);
  }
  start("http://h", "");
  EXPECT_EQ(alerts(), "o minor");
  EXPECT_EQ(through(), 1);
  EXPECT_EQ(telling_->reports().at(0).lost, 0U);
  start("", "http://h");
  EXPECT_EQ(events(), "gap-2-9, snapshot-1-1");
  EXPECT_EQ(through(), 1);
  EXPECT_EQ(telling_->reports().at(0).lost, 0U);
  EXPECT_NE(said_.find("put back to an earlier state"), std::string::npos) << said_;
}

// While the program still reads what happened before it was started.
TEST_F(TellingTest, ALedgerThatIsPutBackAmidTheCatchingUpEndsIt) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_.reset();
  const std::string copy = dir_.file("copy");
  std::filesystem::copy_file(path_, copy);
  open(kAll);
  for (int i = 0; i < 6 * static_cast<int>(output::FollowedLedger::kAtOnce); ++i) {
    engine_->add(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  }
  engine_->write();
  engine_->ledger.set_cursor(publisher_name("alertmanager", parse_address("http://h", Query::kRefused)), 1, kNow);
  engine_.reset();
  start("http://h", "");
  ASSERT_EQ(telling_->until_next(), milliseconds(0));
  for (const char* const end : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + end);
  std::filesystem::copy_file(copy, path_);
  for (int i = 0; i < 5; ++i, clock_.pass(1)) go_on();
  while (post_->has_requests()) {
    post_->answer();
    go_on();
  }
  EXPECT_GT(telling_->until_next(), milliseconds(0));
  EXPECT_EQ(through(), 1);
}

// The cursor of an empty ledger's picture is 0, as that of a peer that has taken nothing.
TEST_F(TellingTest, ACursorOfZeroGoesOnWithTheFirstChange) {
  open(kAll);
  start("", "http://h");
  EXPECT_EQ(events(), "snapshot-0-1");
  engine_->write(raises("A", "o", 395));
  telling_.reset();
  engine_->ledger.set_cursor(publisher_name("webhook", parse_address("http://h", Query::kRefused)), 0, kNow);
  start("", "http://h");
  EXPECT_EQ(events(), "1 after 0");
}

TEST_F(TellingTest, TheNumberBeforeIsFoundAfterARestart) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 395));
  engine_->ledger.set_cursor(publisher_name("webhook", parse_address("http://h", Query::kRefused)), 2, kNow);
  start("", "http://h");
  engine_->write(clears("A", "o", 395));
  EXPECT_EQ(events(), "3 after 2");
}

TEST_F(TellingTest, APictureComesInParts) {
  open(kAll);
  for (int i = 0; i < 130; ++i) engine_->add(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  engine_->write();
  start("", "http://h");
  EXPECT_EQ(events(200, 2), "snapshot-130-1, snapshot-130-2");
  EXPECT_EQ(through(), 0);
  EXPECT_EQ(events(), "snapshot-130-3");
  EXPECT_EQ(event_.at("data").at("parts"), 3);
  EXPECT_EQ(event_.at("data").at("alarms").size(), 2U);
  EXPECT_EQ(through(), 130);
}

TEST_F(TellingTest, AnotherLedgerIsBegunAnew) {
  open(kAll);
  engine_->write(raises("A", "old", 395));
  engine_->write(raises("A", "both", 395));
  start("http://h", "");
  EXPECT_EQ(alerts(), "old minor, both minor");
  engine_.reset();
  for (const char* const end : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + end);
  open(kAll);
  engine_->write(raises("A", "both", 395));
  go_on();
  clock_.pass(1);
  EXPECT_EQ(alerts(), "both minor, old minor over");
  EXPECT_EQ(through(), 1);
  EXPECT_EQ(telling_->reports().at(0).ledger_id, engine_->ledger.id());
}

TEST_F(TellingTest, ALedgerThatIsNotThereIsWaitedFor) {
  start("http://h", "http://h/hook");
  EXPECT_TRUE(telling_->reports().empty());
  open(kAll);
  engine_->write(raises("A", "o", 395));
  clock_.pass(1);
  go_on();
  EXPECT_EQ(telling_->reports().size(), 2U);
  EXPECT_TRUE(post_->has_requests());
}

}  // namespace telling_test
}  // namespace polaiga::alertmanager
