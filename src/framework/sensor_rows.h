// Faults of the filters over sensor rows. The row of the event's sensor has codes,
// cause, names and description. A RowRule says which of its codes an event stands for.
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

// Where a code comes from: from one of the row's code columns, unless said otherwise.
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

// The number of the cause of the cleared fault: a cause's own number, or one of the
// three special values below.
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
  bool deasserts = false;       // the event is treated as if its state were "deasserted"
  Memory sets = 0;
  Memory clears = 0;
};

// The threshold words for an event, for filters that choose them in a table of their own.
struct WordRule {
  Condition when;
  std::string_view words;
};

// Returns the index of the last row with that name, or -1 when there is none.
std::int32_t find_row(const fe_sensor_map_row* rows, std::int32_t count, std::string_view name);

// Writes codes, disposition and clear cause number as the rule says.
void apply(const RowRule& rule, fe_fault_record& record, const fe_sensor_map_row& row, std::uint32_t previous_state);

// Writes the texts of the row, and code text and fault DN. The description is that of
// a raise: the row's format with the sensor name and the words inserted.
void write_row_texts(fe_fault_record& record, const fe_sensor_map_row& row, std::string_view words);

// The last event state of each row, which is kept in an array of the filter's. For a
// row behind the end of the array nothing is kept, and 0 is read.
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
