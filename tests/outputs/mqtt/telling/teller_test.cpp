#include "telling/teller.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <optional>

#include "ledger/sqlite.h"
#include "support/fake_link.h"
#include "support/ledger_fixture.h"
#include "support/manual_clock.h"

namespace polaiga::mqtt {
namespace teller_test {

using namespace std::chrono_literals;
using engine::ChangeNumber;
using engine::test::clears;
using engine::test::kAll;
using engine::test::raises;
using nlohmann::json;
using test::json_of;
using test::part_of;
using Texts = std::vector<std::string>;

class TellerTest : public engine::test::LedgerFixture {
 protected:
  void follow(ConfirmedBy by = ConfirmedBy::kBroker, bool accepts_actions = false) {
    ledger_.emplace(path_, clock_, [this](engine::Priority, const std::string& text) { said_.push_back(text); });
    teller_.emplace(Teller::Options{.publisher = "mqtt",
                                    .peer = "broker:1883",
                                    .origin = {.site = "lab", .controller = "rack-1"},
                                    .confirmed_by = by,
                                    .accepts_actions = accepts_actions},
                    Teller::Tools{.ledger = *ledger_,
                                  .link = link_,
                                  .clock = clock_,
                                  .tell = [this](engine::Priority, const std::string& text) { said_.push_back(text); },
                                  .report = [this](const output::Report& report) { report_ = report; },
                                  .is_engine_answering = [] { return true; },
                                  .is_of_use = [this] { ++uses_; },
                                  .ask_for_kept = [this](const std::string& topic) { asked_ = topic; },
                                  .ask_engine = [this](const std::string& request) { requests_.push_back(request); },
                                  .take_engine_answer = [this] { return std::exchange(answer_, std::nullopt); }});
  }

  // What a message says, in short: the topic, and of a change its number and the one before it.
  static std::string text(const Message& message) {
    const std::string part = part_of(message);
    if (part != "change") return part;
    const json value = json_of(message);
    if (value.contains("gap")) {
      return "gap " + value.at("gap").at("first").dump() + " to " + value.at("gap").at("last").dump() + " after " +
             value.at("previous").dump();
    }
    return value.at("number").dump() + " after " + value.at("previous").dump();
  }

  // Lets a second pass, and goes on until there is nothing more to do. What was sent; it is confirmed, too.
  Texts told(bool confirm = true, std::chrono::seconds pass = 1s) {
    clock_.pass(pass.count());
    Texts texts;
    for (int i = 0; i < 30; ++i) {
      teller_->go_on();
      clock_.pass(50ms);
      for (const Message& message : link_.take(confirm ? &*teller_ : nullptr)) texts.push_back(text(message));
    }
    return texts;
  }
  // The same without status and alarms.
  Texts changes(bool confirm = true, std::chrono::seconds pass = 1s) {
    Texts texts = told(confirm, pass);
    std::erase_if(texts, [](const std::string& one) { return one == "status" || one.starts_with("alarms"); });
    return texts;
  }

  void acknowledge(ChangeNumber through) {
    teller_->on_message("polaiga/v1/lab/rack-1/ack",
                        R"({"ledger_id":")" + engine_->ledger.id() + R"(","through":)" + std::to_string(through) + "}",
                        false);
  }

