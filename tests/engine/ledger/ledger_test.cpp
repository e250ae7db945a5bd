#include "ledger/ledger.h"

#include <gtest/gtest.h>

#include "intake/event_parser.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

using Numbers = std::vector<std::int64_t>;
using test::numbers;
using test::text;
using test::write;

constexpr Retention kAll{.events = 0, .days = 0};
constexpr const char* kFan = "sys/rack-unit-1/fan-module-1-3/fan-1";

class LedgerTest : public testing::Test {
 protected:
  void open(const Retention& retention) {
    ledger_.reset();
    ledger_.emplace(path_, retention, 0);
    ledger_->use_tables({"nm", "cmc", "drive_bp"});
  }

  Numbers numbers_of(const std::string& sql) const { return numbers(path_, sql); }

  // Events of no interest.
  void pass(int count, Moment received = 1000) {
    for (int i = 0; i < count; ++i) write(*ledger_, faults_, {.reported = false, .received = received});
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
  std::optional<Ledger> ledger_;
  ActiveFaults faults_;
};

TEST_F(LedgerTest, EpisodesOfAFault) {
  open(kAll);
  EXPECT_EQ(ledger_->last(), 0);
  write(*ledger_, faults_, {.record = {.code = 395}, .received = 1001});
  write(*ledger_, faults_, {.record = {.code = 395}, .received = 1002});
  write(*ledger_, faults_, {.record = {.code = 396, .clear_code = 395}, .received = 1003});
  write(*ledger_, faults_, {.reported = false, .received = 1004});
  write(*ledger_, faults_, {.record = {.code = 396, .clear_code = 396, .state = 0}, .received = 1005});
  write(*ledger_, faults_, {.record = {.code = 396, .clear_code = 396, .state = 0}, .received = 1006});
  write(*ledger_, faults_, {.record = {.code = 371}, .received = 1007});
  write(*ledger_, faults_, {.reported = false, .received = 1008, .withdrawn = {std::string(kFan) + "/fault-F0371"}});
  write(*ledger_, faults_, {.record = {.code = 434}, .received = 1009});
  EXPECT_EQ(ledger_->last(), 9);
  const std::string all =
      "SELECT group_concat(fault_dn || ' ' || episode.raised_seq || '@' || raised_at || ' ' || last_seq || '@' || "
      "updated_at "
      "|| "
      "' ' || reports || ' ' || coalesce(ended_seq || '@' || ended_at || ' ' || ending, 'active'), char(10)) "
      "FROM episode JOIN record ON record.seq = episode.raised_seq ORDER BY episode.raised_seq";
  EXPECT_EQ(text(path_, all),
            "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0395 1@1001 2@1002 2 3@1003 superseded\n"
            "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0396 3@1003 3@1003 1 5@1005 cleared\n"
            "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0371 7@1007 7@1007 1 8@1008 withdrawn\n"
            "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0434 9@1009 9@1009 1 active");
  EXPECT_EQ(text(path_, "SELECT group_concat(change || superseded || severity, ' ') FROM record ORDER BY seq"),
            "raised0minor refreshed0minor raised1major cleared0cleared already_clear0cleared raised0warning "
            "raised0warning");
}

TEST_F(LedgerTest, RestoresTheActiveFaultsInTheirOrder) {
  open(kAll);
  write(*ledger_, faults_, {.record = {.dn = "sys/b", .code = 395, .descr = "first : x "}, .received = 1001});
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}, .received = 1002});
  write(*ledger_, faults_, {.record = {.dn = "sys/c", .code = 395}, .received = 1003});
  write(*ledger_, faults_, {.record = {.dn = "sys/b", .code = 395, .descr = "again : x "}, .received = 1004});
  write(*ledger_, faults_, {.record = {.dn = "sys/c", .code = 395, .state = 0}, .received = 1005});
  open(kAll);
  FaultEngine engine(0, Log::kOff);
  ledger_->restore(engine);
  EXPECT_EQ(ledger_->last(), 5);
  const auto faults = engine.faults().in_order();
  ASSERT_EQ(faults.size(), 2U);
  EXPECT_STREQ(faults[0]->record.fault_dn, "sys/b/fault-F0395");
  EXPECT_STREQ(faults[0]->record.descr, "again : x ");
  EXPECT_EQ(faults[0]->since, 1001);
  EXPECT_EQ(faults[0]->updated, 1004);
  EXPECT_EQ(faults[0]->reports, 2U);
  EXPECT_STREQ(faults[1]->record.fault_dn, "sys/a/fault-F0395");
  EXPECT_EQ(engine.faults().apply(test::make_record({.dn = "sys/a", .code = 395}), 1, 6).change, Change::kRefreshed);
}

