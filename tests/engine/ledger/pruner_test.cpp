#include "ledger/pruner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "ledger/change_feed.h"
#include "ledger/reader.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace pruner_test {

using Rows = std::vector<std::string>;
using test::clears;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;

constexpr std::int64_t kDay = 86400;

// Of so many batches each passes the limit of bytes more than once.
#ifdef POLAIGA_SHORT_WALK
constexpr int kBatches = 60;
constexpr int kAsked = 5;  // moments, of all that are kept
constexpr int kManyInputs = 20'000;
#else
constexpr int kBatches = 300;
constexpr int kAsked = 20;
constexpr int kManyInputs = 100'000;
#endif

class PrunerTest : public testing::Test {
 protected:
  void open(const Retention& retention) {
    engine_.reset();
    engine_.emplace(path_, retention);
  }

  Rows rows(const std::string& sql) const { return test::rows(path_, sql); }

  std::int64_t bytes() const {
    std::int64_t sum = 0;
    for (const char* companion : {"", "-wal"}) {
      if (std::filesystem::exists(path_ + companion)) {
        sum += static_cast<std::int64_t>(std::filesystem::file_size(path_ + companion));
      }
    }
    return sum;
  }

  // What every table refers to is there.
  void expect_whole() const {
    for (const char* lost : {
             "SELECT seq FROM event WHERE subject NOT IN (SELECT seq FROM subject)",
             "SELECT seq FROM event WHERE form IS NOT NULL AND form NOT IN (SELECT seq FROM form)",
             "SELECT seq FROM event WHERE setting NOT IN (SELECT id FROM setting)",
             "SELECT seq FROM filter_state WHERE seq NOT IN (SELECT seq FROM event)",
             "SELECT since_seq FROM report WHERE since_seq NOT IN (SELECT seq FROM event)",
             "SELECT last_seq FROM report WHERE last_seq NOT IN (SELECT seq FROM event)",
             "SELECT raised_seq FROM fault WHERE raised_seq NOT IN (SELECT seq FROM event WHERE form IS NOT NULL)",
             "SELECT shown_seq FROM fault WHERE shown_seq NOT IN (SELECT seq FROM event WHERE form IS NOT NULL)",
             "SELECT fault FROM report WHERE fault NOT IN (SELECT number FROM fault WHERE ended IS NULL)",
             "SELECT number FROM fault WHERE ended IS NULL AND number NOT IN (SELECT fault FROM report)",
             "SELECT fault FROM alarm WHERE fault NOT IN (SELECT number FROM fault)",
             "SELECT number FROM fault WHERE coalesce(later_alarm, alarm) NOT IN (SELECT number FROM alarm)",
             "SELECT fault FROM step WHERE fault NOT IN (SELECT number FROM fault)",
             "SELECT alarm FROM step WHERE alarm NOT IN (SELECT number FROM alarm)",
             "SELECT seq FROM change WHERE seq NOT IN (SELECT seq FROM event)",
             "SELECT fault FROM change WHERE fault NOT IN (SELECT number FROM fault)",
             "SELECT ended FROM fault WHERE ended IS NOT NULL AND ended NOT IN (SELECT number FROM change)",
             "SELECT change FROM shown_again WHERE change NOT IN (SELECT number FROM change)",
             "SELECT seq FROM shown_again WHERE seq NOT IN (SELECT seq FROM event WHERE form IS NOT NULL)",
             "SELECT number FROM change WHERE number <= (SELECT watermark_change FROM ledger)",
             "SELECT seq FROM change WHERE seq <= (SELECT watermark_seq FROM ledger)",
         }) {
      EXPECT_EQ(rows(lost), Rows{}) << lost;
    }
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
  std::optional<LedgerWithAlarms> engine_;
};

TEST_F(PrunerTest, ByCountWhatIsNeededStays) {
  open({.events = 10, .days = 0, .bytes = 0});
  engine_->write(raises("A", "a", 395));             // 1: raised, and A's first report
  engine_->write(raises("B", "b", 395));             // 2
  engine_->write(clears("B", "b", 395));             // 3
  engine_->add({.reported = false, .sensor = "C"});  // 4: shaped what the library remembers
  engine_->batch.filter_state = {{"fan 1", {4}}};
  engine_->write();
  engine_->write(raises("A", "a", 395));  // 5
  engine_->write(raises("D", "a", 395));  // 6: D's only report
  engine_->write(raises("A", "a", 395));  // 7: A's latest
  engine_->pass(23);                      // to 30
  EXPECT_EQ(rows("SELECT seq FROM event WHERE seq <= 20"), (Rows{"1", "4", "6", "7"}));
  EXPECT_EQ(rows("SELECT count(*) FROM event WHERE seq > 20"), Rows{"10"});
  EXPECT_EQ(rows("SELECT number FROM fault"), Rows{"1"});
  EXPECT_EQ(rows("SELECT number FROM alarm"), Rows{"1"});
  EXPECT_EQ(rows("SELECT number FROM change"), Rows{});
  EXPECT_EQ(rows("SELECT watermark_seq, watermark_change FROM ledger"), Rows{"20 6"});
  expect_whole();
  const auto found = LedgerReader(path_).explain("a/fault-F0395");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->raise.event.sequence, 1);
  EXPECT_EQ(found->shown.event.sequence, 7);
  EXPECT_EQ(found->fault.count, 4U);
  EXPECT_EQ(found->reports.size(), 2U);
  EXPECT_TRUE(found->changes.empty());
  open({.events = 10, .days = 0, .bytes = 0});
  EXPECT_EQ(engine_->ledger.last_sequence(), 30);
  EXPECT_EQ(engine_->ledger.last_change(), 6);
  EXPECT_EQ(engine_->alarms.size(), 1U);
}

