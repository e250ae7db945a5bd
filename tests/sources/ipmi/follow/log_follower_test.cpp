#include "follow/log_follower.h"

#include <gtest/gtest.h>

#include "support/fake_controller.h"
#include "support/rows.h"

namespace polaiga::ipmi {
namespace log_follower_test {

using test::Texts;

constexpr std::uint32_t kUnset = 100;  // a clock that counts from the controller's start

// Records are told apart by the number of their sensor.
class LogFollowerTest : public ::testing::Test {
 protected:
  void add(std::initializer_list<int> sensors) {
    for (const int number : sensors) {
      fake_.clock += 10;
      fake_.add(FakeEvent{.sensor = static_cast<std::uint8_t>(number)});
    }
  }

  LogFollower follower() {
    return LogFollower(
        position_, [this] { return ++epoch_; }, [this](const std::string& text) { told_.push_back(text); });
  }

  // The sensors of the records that are new, each behind its epoch, as in "2:17".
  Texts read(std::size_t most = 1000) {
    last_ = follower_.read(controller_, controller_.log_info(), most);
    Texts texts;
    for (const NewRecord& record : last_.records) {
      texts.push_back(std::to_string(record.epoch) + ":" + std::to_string(record.record.bytes[11]));
    }
    return texts;
  }