TEST_F(LedgerTest, KnowsEventsByTheirId) {
  open(kAll);
  pass(3);
  write(*ledger_, faults_, {.reported = false, .id = "a"});
  EXPECT_EQ(ledger_->find("a"), 4);
  EXPECT_EQ(ledger_->find("b"), std::nullopt);
  open(kAll);
  EXPECT_EQ(ledger_->find("a"), 4);
  EXPECT_THROW(write(*ledger_, faults_, {.reported = false, .id = "a"}), SqlError);
}

TEST_F(LedgerTest, ABatchIsWrittenAsAWholeOrNotAtAll) {
  open(kAll);
  write(*ledger_, faults_, {.reported = false, .id = "a"});
  LedgerBatch batch;
  for (const char* id : {"b", "a"}) {  // the second is refused
    LedgerEntry entry;
    entry.sequence = ledger_->last() + 1 + static_cast<Sequence>(batch.entries.size());
    entry.line = parse_sensor_event(R"({"entity":"fan","sensor":"X","offset":3,"state":1})");
    entry.line.id = id;
    batch.entries.push_back(entry);
  }
  batch.filter_state["fan 1"] = {2};
  EXPECT_THROW(ledger_->write(batch), SqlError);
  EXPECT_EQ(ledger_->last(), 1);
  EXPECT_EQ(numbers_of("SELECT seq FROM event"), Numbers{1});
  EXPECT_EQ(numbers_of("SELECT seq FROM filter_state"), Numbers{});
  batch.entries[1].line.id = "c";
  ledger_->write(batch);
  EXPECT_EQ(ledger_->last(), 3);
  EXPECT_EQ(numbers_of("SELECT seq FROM event"), (Numbers{1, 2, 3}));
  EXPECT_EQ(numbers_of("SELECT seq FROM filter_state"), Numbers{2});
}

TEST_F(LedgerTest, RetentionByCountKeepsWhatIsNeeded) {
  open({.events = 10, .days = 0});
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}});                     // 1
  write(*ledger_, faults_, {.record = {.dn = "sys/b", .code = 395}});                     // 2
  write(*ledger_, faults_, {.record = {.dn = "sys/b", .code = 395, .state = 0}});         // 3
  write(*ledger_, faults_, {.reported = false}, {{"fan 1", {4}}});                        // 4
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}});                     // 5
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}});                     // 6
  pass(24);                                                                               // to 30
  EXPECT_EQ(numbers_of("SELECT seq FROM event WHERE seq <= 20"), (Numbers{1, 2, 4, 6}));  // 2 in time
  EXPECT_EQ(numbers_of("SELECT count(*) FROM event WHERE seq > 20"), Numbers{10});
  EXPECT_EQ(numbers_of("SELECT seq FROM record"), (Numbers{1, 2, 6}));
  EXPECT_EQ(numbers_of("SELECT count(*) FROM episode"), Numbers{1});
  EXPECT_EQ(numbers_of("SELECT through_seq FROM horizon"), Numbers{20});
  open({.events = 10, .days = 0});
  EXPECT_EQ(ledger_->last(), 30);
}

