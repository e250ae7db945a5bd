// Alarms for tests.
#pragma once

#include "picture/output_alarm.h"

namespace polaiga::alertmanager::test {

// A slow fan, at 2025-03-12T09:12:20Z.
inline constexpr engine::Moment kCreated = 1741770740;

inline output::OutputAlarm slow_fan(engine::ChangeNumber number = 17, const std::string& dn = "sys/fan-1") {
  output::OutputAlarm alarm;
  alarm.number = number;
  alarm.fault = number;
  alarm.fault_dn = dn + "/fault-F0395";
  alarm.dn = dn;
  alarm.code = 395;
  alarm.name = "fltEquipmentFanPerfThresholdNonCritical";
  alarm.severity = engine::Severity::kMinor;
  alarm.created = kCreated;
  alarm.since = kCreated;
  alarm.updated = kCreated;
  alarm.count = 1;
  alarm.reporters = 1;
  alarm.sensor = "FAN1_TACH1";
  alarm.description = "the fan is slow";
  alarm.cause = "performance-problem";
  return alarm;
}

// The same fan when it is worse.
inline output::OutputAlarm slower_fan(engine::ChangeNumber number = 17, const std::string& dn = "sys/fan-1") {
  output::OutputAlarm alarm = slow_fan(number, dn);
  alarm.fault_dn = dn + "/fault-F0396";
  alarm.code = 396;
  alarm.name = "fltEquipmentFanPerfThresholdCritical";
  alarm.severity = engine::Severity::kMajor;
  return alarm;
}

}  // namespace polaiga::alertmanager::test
