// Faults that more than one filter raises.
#pragma once

#include "framework/faults.h"

namespace polaiga {

// The temperature of PCI risers and of add-in cards.
inline constexpr Fault kIoCardNonCritical{729, "fltEquipmentIOCardThermalThresholdNonCritical", kThermalProblem};
inline constexpr Fault kIoCardCritical{730, "fltEquipmentIOCardThermalThresholdCritical", kThermalProblem};
inline constexpr Fault kIoCardNonRecoverable{731, "fltEquipmentIOCardThermalThresholdNonRecoverable", kThermalProblem};

// Disks, virtual drives and batteries, both of the storage controllers and of the SD-card
// controller.
inline constexpr Fault kRebuildFailed{1005, "fltStorageLocalDiskRebuildFailed", kEquipmentOffline};
inline constexpr Fault kCopybackFailed{1006, "fltStorageLocalDiskCopybackFailed", kEquipmentOffline};
inline constexpr Fault kReconstructionFailed{1009, "fltStorageVirtualDriveReconstructionFailed", kEquipmentDegraded};
inline constexpr Fault kConsistencyCheckFailed{1010, "fltStorageVirtualDriveConsistencyCheckFailed",
                                               kEquipmentDegraded};
inline constexpr Fault kBatteryInoperable{531, "fltStorageRaidBatteryInoperable", kEquipmentInoperable};
inline constexpr Fault kBatteryDegraded{997, "fltStorageRaidBatteryDegraded", kEquipmentDegraded};
inline constexpr Fault kRelearnAborted{998, "fltStorageRaidBatteryRelearnAborted", kEquipmentDegraded};
inline constexpr Fault kRelearnFailed{999, "fltStorageRaidBatteryRelearnFailed", kEquipmentDegraded};

}  // namespace polaiga
