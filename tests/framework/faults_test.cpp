#include "framework/faults.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace polaiga {
namespace faults_test {

constexpr Fault kFault{371, "fltEquipmentFanDegraded", kEquipmentDegraded};

constexpr FaultRule kRaiseRule{.when = {},
                               .descr = "%s: Fan %d is degraded",
                               .fault = &kFault,
                               .disposition = Disposition::kRaise,
                               .clear_cause = kNumberAndText};

const Insert kInsert{.first = "FAN1", .number = 3};

fe_fault_record patterned() {
  fe_fault_record record;
  std::memset(&record, 0xAB, sizeof record);
  return record;
}

// What every rule of the fault writes.
fe_fault_record with_fault() {
  fe_fault_record record = patterned();
  record.code = 371;
  std::strcpy(record.name, "fltEquipmentFanDegraded");
  record.cause_id = 218;
  std::strcpy(record.cause, "equipment-degraded");
  return record;
}

void expect_same(const fe_fault_record& got, const fe_fault_record& want) {
  EXPECT_STREQ(got.descr, want.descr);
  EXPECT_EQ(got.disposition, want.disposition);
  EXPECT_EQ(got.clear_code, want.clear_code);
  EXPECT_EQ(got.clear_cause_id, want.clear_cause_id);
  EXPECT_EQ(std::memcmp(&got, &want, sizeof want), 0);
}

TEST(ApplyFaultRule, WritesARaise) {
  fe_fault_record record = patterned();
  apply(kRaiseRule, record, kInsert);
  fe_fault_record want = with_fault();
  std::strcpy(want.descr, "FAN1: Fan 3 is degraded");
  want.disposition = 0;
  want.clear_code = 0;
  want.clear_cause_id = 0;
  want.clear_cause[0] = '\0';
  expect_same(record, want);
}

TEST(ApplyFaultRule, LeavesWhatTheRuleDoesNotName) {
  constexpr FaultRule rule{.when = {}, .descr = nullptr, .fault = &kFault};
  fe_fault_record record = patterned();
  fe_fault_record want = with_fault();
  want.clear_code = 0;
  record.descr[5] = '\0';
  want.descr[5] = '\0';
  apply(rule, record, kInsert);
  expect_same(record, want);
}

TEST(ApplyFaultRule, WhatIsCleared) {
  constexpr Fault kOverheated{379, "fltEquipmentIOCardThermalProblem", kThermalProblem};
  const struct {
    const Fault* cleared;
    ClearCause clear_cause;
    std::uint32_t code;
    std::optional<std::uint32_t> id;
    std::optional<std::string> text;
  } cases[] = {
      {nullptr, kCauseUntouched, 0, {}, {}},     {nullptr, kNumberOnly, 0, 0, {}},
      {nullptr, kNumberAndText, 0, 0, ""},       {&kOverheated, kCauseUntouched, 379, {}, {}},
      {&kOverheated, kNumberOnly, 379, 215, {}}, {&kOverheated, kNumberAndText, 379, 215, "thermal-problem"},
  };
  for (const auto& c : cases) {
    FaultRule rule = kRaiseRule;
    rule.cleared = c.cleared;
    rule.clear_cause = c.clear_cause;
    rule.disposition = Disposition::kPresence;
    rule.descr = "plain";
    fe_fault_record record = patterned();
    apply(rule, record, kInsert);
    fe_fault_record want = with_fault();
    std::strcpy(want.descr, "plain");
    want.disposition = 3;
    want.clear_code = c.code;
    if (c.id) want.clear_cause_id = *c.id;
    if (c.text) std::strcpy(want.clear_cause, c.text->c_str());
    expect_same(record, want);
  }
}

TEST(ApplyFaultRule, Dispositions) {
  const struct {
    Disposition disposition;
    std::uint8_t value;
  } cases[] = {{Disposition::kRaise, 0},
               {Disposition::kTransition, 1},
               {Disposition::kPresence, 3},
               {Disposition::kNonCritical, 4},
               {Disposition::kCritical, 5},
               {Disposition::kNonRecoverable, 6},
               {Disposition::kDispositionUntouched, 0xAB}};
  for (const auto& c : cases) {
    FaultRule rule = kRaiseRule;
    rule.disposition = c.disposition;
    fe_fault_record record = patterned();
    apply(rule, record, kInsert);
    EXPECT_EQ(record.disposition, c.value);
  }
}

TEST(Report, WritesTheCodeTextsToo) {
  fe_fault_record record = patterned();
  std::strcpy(record.dn, "sys/rack-unit-1");
  fe_fault_record want = with_fault();
  std::strcpy(want.dn, "sys/rack-unit-1");
  std::strcpy(want.descr, "FAN1: Fan 3 is degraded");
  want.disposition = 0;
  want.clear_code = 0;
  want.clear_cause_id = 0;
  want.clear_cause[0] = '\0';
  std::strcpy(want.code_text, "F0371");
  std::strcpy(want.fault_dn, "sys/rack-unit-1/fault-F0371");
  EXPECT_EQ(report(kRaiseRule, record, kInsert), 0);
  expect_same(record, want);
}

TEST(Causes, Numbers) {
  const struct {
    Cause cause;
    std::uint32_t id;
    const char* text;
  } cases[] = {
      {kEquipmentInoperable, 214, "equipment-inoperable"}, {kThermalProblem, 215, "thermal-problem"},
      {kVoltageProblem, 216, "voltage-problem"},           {kEquipmentDegraded, 218, "equipment-degraded"},
      {kEquipmentMissing, 238, "equipment-missing"},       {kPowerProblem, 344, "power-problem"},
      {kEquipmentProblem, 348, "equipment-problem"},       {kPerformanceProblem, 381, "performance-problem"},
      {kEquipmentDisabled, 388, "equipment-disabled"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.cause.id, c.id);
    EXPECT_EQ(c.cause.text, c.text);
  }
}

FaultRule moving(Memory sets, Memory clears) {
  FaultRule rule = kRaiseRule;
  rule.sets = sets;
  rule.clears = clears;
  return rule;
}

TEST(UnitMemory, RemembersBits) {
  UnitMemory<1, 20> memory = {};
  memory.update(5, moving(0x11, 0));
  EXPECT_EQ(memory.recall(5), 0x11);
  memory.update(5, moving(0x01, 0));
  EXPECT_EQ(memory.recall(5), 0x11);
  memory.update(5, moving(0x20, 0x01));
  EXPECT_EQ(memory.recall(5), 0x30);
  memory.update(5, moving(0, 0));
  EXPECT_EQ(memory.recall(5), 0x30);
  memory.update(5, moving(0, 0xFF));
  EXPECT_EQ(memory.recall(5), 0);
}

TEST(UnitMemory, KnowsItsUnitsOnly) {
  struct {
    std::uint8_t before[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    UnitMemory<-1, 2> memory = {};
    std::uint8_t after[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  } guarded;
  const std::uint8_t untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  for (const std::int32_t unit :
       {-2, 3, 4, -3, 1000000, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    guarded.memory.update(unit, moving(0xFF, 0));
    EXPECT_EQ(guarded.memory.recall(unit), 0) << unit;
    EXPECT_FALSE(guarded.memory.covers(unit)) << unit;
  }
  EXPECT_EQ(std::memcmp(guarded.before, untouched, 8), 0);
  EXPECT_EQ(std::memcmp(guarded.after, untouched, 8), 0);
  for (std::int32_t unit = -1; unit <= 2; ++unit) {
    EXPECT_EQ(guarded.memory.recall(unit), 0) << unit;
    guarded.memory.update(unit, moving(static_cast<Memory>(1 << (unit + 1)), 0));
  }
  for (std::int32_t unit = -1; unit <= 2; ++unit) EXPECT_EQ(guarded.memory.recall(unit), 1 << (unit + 1)) << unit;
}

TEST(UnitMemory, HasSixteenBitsOnDemand) {
  UnitMemory<1, 8, std::uint16_t> wide = {};
  wide.update(8, moving(0x8001, 0));
  EXPECT_EQ(wide.recall(8), 0x8001);
  wide.update(8, moving(0, 0x8000));
  EXPECT_EQ(wide.recall(8), 0x0001);
  EXPECT_EQ(wide.recall(7), 0);
}

}  // namespace faults_test
}  // namespace polaiga
