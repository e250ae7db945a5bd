// Faults over sensor rows: the row of an event's sensor supplies codes, cause,
// names and description; rules say which of its code columns an event means.
#pragma once

#include <polaiga/records.h>
#include <polaiga/tables.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "framework/decision.h"
#include "framework/faults.h"

namespace polaiga {

// Where a code comes from.
enum class Code : std::uint8_t {
  kCodeUntouched,  // the field is left alone
  kNoCode,         // 0
  kBase,
  kLowerCritical,
  kLowerNonRecoverable,
  kUpperNonCritical,
  kUpperCritical,
  kUpperNonRecoverable,
};

// Number of the cause of what is cleared: a literal one, or one of these.
using ClearCauseId = std::int32_t;
inline constexpr ClearCauseId kNoCause = 0;
inline constexpr ClearCauseId kRowCause = -1;
inline constexpr ClearCauseId kCauseIdUntouched = -2;
constexpr ClearCauseId id_of(const Cause& cause) { return static_cast<ClearCauseId>(cause.id); }

// One line of a threshold decision table.
struct RowRule {
  Condition when;
  Code code;
  Disposition disposition;
  Code clear_code;
  ClearCauseId clear_cause_id;
  std::string_view words = {};  // threshold words; empty: none of its own
  bool deasserts = false;       // the event is taken as deasserted
  Memory sets = 0;
  Memory clears = 0;
};

// Threshold words by event, for filters that choose them apart from the codes.
struct WordRule {
  Condition when;
  std::string_view words;
};

// Index of the last row of that name, -1 when there is none.
std::int32_t find_row(const fe_sensor_map_row* rows, std::int32_t count, std::string_view name);

// Writes the codes, the disposition and the clear cause number of the rule.
void apply(const RowRule& rule, fe_fault_record& record, const fe_sensor_map_row& row, std::uint32_t previous_state);

// Writes what the record says of the fault from a row whose format takes the
// sensor name and the words, with code text and fault DN. The description is
// that of a raise.
void write_row_texts(fe_fault_record& record, const fe_sensor_map_row& row, std::string_view words);

// The last event state of each row, kept in the filter's own array; rows behind
// its end have none, which reads 0.
class RowStates {
 public:
  explicit RowStates(std::span<std::uint32_t> last) : last_(last) {}

  std::uint32_t recall(std::int32_t row) const { return covers(row) ? last_[index(row)] : 0; }
  void update(std::int32_t row, std::int32_t state) {
    if (covers(row)) last_[index(row)] = static_cast<std::uint32_t>(state);
  }

 private:
  static std::size_t index(std::int32_t row) { return static_cast<std::size_t>(row); }
  bool covers(std::int32_t row) const { return row >= 0 && index(row) < last_.size(); }

  std::span<std::uint32_t> last_;
};

}  // namespace polaiga
