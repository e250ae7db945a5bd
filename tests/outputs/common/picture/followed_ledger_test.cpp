#include "picture/followed_ledger.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "support/ledger_fixture.h"
#include "support/manual_clock.h"

namespace polaiga::output {
namespace followed_ledger_test {

using namespace std::chrono_literals;
using engine::ChangeNumber;
using engine::test::clears;
using engine::test::kAll;
using engine::test::moves;
using engine::test::raises;
using Numbers = std::vector<ChangeNumber>;

class FollowedLedgerTest : public engine::test::LedgerFixture {
 protected:
  // Looks until there is nothing more to read, and gathers what was found.
  FollowedLedger::Seen look() {
    clock_.pass(1);
    FollowedLedger::Seen all;
    for (bool more = true; more;) {
      const FollowedLedger::Seen seen = followed_.look();
      all.is_new = all.is_new || seen.is_new;
      all.touched.insert(all.touched.end(), seen.touched.begin(), seen.touched.end());
      more = seen.has_more;
    }
    return all;
  }

  std::vector<std::string> faults() const {
    std::vector<std::string> found;
    for (const auto& [number, alarm] : followed_.alarms()) {
      found.push_back(std::to_string(number) + " " + alarm.fault_dn + " " +
                      std::string(engine::severity_word(alarm.severity)));
    }
    return found;
  }

  engine::test::ManualClock clock_{1'800'000'000};
  std::vector<std::string> told_;
  FollowedLedger followed_{path_, clock_, [this](engine::Priority, const std::string& text) { told_.push_back(text); }};
};

using Texts = std::vector<std::string>;

TEST_F(FollowedLedgerTest, BeginsWithAllThatIsActiveAndFollows) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 396));
  const auto first = look();
  EXPECT_TRUE(first.is_new);
  EXPECT_TRUE(followed_.has_picture());
  EXPECT_EQ(followed_.ledger_id(), engine_->ledger.id());
  EXPECT_EQ(followed_.number(), 2);
  EXPECT_EQ(faults(), (Texts{"1 o/fault-F0395 minor", "2 p/fault-F0396 major"}));
  engine_->write(moves("A", "o", 395, 396));
  engine_->write(clears("A", "p", 396));
  const auto second = look();
  EXPECT_FALSE(second.is_new);
  EXPECT_EQ(second.touched, (Numbers{1, 2}));
  EXPECT_EQ(followed_.number(), 5);
  EXPECT_EQ(faults(), (Texts{"1 o/fault-F0396 major"}));
  EXPECT_EQ(look().touched, Numbers{});
  EXPECT_EQ(told_, Texts{});
}

TEST_F(FollowedLedgerTest, HasTheSitesWordsWithTheFirstPicture) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->ledger.set_profile(
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\nF0395\t*\t-\tno\t-\t-\t-\n");
  clock_.pass(1);
  EXPECT_TRUE(followed_.look().is_new);
  const engine::ProfileEntry* const entry = followed_.profile().find(395, "o");
  ASSERT_NE(entry, nullptr);
  EXPECT_FALSE(entry->notify);
}

TEST_F(FollowedLedgerTest, LooksOnlyWhenItIsTime) {
  open(kAll);
  look();
  EXPECT_EQ(followed_.until_next(), FollowedLedger::kLook);
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(followed_.look().touched, Numbers{});
  clock_.pass(FollowedLedger::kLook);
  EXPECT_EQ(followed_.until_next(), 0ms);
  EXPECT_EQ(followed_.look().touched, Numbers{1});
}

TEST_F(FollowedLedgerTest, WaitsForALedgerThatIsNotThere) {
  look();
  EXPECT_FALSE(followed_.has_picture());
  ASSERT_TRUE(followed_.problem());
  EXPECT_EQ(followed_.until_next(), FollowedLedger::kLookForLedger);
  look();
  ASSERT_EQ(told_.size(), 1U) << "it is told once";
  EXPECT_THROW(followed_.changes_after(0, 1), engine::LedgerError);
  open(kAll);
  engine_->write(raises("A", "o", 395));
  EXPECT_TRUE(look().is_new);
  EXPECT_EQ(followed_.number(), 1);
  EXPECT_FALSE(followed_.problem());
  EXPECT_EQ(told_.size(), 2U);
  EXPECT_EQ(told_.back(), "The ledger can be read again.");
}

// What outputs were told of is still told while the ledger is away.
TEST_F(FollowedLedgerTest, ThePictureStaysWhileTheLedgerIsAway) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  look();
  engine_.reset();
  std::filesystem::rename(path_, path_ + "-away");
  look();
  EXPECT_TRUE(followed_.problem());
  EXPECT_EQ(faults(), Texts{"1 o/fault-F0395 minor"});
  std::filesystem::rename(path_ + "-away", path_);
  open(kAll);
  engine_->write(raises("A", "p", 395));
  EXPECT_TRUE(look().is_new) << "another file of that name may have been put back";
  EXPECT_EQ(faults(), (Texts{"1 o/fault-F0395 minor", "2 p/fault-F0395 minor"}));
}