// What ended after the oldest input that is kept is told as a whole.
TEST_F(PrunerTest, WhatEndedLaterStays) {
  open({.events = 10, .days = 0, .bytes = 0});
  engine_->write(raises("A", "a", 395, 1001));
  engine_->write(raises("A", "a", 395, 1002));
  engine_->pass(13, {.at = 1003});
  engine_->write(clears("A", "a", 395, 1004));  // 16
  engine_->pass(9, {.at = 1005});               // to 25
  EXPECT_EQ(rows("SELECT watermark_seq FROM ledger"), Rows{"15"});
  expect_whole();
  const auto found = LedgerReader(path_).explain("a/fault-F0395");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->raise.event.sequence, 1);
  EXPECT_EQ(found->shown.event.sequence, 2);
  EXPECT_EQ(found->fault.ended, 16);
  EXPECT_EQ(LedgerReader(path_).active({}, 1003).size(), 1U);
  EXPECT_EQ(LedgerReader(path_).active({}, 1003)[0].fault.shown, 2);
  engine_->pass(1, {.at = 1006});
  EXPECT_EQ(rows("SELECT number FROM fault"), Rows{});
  EXPECT_EQ(rows("SELECT number FROM alarm"), Rows{});
  EXPECT_FALSE(LedgerReader(path_).explain("a/fault-F0395"));
  expect_whole();
}

// The answer to what was active at a time is the same as long as it is given.
class ActiveAtATime : public PrunerTest, public testing::WithParamInterface<Retention> {
 protected:
  static Rows texts(const std::string& path, Moment at) {
    Rows found;
    for (const ActiveRow& row : LedgerReader(path).active({}, at)) {
      found.push_back(row.fault.fault_dn + " " + std::to_string(row.fault.alarm) + " " +
                      std::to_string(row.fault.shown) + " " + std::to_string(row.fault.reporters) + " " +
                      std::to_string(row.fault.count) + " " + std::to_string(row.fault.updated) + " " +
                      row.shown.record.descr);
    }
    return found;
  }
};

