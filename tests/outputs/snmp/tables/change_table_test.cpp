#include "tables/change_table.h"

#include <gtest/gtest.h>

#include <set>

#include "ledger/ledger.h"

namespace polaiga::snmp {
namespace change_table_test {

using engine::ChangeNumber;

// A ledger whose changes 1 to `last` are there, but for those up to `gone`; those in `folded` are left out.
struct Ledger {
  ChangeNumber last = 0;
  ChangeNumber gone = 0;
  std::set<ChangeNumber> folded = {};
  int reads = 0;
  ChangeNumber alarm = 10;  // of change 1; twice that of change 2, and so on

  engine::Feed next(ChangeNumber after, std::size_t most) {
    ++reads;
    engine::Feed feed;
    feed.through = after;
    if (after < gone) {
      feed.gap = engine::Feed::Gap{after + 1, gone};
      return feed;
    }
    for (std::size_t i = 0; i < most && feed.through < last; ++i) {
      ++feed.through;
      if (folded.contains(feed.through)) continue;
      feed.changes.emplace_back();
      feed.changes.back().change.number = feed.through;
      feed.changes.back().change.alarm = feed.through * alarm;
    }
    return feed;
  }
};

class ChangeTableTest : public testing::Test {
 protected:
  std::vector<ChangeNumber> all() const {
    std::vector<ChangeNumber> numbers;
    Oid at;
    for (;;) {
      const auto cell = table_.next(kChangeAlarm, {.index = at, .is_inclusive = false});
      if (!cell) return numbers;
      EXPECT_EQ(cell->value.number, cell->index.at(0) * ledger_.alarm);
      numbers.push_back(cell->index.at(0));
      at = cell->index;
    }
  }

  Ledger ledger_;
  ChangeTable table_{[this](ChangeNumber after, std::size_t most) { return ledger_.next(after, most); }};
};

TEST_F(ChangeTableTest, WalksAll) {
  ledger_.last = 1234;
  table_.follow("a", 1, 1234);
  std::vector<ChangeNumber> expected(1234);
  for (ChangeNumber i = 0; i < 1234; ++i) expected[static_cast<std::size_t>(i)] = i + 1;
  EXPECT_EQ(all(), expected);
  EXPECT_EQ(ledger_.reads, 3);  // 500 rows at once
}

TEST_F(ChangeTableTest, LeavesOutWhatIsFoldedAndGone) {
  ledger_.last = 8;
  ledger_.gone = 2;
  ledger_.folded = {4, 5, 8};
  table_.follow("a", 1, 8);
  EXPECT_EQ(all(), (std::vector<ChangeNumber>{3, 6, 7}));
  EXPECT_TRUE(table_.get(kChangeAlarm, Oid{6}));
  for (const std::uint32_t number : {0U, 1U, 2U, 4U, 8U, 9U, 4294967295U}) {
    EXPECT_FALSE(table_.get(kChangeAlarm, Oid{number})) << number;
  }
}

TEST_F(ChangeTableTest, EndsWhereThePictureEnds) {
  ledger_.last = 10;
  table_.follow("a", 1, 7);
  EXPECT_EQ(all().size(), 7U);
  table_.follow("a", 1, 10);
  EXPECT_EQ(all().size(), 10U);
  EXPECT_FALSE(table_.get(kChangeAlarm, Oid{11}));
}

TEST_F(ChangeTableTest, AnotherLedger) {
  ledger_.last = 10;
  table_.follow("a", 1, 10);
  EXPECT_EQ(all().size(), 10U);
  ledger_.last = 3;
  table_.follow("b", 1, 3);
  EXPECT_EQ(all(), (std::vector<ChangeNumber>{1, 2, 3}));
}

TEST_F(ChangeTableTest, WhatIsForgottenIsReadAgain) {
  ledger_.last = 10;
  table_.follow("a", 1, 10);
  EXPECT_EQ(all().size(), 10U);
  // The same ledger, put back, has other changes under these numbers.
  ledger_.alarm = 7;
  table_.forget();
  table_.follow("a", 1, 10);
  EXPECT_EQ(all().size(), 10U);
}

TEST_F(ChangeTableTest, ReadsTheLedgerOnceForColumnsOfNumbers) {
  ledger_.last = 1000;
  ledger_.folded = {500, 501, 1000};
  table_.follow("a", 1, 1000);
  EXPECT_EQ(all().size(), 997U);
  const int reads = ledger_.reads;
  for (int walk = 0; walk < 3; ++walk) EXPECT_EQ(all().size(), 997U);
  // What lies beyond the last row is looked for again.
  EXPECT_LE(ledger_.reads, reads + 3);
  ledger_.last = 1001;
  table_.follow("a", 1, 1001);
  EXPECT_EQ(all().back(), 1001);
  // A text is in no number.
  const Oid fifth{5};
  EXPECT_EQ(table_.next(kChangePerson, {.index = fifth, .is_inclusive = false})->index, Oid{6});
  EXPECT_EQ(table_.next(kChangeQuiet, {.index = fifth, .is_inclusive = false})->value.number, 2U);
}

TEST_F(ChangeTableTest, WhatRetentionTakesHasNoRowAnyMore) {
  ledger_.last = 10;
  table_.follow("a", 1, 10);
  EXPECT_EQ(all().size(), 10U);
  ledger_.gone = 4;
  table_.follow("a", 5, 10);
  EXPECT_EQ(all(), (std::vector<ChangeNumber>{5, 6, 7, 8, 9, 10}));
  EXPECT_FALSE(table_.get(kChangeAlarm, Oid{4}));
}

TEST_F(ChangeTableTest, AnEmptyLedger) {
  EXPECT_FALSE(table_.next(kChangeAlarm, {}));
  EXPECT_EQ(ledger_.reads, 0);
}

TEST_F(ChangeTableTest, GivesUpWhenTooManyAreLeftOut) {
  ledger_.last = 30'000;
  for (ChangeNumber i = 1; i < 30'000; ++i) ledger_.folded.insert(i);
  table_.follow("a", 1, 30'000);
  EXPECT_THROW(table_.next(kChangeAlarm, {}), engine::LedgerError);
  EXPECT_LE(ledger_.reads, 42);
}

}  // namespace change_table_test
}  // namespace polaiga::snmp
