#include "framework/sensor_rows.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>

namespace polaiga {
namespace sensor_rows_test {

fe_sensor_map_row named(const std::string& name) {
  fe_sensor_map_row row = {};
  std::memset(row.dn, 'x', sizeof row.dn);
  std::memcpy(row.sensor_name, name.data(), name.size());
  row.entity_id = 'T';  // must not be taken for a part of the name
  return row;
}

const char* const kNineteen = "ABCDEFGHIJKLMNOPQRS";
const char* const kTwenty = "ABCDEFGHIJKLMNOPQRST";
const char* const kTwentyOne = "ABCDEFGHIJKLMNOPQRSTT";

TEST(FindRow, TakesTheNameWhole) {
  const fe_sensor_map_row rows[] = {named("P12V"), named("P12V_AUX"), named(""), named(kNineteen), named(kTwenty)};
  const struct {
    const char* name;
    std::int32_t index;
  } cases[] = {
      {"P12V", 0},
      {"P12V_AUX", 1},
      {"", 2},
      {kNineteen, 3},
      {kTwenty, 4},
      {kTwentyOne, -1},
      {"P12", -1},
      {"P12V_", -1},
      {"p12v", -1},
      {"P12V ", -1},
      {" P12V", -1},
      {"P12V_AUX_", -1},
      {"ABC", -1},
      {"ABCDEFGHIJKLMNOPQRSU", -1},
      {"ABCDEFGHIJKLMNOPQR", -1},
  };
  for (const auto& c : cases) EXPECT_EQ(find_row(rows, 5, c.name), c.index) << c.name;
}

TEST(FindRow, LaterRowOfANameWins) {
  const fe_sensor_map_row rows[] = {named("A"), named("B"), named("A"), named("C"), named("A"), named("B")};
  EXPECT_EQ(find_row(rows, 6, "A"), 4);
  EXPECT_EQ(find_row(rows, 6, "B"), 5);
  EXPECT_EQ(find_row(rows, 6, "C"), 3);
  EXPECT_EQ(find_row(rows, 4, "A"), 2);
  EXPECT_EQ(find_row(rows, 5, "B"), 1);
  EXPECT_EQ(find_row(rows, 2, "A"), 0);
  EXPECT_EQ(find_row(rows, 3, "C"), -1);
}

TEST(FindRow, CountBelowOneIsAnEmptyTable) {
  const fe_sensor_map_row rows[] = {named("A")};
  EXPECT_EQ(find_row(rows, 1, "A"), 0);
  for (const std::int32_t count : {0, -1, -2, -1000000, -2147483647, std::numeric_limits<std::int32_t>::min()})
    EXPECT_EQ(find_row(rows, count, "A"), -1) << count;
}

constexpr std::uint32_t kBefore = 0xABABABAB;

// What a rule writes to the fields that it may write.
struct Applied {
  std::uint32_t code = kBefore;
  std::uint32_t clear_code = kBefore;
  std::uint8_t disposition = 0xAB;
  std::uint32_t clear_cause_id = kBefore;
};

void expect_applied(const RowRule& rule, std::uint32_t previous_state, const Applied& applied) {
  fe_sensor_map_row row = {};
  row.base_code = 100;
  row.cause_id = 0xC0FFEE01;
  for (std::uint32_t i = 0; i < 5; ++i) row.threshold_codes[i] = 115 + i;

  fe_fault_record record;
  std::memset(&record, 0xAB, sizeof record);
  fe_fault_record want = record;
  apply(rule, record, row, previous_state);
  want.code = applied.code;
  want.clear_code = applied.clear_code;
  want.disposition = applied.disposition;
  want.clear_cause_id = applied.clear_cause_id;
  EXPECT_EQ(record.code, want.code);
  EXPECT_EQ(record.clear_code, want.clear_code);
  EXPECT_EQ(record.disposition, want.disposition);
  EXPECT_EQ(record.clear_cause_id, want.clear_cause_id);
  EXPECT_EQ(std::memcmp(&record, &want, sizeof want), 0) << "another field was written";
}

using enum Code;
using enum Disposition;

RowRule rule(Code code, Disposition disposition, Code clear_code, ClearCauseId clear_cause_id) {
  return {
      .when = {}, .code = code, .disposition = disposition, .clear_code = clear_code, .clear_cause_id = clear_cause_id};
}

TEST(ApplyRowRule, CodesComeFromTheirColumns) {
  const struct {
    Code code;
    std::uint32_t value;
  } columns[] = {{kCodeUntouched, kBefore},
                 {kNoCode, 0},
                 {kBase, 100},
                 {kLowerCritical, 115},
                 {kLowerNonRecoverable, 116},
                 {kUpperNonCritical, 117},
                 {kUpperCritical, 118},
                 {kUpperNonRecoverable, 119}};
  for (const auto& column : columns) {
    expect_applied(rule(column.code, kDispositionUntouched, kCodeUntouched, kCauseIdUntouched), 9,
                   {.code = column.value});
    expect_applied(rule(kCodeUntouched, kDispositionUntouched, column.code, kCauseIdUntouched), 9,
                   {.clear_code = column.value});
  }
  expect_applied(rule(kUpperCritical, kNonCritical, kUpperNonCritical, 214), 9,
                 {.code = 118, .clear_code = 117, .disposition = 4, .clear_cause_id = 214});
}

TEST(ApplyRowRule, Dispositions) {
  const struct {
    Disposition disposition;
    std::uint32_t previous_state;
    std::uint8_t value;
  } cases[] = {{kRaise, 5, 0},
               {kTransition, 5, 1},
               {kPresence, 5, 3},
               {kNonCritical, 5, 4},
               {kCritical, 6, 5},
               {kNonRecoverable, 5, 6},
               {kPreviousState, 5, 5},
               {kPreviousState, 0, 0},
               {kPreviousState, 255, 255},
               {kPreviousState, 0x12345678, 0x78},
               {kPreviousState, 0xFFFFFFFE, 0xFE},
               {kDispositionUntouched, 5, 0xAB}};
  for (const auto& c : cases)
    expect_applied(rule(kCodeUntouched, c.disposition, kCodeUntouched, kCauseIdUntouched), c.previous_state,
                   {.disposition = c.value});
}

TEST(ApplyRowRule, ClearCauses) {
  const struct {
    ClearCauseId id;
    std::uint32_t value;
  } cases[] = {
      {kCauseIdUntouched, kBefore}, {kNoCause, 0}, {218, 218}, {kRowCause, 0xC0FFEE01}, {id_of(kVoltageProblem), 216}};
  for (const auto& c : cases)
    expect_applied(rule(kCodeUntouched, kDispositionUntouched, kCodeUntouched, c.id), 9, {.clear_cause_id = c.value});
}

TEST(WriteRowTexts, SayWhatTheRowSays) {
  fe_sensor_map_row row = {};
  std::strcpy(row.fault_name, "fltOfTheRow");
  std::strcpy(row.cause, "cause-of-the-row");
  std::strcpy(row.descr_format, "%s is %s: %s");
  fe_fault_record record;
  std::memset(&record, 0xAB, sizeof record);
  std::strcpy(record.event.sensor_name, "HDD_BP1_TEMP");
  std::strcpy(record.dn, "sys/rack-unit-1");
  record.code = 42;
  fe_fault_record want = record;
  write_row_texts(record, row, "upper critical");
  std::strcpy(want.name, "fltOfTheRow");
  std::strcpy(want.cause, "cause-of-the-row");
  std::strcpy(want.descr, "HDD_BP1_TEMP is upper critical: upper critical");
  std::strcpy(want.code_text, "F0042");
  std::strcpy(want.fault_dn, "sys/rack-unit-1/fault-F0042");
  EXPECT_EQ(std::memcmp(&record, &want, sizeof want), 0);
}

TEST(WriteRowTexts, TextsWithoutANulEndAtTheirFields) {
  fe_sensor_map_row row;
  std::memset(&row, 'r', sizeof row);
  fe_fault_record record = {};
  write_row_texts(record, row, "words");
  EXPECT_EQ(record.name, std::string(63, 'r'));
  EXPECT_EQ(record.cause, std::string(31, 'r'));
  EXPECT_EQ(record.descr, std::string(223, 'r'));
}

TEST(RowStates, RemembersItsRowsOnly) {
  std::array<std::uint32_t, 5> guarded = {77, 0, 0, 0, 88};
  RowStates states(std::span<std::uint32_t>(guarded).subspan(1, 3));
  for (const std::int32_t row :
       {-1, 3, 4, 1000, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
    states.update(row, 5);
    EXPECT_EQ(states.recall(row), 0U) << row;
  }
  EXPECT_EQ(guarded, (std::array<std::uint32_t, 5>{77, 0, 0, 0, 88}));
  states.update(0, 4);
  states.update(2, -1);
  EXPECT_EQ(guarded, (std::array<std::uint32_t, 5>{77, 4, 0, 0xFFFFFFFF, 88}));
  EXPECT_EQ(states.recall(0), 4U);
  EXPECT_EQ(states.recall(1), 0U);
  EXPECT_EQ(states.recall(2), 0xFFFFFFFFU);
}

}  // namespace sensor_rows_test
}  // namespace polaiga
