#include "oids/oid.h"

#include <gtest/gtest.h>

#include "oids/numbers.h"

namespace polaiga::snmp {
namespace oid_test {

TEST(OidTest, OrdersAsSnmpDoes) {
  const std::vector<Oid> ordered{{}, {0}, {0, 0}, {0, 4294967295}, {1}, {1, 1}, {2}, {4294967295}};
  for (std::size_t one = 0; one < ordered.size(); ++one) {
    for (std::size_t other = 0; other < ordered.size(); ++other) {
      EXPECT_EQ(is_before(ordered[one], ordered[other]), one < other) << one << " and " << other;
      EXPECT_EQ(is_same(ordered[one], ordered[other]), one == other);
    }
  }
}

TEST(OidTest, BeginsWith) {
  EXPECT_TRUE(begins_with(Oid{1, 2, 3}, Oid{1, 2}));
  EXPECT_TRUE(begins_with(Oid{1, 2}, Oid{1, 2}));
  EXPECT_TRUE(begins_with(Oid{1}, Oid{}));
  EXPECT_FALSE(begins_with(Oid{1}, Oid{1, 2}));
  EXPECT_FALSE(begins_with(Oid{1, 3, 2}, Oid{1, 2}));
}

TEST(OidTest, TextsAndTimesAsIndexes) {
  Oid oid{7};
  add_text_index(oid, "a/\xC3");
  EXPECT_EQ(oid, (Oid{7, 3, 97, 47, 195}));
  Oid time;
  add_time_index(time, 1741770740);  // 2025-03-12T09:12:20Z
  EXPECT_EQ(time, (Oid{11, 7, 233, 3, 12, 9, 12, 20, 0, 43, 0, 0}));
  EXPECT_EQ(object_index(std::string(300, 'x')).size(), 101U);
}

TEST(OidTest, DateAndTimeAtTheEnds) {
  EXPECT_EQ(date_and_time(0), (std::vector<std::uint8_t>{7, 178, 1, 1, 0, 0, 0, 0, '+', 0, 0}));
  EXPECT_EQ(date_and_time(engine::kLastMoment), (std::vector<std::uint8_t>{39, 15, 12, 31, 23, 59, 59, 0, '+', 0, 0}));
}

TEST(OidTest, NumbersOfRows) {
  EXPECT_EQ(exact_number(Oid{5}), 5U);
  EXPECT_EQ(exact_number(Oid{}), std::nullopt);
  EXPECT_EQ(exact_number(Oid{5, 0}), std::nullopt);
  struct Row {
    Oid index;
    bool is_inclusive;
    std::uint64_t least;
  };
  for (const Row& row : {Row{{}, true, 0}, Row{{}, false, 0}, Row{{5}, true, 5}, Row{{5}, false, 6},
                         Row{{5, 0}, true, 6}, Row{{5, 0}, false, 6}, Row{{4294967295}, false, 4294967296}}) {
    EXPECT_EQ(least_number({.index = row.index, .is_inclusive = row.is_inclusive}), row.least);
  }
}

TEST(NumbersTest, SeveritiesOfBothStandards) {
  using enum engine::Severity;
  struct Row {
    engine::Severity severity;
    std::uint32_t state;
    std::uint32_t itu;
  };
  for (const Row& row : {Row{kCleared, 1, 1}, Row{kIndeterminate, 2, 2}, Row{kWarning, 3, 6}, Row{kMinor, 4, 5},
                         Row{kMajor, 5, 4}, Row{kCritical, 6, 3}}) {
    EXPECT_EQ(severity_number(row.severity), row.state);
    EXPECT_EQ(itu_severity_number(row.severity), row.itu);
  }
}

TEST(NumbersTest, KindsAndStates) {
  using enum engine::ChangeKind;
  EXPECT_EQ(kind_number(kRaised), 1U);
  EXPECT_EQ(kind_number(kMerged), 7U);
  EXPECT_EQ(kind_number(kAcknowledged), 8U);
  EXPECT_EQ(kind_number(kBackInService), 15U);
  EXPECT_EQ(kind_number(kChattering), 16U);
  EXPECT_EQ(kind_number(kSettled), 17U);
  EXPECT_EQ(operator_state_number(engine::OperatorState::kNone), 1U);
  EXPECT_EQ(operator_state_number(engine::OperatorState::kShelved), 4U);
  EXPECT_EQ(operator_state_number(engine::OperatorState::kUnshelved), 5U);
  EXPECT_EQ(event_type_number(std::nullopt), 1U);
  EXPECT_EQ(event_type_number(engine::CauseStandard{engine::EventType::kEquipment, "", 0}), 5U);
}

TEST(NumbersTest, Places) {
  const Places places(32473);
  EXPECT_EQ(places.notification(NotificationType::kCleared), (Oid{1, 3, 6, 1, 4, 1, 32473, 1, 0, 2}));
  EXPECT_EQ(places.scalar(kLedgerArc, kPrevious), (Oid{1, 3, 6, 1, 4, 1, 32473, 1, 1, 1, 7, 0}));
  EXPECT_EQ(places.change_column(kChangeAfter, 9), (Oid{1, 3, 6, 1, 4, 1, 32473, 1, 1, 5, 1, 6, 9}));
  EXPECT_EQ(places.object_column(kObjectSeverity, "ab"), (Oid{1, 3, 6, 1, 4, 1, 32473, 1, 1, 4, 1, 2, 2, 97, 98}));
  EXPECT_EQ(Places(7).module(), (Oid{1, 3, 6, 1, 4, 1, 7, 1}));
}

}  // namespace oid_test
}  // namespace polaiga::snmp