  engine::test::ManualClock clock_{1'800'000'000};
  test::FakeLink link_;
  Texts said_;
  output::Report report_;
  int uses_ = 0;
  std::string asked_;
  Texts requests_;
  std::optional<Actions::Answer> answer_;
  std::optional<output::FollowedLedger> ledger_;
  std::optional<Teller> teller_;
};

TEST_F(TellerTest, StatusThenAlarmsThenChanges) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  follow();
  EXPECT_EQ(told(), Texts{});
  link_.come_up(*teller_);
  EXPECT_EQ(asked_, "polaiga/v1/lab/rack-1/alarms");
  EXPECT_EQ(told(), (Texts{"status", "alarms/0", "alarms"}));
  engine_->write(raises("B", "p", 395));
  engine_->write(clears("A", "o", 395));
  EXPECT_EQ(changes(), (Texts{"2 after 1", "3 after 2"}));
  EXPECT_EQ(report_.through, 3);
  EXPECT_EQ(report_.told, 2U);
  EXPECT_EQ(report_.lost, 0U);
  EXPECT_EQ(report_.ledger_id, engine_->ledger.id());
  EXPECT_TRUE(report_.is_connected);
  EXPECT_EQ(uses_, 2);
}

TEST_F(TellerTest, ACursorTellsWhereToGoOn) {
  open(kAll);
  for (int i = 1; i <= 5; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  engine_->ledger.set_cursor("mqtt", 3, 1000);
  engine_->ledger.write({});
  follow();
  link_.come_up(*teller_);
  EXPECT_EQ(changes(), (Texts{"4 after 3", "5 after 4"}));
}

TEST_F(TellerTest, TheCursorWaitsForTheBroker) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(changes(false), (Texts{"1 after 0"}));
  EXPECT_EQ(report_.through, 0);
  link_.go_down(*teller_);
  told();
  EXPECT_FALSE(report_.is_connected);
  link_.come_up(*teller_);
  EXPECT_EQ(changes(), (Texts{"1 after 0"}));
  EXPECT_EQ(report_.through, 1);
}

TEST_F(TellerTest, NoMoreIsOnItsWayThanTheBrokerAllows) {
  open(kAll);
  follow();
  link_.most = 3;
  link_.come_up(*teller_);
  told();
  for (int i = 1; i <= 9; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  EXPECT_EQ(changes(false).size(), 3U);
  EXPECT_EQ(changes(false).size(), 0U);
}

TEST_F(TellerTest, ABrokerThatConfirmsNothingIsGivenUp) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  told(false, 10s);
  EXPECT_EQ(link_.dropped, "");
  told(false, 30s);
  EXPECT_EQ(link_.dropped, "the broker has not confirmed a message for 30 s");
}

TEST_F(TellerTest, ABrokerThatLeavesOneChangeUnconfirmedIsGivenUp) {
  open(kAll);
  follow();
  link_.most = 10;
  link_.come_up(*teller_);
  told();
  std::size_t sent = 0;
  MessageId first = 0;
  for (int i = 1; i <= 120 && link_.is_up(); ++i) {  // 36 s
    engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
    clock_.pass(300ms);
    teller_->go_on();
    for (const auto& one : std::exchange(link_.sent, {})) {
      const bool is_change = part_of(one.message) == "change";
      sent += is_change ? 1 : 0;
      if (is_change && first == 0) first = one.id;
      if (one.id != first) teller_->on_confirmed(one.id);
    }
  }
  EXPECT_EQ(link_.dropped, "the broker has not confirmed a message for 30 s");
  EXPECT_LE(sent, 2 * link_.most);
  EXPECT_EQ(report_.through, 0);
}

TEST_F(TellerTest, ABrokerThatConfirmsSlowlyIsKept) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  for (int i = 1; i <= 20; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  std::deque<MessageId> sent;
  for (int i = 0; i < 80; ++i) {
    clock_.pass(1s);
    teller_->go_on();
    for (const auto& one : std::exchange(link_.sent, {})) sent.push_back(one.id);
    if (i % 20 == 19 && !sent.empty()) {
      teller_->on_confirmed(sent.front());
      sent.pop_front();
    }
  }
  EXPECT_EQ(link_.dropped, "");
}

TEST_F(TellerTest, ABrokerThatDoesNotConfirmAReplayIsGivenUp) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  follow();
  link_.come_up(*teller_);
  told();
  teller_->on_message("polaiga/v1/lab/rack-1/replay",
                      R"({"ledger_id":")" + engine_->ledger.id() + R"(","first":1,"last":1})", false);
  teller_->go_on();
  EXPECT_EQ(link_.sent.size(), 2U);
  for (int i = 0; i < 40 && link_.is_up(); ++i) {
    clock_.pass(1s);
    teller_->go_on();
    for (const auto& one : std::exchange(link_.sent, {})) {
      if (part_of(one.message) != "replayed") teller_->on_confirmed(one.id);
    }
  }
  EXPECT_EQ(link_.dropped, "the broker has not confirmed a message for 30 s");
}

TEST_F(TellerTest, AfterAnHourOfAbsenceAllChangesAreTold) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  link_.go_down(*teller_);
  Texts want;
  for (int i = 1; i <= 60; ++i) {
    engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
    clock_.pass(1min);
    teller_->go_on();
    want.push_back(std::to_string(i) + " after " + std::to_string(i - 1));
  }
  EXPECT_EQ(report_.through, 0);
  link_.come_up(*teller_);
  EXPECT_EQ(changes(), want);
  EXPECT_EQ(report_.through, 60);
}