TEST_P(ActiveAtATime, IsTheSameWhenThePastIsGone) {
  std::mt19937 random(7);
  const std::string whole_path = dir_.file("whole.db");
  LedgerWithAlarms whole(whole_path, {.events = 0, .days = 0, .bytes = 0});
  open(GetParam());
  std::size_t compared = 0;
  for (int i = 1; i <= 3000; ++i) {
    const char* sensor = std::array{"A", "B", "C"}[random() % 3];
    const char* dn = std::array{"o", "p", "q"}[random() % 3];
    const std::uint32_t code = 395 + random() % 2;
    const auto kind = random() % 4;
    test::InputOf input = kind == 0   ? clears(sensor, dn, code, 1000 + i)
                          : kind == 1 ? moves(sensor, dn, code, 791 - code, 1000 + i)
                                      : raises(sensor, dn, code, 1000 + i);
    const std::string descr = std::to_string(random() % 200) + std::string(150, 'x');
    input.record.descr = descr.c_str();
    engine_->add(input);
    whole.add(input);
    if (i % 10 != 0) continue;
    engine_->write();
    whole.write();
    if (i % 150 != 0) continue;
    expect_whole();
    const Moment from = std::stoll(rows("SELECT max(watermark_at, 1000) FROM ledger")[0]);
    for (Moment asked = from; asked <= 1000 + i; asked += std::max<Moment>(1, (1000 + i - from) / kAsked), ++compared) {
      ASSERT_EQ(texts(path_, asked), texts(whole_path, asked)) << asked;
    }
  }
  EXPECT_GE(compared, std::size_t{15} * kAsked);
  EXPECT_GT(std::stoll(rows("SELECT watermark_seq FROM ledger")[0]), 1500);
}

INSTANTIATE_TEST_SUITE_P(ByCountOrBytes, ActiveAtATime,
                         testing::Values(Retention{.events = 100, .days = 0, .bytes = 0},
                                         Retention{.events = 0, .days = 0, .bytes = 256 * 1024}),
                         [](const auto& retention) { return retention.param.bytes > 0 ? "Bytes" : "Count"; });