TEST_F(LedgerTest, NumbersGoOnWhenNothingIsLeft) {
  open({.events = 1, .days = 0});
  pass(5);
  Database(path_, Access::kReadWrite).exec("DELETE FROM event; UPDATE horizon SET through_seq = 5");
  open({.events = 1, .days = 0});
  EXPECT_EQ(ledger_->last(), 5);
}

// Once a fault is over, the event that raised it long ago goes, too.
TEST_F(LedgerTest, WhatIsNeededNoMoreGoesInTime) {
  open({.events = 10, .days = 0});
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}}, {{"fan 1", {1}}});
  const auto pass_many = [&] {
    LedgerBatch batch;
    for (int i = 0; i < 60'000; ++i) {
      LedgerEntry entry;
      entry.sequence = ledger_->last() + 1 + i;
      entry.line = parse_sensor_event(R"({"entity":"fan","sensor":"X","offset":3,"state":1})");
      batch.entries.push_back(entry);
    }
    ledger_->write(batch);
  };
  pass_many();
  EXPECT_EQ(numbers_of("SELECT count(*) FROM event"), Numbers{11});
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395, .state = 0}}, {{"fan 1", {60'002}}});
  pass_many();
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{60'002});
  EXPECT_EQ(numbers_of("SELECT count(*) FROM event"), Numbers{11});
  EXPECT_EQ(numbers_of("SELECT count(*) FROM record"), Numbers{1});
}

TEST_F(LedgerTest, RetentionByAge) {
  constexpr Moment kDay = 86400;
  open({.events = 0, .days = 2});
  pass(3, 1 * kDay);
  pass(3, 2 * kDay);
  pass(1, 3 * kDay);
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{1});  // two days old, not older
  pass(1, 3 * kDay + 1);
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{4});
  EXPECT_EQ(numbers_of("SELECT through_at FROM horizon"), Numbers{kDay});
  pass(1, kDay);  // a clock that went back takes nothing
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{4});
}

TEST_F(LedgerTest, RetentionWaitsForOutputs) {
  open({.events = 2, .days = 0});
  pass(4);
  Database(path_, Access::kReadWrite).exec("INSERT INTO output VALUES ('slow', 6), ('fast', 1000)");
  pass(10);
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{7});
  Database(path_, Access::kReadWrite).exec("DELETE FROM output WHERE name = 'slow'");
  pass(1);
  EXPECT_EQ(numbers_of("SELECT min(seq) FROM event"), Numbers{14});
}

TEST_F(LedgerTest, TablesAreKeptWithTheirEvents) {
  open({.events = 2, .days = 0});
  pass(1);
  open({.events = 2, .days = 0});  // the same tables
  pass(1);
  ledger_->use_tables({"nm", "other", "drive_bp"});
  pass(1);
  EXPECT_EQ(numbers_of("SELECT tables FROM event"), (Numbers{1, 2}));
  EXPECT_EQ(text(path_, "SELECT cmc FROM tables WHERE id = 2"), "other");
}

TEST_F(LedgerTest, SaysWhenItContradictsItself) {
  open(kAll);
  write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}}, {{"fan 1", {1}}});
  for (const char* harm : {"DELETE FROM record", "DELETE FROM event", "UPDATE event SET entity = 'x'",
                           "UPDATE record SET change = 'x'", "DELETE FROM tables"}) {
    Database db(path_, Access::kReadWrite);
    db.exec("SAVEPOINT before");
    db.exec(harm);
    db.exec("RELEASE before");
    open(kAll);
    FaultEngine engine(0, Log::kOff);
    EXPECT_ANY_THROW(ledger_->restore(engine)) << harm;
    EXPECT_EQ(engine.faults().size(), 0U) << harm;
    ledger_.reset();
    std::filesystem::remove(path_);
    faults_ = {};
    open(kAll);
    write(*ledger_, faults_, {.record = {.dn = "sys/a", .code = 395}}, {{"fan 1", {1}}});
  }
}

}  // namespace
}  // namespace polaiga::engine
