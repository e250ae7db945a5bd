// Dictionaries: what the numbers of faults and causes are called, and how severe
// a fault is.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace polaiga::engine {

// In the words of ITU-T X.733, with "info" for what is none of its alarms.
enum class Severity { kCleared, kInfo, kWarning, kMinor, kMajor, kCritical };

std::string_view severity_word(Severity severity);

struct FaultEntry {
  std::uint32_t code;
  const char* name;
  Severity severity;
};

struct CauseEntry {
  std::uint32_t id;
  const char* text;
};

// Both in ascending order.
std::span<const FaultEntry> fault_entries();
std::span<const CauseEntry> cause_entries();

// The empty text for a number that is not known.
const char* fault_name(std::uint32_t code);
const char* cause_text(std::uint32_t cause_id);

// Of a record that only clears "cleared", else that of its code; "info" for a
// code that is not known.
Severity severity_of(const fe_fault_record& record);

}  // namespace polaiga::engine
