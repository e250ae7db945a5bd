// Lines of the decision tables of filters that have faults and texts of their
// own, as literal cases.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/filter_test.h"

namespace polaiga::test {

// A fault as its records name it.
struct KnownFault {
  std::uint32_t code;
  const char* code_text;
  const char* name;
  std::uint32_t cause_id;
  const char* cause;
};

// A line with one state that falls under it. What has no value is left alone.
struct FaultRow {
  int offset;
  int state;
  std::optional<std::string> descr;
  std::uint32_t code;
  std::uint8_t disposition;
  std::uint32_t clear_code;
  std::optional<std::uint32_t> clear_cause_id = {};
  std::optional<std::string> clear_cause = {};
};

// What the line writes, on top of what every event leaves.
Written written_by(const FaultRow& row, std::span<const KnownFault> faults, Written written);

// A line with all of its states that are tried, for filters in which a fault is
// reported with more than one cause.
struct Fault {
  std::uint32_t code;
  const char* code_text;
  const char* name;
};
struct Cause {
  std::uint32_t id;
  const char* text;
};
struct Cleared {  // what the line says of the fault that is over
  std::uint32_t code;
  std::uint32_t cause_id;
  std::optional<std::string> cause;
};
struct StatesRow {
  int offset;
  std::vector<int> states;
  const char* descr;
  Fault fault;
  Cause cause;
  std::uint8_t disposition;
  Cleared cleared;
};

Written written_by(const StatesRow& row, Written written);

}  // namespace polaiga::test
