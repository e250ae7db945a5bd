// The public schemas (DSP8010) that our resources follow, each named here alone.
#pragma once

#include <string>

namespace polaiga::web {

struct Schema {
  const char* name;
  const char* version;  // "": it has none, as those of collections

  // As "@odata.type" has it, without the "#" that it begins with: "LogEntry.v1_21_0.LogEntry".
  std::string type() const { return versioned() + "." + name; }
  // As the schema's file is named: "LogEntry.v1_21_0".
  std::string versioned() const { return *version == '\0' ? name : std::string(name) + "." + version; }
};

namespace schemas {

inline constexpr Schema kServiceRoot{"ServiceRoot", "v1_20_0"};
inline constexpr Schema kSessionService{"SessionService", "v1_2_0"};
inline constexpr Schema kSessions{"SessionCollection", ""};
inline constexpr Schema kSession{"Session", "v1_8_0"};
inline constexpr Schema kSystems{"ComputerSystemCollection", ""};
inline constexpr Schema kSystem{"ComputerSystem", "v1_27_0"};
inline constexpr Schema kAllChassis{"ChassisCollection", ""};
inline constexpr Schema kChassis{"Chassis", "v1_28_0"};
inline constexpr Schema kManagers{"ManagerCollection", ""};
inline constexpr Schema kManager{"Manager", "v1_24_0"};
inline constexpr Schema kLogServices{"LogServiceCollection", ""};
inline constexpr Schema kLogService{"LogService", "v1_9_0"};
inline constexpr Schema kLogEntries{"LogEntryCollection", ""};
inline constexpr Schema kLogEntry{"LogEntry", "v1_21_0"};
inline constexpr Schema kRegistryFiles{"MessageRegistryFileCollection", ""};
inline constexpr Schema kRegistryFile{"MessageRegistryFile", "v1_1_5"};
inline constexpr Schema kRegistry{"MessageRegistry", "v1_7_0"};
inline constexpr Schema kMessage{"Message", "v1_3_0"};
inline constexpr Schema kEventService{"EventService", "v1_12_0"};
inline constexpr Schema kSubscriptions{"EventDestinationCollection", ""};
inline constexpr Schema kSubscription{"EventDestination", "v1_16_0"};
inline constexpr Schema kEvent{"Event", "v1_13_0"};

inline constexpr Schema kAll[] = {
    kServiceRoot,  kSessionService, kSessions,      kSession,      kSystems,     kSystem,
    kAllChassis,   kChassis,        kManagers,      kManager,      kLogServices, kLogService,
    kLogEntries,   kLogEntry,       kRegistryFiles, kRegistryFile, kRegistry,    kMessage,
    kEventService, kSubscriptions,  kSubscription,  kEvent,
};

}  // namespace schemas
}  // namespace polaiga::web
