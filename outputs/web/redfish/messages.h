// The messages that Redfish tells of alarms with, and the registry that explains them. A fault with the code 395 has
// the messages F0395, which tells that it is active, and F0395Over. Messages that are not of a code are a table.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/alarm_profile.h"
#include "model/change.h"

namespace polaiga::web {

inline constexpr std::string_view kRegistryPrefix = "Polaiga";
inline constexpr std::string_view kRegistryVersion = "1.0.0";

// What stands in place of the site's own advice.
inline constexpr std::string_view kGeneralResolution =
    "Look at the object and at what reports the fault. The command 'polaiga explain' tells how the alarm came about.";

struct GeneralMessage {
  const char* key;
  const char* text;
  const char* health;
  int args;
  const char* resolution;
};

// ClearLog is refused with it, too.
inline constexpr GeneralMessage kLogIsKept{
    .key = "LogIsKept",
    .text = "The log cannot be cleared: it is the record of what happened, and nobody may erase it.",
    .health = "Critical",
    .args = 0,
    .resolution =
        "Entries leave the log by themselves when they are as old as the site has set. Acknowledge or shelve "
        "alarms that need no attention."};

// Those that are not of a code.
std::span<const GeneralMessage> general_messages();

// As an event or an entry of the log has it.
struct FilledMessage {
  std::string id;  // "Polaiga.1.0.F0395"
  std::string text;
  std::vector<std::string> args;
  std::string_view health;
};

// A general message. The key must be one of the table.
FilledMessage general_message(std::string_view key, std::vector<std::string> args);

// That a fault is active.
FilledMessage fault_message(std::uint32_t code, std::string_view dn, std::string_view name, engine::Severity severity);

// That it is over. `how` is a word, as in "cleared".
FilledMessage fault_over_message(std::uint32_t code, std::string_view dn, std::string_view how);

// The texts of those two in the registry.
std::string fault_text(std::uint32_t code);
std::string fault_over_text(std::uint32_t code);

// The object and the code of a fault by its DN. The code is missing when the DN was cut.
struct FaultOf {
  std::string dn;
  std::optional<std::uint32_t> code;
};
FaultOf fault_of(std::string_view fault_dn);

// Puts the arguments into the text of a message: "%1" is the first, and so on.
std::string with_arguments(std::string_view text, const std::vector<std::string>& args);

// What the site advises, or the general sentence. The entry may be null.
std::string_view resolution_of(const engine::ProfileEntry* entry);

}  // namespace polaiga::web
