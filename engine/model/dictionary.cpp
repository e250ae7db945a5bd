#include "model/dictionary.h"

#include <algorithm>
#include <array>

#include "model/change.h"
#include "model/fault.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

using enum Severity;
using enum EventType;

// The level of a threshold gives the severity: a non-critical level is minor, a
// critical one is major, a non-recoverable one is critical. An inoperable unit is
// critical, a missing or degraded one is a warning. Codes ascend; those from 1300
// to 1399 belong to the faults of the host tables.
constexpr FaultEntry kFaults[] = {
    {153, "fltEquipmentChassisThermalThresholdCritical", kMajor},
    {154, "fltEquipmentChassisThermalThresholdNonCritical", kMinor},
    {155, "fltEquipmentChassisThermalThresholdNonRecoverable", kCritical},
    {174, "fltProcessorUnitInoperable", kCritical},
    {175, "fltProcessorUnitThermalNonCritical", kMinor},
    {176, "fltProcessorUnitThermalCritical", kMajor},
    {177, "fltProcessorUnitThermalNonRecoverable", kCritical},
    {178, "fltProcessorUnitVoltageThresholdNonCritical", kMinor},
    {179, "fltProcessorUnitVoltageThresholdCritical", kMajor},
    {180, "fltProcessorUnitVoltageThresholdNonRecoverable", kCritical},
    {181, "fltStorageLocalDiskInoperable", kCritical},
    {184, "fltMemoryUnitDegraded", kWarning},
    {185, "fltMemoryUnitInoperable", kCritical},
    {186, "fltMemoryUnitThermalThresholdNonCritical", kMinor},
    {187, "fltMemoryUnitThermalThresholdCritical", kMajor},
    {188, "fltMemoryUnitThermalThresholdNonRecoverable", kCritical},
    {190, "fltMemoryArrayVoltageThresholdCritical", kMajor},
    {191, "fltMemoryArrayVoltageThresholdNonRecoverable", kCritical},
    {203, "fltAdaptorUnitMissing", kWarning},
    {313, "fltComputePhysicalBiosPostTimeout", kMajor},
    {320, "fltComputePhysicalUnidentified", kWarning},
    {371, "fltEquipmentFanDegraded", kWarning},
    {374, "fltEquipmentPsuInoperable", kCritical},
    {376, "fltEquipmentIOCardRemoved", kWarning},
    {378, "fltEquipmentPsuMissing", kWarning},
    {379, "fltEquipmentIOCardThermalProblem", kMajor},
    {381, "fltEquipmentPsuThermalThresholdNonCritical", kMinor},
    {383, "fltEquipmentPsuThermalThresholdCritical", kMajor},
    {385, "fltEquipmentPsuThermalThresholdNonRecoverable", kCritical},
    {389, "fltEquipmentPsuVoltageThresholdCritical", kMajor},
    {391, "fltEquipmentPsuVoltageThresholdNonRecoverable", kCritical},
    {392, "fltEquipmentPsuPerfThresholdNonCritical", kMinor},
    {393, "fltEquipmentPsuPerfThresholdCritical", kMajor},
    {394, "fltEquipmentPsuPerfThresholdNonRecoverable", kCritical},
    {395, "fltEquipmentFanPerfThresholdNonCritical", kMinor},
    {396, "fltEquipmentFanPerfThresholdCritical", kMajor},
    {397, "fltEquipmentFanPerfThresholdNonRecoverable", kCritical},
    {407, "fltEquipmentPsuIdentity", kWarning},
    {409, "fltEquipmentChassisThermalThresholdCritical", kMajor},
    {410, "fltEquipmentChassisThermalThresholdNonCritical", kMinor},
    {411, "fltEquipmentChassisThermalThresholdNonRecoverable", kCritical},
    {424, "fltComputeBoardBatteryVoltageLow", kMinor},
    {425, "fltComputeBoardBatteryVoltageNonRecoverable", kCritical},
    {434, "fltEquipmentFanMissing", kWarning},
    {460, "fltSysdebugMEpLogMEpLogLog", kWarning},
    {461, "fltSysdebugMEpLogMEpLogVeryLow", kMinor},
    {462, "fltSysdebugMEpLogMEpLogFull", kMajor},
    {502, "fltMemoryUnitIdentityUnestablishable", kWarning},
    {517, "fltComputePhysicalPostfailure", kMajor},
    {531, "fltStorageRaidBatteryInoperable", kCritical},
    {717, "fltMgmtIfMissing", kWarning},
    {729, "fltEquipmentIOCardThermalThresholdNonCritical", kMinor},
    {730, "fltEquipmentIOCardThermalThresholdCritical", kMajor},
    {731, "fltEquipmentIOCardThermalThresholdNonRecoverable", kCritical},
    {743, "fltPowerChassisMemberChassisPsuRedundanceFailure", kMajor},
    {842, "fltProcessorUnitDisabled", kWarning},
    {844, "fltMemoryUnitDisabled", kWarning},
    {868, "fltComputeBoardPowerFail", kCritical},
    {869, "fltComputeBoardThermalProblem", kMajor},
    {882, "fltEquipmentPsuPowerThreshold", kMajor},
    {883, "fltEquipmentPsuInputError", kMajor},
    {918, "fltComputeBoardMotherBoardVoltageUpperNonRecoverable", kCritical},
    {919, "fltComputeBoardMotherBoardVoltageLowerNonRecoverable", kCritical},
    {920, "fltComputeBoardMotherBoardVoltageUpperCritical", kMajor},
    {921, "fltComputeBoardMotherBoardVoltageUpperThresholdCritical", kMajor},
    {996, "fltStorageLocalDiskDegraded", kWarning},
    {997, "fltStorageRaidBatteryDegraded", kWarning},
    {998, "fltStorageRaidBatteryRelearnAborted", kWarning},
    {999, "fltStorageRaidBatteryRelearnFailed", kMajor},
    {1003, "fltStorageControllerInoperable", kCritical},
    {1004, "fltStorageControllerInoperable", kCritical},
    {1005, "fltStorageLocalDiskRebuildFailed", kMajor},
    {1006, "fltStorageLocalDiskCopybackFailed", kMajor},
    {1007, "fltStorageVirtualDriveInoperable", kCritical},
    {1008, "fltStorageVirtualDriveDegraded", kWarning},
    {1009, "fltStorageVirtualDriveReconstructionFailed", kMajor},
    {1010, "fltStorageVirtualDriveConsistencyCheckFailed", kMajor},
    {1040, "fltComputeBoardPowerUsageProblem", kMinor},
    {1256, "fltStorageLocalDiskMissing", kWarning},
    {1257, "fltStorageCaddoraControllerInoperable", kCritical},
    {1258, "fltStorageCaddoraCardInoperable", kCritical},
    {1259, "fltStorageCaddoraCardMissing", kWarning},
    {1260, "fltStorageCaddoraVirtualDriveDegraded", kWarning},
    {1261, "fltStorageCaddoraVirtualDriveInoperable", kCritical},
    {1262, "fltStorageCaddoraControllerUnhealthy", kWarning},
    {1300, "fltNodeManagerPowerLimitExceeded", kMinor},
    {1301, "fltNodeManagerInletTemperatureExceeded", kMajor},
    {1302, "fltNodeManagerPowerReadingMissing", kWarning},
    {1303, "fltNodeManagerInletReadingMissing", kWarning},
    {1304, "fltNodeManagerHostLinkLost", kWarning},
    {1305, "fltNodeManagerInoperable", kCritical},
    {1310, "fltDriveBackplaneThermalNonCritical", kMinor},
    {1311, "fltDriveBackplaneThermalCritical", kMajor},
    {1312, "fltDriveBackplaneThermalNonRecoverable", kCritical},
    {1320, "fltChassisControllerThermalNonCritical", kMinor},
    {1321, "fltChassisControllerThermalCritical", kMajor},
    {1322, "fltChassisControllerThermalNonRecoverable", kCritical},
    {1323, "fltChassisPowerDrawNonCritical", kMinor},
    {1324, "fltChassisPowerDrawCritical", kMajor},
    {1325, "fltChassisPowerDrawNonRecoverable", kCritical},
    {1783, "fltEquipmentTpmTpmMismatch", kMajor},
};
static_assert(std::ranges::is_sorted(kFaults, std::ranges::less_equal(), &FaultEntry::code));

