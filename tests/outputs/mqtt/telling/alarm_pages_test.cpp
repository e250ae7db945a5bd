#include "telling/alarm_pages.h"

#include <gtest/gtest.h>

#include <random>

#include "support/fake_link.h"

namespace polaiga::mqtt {
namespace alarm_pages_test {

using engine::ChangeNumber;
using nlohmann::json;
using output::OutputAlarm;
using test::json_of;
using test::part_of;
using Parts = std::vector<std::string>;

const std::string kLedger = "0123456789abcdef0123456789abcdef";

class AlarmPagesTest : public testing::Test {
 protected:
  // An alarm of so many bytes in a page, about.
  void set(ChangeNumber number, std::size_t bytes = 1000) {
    OutputAlarm alarm;
    alarm.number = number;
    alarm.fault = number;
    alarm.fault_dn = "o/fault-F0395";
    alarm.dn = "o";
    alarm.code = 395;
    const std::size_t without = alarm_bytes(alarm, kLedger, profile_);
    if (bytes > without) alarm.description = std::string(bytes - without, 'd');
    alarms_[number] = alarm;
    touched_.push_back(number);
    ++number_;
  }
  void end(ChangeNumber number) {
    alarms_.erase(number);
    touched_.push_back(number);
    ++number_;
  }

  Picture picture() const { return {.ledger_id = kLedger, .number = number_, .alarms = alarms_, .profile = profile_}; }

  // Sends a round to a broker that keeps it. The last parts of the topics, in their order.
  Parts round() { return round_of(pages_); }
  Parts round_of(AlarmPages& pages) {
    pages.take(touched_);
    touched_.clear();
    pages.begin_round(picture());
    Parts parts;
    while (const auto message = pages.next(picture())) {
      EXPECT_TRUE(message->is_retained);
      EXPECT_LE(message->payload.size(), kMostPayloadBytes);
      parts.push_back(part_of(*message));
      if (message->payload.empty()) {
        kept_.erase(parts.back());
        parts.back() += " removed";
      } else {
        kept_[parts.back()] = json_of(*message);
      }
    }
    return parts;
  }

  // The numbers of the alarms that a reader finds; it does not fail only when pages and index go together.
  std::vector<ChangeNumber> read() {
    std::vector<ChangeNumber> found;
    const json& index = kept_.at("alarms");
    EXPECT_EQ(index.at("ledger_id"), kLedger);
    for (const json& one : index.at("pages")) {
      const json& page = kept_.at("alarms/" + std::to_string(one.at("page").get<int>()));
      EXPECT_EQ(page.at("number"), one.at("number"));
      EXPECT_EQ(page.at("page"), one.at("page"));
      EXPECT_EQ(page.at("ledger_id"), kLedger);
      for (const json& alarm : page.at("alarms")) found.push_back(alarm.at("fault"));
    }
    EXPECT_EQ(index.at("count"), found.size());
    EXPECT_EQ(kept_.size(), index.at("pages").size() + 1);
    std::ranges::sort(found);
    return found;
  }
  std::vector<ChangeNumber> active() const {
    std::vector<ChangeNumber> numbers;
    for (const auto& [number, alarm] : alarms_) numbers.push_back(number);
    return numbers;
  }

