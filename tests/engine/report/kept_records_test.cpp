#include "report/kept_records.h"

#include <gtest/gtest.h>

#include "support/record.h"

namespace polaiga::engine {
namespace kept_records_test {

// Inputs as a recorder makes them, of records that no filter made.
class Inputs {
 public:
  void apply(const test::RecordOf& of, const std::string& sensor) {
    RecordedInput input;
    input.sequence = ++last_;
    input.reported = true;
    input.record = test::make_record(of);
    input.outcome = alarms.apply(input.record, {nullptr, sensor, 1}, input.sequence, 0, input.changes);
    records.keep(input, alarms);
  }
  std::string shown(const char* fault_dn) const { return records.shown(*alarms.find(fault_dn)).descr; }

  Alarms alarms;
  KeptRecords records;

 private:
  Sequence last_ = 0;
};

TEST(KeptRecords, TheLatestOfThoseWhoStillReport) {
  Inputs inputs;
  inputs.apply({.dn = "sys/a", .descr = "one"}, "A");
  inputs.apply({.dn = "sys/a", .descr = "two"}, "B");
  EXPECT_EQ(inputs.shown("sys/a/fault-F0395"), "two");
  inputs.apply({.dn = "sys/a", .state = 0, .descr = "over"}, "B");
  EXPECT_EQ(inputs.shown("sys/a/fault-F0395"), "one");
}

TEST(KeptRecords, WhatNoReportNamesIsDropped) {
  Inputs inputs;
  inputs.apply({.dn = "sys/a", .descr = "first"}, "A");
  for (std::size_t i = 0; i < 5 * KeptRecords::kFew; ++i) {
    inputs.apply({.dn = "sys/b", .descr = "again"}, "B");
    ASSERT_LE(inputs.records.size(), KeptRecords::kFew);
  }
  EXPECT_EQ(inputs.shown("sys/a/fault-F0395"), "first");
  EXPECT_EQ(inputs.shown("sys/b/fault-F0395"), "again");
}

}  // namespace kept_records_test
}  // namespace polaiga::engine
