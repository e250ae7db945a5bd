#include "controller/event_texts.h"

#include <algorithm>
#include <iterator>

namespace polaiga::ipmi {
namespace {

// In a row: the text is the same for all sensor types.
constexpr std::uint8_t kAnyType = 0;

struct Row {
  std::uint8_t reading_type;
  std::uint8_t sensor_type;
  std::uint8_t offset;
  std::string_view text;
};

// As ipmi-sel of FreeIPMI 1.6.10 prints them.
constexpr Row kRows[] = {
    {0x01, kAnyType, 0, "Lower Non-critical - going low"},
    {0x01, kAnyType, 1, "Lower Non-critical - going high"},
    {0x01, kAnyType, 2, "Lower Critical - going low"},
    {0x01, kAnyType, 3, "Lower Critical - going high"},
    {0x01, kAnyType, 4, "Lower Non-recoverable - going low"},
    {0x01, kAnyType, 5, "Lower Non-recoverable - going high"},
    {0x01, kAnyType, 6, "Upper Non-critical - going low"},
    {0x01, kAnyType, 7, "Upper Non-critical - going high"},
    {0x01, kAnyType, 8, "Upper Critical - going low"},
    {0x01, kAnyType, 9, "Upper Critical - going high"},
    {0x01, kAnyType, 10, "Upper Non-recoverable - going low"},
    {0x01, kAnyType, 11, "Upper Non-recoverable - going high"},
    {0x03, kAnyType, 0, "State Deasserted"},
    {0x03, kAnyType, 1, "State Asserted"},
    {0x04, kAnyType, 0, "Predictive Failure deasserted"},
    {0x04, kAnyType, 1, "Predictive Failure asserted"},
    {0x05, kAnyType, 0, "Limit Not Exceeded"},
    {0x05, kAnyType, 1, "Limit Exceeded"},
    {0x06, kAnyType, 0, "Performance Met"},
    {0x06, kAnyType, 1, "Performance Lags"},
    {0x07, kAnyType, 0, "transition to OK"},
    {0x07, kAnyType, 1, "transition to Non-Critical from OK"},
    {0x07, kAnyType, 2, "transition to Critical from less severe"},
    {0x07, kAnyType, 3, "transition to Non-recoverable from less severe"},
    {0x07, kAnyType, 4, "transition to Non-Critical from more severe"},
    {0x07, kAnyType, 5, "transition to Critical from Non-recoverable"},
    {0x07, kAnyType, 6, "transition to Non-recoverable"},
    {0x07, kAnyType, 7, "Monitor"},
    {0x07, kAnyType, 8, "Informational"},
    {0x08, kAnyType, 0, "Device Removed/Device Absent"},
    {0x08, kAnyType, 1, "Device Inserted/Device Present"},
    {0x09, kAnyType, 0, "Device Disabled"},
    {0x09, kAnyType, 1, "Device Enabled"},
    {0x0A, kAnyType, 0, "transition to Running"},
    {0x0A, kAnyType, 1, "transition to In Test"},
    {0x0A, kAnyType, 2, "transition to Power Off"},
    {0x0A, kAnyType, 3, "transition to On Line"},
    {0x0A, kAnyType, 4, "transition to Off Line"},
    {0x0A, kAnyType, 5, "transition to Off Duty"},
    {0x0A, kAnyType, 6, "transition to Degraded"},
    {0x0A, kAnyType, 7, "transition to Power Save"},
    {0x0A, kAnyType, 8, "Install Error"},
    {0x0B, kAnyType, 0, "Fully Redundant"},
    {0x0B, kAnyType, 1, "Redundancy Lost"},
    {0x0B, kAnyType, 2, "Redundancy Degraded"},
    {0x0B, kAnyType, 3, "Non-redundant:Sufficient Resources from Redundant"},
    {0x0B, kAnyType, 4, "Non-redundant:Sufficient Resources from Insufficient Resources"},
    {0x0B, kAnyType, 5, "Non-redundant:Insufficient Resources"},
    {0x0B, kAnyType, 6, "Redundancy Degraded from Fully Redundant"},
    {0x0B, kAnyType, 7, "Redundancy Degraded from Non-redundant"},
    {0x0C, kAnyType, 0, "D0 Power State"},
    {0x0C, kAnyType, 1, "D1 Power State"},
    {0x0C, kAnyType, 2, "D2 Power State"},
    {0x0C, kAnyType, 3, "D3 Power State"},
    {0x6F, 0x05, 0, "General Chassis Intrusion"},
    {0x6F, 0x05, 1, "Drive Bay intrusion"},
    {0x6F, 0x05, 2, "I/O Card area intrusion"},
    {0x6F, 0x05, 3, "Processor area intrusion"},
    {0x6F, 0x05, 4, "LAN Leash Lost"},
    {0x6F, 0x05, 5, "Unauthorized dock"},
    {0x6F, 0x05, 6, "FAN area intrusion"},
    {0x6F, 0x06, 0, "Secure Mode Violation attempt"},
    {0x6F, 0x06, 1, "Pre-boot Password Violation - user password"},
    {0x6F, 0x06, 2, "Pre-boot Password Violation - setup password"},
    {0x6F, 0x06, 3, "Pre-boot Password Violation - network boot password"},
    {0x6F, 0x06, 4, "Other pre-boot Password Violation"},
    {0x6F, 0x06, 5, "Out-of-band Access Password Violation"},
    {0x6F, 0x07, 0, "IERR"},
    {0x6F, 0x07, 1, "Thermal Trip"},
    {0x6F, 0x07, 2, "FRB1/BIST failure"},
    {0x6F, 0x07, 3, "FRB2/Hang in POST failure"},
    {0x6F, 0x07, 4, "FRB3/Processor Startup/Initialization failure"},
    {0x6F, 0x07, 5, "Configuration Error"},
    {0x6F, 0x07, 6, "SM BIOS `Uncorrectable CPU-complex Error'"},
    {0x6F, 0x07, 7, "Processor Presence detected"},
    {0x6F, 0x07, 8, "Processor disabled"},
    {0x6F, 0x07, 9, "Terminator Presence Detected"},
    {0x6F, 0x07, 10, "Processor Automatically Throttled"},
    {0x6F, 0x07, 11, "Machine Check Exception"},
    {0x6F, 0x07, 12, "Correctable Machine Check Error"},
    {0x6F, 0x08, 0, "Presence detected"},
    {0x6F, 0x08, 1, "Power Supply Failure detected"},
    {0x6F, 0x08, 2, "Predictive Failure"},
    {0x6F, 0x08, 3, "Power Supply input lost (AC/DC)"},
    {0x6F, 0x08, 4, "Power Supply input lost or out-of-range"},
    {0x6F, 0x08, 5, "Power Supply input out-of-range, but present"},
    {0x6F, 0x08, 6, "Configuration error"},
    {0x6F, 0x08, 7, "Power Supply Inactive"},
    {0x6F, 0x09, 0, "Power Off/Power Down"},
    {0x6F, 0x09, 1, "Power Cycle"},
    {0x6F, 0x09, 2, "240VA Power Down"},
    {0x6F, 0x09, 3, "Interlock Power Down"},
    {0x6F, 0x09, 4, "AC lost/Power input lost"},
    {0x6F, 0x09, 5, "Soft Power Control Failure"},
    {0x6F, 0x09, 6, "Power Unit Failure detected"},
    {0x6F, 0x09, 7, "Predictive Failure"},
    {0x6F, 0x0C, 0, "Correctable memory error"},
    {0x6F, 0x0C, 1, "Uncorrectable memory error"},
    {0x6F, 0x0C, 2, "Parity"},
    {0x6F, 0x0C, 3, "Memory Scrub Failed"},
    {0x6F, 0x0C, 4, "Memory Device Disabled"},
    {0x6F, 0x0C, 5, "Correctable memory error logging limit reached"},
    {0x6F, 0x0C, 6, "Presence detected"},
    {0x6F, 0x0C, 7, "Configuration error"},
    {0x6F, 0x0C, 8, "Spare"},
    {0x6F, 0x0C, 9, "Memory Automatically Throttled"},
    {0x6F, 0x0C, 10, "Critical Overtemperature"},
    {0x6F, 0x0D, 0, "Drive Presence"},
    {0x6F, 0x0D, 1, "Drive Fault"},
    {0x6F, 0x0D, 2, "Predictive Failure"},
    {0x6F, 0x0D, 3, "Hot Spare"},
    {0x6F, 0x0D, 4, "Consistency Check / Parity Check in progress"},
    {0x6F, 0x0D, 5, "In Critical Array"},
    {0x6F, 0x0D, 6, "In Failed Array"},
    {0x6F, 0x0D, 7, "Rebuild/Remap in progress"},
    {0x6F, 0x0D, 8, "Rebuild/Remap Aborted"},
    {0x6F, 0x0F, 0, "System Firmware Error"},
    {0x6F, 0x0F, 1, "System Firmware Hang"},
    {0x6F, 0x0F, 2, "System Firmware Progress"},
    {0x6F, 0x10, 0, "Correctable Memory Error Logging Disabled"},
    {0x6F, 0x10, 1, "Event Type Logging Disabled"},
    {0x6F, 0x10, 2, "Log Area Reset/Cleared"},
    {0x6F, 0x10, 3, "All Event Logging Disabled"},
    {0x6F, 0x10, 4, "SEL Full"},
    {0x6F, 0x10, 5, "SEL Almost Full"},
    {0x6F, 0x10, 6, "Correctable Machine Check Error Logging Disabled"},
    {0x6F, 0x12, 0, "System Reconfigured"},
    {0x6F, 0x12, 1, "OEM System Boot Event"},
    {0x6F, 0x12, 2, "Undetermined system hardware failure"},
    {0x6F, 0x12, 3, "Entry added to Auxiliary Log"},
    {0x6F, 0x12, 4, "PEF Action"},
    {0x6F, 0x12, 5, "Timestamp Clock Synch"},
    {0x6F, 0x1B, 0, "Cable/Interconnect is connected"},
    {0x6F, 0x1B, 1, "Configuration Error - Incorrect cable connected"},
    {0x6F, 0x21, 0, "Fault Status asserted"},
    {0x6F, 0x21, 1, "Identify Status asserted"},
    {0x6F, 0x21, 2, "Slot/Connector Device installed/attached"},
    {0x6F, 0x21, 3, "Slot/Connector Ready for Device Installation"},
    {0x6F, 0x21, 4, "Slot/Connector Ready for Device Removal"},
    {0x6F, 0x21, 5, "Slot Power is Off"},
    {0x6F, 0x21, 6, "Slot/Connector Device Removal Request"},
    {0x6F, 0x21, 7, "Interlock asserted"},
    {0x6F, 0x21, 8, "Slot is Disabled"},
    {0x6F, 0x21, 9, "Slot holds spare device"},
    {0x6F, 0x23, 0, "Timer expired, status only"},
    {0x6F, 0x23, 1, "Hard Reset"},
    {0x6F, 0x23, 2, "Power Down"},
    {0x6F, 0x23, 3, "Power Cycle"},
    {0x6F, 0x23, 8, "Timer interrupt"},
    {0x6F, 0x25, 0, "Entity Present"},
    {0x6F, 0x25, 1, "Entity Absent"},
    {0x6F, 0x25, 2, "Entity Disabled"},
    {0x6F, 0x27, 0, "LAN Heartbeat Lost"},
    {0x6F, 0x27, 1, "LAN Heartbeat"},
    {0x6F, 0x29, 0, "battery low"},
    {0x6F, 0x29, 1, "battery failed"},
    {0x6F, 0x29, 2, "battery presence detected"},
    {0x6F, 0x2B, 0, "Hardware change detected with associated Entity"},
    {0x6F, 0x2B, 1, "Firmware or software change detected with associated Entity"},
    {0x6F, 0x2B, 2, "Hardware incompatibility detected with associated Entity"},
    {0x6F, 0x2B, 3, "Firmware or software incompatibility detected with associated Entity"},
    {0x6F, 0x2B, 4, "Entity is of an invalid or unsupported hardware version"},
    {0x6F, 0x2B, 5, "Entity contains an invalid or unsupported firmware or software version"},
    {0x6F, 0x2B, 6, "Hardware Change detected with associated Entity was successful"},
    {0x6F, 0x2B, 7, "Software or F/W Change detected with associated Entity was successful"},
};

// ipmi-sel prints "Event Offset = 0Ch" for an event that has no name.
std::optional<std::uint8_t> nameless_offset(std::string_view text) {
  constexpr std::string_view kBefore = "Event Offset = 0";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  if (text.size() != kBefore.size() + 2 || !text.starts_with(kBefore) || text.back() != 'h') return std::nullopt;
  const auto digit = kDigits.find(text[kBefore.size()]);
  if (digit == std::string_view::npos) return std::nullopt;
  return static_cast<std::uint8_t>(digit);
}

}  // namespace

std::optional<std::uint8_t> event_offset(const Sensor& sensor, std::string_view text) {
  const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [&sensor, text](const Row& row) {
    return row.reading_type == sensor.reading_type && row.text == text &&
           (row.sensor_type == kAnyType || row.sensor_type == sensor.sensor_type);
  });
  return found == std::end(kRows) ? nameless_offset(text) : std::optional(found->offset);
}

}  // namespace polaiga::ipmi