TEST_F(PrunerTest, WhatIsNeededNoMoreGoesInTime) {
  open({.events = 10, .days = 0, .bytes = 0});
  engine_->add(raises("A", "a", 395));
  engine_->batch.filter_state = {{"fan 1", {1}}};
  engine_->write();
  const auto pass_many = [&] {
    for (int i = 0; i < 20; ++i) {
      for (int k = 0; k < 4000; ++k) engine_->add({.reported = false});
      engine_->write();
    }
    engine_->pass(10);
  };
  pass_many();
  EXPECT_EQ(rows("SELECT seq FROM event ORDER BY seq LIMIT 1"), Rows{"1"});
  EXPECT_EQ(rows("SELECT count(*) FROM event"), Rows{"11"});
  engine_->add(clears("A", "a", 395));  // 80012
  engine_->batch.filter_state = {{"fan 1", {80'012}}};
  engine_->write();
  pass_many();
  EXPECT_EQ(rows("SELECT seq FROM event ORDER BY seq LIMIT 1"), Rows{"80012"});
  EXPECT_EQ(rows("SELECT count(*) FROM event"), Rows{"11"});
  EXPECT_LE(rows("SELECT seq FROM era").size(), 2U);
  expect_whole();
}

TEST_F(PrunerTest, ByAge) {
  open({.events = 0, .days = 2, .bytes = 0});
  engine_->pass(3, {.at = 1 * kDay});
  engine_->pass(3, {.at = 2 * kDay});
  engine_->pass(1, {.at = 3 * kDay});
  EXPECT_EQ(rows("SELECT min(seq) FROM event"), Rows{"1"});
  // They go when they are older by a 1024th of the retention, and not before.
  engine_->pass(1, {.at = 3 * kDay + 168});
  EXPECT_EQ(rows("SELECT min(seq) FROM event"), Rows{"1"});
  engine_->pass(1, {.at = 3 * kDay + 169});
  EXPECT_EQ(rows("SELECT min(seq) FROM event"), Rows{"4"});
  EXPECT_EQ(rows("SELECT watermark_at FROM ledger"), Rows{std::to_string(kDay)});
}

TEST_F(PrunerTest, ByTheAgeOfADay) {
  open({.events = 0, .days = 1, .bytes = 0});
  engine_->pass(3, {.at = 1 * kDay});
  engine_->pass(1, {.at = 2 * kDay});
  EXPECT_EQ(rows("SELECT min(seq) FROM event"), Rows{"1"});
  engine_->pass(1, {.at = 2 * kDay + 85});  // a 1024th of a day later
  EXPECT_EQ(rows("SELECT min(seq) FROM event"), Rows{"4"});
}

// The recorder counts the age of inputs without the clock's jumps. A clock that was
// ten years ahead takes nothing, and one that was in 1970 keeps nothing longer.
TEST_F(PrunerTest, ByAgeWhateverTheClockSays) {
  open({.events = 0, .days = 2, .bytes = 0});
  engine_->pass(1, {.at = 50 * 365 * kDay, .age = 100});
  engine_->pass(1, {.at = 60 * 365 * kDay, .age = 200});
  engine_->pass(1, {.at = 0, .age = 300});
  engine_->pass(1, {.at = 50 * 365 * kDay, .age = 400});
  EXPECT_EQ(rows("SELECT count(*) FROM event"), Rows{"4"});
  engine_->pass(1, {.at = 1000, .age = 3 * kDay});
  EXPECT_EQ(rows("SELECT seq FROM event"), (Rows{"4", "5"}));  // the newest stays when the next comes
  engine_->pass(1, {.at = 0, .age = 3 * kDay + 1});
  EXPECT_EQ(rows("SELECT seq FROM event"), (Rows{"5", "6"}));
}

TEST_F(PrunerTest, CursorsHoldChangesBack) {
  open({.events = 2, .days = 0, .bytes = 0, .held_changes = 20});
  for (int i = 0; i < 5; ++i) engine_->write(raises("A", "o", 395));
  engine_->ledger.set_cursor("slow", 4, 0);
  engine_->ledger.set_cursor("fast", 1000, 0);
  for (int i = 0; i < 10; ++i) engine_->write(raises("A", "o", 395));
  ChangeFeed feed(path_);
  EXPECT_EQ(rows("SELECT min(number), max(number) FROM change"), Rows{"5 15"});
  EXPECT_EQ(feed.next(4, 100).changes.size(), 11U);
  for (int i = 0; i < 10; ++i) engine_->write(raises("A", "o", 395));
  EXPECT_EQ(rows("SELECT min(number), max(number) FROM change"), Rows{"6 25"});  // not more than 20
  const Feed gap = feed.next(4, 100);
  ASSERT_TRUE(gap.gap);
  EXPECT_EQ(gap.gap->first, 5);
  EXPECT_EQ(gap.gap->last, 5);
  EXPECT_TRUE(gap.changes.empty());
  engine_->ledger.forget_cursor("slow");
  engine_->write(raises("A", "o", 395));
  EXPECT_EQ(rows("SELECT count(*) FROM change"), Rows{"2"});
}

TEST_F(PrunerTest, CursorsHoldChangesBackAfterARestart) {
  const Retention few{.events = 2, .days = 0, .bytes = 0, .held_changes = 0};
  open(few);
  engine_->write(raises("A", "o", 395));
  engine_->ledger.set_cursor("slow", 4, 0);
  open(few);
  for (int i = 0; i < 10; ++i) engine_->write(raises("A", "o", 395));
  EXPECT_EQ(rows("SELECT min(number), max(number) FROM change"), Rows{"5 11"});
}

// Whoever has taken nothing yet wants the first change, too.
TEST_F(PrunerTest, ACursorHoldsTheFirstChangeBack) {
  open({.events = 2, .days = 0, .bytes = 0, .held_changes = 0});
  engine_->ledger.set_cursor("new", 0, 0);
  for (int i = 0; i < 10; ++i) engine_->write(raises("A", "o", 395));
  EXPECT_EQ(rows("SELECT min(number), max(number) FROM change"), Rows{"1 10"});
}

class ByBytes : public PrunerTest {
 protected:
  // Writes batches of different kinds of inputs, many of them never seen before, and
  // checks that the limit holds after each.
  void fill(int batches, std::int64_t limit) {
    std::mt19937 random(1);
    std::int64_t most = 0;
    for (int i = 0; i < batches; ++i) {
      const std::size_t inputs = std::min<std::size_t>(1 + random() % 400, engine_->ledger.most_inputs_in_batch());
      for (std::size_t k = 0; k < inputs; ++k) {
        const std::string dn = "sys/object-" + std::to_string(random() % 50);
        const std::string descr = "it is " + std::to_string(random()) + std::string(random() % 150, 'x');
        test::InputOf input = random() % 2 == 0 ? raises("A", dn.c_str(), 395) : clears("A", dn.c_str(), 395);
        if (random() % 4 == 0) input.record.descr = descr.c_str();
        input.id = std::to_string(next_id_++);
        engine_->add(input);
      }
      engine_->write();
      most = std::max(most, bytes());
      ASSERT_LE(bytes(), limit) << "batch " << i;
    }
    EXPECT_GE(most, limit / 2);  // and the space is used
  }

  int next_id_ = 0;
};

TEST_F(ByBytes, FileAndLogNeverPassTheLimit) {
  constexpr std::int64_t kLimit = 2 * 1024 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  fill(kBatches, kLimit);
  expect_whole();
  EXPECT_FALSE(engine_->ledger.size().is_too_full);
  EXPECT_FALSE(engine_->ledger.size().is_held);
  EXPECT_GT(rows("SELECT seq FROM event").size(), 3000U);
  open({.events = 0, .days = 0, .bytes = kLimit});
  fill(50, kLimit);
}

TEST_F(ByBytes, ALowerLimitGivesSpaceBack) {
  open({.events = 0, .days = 0, .bytes = 8 * 1024 * 1024});
  fill(300, 8 * 1024 * 1024);
  constexpr std::int64_t kLimit = 1024 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  while (engine_->ledger.tidy()) {
  }
  engine_->pass(1);
  EXPECT_LE(bytes(), kLimit);
  fill(100, kLimit);
  expect_whole();
}

TEST_F(ByBytes, ASmallLimit) {
  constexpr std::int64_t kLimit = 256 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  EXPECT_GE(engine_->ledger.most_inputs_in_batch(), 1U);
  fill(kBatches, kLimit);
  expect_whole();
}

TEST_F(ByBytes, CursorsDoNotHoldBytesBack) {
  constexpr std::int64_t kLimit = 1024 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  engine_->ledger.set_cursor("gone", 0, 0);
  fill(100, kLimit);
  EXPECT_TRUE(ChangeFeed(path_).next(0, 10).gap);
}

// One step takes out at most a thousand inputs, so a ledger of many needs several.
TEST_F(ByBytes, TidyingGoesOnUntilThereIsSpaceForWhatComesNext) {
  open({.events = 0, .days = 0, .bytes = 0});
  for (int i = 0; i < kManyInputs / 4000; ++i) {
    for (int k = 0; k < 4000; ++k) engine_->add({.reported = false});
    engine_->write();
  }
  engine_.reset();
  // The file is within its limit, so nothing of it is given back. The log may have a quarter of the limit.
  const std::int64_t most_of_file = bytes() / 62 * 64;
  open({.events = 0, .days = 0, .bytes = most_of_file / 3 * 4});
  while (engine_->ledger.tidy()) {
  }
  const std::int64_t used = std::stoll(rows(
      "SELECT (SELECT page_count FROM pragma_page_count) - (SELECT freelist_count FROM pragma_freelist_count)")[0]);
  EXPECT_LE(used * 1024, most_of_file / 64 * 60);
  EXPECT_GT(std::stoll(rows("SELECT count(*) FROM event")[0]), kManyInputs / 5 * 4);
}

TEST_F(PrunerTest, TidyingGoesOnUntilTheCountIsRight) {
  open({.events = 0, .days = 0, .bytes = 0});
  for (int i = 0; i < 3; ++i) {
    for (int k = 0; k < 4000; ++k) engine_->add({.reported = false});
    engine_->write();
  }
  open({.events = 100, .days = 0, .bytes = 0});
  while (engine_->ledger.tidy()) {
  }
  EXPECT_EQ(rows("SELECT count(*) FROM event"), Rows{"100"});
  // Nothing limits the bytes, so up to a MiB of free pages waits for what comes next. The inputs took over 400 pages.
  EXPECT_GT(std::stoll(rows("SELECT freelist_count FROM pragma_freelist_count")[0]), 300);
}

// What is needed alone takes more: all of it is there, and the ledger says so.
TEST_F(ByBytes, WhatIsNeededPassesTheLimit) {
  constexpr std::int64_t kLimit = 512 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  for (int i = 0; i < 3000; ++i) {
    engine_->add(raises("A", ("sys/object-" + std::to_string(i)).c_str(), 395));
    if (i % 10 == 9) engine_->write();
  }
  engine_->pass(20);
  EXPECT_TRUE(engine_->ledger.size().is_too_full);
  EXPECT_GT(bytes(), kLimit);
  expect_whole();
  open({.events = 0, .days = 0, .bytes = kLimit});
  EXPECT_EQ(engine_->alarms.size(), 3000U);
  for (int i = 0; i < 3000; ++i) {
    engine_->add(clears("A", ("sys/object-" + std::to_string(i)).c_str(), 395));
    if (i % 10 == 9) engine_->write();
  }
  for (int i = 0; i < 300; ++i) {
    for (int k = 0; k < 10; ++k) engine_->add({.reported = false});
    engine_->write();
  }
  while (engine_->ledger.tidy()) {
  }
  engine_->pass(1);
  EXPECT_FALSE(engine_->ledger.size().is_too_full);
  EXPECT_LE(bytes(), kLimit);
  expect_whole();
}

// A reader that does not let go of the log costs no event; the log is short again
// when it is gone.
TEST_F(ByBytes, AReaderThatHoldsTheLog) {
  constexpr std::int64_t kLimit = 512 * 1024;
  open({.events = 0, .days = 0, .bytes = kLimit});
  {
    const Database reader(path_, Access::kRead);
    reader.exec("BEGIN");
    Statement(reader, "SELECT count(*) FROM event").step();
    for (int i = 0; i < 1500; ++i) engine_->write(raises("A", ("sys/object-" + std::to_string(i % 50)).c_str(), 395));
    EXPECT_TRUE(engine_->ledger.size().is_held);
    EXPECT_EQ(engine_->ledger.last_sequence(), 1500);
  }
  for (int i = 0; i < 100; ++i) engine_->write(raises("A", "o", 395));
  EXPECT_FALSE(engine_->ledger.size().is_held);
  EXPECT_LE(bytes(), kLimit);
}

// Readers of which the next always begins before the last one ends.
class ReadersInTurn {
 public:
  explicit ReadersInTurn(const std::string& path) : thread_([this, path] { read(path); }) {}
  ~ReadersInTurn() {
    is_over_ = true;
    thread_.join();
  }
  ReadersInTurn(const ReadersInTurn&) = delete;
  ReadersInTurn& operator=(const ReadersInTurn&) = delete;

 private:
  void read(const std::string& path) const {
    const Database readers[] = {Database(path, Access::kRead), Database(path, Access::kRead)};
    for (std::size_t turn = 0; !is_over_; ++turn) {
      const Database& next = readers[turn % 2];
      const Database& last = readers[(turn + 1) % 2];
      next.exec("BEGIN; SELECT count(*) FROM ledger");
      if (last.in_transaction()) last.exec("ROLLBACK");
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

class ManyReaders : public ByBytes {
 protected:
  static constexpr std::int64_t kLimit = 512 * 1024;

  ManyReaders() {
    open({.events = 0, .days = 0, .bytes = kLimit});
    readers_.emplace(path_);
    const Database reader(path_, Access::kRead);
    reader.exec("BEGIN; SELECT count(*) FROM event");
    for (int i = 0; i < 400; ++i) engine_->write(raises("A", ("sys/object-" + std::to_string(i % 50)).c_str(), 395));
  }

  // Whether the log is let go of while this is done again and again, for a minute at most.
  bool is_let_go(const std::function<void()>& work) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (engine_->ledger.size().is_held && std::chrono::steady_clock::now() < end) work();
    return !engine_->ledger.size().is_held;
  }

  std::optional<ReadersInTurn> readers_;
};

// One that stayed long makes the log pass its limit. When it has gone, those who come and go do not keep the log so.
TEST_F(ManyReaders, DoNotKeepTheLogLongWhileEventsCome) {
  ASSERT_TRUE(engine_->ledger.size().is_held);
  ASSERT_GT(bytes(), kLimit);
  EXPECT_TRUE(is_let_go([&] { engine_->write(raises("A", "o", 395)); }));
  EXPECT_LE(bytes(), kLimit);
}

TEST_F(ManyReaders, DoNotKeepTheLogLongWhenNothingComes) {
  ASSERT_TRUE(engine_->ledger.size().is_held);
  ASSERT_GT(bytes(), kLimit);
  EXPECT_TRUE(is_let_go([&] {
    engine_->ledger.tidy();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }));
  EXPECT_LE(bytes(), kLimit);
}

}  // namespace pruner_test
}  // namespace polaiga::engine