// Where X.733 has a probable cause that fits, its number is IANA's for X.733, from
// 500 on. A missing or unfit unit and lost redundancy are not in X.733; they have
// the numbers of the causes that IANA took from M.3100, below 500.
constexpr CauseStandard kMalfunction{kEquipment, "equipmentMalfunction", 514};
constexpr CauseStandard kPower{kEquipment, "powerProblems", 533};

constexpr CauseEntry kCauses[] = {
    {214, "equipment-inoperable", kMalfunction},
    {215, "thermal-problem", {kEnvironmental, "temperatureUnacceptable", 548}},
    {216, "voltage-problem", kPower},
    {218, "equipment-degraded", kMalfunction},
    {238, "equipment-missing", {kEquipment, "replaceableUnitMissing", 62}},
    {242, "link-missing", {kCommunications, "lossOfSignalX733", 527}},
    {260, "psu-redundancy-fail", {kEquipment, "lossOfRedundancy", 77}},
    {338, "log-capacity", {kProcessingError, "storageCapacityProblemX733", 547}},
    {344, "power-problem", kPower},
    {348, "equipment-problem", kMalfunction},
    {380, "equipment-offline", kMalfunction},
    {381, "performance-problem", {kQualityOfService, "performanceDegraded", 532}},
    {387, "fru-problem", {kEquipment, "replaceableUnitProblem", 69}},
    {388, "equipment-disabled", kMalfunction},
    {389, "equipment-unhealthy", kMalfunction},
};
static_assert(std::ranges::is_sorted(kCauses, std::ranges::less_equal(), &CauseEntry::id));

