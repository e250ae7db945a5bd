// The dictionary: the name and severity of each fault code, and the text of each
// cause with its place in the ITU's and IANA's lists.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace polaiga::engine {

// The perceived severities of ITU-T X.733, from the mildest to the worst.
// Severities are compared, so their order counts.
enum class Severity { kCleared, kIndeterminate, kWarning, kMinor, kMajor, kCritical };

std::string_view severity_word(Severity severity);

// Nothing: there is no such word.
std::optional<Severity> find_severity(std::string_view word);

// The five event types of ITU-T X.733.
enum class EventType { kCommunications, kQualityOfService, kProcessingError, kEquipment, kEnvironmental };

// The name that IANAItuEventType (RFC 3877) gives the type: "equipmentAlarm".
std::string_view event_type_word(EventType type);

// What X.733 and IANA call a cause.
struct CauseStandard {
  EventType event_type;
  const char* probable_cause;  // a name of IANAItuProbableCause (IANA-ITU-ALARM-TC-MIB)
  std::uint32_t probable_cause_number;
};

struct FaultEntry {
  std::uint32_t code;
  const char* name;
  Severity severity;
};

struct CauseEntry {
  std::uint32_t id;
  const char* text;
  CauseStandard standard;
};

// Both lists ascend by their number.
std::span<const FaultEntry> fault_entries();
std::span<const CauseEntry> cause_entries();

// Both return the empty text for an unknown number.
const char* fault_name(std::uint32_t code);
const char* cause_text(std::uint32_t cause_id);

// Nothing for an unknown cause.
std::optional<CauseStandard> cause_standard(std::uint32_t cause_id);

// The same for a cause that is known by its text, as in the records that carry
// the text alone and leave the number 0.
std::optional<CauseStandard> cause_standard(std::string_view text);

// That of a record's cause: by its number or, without one, by its text.
std::optional<CauseStandard> cause_standard(const fe_fault_record& record);

// A record that only clears is "cleared". Any other record has the severity of
// its code, or "indeterminate" if the code is unknown.
Severity severity_of(const fe_fault_record& record);

}  // namespace polaiga::engine