// A backup has the same id, and may have passed the numbers that it lost before anybody looks.
TEST_F(FollowedLedgerTest, ABackupThatWasPutBackIsANewBeginning) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_.reset();
  std::filesystem::copy_file(path_, path_ + "-backup");
  open(kAll);
  engine_->write(raises("A", "lost", 395));
  look();
  EXPECT_EQ(faults(), (Texts{"1 o/fault-F0395 minor", "2 lost/fault-F0395 minor"}));
  engine_.reset();
  for (const char* end : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + end);
  std::filesystem::rename(path_ + "-backup", path_);
  open(kAll);
  engine_->write(raises("A", "p", 396));
  engine_->write(raises("A", "q", 396));
  EXPECT_TRUE(look().is_new);
  EXPECT_EQ(faults(), (Texts{"1 o/fault-F0395 minor", "2 p/fault-F0396 major", "3 q/fault-F0396 major"}));
}

TEST_F(FollowedLedgerTest, AnotherLedgerIsANewBeginning) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  look();
  const std::string before = followed_.ledger_id();
  engine_.reset();
  for (const char* end : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + end);
  open(kAll);
  engine_->write(raises("A", "q", 396));
  engine_->write(raises("A", "r", 396));
  clock_.pass(1);
  look();
  EXPECT_NE(followed_.ledger_id(), before);
  EXPECT_EQ(faults(), (Texts{"1 q/fault-F0396 major", "2 r/fault-F0396 major"}));
}

// Retention takes changes that were not read yet.
TEST_F(FollowedLedgerTest, BeginsAnewAfterAGap) {
  open({.events = 2, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395));
  look();
  for (int i = 0; i < 100; ++i) {
    engine_->write(clears("A", "o", 395));
    engine_->write(raises("A", "o", 395));
  }
  ASSERT_GT(followed_.oldest_number(), 2);
  EXPECT_TRUE(look().is_new);
  EXPECT_EQ(followed_.number(), 201);
  EXPECT_EQ(faults(), Texts{"201 o/fault-F0395 minor"});
}

TEST_F(FollowedLedgerTest, ReadsTheCursorAndTheChanges) {
  open(kAll);
  engine_->write(raises("A", "o", 395));
  engine_->write(raises("A", "p", 395));
  engine_->ledger.set_cursor("mqtt", 1, 0);
  look();
  EXPECT_EQ(followed_.cursor("mqtt"), 1);
  EXPECT_EQ(followed_.cursor("snmp"), std::nullopt);
  const engine::Feed feed = followed_.changes_after(1, 10);
  ASSERT_EQ(feed.changes.size(), 1U);
  EXPECT_EQ(feed.changes[0].change.number, 2);
}

// However the changes come, the picture is that of who begins now.
TEST_F(FollowedLedgerTest, IsTheSameAsAFreshOne) {
  open({.events = 0, .days = 0, .bytes = std::int64_t{512} * 1024});
  std::mt19937 random(1);
  std::size_t compared = 0;
  for (int round = 0; round < 60; ++round) {
    const int inputs = round % 20 == 19 ? 3000 : 40;  // now and then so many that changes are gone
    for (int i = 0; i < inputs; ++i) {
      const std::string dn = "o" + std::to_string(random() % 30);
      const std::uint32_t code = 395 + random() % 2;
      const char* sensor = random() % 2 == 0 ? "A" : "B";
      switch (random() % 3) {
        case 0:
          engine_->add(raises(sensor, dn.c_str(), code));
          break;
        case 1:
          engine_->add(moves(sensor, dn.c_str(), code, 791 - code));
          break;
        default:
          engine_->add(clears(sensor, dn.c_str(), code));
      }
      if (i % 50 == 49) engine_->write();
    }
    engine_->write();
    look();
    FollowedLedger fresh(path_, clock_, [](engine::Priority, const std::string&) {});
    while (fresh.look().has_more) {
    }
    ASSERT_EQ(followed_.number(), fresh.number());
    ASSERT_EQ(followed_.number(), engine_->ledger.last_change());
    ASSERT_EQ(followed_.alarms(), fresh.alarms()) << round;
    ASSERT_EQ(followed_.alarms().size(), engine_->alarms.size());
    compared += fresh.alarms().size();
  }
  EXPECT_GT(compared, 100U);
  EXPECT_EQ(told_, Texts{});
}

}  // namespace followed_ledger_test
}  // namespace polaiga::output