template <class Entry>
const Entry* find(std::span<const Entry> entries, std::uint32_t number, std::uint32_t Entry::*key) {
  const auto found = std::ranges::lower_bound(entries, number, {}, key);
  return found != entries.end() && (*found).*key == number ? &*found : nullptr;
}

const CauseEntry* find_cause(std::uint32_t id) { return find(cause_entries(), id, &CauseEntry::id); }
const FaultEntry* find_fault(std::uint32_t code) { return find(fault_entries(), code, &FaultEntry::code); }

constexpr std::array<std::string_view, 6> kSeverityWords{"cleared", "indeterminate", "warning",
                                                         "minor",   "major",         "critical"};

}  // namespace

std::string_view severity_word(Severity severity) { return kSeverityWords.at(static_cast<std::size_t>(severity)); }

std::optional<Severity> find_severity(std::string_view word) {
  const auto* const found = std::ranges::find(kSeverityWords, word);
  if (found == kSeverityWords.end()) return std::nullopt;
  return static_cast<Severity>(found - kSeverityWords.begin());
}

std::string_view event_type_word(EventType type) {
  constexpr std::array<std::string_view, 5> kWords{"communicationsAlarm", "qualityOfServiceAlarm",
                                                   "processingErrorAlarm", "equipmentAlarm", "environmentalAlarm"};
  return kWords.at(static_cast<std::size_t>(type));
}

std::span<const FaultEntry> fault_entries() { return kFaults; }
std::span<const CauseEntry> cause_entries() { return kCauses; }

const char* fault_name(std::uint32_t code) {
  const FaultEntry* entry = find_fault(code);
  return entry != nullptr ? entry->name : "";
}

const char* cause_text(std::uint32_t cause_id) {
  const CauseEntry* entry = find_cause(cause_id);
  return entry != nullptr ? entry->text : "";
}

std::optional<CauseStandard> cause_standard(std::uint32_t cause_id) {
  const CauseEntry* entry = find_cause(cause_id);
  return entry != nullptr ? std::optional(entry->standard) : std::nullopt;
}

std::optional<CauseStandard> cause_standard(std::string_view text) {
  const auto* const entry = std::ranges::find(kCauses, text, &CauseEntry::text);
  return entry != std::end(kCauses) ? std::optional(entry->standard) : std::nullopt;
}

std::optional<CauseStandard> cause_standard(const fe_fault_record& record) {
  return record.cause_id != 0 ? cause_standard(record.cause_id) : cause_standard(field_text(record.cause));
}

Severity severity_of(const fe_fault_record& record) {
  if (only_clears(record)) return Severity::kCleared;
  const FaultEntry* entry = find_fault(record.code);
  return entry != nullptr ? entry->severity : Severity::kIndeterminate;
}

}  // namespace polaiga::engine
