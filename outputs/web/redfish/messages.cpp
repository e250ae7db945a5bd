#include "redfish/messages.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "model/dictionary.h"
#include "redfish/objects.h"
#include "report/shown.h"

namespace polaiga::web {
namespace {

constexpr const char* kNothingToDo = "None.";
constexpr const char* kReadAnew = "Read the entries of the log anew.";

// The first argument is the object wherever there is one.
constexpr GeneralMessage kMessages[] = {
    {"FaultRaised", "The object %1 has the fault %2: %3.", "Warning", 3, kGeneralResolution.data()},
    {"FaultOver", "The fault %2 of the object %1 is over: it was %3.", "OK", 3, kNothingToDo},
    {"FaultRefreshed", "The fault %2 of the object %1 is reported again.", "Warning", 2, kGeneralResolution.data()},
    {"FaultPartlyCleared", "One reporter of the fault %2 of the object %1 took it back; others still report it.",
     "Warning", 2, kGeneralResolution.data()},
    {"FaultChattering", "The fault %2 of the object %1 is raised again and again.", "Warning", 2,
     kGeneralResolution.data()},
    {"FaultSettled", "The fault %2 of the object %1 is not raised again and again any more.", "OK", 2, kNothingToDo},
    {"AlarmMerged", "The alarm of the object %1 with the fault %2 goes on as part of an older one.", "OK", 2,
     kNothingToDo},
    {"AlarmAcknowledged", "%3 acknowledged the alarm of the object %1 with the fault %2.", "OK", 3, kNothingToDo},
    {"AlarmUnacknowledged", "The alarm of the object %1 with the fault %2 is not acknowledged any more, because of %3.",
     "OK", 3, kNothingToDo},
    {"AlarmClosed", "%3 closed the alarm of the object %1 with the fault %2.", "OK", 3, kNothingToDo},
    {"AlarmCommented", "%3 commented on the alarm of the object %1 with the fault %2.", "OK", 3, kNothingToDo},
    {"AlarmShelved", "%3 shelved the alarm of the object %1 with the fault %2.", "OK", 3, kNothingToDo},
    {"AlarmUnshelved", "%3 ended the shelf of the alarm of the object %1 with the fault %2.", "OK", 3, kNothingToDo},
    {"ObjectOutOfService", "%2 took the object %1 out of service.", "OK", 2, kNothingToDo},
    {"ObjectBackInService", "%2 put the object %1 back in service.", "OK", 2, kNothingToDo},
    {"ChangesLost", "The changes %1 to %2 are not in the ledger any more.", "Warning", 2, kReadAnew},
    {"LedgerReplaced", "The engine has begun another ledger.", "Warning", 0, kReadAnew},
    kLogIsKept,
};

std::string message_id(std::string_view key) {
  const std::string_view minor = kRegistryVersion.substr(0, kRegistryVersion.rfind('.'));
  return std::string(kRegistryPrefix).append(1, '.').append(minor).append(1, '.').append(key);
}

FilledMessage filled_message(std::string_view key, std::string_view text, std::vector<std::string> args,
                             std::string_view health) {
  FilledMessage message{.id = message_id(key), .text = with_arguments(text, args), .args = {}, .health = health};
  message.args = std::move(args);
  return message;
}

// Codes of the dictionary have messages of their own in the registry.
bool has_messages(std::uint32_t code) {
  return std::ranges::binary_search(engine::fault_entries(), code, {}, &engine::FaultEntry::code);
}

}  // namespace

std::span<const GeneralMessage> general_messages() { return kMessages; }

FilledMessage general_message(std::string_view key, std::vector<std::string> args) {
  for (const GeneralMessage& one : kMessages) {
    if (one.key == key) return filled_message(key, one.text, std::move(args), one.health);
  }
  throw std::logic_error("there is no message " + std::string(key));
}

std::string fault_text(std::uint32_t code) {
  return "The object %1 has the fault " + engine::code_text(code) + ": %2.";
}

std::string fault_over_text(std::uint32_t code) {
  return "The fault " + engine::code_text(code) + " of the object %1 is over: it was %2.";
}

FilledMessage fault_message(std::uint32_t code, std::string_view dn, std::string_view name, engine::Severity severity) {
  FilledMessage message =
      has_messages(code)
          ? filled_message(engine::code_text(code), fault_text(code), {std::string(dn), std::string(name)}, "")
          : general_message("FaultRaised", {std::string(dn), engine::code_text(code), std::string(name)});
  message.health = health_of(severity);
  return message;
}

FilledMessage fault_over_message(std::uint32_t code, std::string_view dn, std::string_view how) {
  if (!has_messages(code)) {
    return general_message("FaultOver", {std::string(dn), engine::code_text(code), std::string(how)});
  }
  return filled_message(engine::code_text(code) + "Over", fault_over_text(code), {std::string(dn), std::string(how)},
                        "OK");
}

FaultOf fault_of(std::string_view fault_dn) {
  constexpr std::string_view kFault = "/fault-F";
  const std::size_t at = fault_dn.rfind(kFault);
  if (at == std::string_view::npos) return {.dn = std::string(fault_dn), .code = std::nullopt};
  FaultOf fault{.dn = std::string(fault_dn.substr(0, at)), .code = std::nullopt};
  const std::string_view digits = fault_dn.substr(at + kFault.size());
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), code);
  if (error == std::errc() && end == digits.data() + digits.size()) fault.code = code;
  return fault;
}

std::string with_arguments(std::string_view text, const std::vector<std::string>& args) {
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t number = text[i] == '%' && i + 1 < text.size() ? static_cast<std::size_t>(text[i + 1] - '0') : 0;
    if (number >= 1 && number <= args.size()) {
      filled += args[number - 1];
      ++i;
    } else {
      filled += text[i];
    }
  }
  return filled;
}

std::string_view resolution_of(const engine::ProfileEntry* entry) {
  return entry == nullptr || entry->advice.empty() ? kGeneralResolution : std::string_view(entry->advice);
}

}  // namespace polaiga::web