// As when the whole machine is put back to yesterday.
TEST_F(TellerTest, ACollectorIsToldThatTheLedgerWasPutBack) {
  open(kAll);
  engine_->write(raises("A", "o1", 395));
  engine_->write(raises("A", "o2", 395));
  engine_.reset();
  const std::string copy = dir_.file("copy.db");
  std::filesystem::copy_file(path_, copy);
  open(kAll);
  follow(ConfirmedBy::kCollector);
  link_.come_up(*teller_);
  told();
  for (int i = 3; i <= 6; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  EXPECT_EQ(changes(), (Texts{"3 after 2", "4 after 3", "5 after 4", "6 after 5"}));
  acknowledge(6);
  told();
  EXPECT_EQ(report_.through, 6);

  engine_.reset();
  for (const char* const more : {"-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + more);
  std::filesystem::rename(copy, path_);
  open(kAll);
  EXPECT_EQ(changes(), Texts{"gap 3 to 6 after 6"});
  // The gap is told again, too, even if the ledger has those numbers again.
  link_.go_down(*teller_);
  for (int i = 3; i <= 7; ++i) engine_->write(raises("B", ("p" + std::to_string(i)).c_str(), 395));
  link_.come_up(*teller_);
  const Texts want{"gap 3 to 6 after 6", "3 after 2", "4 after 3", "5 after 4", "6 after 5", "7 after 6"};
  EXPECT_EQ(changes(), want);
  acknowledge(2);
  acknowledge(4);
  told();
  EXPECT_EQ(report_.through, 4);
  acknowledge(7);
  told();
  EXPECT_EQ(report_.through, 7);
  EXPECT_EQ(changes(true, 3600s), Texts{});
}

// As when a virtual machine is put back to its snapshot: the cursor and the mark are those of then, too.
TEST_F(TellerTest, ACollectorWhoHasMoreIsToldThatTheLedgerWasPutBackMeanwhile) {
  open(kAll);
  for (int i = 1; i <= 3; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  engine_->ledger.set_cursor("mqtt", 2, 1000);
  engine_->ledger.write({});
  // The collector has all changes up to 6.
  follow(ConfirmedBy::kCollector);
  link_.come_up(*teller_);
  EXPECT_EQ(changes(), Texts{"3 after 2"});
  engine_->write(raises("B", "p", 395));
  EXPECT_EQ(changes(), Texts{"4 after 3"});
  acknowledge(6);
  acknowledge(6);
  EXPECT_EQ(changes(), (Texts{"gap 3 to 6 after 6", "3 after 2", "4 after 3"})) << "told once";
  // One that was on its way does not count any more, and the gap is told until it has arrived.
  acknowledge(6);
  EXPECT_EQ(changes(), Texts{});
  EXPECT_EQ(report_.through, 2);
  EXPECT_EQ(changes(true, 30s), (Texts{"gap 3 to 6 after 6", "3 after 2", "4 after 3"}));
  acknowledge(4);
  told();
  EXPECT_EQ(report_.through, 4);
  engine_->write(raises("C", "q", 395));
  EXPECT_EQ(changes(), Texts{"5 after 4"});
  acknowledge(5);
  EXPECT_EQ(changes(true, 3600s), Texts{});
  EXPECT_EQ(report_.through, 5);
}

TEST_F(TellerTest, NothingIsToldOfALedgerWhoseCursorCannotBeRead) {
  open(kAll);
  engine_->write(raises("A", "o1", 395));
  follow();
  link_.come_up(*teller_);
  told();
  const std::string before = engine_->ledger.id();
  engine_.reset();
  for (const char* const more : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + more);
  open(kAll);
  engine_->write(raises("A", "o1", 395));
  engine_->write(raises("A", "o2", 395));
  engine::Database(path_, engine::Access::kReadWrite).exec("ALTER TABLE publisher_cursor RENAME TO cursor_away");
  EXPECT_EQ(changes(), Texts{});
  EXPECT_EQ(report_.ledger_id, before);
}

TEST_F(TellerTest, WhatTheBrokerRefusesIsAnError) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  clock_.pass(1);
  teller_->go_on();
  const auto change =
      std::ranges::find_if(link_.sent, [](const auto& one) { return part_of(one.message) == "change"; });
  ASSERT_NE(change, link_.sent.end());
  teller_->on_refused(change->id, "Not authorized (reason 135)");
  EXPECT_EQ(link_.dropped,
            "the broker refuses a message of 'polaiga/v1/lab/rack-1/change': Not authorized (reason 135)");
  EXPECT_EQ(report_.through, 0);
}

TEST_F(TellerTest, TheAlarmsAreToldAtMostOnceASecond) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  int rounds = 0;
  for (int i = 1; i <= 100; ++i) {  // 5 s
    engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
    clock_.pass(50ms);
    teller_->go_on();
    for (const Message& message : link_.take(&*teller_)) rounds += part_of(message) == "alarms" ? 1 : 0;
  }
  EXPECT_GE(rounds, 4);
  EXPECT_LE(rounds, 6);
}

TEST_F(TellerTest, TheStatusIsRenewed) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  EXPECT_EQ(told(), (Texts{"status", "status", "alarms"}));  // once more, when there is a ledger
  EXPECT_EQ(told(true, 20s), Texts{});
  EXPECT_EQ(told(true, 10s), Texts{"status"});
}

TEST_F(TellerTest, AGapIsToldAndTheAlarmsAgain) {
  open({.events = 3, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395));
  follow();
  link_.come_up(*teller_);
  told();
  link_.go_down(*teller_);
  for (int i = 1; i <= 20; ++i) {
    engine_->write(raises("A", "p", 395));
    engine_->write(clears("A", "p", 395));
  }
  engine::ChangeFeed feed(path_);
  const ChangeNumber oldest = feed.oldest_number();
  ASSERT_GT(oldest, 2);
  link_.come_up(*teller_);
  Texts want{"gap 2 to " + std::to_string(oldest - 1) + " after 1"};
  for (ChangeNumber i = oldest; i <= 41; ++i) want.push_back(std::to_string(i) + " after " + std::to_string(i - 1));
  const Texts got = told();
  Texts only_changes = got;
  std::erase_if(only_changes, [](const std::string& one) { return one == "status" || one.starts_with("alarms"); });
  EXPECT_EQ(only_changes, want);
  EXPECT_EQ(std::ranges::count(got, "alarms"), 2);
  EXPECT_EQ(report_.lost, static_cast<std::uint64_t>(oldest - 2));
  EXPECT_EQ(report_.through, 41);
}

TEST_F(TellerTest, ACollectorConfirms) {
  open(kAll);
  follow(ConfirmedBy::kCollector);
  link_.come_up(*teller_);
  told();
  for (int i = 1; i <= 3; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  EXPECT_EQ(changes(), (Texts{"1 after 0", "2 after 1", "3 after 2"}));
  EXPECT_EQ(report_.through, 0);
  acknowledge(2);
  told();
  EXPECT_EQ(report_.through, 2);
  EXPECT_EQ(report_.told, 2U);
  link_.go_down(*teller_);
  link_.come_up(*teller_);
  EXPECT_EQ(changes(), (Texts{"3 after 2"}));
}

TEST_F(TellerTest, WhatACollectorDoesNotAcknowledgeIsToldAgainAfterEverLongerPauses) {
  open(kAll);
  follow(ConfirmedBy::kCollector);
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(changes(), Texts{"1 after 0"});
  EXPECT_EQ(changes(true, 20s), Texts{});
  EXPECT_EQ(link_.subscribed_again, 0);
  EXPECT_EQ(changes(true, 10s), Texts{"1 after 0"});
  EXPECT_EQ(link_.subscribed_again, 1);
  EXPECT_EQ(changes(true, 30s), Texts{});
  EXPECT_EQ(changes(true, 30s), Texts{"1 after 0"});
  EXPECT_EQ(link_.subscribed_again, 2);
  // One that comes back acknowledges what it has had before, and gets the rest soon.
  EXPECT_EQ(changes(true, 40s), Texts{});
  acknowledge(0);
  EXPECT_EQ(changes(), Texts{"1 after 0"});
  acknowledge(1);
  EXPECT_EQ(changes(true, 3600s), Texts{});
}

TEST_F(TellerTest, AcknowledgementsAreChecked) {
  open(kAll);
  follow(ConfirmedBy::kCollector);
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  told();
  teller_->on_message("polaiga/v1/lab/rack-1/ack", R"({"ledger_id":1,"through":1})", false);
  told();
  EXPECT_EQ(report_.through, 0);
  EXPECT_EQ(said_.back(),
            "A message of 'polaiga/v1/lab/rack-1/ack' is ignored: The member 'ledger_id' must be the id of a ledger, "
            "32 digits of 0-9 and a-f");
  teller_->on_message("polaiga/v1/lab/rack-1/ack", R"({"ledger_id":"00000000000000000000000000000000","through":1})",
                      false);
  told();
  EXPECT_EQ(report_.through, 0);
  acknowledge(1);
  told();
  EXPECT_EQ(report_.through, 1);
}

TEST_F(TellerTest, WithTheBrokersWordAnAcknowledgementMeansNothing) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  engine_->write(raises("A", "o", 395));
  changes(false);
  acknowledge(1);
  told(false);
  EXPECT_EQ(report_.through, 0);
}

TEST_F(TellerTest, TheAlarmsAreToldToWhoAsksForThem) {
  open(kAll);
  for (int i = 1; i <= 3; ++i) engine_->write(raises("A", ("o" + std::to_string(i)).c_str(), 395));
  follow();
  link_.come_up(*teller_);
  told();
  teller_->on_message("polaiga/v1/lab/rack-1/replay",
                      R"({"ledger_id":")" + engine_->ledger.id() + R"(","alarms":true,"after":1,"id":"list"})", false);
  teller_->go_on();
  const auto sent = link_.take(&*teller_);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(part_of(sent[0]), "replayed");
  EXPECT_FALSE(sent[0].is_retained);
  json part = json_of(sent[0]);
  const json alarms = part.at("alarms");
  part.erase("alarms");
  const std::string ledger_id = engine_->ledger.id();
  EXPECT_EQ(part, (json{{"ledger_id", ledger_id},
                        {"replay", "list"},
                        {"number", 3},
                        {"after", 1},
                        {"through", 3},
                        {"last", true},
                        {"site", "lab"},
                        {"controller", "rack-1"},
                        {"version", POLAIGA_VERSION}}));
  ASSERT_EQ(alarms.size(), 2U);
  EXPECT_EQ(alarms[0].at("alarm"), ledger_id + "-2");
  EXPECT_EQ(alarms[1].at("alarm"), ledger_id + "-3");
}

TEST_F(TellerTest, ActionsGoToTheEngineAndAreAnswered) {
  open(kAll);
  follow(ConfirmedBy::kBroker, true);
  link_.come_up(*teller_);
  told();
  const auto act = [this](const std::string& id, bool is_retained) {
    teller_->on_message("polaiga/v1/lab/rack-1/action",
                        R"({"id":")" + id + R"(","ledger_id":")" + engine_->ledger.id() +
                            R"(","expires":"2030-01-01T00:00:00Z","person":"anna","request":)" +
                            R"({"do":"acknowledge","alarms":"1"}})",
                        is_retained);
  };
  act("kept", true);
  EXPECT_TRUE(said_.back().ends_with("is retained, and is ignored; publish it without that")) << said_.back();
  act("a", false);
  EXPECT_EQ(told(), Texts{});
  EXPECT_EQ(requests_, Texts{R"({"do":"acknowledge","alarms":"1","id":"a","ledger_id":")" + engine_->ledger.id() +
                             R"(","on_behalf_of":"anna"})"});
  answer_ = {.is_there = true, .text = R"({"seq":1,"changes":1})"};
  teller_->go_on();
  const auto sent = link_.take(&*teller_);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].topic, "polaiga/v1/lab/rack-1/acted");
  EXPECT_FALSE(sent[0].is_retained);
  EXPECT_EQ(
      json_of(sent[0]),
      (json{{"id", "a"}, {"done", true}, {"site", "lab"}, {"controller", "rack-1"}, {"version", POLAIGA_VERSION}}));
  clock_.pass(60);  // people are told once a minute
  teller_->on_message("polaiga/v1/lab/rack-1/action", "nonsense", false);
  EXPECT_EQ(said_.back(), "A message of 'polaiga/v1/lab/rack-1/action' is ignored: The message is not JSON");
}