  FakeController fake_;
  Controller controller_{fake_};
  Position position_;
  std::uint64_t epoch_ = 0;
  Texts told_;
  LogFollower follower_ = follower();
  LogBatch last_;
};

TEST_F(LogFollowerTest, AtTheFirstStartTheLogIsFollowedFromItsEnd) {
  add({1, 2, 3});
  follower_.begin(controller_, false);
  EXPECT_EQ(read(), Texts{});
  add({4, 5});
  EXPECT_EQ(read(), (Texts{"1:4", "1:5"}));
  EXPECT_EQ(read(), Texts{});
  EXPECT_FALSE(last_.has_gap);
  EXPECT_EQ(told_, Texts{});
}

TEST_F(LogFollowerTest, WithHistoryAllIsRead) {
  add({1, 2, 3});
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2", "1:3"}));
}

TEST_F(LogFollowerTest, AnEmptyLogBeginsWithItsFirstRecord) {
  follower_.begin(controller_, false);
  EXPECT_EQ(read(), Texts{});
  add({1});
  EXPECT_EQ(read(), (Texts{"1:1"}));
  EXPECT_FALSE(last_.has_gap);
}

TEST_F(LogFollowerTest, NothingNewTakesTwoRequests) {
  add({1, 2, 3});
  follower_.begin(controller_, false);
  const int before = fake_.asked();
  read();
  EXPECT_EQ(fake_.asked() - before, 2);
}

TEST_F(LogFollowerTest, ALongLogIsReadInPieces) {
  add({1, 2, 3, 4, 5});
  follower_.begin(controller_, true);
  EXPECT_EQ(read(2), (Texts{"1:1", "1:2"}));
  EXPECT_TRUE(last_.has_more);
  EXPECT_EQ(read(2), (Texts{"1:3", "1:4"}));
  EXPECT_TRUE(last_.has_more);
  EXPECT_EQ(read(2), (Texts{"1:5"}));
  EXPECT_FALSE(last_.has_more);
}

TEST_F(LogFollowerTest, ARestartGoesOnWhereItWas) {
  add({1, 2});
  follower_.begin(controller_, true);
  read();
  add({3});
  LogFollower again = follower();
  const LogBatch batch = again.read(controller_, controller_.log_info(), 10);
  ASSERT_EQ(batch.records.size(), 1U);
  EXPECT_EQ(batch.records[0].record.bytes[11], 3);
  EXPECT_EQ(batch.records[0].epoch, 1U);
}

TEST_F(LogFollowerTest, LogCleared) {
  add({1, 2});
  follower_.begin(controller_, false);
  fake_.clock += 10;
  fake_.clear_log();
  add({3, 4});
  EXPECT_EQ(read(), (Texts{"2:3", "2:4"}));
  EXPECT_TRUE(last_.has_gap);
  EXPECT_EQ(told_, (Texts{"the controller's log is read from its first record: it was cleared"}));
  EXPECT_EQ(read(), Texts{});
  EXPECT_FALSE(last_.has_gap);
}

TEST_F(LogFollowerTest, LogClearedAndNothingCame) {
  add({1, 2});
  follower_.begin(controller_, false);
  fake_.clock += 10;
  fake_.clear_log();
  EXPECT_EQ(read(), Texts{});
  EXPECT_TRUE(last_.has_gap);
  EXPECT_EQ(read(), Texts{});
  EXPECT_FALSE(last_.has_gap);
  add({3});
  EXPECT_EQ(read(), (Texts{"2:3"}));
}

TEST_F(LogFollowerTest, LogClearedAndAnotherRecordHasTheCursorsId) {
  add({1, 2});
  follower_.begin(controller_, false);
  fake_.clock += 10;
  fake_.clear_log();
  fake_.next_record_id = 1;
  add({3, 4, 5});
  EXPECT_EQ(read(), (Texts{"2:3", "2:4", "2:5"}));
}

// With a clock that is not set, a record after the clear may have the same bytes as the cursor.
TEST_F(LogFollowerTest, LogClearedWhileTheTimeIsUnset) {
  fake_.clock = kUnset;
  fake_.add(FakeEvent{.sensor = 1});
  follower_.begin(controller_, false);
  fake_.clock = kUnset + 5;
  fake_.clear_log();
  fake_.clock = kUnset;
  fake_.next_record_id = 1;
  fake_.add(FakeEvent{.sensor = 1});
  EXPECT_EQ(read(), (Texts{"2:1"}));
}

TEST_F(LogFollowerTest, OneRecordThatWasReadIsDeleted) {
  add({1, 2, 3});
  follower_.begin(controller_, true);
  read();
  // The time of erasure changes, and the cursor's record is still there.
  Answer info{0, {0x51, 3, 0, 0xFF, 0xFF, 0, 0, 0, 0, 9, 9, 9, 9, 0x02}};
  fake_.answer_always(NetFn::kStorage, 0x40, info);
  add({4});
  EXPECT_EQ(read(), (Texts{"1:4"}));
  EXPECT_FALSE(last_.has_gap);
}

TEST_F(LogFollowerTest, TheCursorsOwnRecordIsDeleted) {
  add({1, 2, 3});
  follower_.begin(controller_, true);
  read();
  std::vector<SelBytes> left(fake_.log().begin(), fake_.log().end() - 1);
  fake_.clear_log();
  fake_.next_record_id = 1;
  for (const SelBytes& record : left) fake_.add(record);
  fake_.next_record_id = 4;
  add({4});
  EXPECT_EQ(read(), (Texts{"2:4"}));
  EXPECT_TRUE(last_.has_gap);
}

TEST_F(LogFollowerTest, TheControllerCountsItsRecordsAnew) {
  add({1, 2, 3});
  follower_.begin(controller_, true);
  read();
  const std::vector<SelBytes> all = fake_.log();
  fake_.clear_log();
  fake_.next_record_id = 40;
  for (const SelBytes& record : all) fake_.add(record);
  add({4});
  // They may be other records that are alike, so none is left out.
  EXPECT_EQ(read(), (Texts{"2:1", "2:2", "2:3", "2:4"}));
}

TEST_F(LogFollowerTest, FullRing) {
  fake_.log_capacity = 3;
  fake_.log_wraps = true;
  add({1, 2, 3});
  follower_.begin(controller_, false);
  const LogInfo full = controller_.log_info();
  fake_.add(FakeEvent{.sensor = 4});
  // Even when the controller's answer is the same as before.
  const LogBatch batch = follower_.read(controller_, full, 10);
  ASSERT_EQ(batch.records.size(), 1U);
  EXPECT_EQ(batch.records[0].record.bytes[11], 4);
  EXPECT_FALSE(batch.has_gap);
}

TEST_F(LogFollowerTest, WrappedPastTheCursor) {
  fake_.log_capacity = 3;
  fake_.log_wraps = true;
  add({1, 2, 3});
  follower_.begin(controller_, false);
  add({4, 5, 6, 7});
  EXPECT_EQ(read(), (Texts{"2:5", "2:6", "2:7"}));
  EXPECT_TRUE(last_.has_gap);
  EXPECT_EQ(told_, (Texts{"the controller's log is read from its first record: the last record that was read is gone "
                          "from it"}));
}

TEST_F(LogFollowerTest, IdsBeginAgainAtOneOrZero) {
  for (const std::uint16_t first : {std::uint16_t{0}, std::uint16_t{1}}) {
    FakeController fake;
    fake.last_record_id = 5;
    fake.first_record_id = first;
    fake.log_capacity = 4;
    fake.log_wraps = true;
    Controller controller(fake);
    Position position;
    std::uint64_t epoch = 0;
    LogFollower follower(
        position, [&] { return ++epoch; }, [](const std::string& text) { FAIL() << text; });
    for (int i = 1; i <= 2; ++i) fake.add(FakeEvent{.sensor = static_cast<std::uint8_t>(i)});
    follower.begin(controller, false);
    std::vector<int> sensors;
    for (int i = 3; i <= 20; ++i) {
      fake.clock += 10;
      fake.add(FakeEvent{.sensor = static_cast<std::uint8_t>(i)});
      for (const NewRecord& record : follower.read(controller, controller.log_info(), 10).records) {
        sensors.push_back(record.record.bytes[11]);
      }
    }
    EXPECT_EQ(sensors, (std::vector<int>{3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20})) << first;
    EXPECT_EQ(epoch, 4U) << first;
  }
}

TEST_F(LogFollowerTest, ARecordWithTheIdZeroAmongOthers) {
  fake_.last_record_id = 5;
  fake_.first_record_id = 0;
  add({1, 2, 3, 4, 5});
  follower_.begin(controller_, false);
  fake_.next_record_id = 0;
  add({6});
  fake_.next_record_id = 1;
  // The older record of the id 1 is gone by then.
  fake_.log_capacity = 6;
  fake_.log_wraps = true;
  add({7, 8});
  // For the id 0 the controller answers with its first record. The one behind it is found.
  EXPECT_EQ(read(), (Texts{"2:7", "2:8"}));
  EXPECT_EQ(told_,
            (Texts{"a record of the controller's log has the id 0, under which it cannot be asked for when others "
                   "have come after it; it is left out"}));
}

TEST_F(LogFollowerTest, ZeroAsTheEndOfTheChain) {
  add({1, 2});
  fake_.follows[2] = 0;
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2"}));
  EXPECT_EQ(read(), Texts{});
  fake_.follows = {{3, 0}};
  add({3});
  EXPECT_EQ(read(), (Texts{"1:3"}));
  EXPECT_EQ(told_, Texts{});
}

TEST_F(LogFollowerTest, IdsNotInOrder) {
  for (const int id : {100, 50, 70, 60}) {
    fake_.next_record_id = static_cast<std::uint16_t>(id);
    add({id});
  }
  follower_.begin(controller_, true);
  // The chain says the order. Where ids go back a new epoch begins, so that no id of an event comes twice.
  EXPECT_EQ(read(), (Texts{"1:100", "2:50", "2:70", "3:60"}));
  EXPECT_TRUE(last_.has_restarted);
  EXPECT_FALSE(last_.has_gap);
}

// The controller answers with the older record of that id.
TEST_F(LogFollowerTest, AnIdOfTwoRecordsIsNotReadAsNew) {
  fake_.next_record_id = 1;
  add({1, 2});
  fake_.next_record_id = 200;
  add({3});
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2", "1:3"}));
  fake_.restart();
  add({4, 5});
  EXPECT_EQ(read(), Texts{});
  EXPECT_EQ(told_,
            (Texts{"the chain of the controller's log leads from record 00C8h back to record 0001h, which was read "
                   "before; reading ends there"}));
}

TEST_F(LogFollowerTest, RebootedAndTheIdsBeginAgain) {
  fake_.next_record_id = 200;
  add({1, 2});
  follower_.begin(controller_, true);
  read();
  fake_.restart();
  add({3, 4});
  EXPECT_EQ(read(), (Texts{"2:3", "2:4"}));
  EXPECT_TRUE(last_.has_restarted);
  // After the next start the same record, with the same time since the start, is another event.
  fake_.next_record_id = 300;
  add({5});
  EXPECT_EQ(read(), (Texts{"2:5"}));
}

TEST_F(LogFollowerTest, ReplacedByAnother) {
  add({1, 2});
  follower_.begin(controller_, false);
  FakeController other;
  Controller controller(other);
  for (int i = 5; i <= 7; ++i) other.add(FakeEvent{.sensor = static_cast<std::uint8_t>(i)});
  follower_.distrust();
  const LogBatch batch = follower_.read(controller, controller.log_info(), 10);
  EXPECT_EQ(batch.records.size(), 3U);
  EXPECT_TRUE(batch.has_gap);
  EXPECT_EQ(told_, (Texts{"the controller's log is read from its first record: it is the log of another controller"}));
}

TEST_F(LogFollowerTest, AnotherGuidWithTheSameLogLosesNothing) {
  add({1, 2});
  follower_.begin(controller_, true);
  read();
  add({3});
  follower_.distrust();
  EXPECT_EQ(read(), (Texts{"1:3"}));
  EXPECT_FALSE(last_.has_gap);
}

TEST_F(LogFollowerTest, EndlessChain) {
  add({1, 2, 3});
  fake_.follows[3] = 2;
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2", "1:3"}));
  EXPECT_FALSE(last_.has_more);
  EXPECT_EQ(read(), Texts{});
  EXPECT_EQ(read(), Texts{});
  EXPECT_EQ(told_,
            (Texts{"the chain of the controller's log leads from record 0003h back to record 0002h, which was read "
                   "before; reading ends there"}));
  // Nor after a restart.
  LogFollower again = follower();
  EXPECT_EQ(again.read(controller_, controller_.log_info(), 10).records.size(), 0U);
  // When the chain is right again it goes on.
  fake_.follows.clear();
  add({4});
  EXPECT_EQ(read(), (Texts{"1:4"}));
}

TEST_F(LogFollowerTest, AnEndlessChainThatIsReadInPieces) {
  add({1, 2, 3, 4});
  fake_.follows[4] = 1;
  follower_.begin(controller_, true);
  Texts all;
  do {
    for (const std::string& text : read(1)) all.push_back(text);
    ASSERT_LE(all.size(), 10U);
  } while (last_.has_more);
  EXPECT_EQ(all, (Texts{"1:1", "1:2", "1:3", "1:4"}));
}

TEST_F(LogFollowerTest, ANewRecordWhereALoopLedToAnOldOne) {
  fake_.log_capacity = 3;
  fake_.log_wraps = true;
  add({1, 2});
  fake_.next_record_id = 200;
  add({3});
  follower_.begin(controller_, true);
  read();
  // The old record 1 hides the new one, until the ring drops it.
  fake_.follows[200] = 1;
  EXPECT_EQ(read(), Texts{});
  fake_.follows.clear();
  fake_.next_record_id = 1;
  add({4});
  EXPECT_EQ(read(), (Texts{"2:4"}));
}

TEST_F(LogFollowerTest, ARecordThatFollowsItself) {
  add({1, 2});
  fake_.follows[2] = 2;
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2"}));
  EXPECT_FALSE(last_.has_more);
  EXPECT_EQ(read(), Texts{});
}

TEST_F(LogFollowerTest, AChainThatLeadsNowhere) {
  add({1, 2});
  fake_.follows[2] = 77;
  follower_.begin(controller_, true);
  EXPECT_EQ(read(), (Texts{"1:1", "1:2"}));
  EXPECT_EQ(read(), Texts{});
  EXPECT_EQ(told_.size(), 1U);
  fake_.follows.clear();
  add({3});
  EXPECT_EQ(read(), (Texts{"1:3"}));
}

TEST_F(LogFollowerTest, WhenTheControllerGoesAwayThePositionIsAsBefore) {
  add({1, 2, 3, 4});
  follower_.begin(controller_, true);
  const Position before = position_;
  for (int answers = 0; answers < 5; ++answers) {
    fake_.gone_after = answers;
    EXPECT_THROW(read(), ControllerGone) << answers;
    EXPECT_EQ(position_, before) << answers;
  }
  fake_.gone_after.reset();
  EXPECT_EQ(read(), (Texts{"1:1", "1:2", "1:3", "1:4"}));
}

TEST_F(LogFollowerTest, RecordsOfOtherTypesArePassedBy) {
  follower_.begin(controller_, true);
  SelBytes other{};
  other[2] = 0xE0;
  fake_.add(other);
  read();
  ASSERT_EQ(last_.records.size(), 1U);
  EXPECT_FALSE(last_.records[0].record.event);
  add({1});
  EXPECT_EQ(read(), (Texts{"1:1"}));
}

}  // namespace log_follower_test
}  // namespace polaiga::ipmi