  Topics topics_{"lab", "rack-1"};
  AlarmPages pages_{{.site = "lab", .controller = "rack-1"}, topics_};
  engine::AlarmProfile profile_;
  std::map<ChangeNumber, OutputAlarm> alarms_;
  std::vector<ChangeNumber> touched_;
  ChangeNumber number_ = 0;
  std::map<std::string, json> kept_;
};

TEST_F(AlarmPagesTest, NoAlarmIsAPictureToo) {
  EXPECT_TRUE(pages_.has_changed());
  EXPECT_EQ(round(), Parts{"alarms"});
  EXPECT_EQ(kept_.at("alarms"), (json{{"ledger_id", kLedger},
                                      {"number", 0},
                                      {"count", 0},
                                      {"pages", json::array()},
                                      {"site", "lab"},
                                      {"controller", "rack-1"},
                                      {"version", POLAIGA_VERSION}}));
  EXPECT_FALSE(pages_.has_changed());
  EXPECT_EQ(round(), Parts{});
}

TEST_F(AlarmPagesTest, AChangeRewritesItsPageAndTheIndex) {
  for (ChangeNumber i = 1; i <= 130; ++i) set(i);  // 60 or 61 go into a page
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms/1", "alarms/2", "alarms"}));
  EXPECT_EQ(read(), active());
  set(70);
  EXPECT_EQ(round(), (Parts{"alarms/1", "alarms"}));
  EXPECT_EQ(kept_.at("alarms/0").at("number"), 130);
  EXPECT_EQ(kept_.at("alarms/1").at("number"), 131);
  EXPECT_EQ(kept_.at("alarms").at("number"), 131);
  EXPECT_EQ(read(), active());
}

TEST_F(AlarmPagesTest, AnAlarmStaysInItsPageAndANewOneTakesTheFirstRoom) {
  for (ChangeNumber i = 1; i <= 130; ++i) set(i);
  round();
  end(5);
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms"}));
  set(131);
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms"}));
  EXPECT_EQ(read(), active());
}

TEST_F(AlarmPagesTest, AnAlarmThatOutgrowsItsPageMoves) {
  for (ChangeNumber i = 1; i <= 61; ++i) set(i);
  round();
  set(1, 30'000);
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms/1", "alarms"}));
  EXPECT_EQ(read(), active());
}

TEST_F(AlarmPagesTest, UnusedPagesAreRemovedAfterTheIndex) {
  for (ChangeNumber i = 1; i <= 130; ++i) set(i);
  round();
  for (ChangeNumber i = 1; i <= 130; ++i) end(i);
  EXPECT_EQ(round(), (Parts{"alarms", "alarms/0 removed", "alarms/1 removed", "alarms/2 removed"}));
  EXPECT_EQ(read(), active());
}

TEST_F(AlarmPagesTest, PagesThatTheBrokerKeptAreRemoved) {
  set(1);
  round();
  pages_.remove_unused(std::vector<std::size_t>{0, 3, 4});
  EXPECT_TRUE(pages_.has_changed());
  EXPECT_EQ(round(), (Parts{"alarms/3 removed", "alarms/4 removed"}));
}

TEST_F(AlarmPagesTest, AllIsSentAgain) {
  for (ChangeNumber i = 1; i <= 70; ++i) set(i);
  round();
  pages_.send_all_again();
  EXPECT_TRUE(pages_.has_changed());
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms/1", "alarms"}));
}

TEST_F(AlarmPagesTest, ARemovalThatWasCutOffIsMadeGood) {
  set(1);
  round();
  end(1);
  pages_.take(touched_);
  pages_.begin_round(picture());
  EXPECT_TRUE(pages_.next(picture()));  // the index, and then the connection is lost
  pages_.send_all_again();
  touched_.clear();
  EXPECT_EQ(round(), (Parts{"alarms", "alarms/0 removed"}));
}

TEST_F(AlarmPagesTest, WithoutTheListTheOneThatTheBrokerKeptIsRemoved) {
  AlarmPages pages({.site = "lab", .controller = "rack-1"}, topics_, false);
  set(1);
  EXPECT_EQ(round_of(pages), Parts{});
  pages.send_all_again();
  pages.take_all();
  EXPECT_FALSE(pages.has_changed());
  pages.remove_unused(std::vector<std::size_t>{});
  EXPECT_EQ(round_of(pages), Parts{"alarms removed"});
  pages.remove_unused(std::vector<std::size_t>{0, 3});
  EXPECT_TRUE(pages.has_changed());
  EXPECT_EQ(round_of(pages), (Parts{"alarms/0 removed", "alarms/3 removed", "alarms removed"}));
  EXPECT_FALSE(pages.has_changed());
}

TEST_F(AlarmPagesTest, APictureThatIsReadAnewTakesThePlaceOfTheOneBefore) {
  for (ChangeNumber i = 1; i <= 130; ++i) set(i);
  round();
  alarms_.clear();
  for (ChangeNumber i = 200; i <= 210; ++i) set(i);
  touched_.clear();
  pages_.take_all();
  EXPECT_EQ(round(), (Parts{"alarms/0", "alarms", "alarms/1 removed", "alarms/2 removed"}));
  EXPECT_EQ(read(), active());
}

TEST_F(AlarmPagesTest, AtRandomAReaderHasWhatIsActive) {
  std::mt19937 chance(20250101);
  for (int i = 0; i < 60; ++i) {
    for (int changes = static_cast<int>(chance() % 40); changes > 0; --changes) {
      const auto number = static_cast<ChangeNumber>(chance() % 400 + 1);
      if (chance() % 3 == 0) {
        end(number);
      } else {
        set(number, 400 + chance() % 3000);
      }
    }
    if (chance() % 20 == 0) pages_.send_all_again();
    if (chance() % 50 == 0) pages_.take_all();
    round();
    ASSERT_EQ(read(), active()) << i;
    ASSERT_EQ(pages_.placed(), alarms_.size());
  }
}

}  // namespace alarm_pages_test
}  // namespace polaiga::mqtt