TEST_F(TellerTest, AnAnswerToAnActionOutlivesTheConnection) {
  open(kAll);
  follow(ConfirmedBy::kBroker, true);
  link_.come_up(*teller_);
  told();
  teller_->on_message("polaiga/v1/lab/rack-1/action", R"({"id":"a","do":"x"})", false);
  EXPECT_EQ(told(false), Texts{"acted"});
  link_.go_down(*teller_);
  EXPECT_EQ(told(), Texts{});
  link_.come_up(*teller_);
  Texts again = told();
  EXPECT_EQ(std::ranges::count(again, "acted"), 1);
  EXPECT_EQ(told(), Texts{});
}

TEST_F(TellerTest, WithoutTheOptionActionsAreNotTaken) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  teller_->on_message("polaiga/v1/lab/rack-1/action", R"({"id":"a","do":"x"})", false);
  EXPECT_EQ(told(), Texts{});
  EXPECT_EQ(requests_, Texts{});
}

TEST_F(TellerTest, TheGoodbye) {
  open(kAll);
  follow();
  link_.come_up(*teller_);
  told();
  teller_->say_goodbye();
  EXPECT_FALSE(teller_->is_goodbye_confirmed());
  const auto sent = link_.take(&*teller_);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_TRUE(sent[0].is_retained);
  EXPECT_EQ(json_of(sent[0]), (json{{"state", "offline"},
                                    {"site", "lab"},
                                    {"controller", "rack-1"},
                                    {"version", POLAIGA_VERSION},
                                    {"reason", "stopped"},
                                    {"at", engine::format_moment(clock_.wall())}}));
  EXPECT_TRUE(teller_->is_goodbye_confirmed());
}

}  // namespace teller_test
}  // namespace polaiga::mqtt
