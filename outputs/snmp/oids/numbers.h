// The numbers of POLAIGA-MIB, ALARM-MIB and ITU-ALARM-MIB (RFC 3877). The names are those of the modules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "model/change.h"
#include "model/dictionary.h"
#include "model/operator_action.h"
#include "oids/oid.h"

namespace polaiga::snmp {

// Set aside for documentation by RFC 5612.
inline constexpr std::uint32_t kDocumentationEnterprise = 32473;

// The arcs below polaigaMIB.
inline constexpr std::uint32_t kNotificationsArc = 0;
inline constexpr std::uint32_t kObjectsArc = 1;

enum class NotificationType : std::uint8_t { kRaised = 1, kCleared, kChanged, kHeartbeat, kChangesLost };

// The arcs below polaigaObjects.
enum GroupArc : std::uint32_t { kLedgerArc = 1, kCountsArc, kAlarmTableArc, kObjectTableArc, kChangeTableArc };

enum LedgerArc : std::uint32_t {
  kLedgerId = 1,
  kLastNumber,
  kOldestNumber,
  kToldNumber,
  kLedgerProblem,
  kNumber,  // this and those that follow are in notifications alone
  kPrevious,
  kLostFirst,
  kLostLast,
};

enum CountArc : std::uint32_t {
  kActiveAlarms = 1,
  kActiveCritical,
  kActiveMajor,
  kActiveMinor,
  kActiveWarning,
  kActiveIndeterminate,
  kSilencedAlarms,
  kObjectCount,
};

enum AlarmColumn : std::uint32_t {
  kAlarmFault = 2,
  kAlarmFaultDn,
  kAlarmObjectDn,
  kAlarmCode,
  kAlarmName,
  kAlarmSeverity,
  kAlarmCreated,
  kAlarmSince,
  kAlarmUpdated,
  kAlarmCount,
  kAlarmReporters,
  kAlarmSensor,
  kAlarmDescription,
  kAlarmCause,
  kAlarmFaultOid,
  kAlarmEventType,
  kAlarmProbableCause,
  kAlarmOperatorState,
  kAlarmOutOfService,
  kAlarmRaises,
};

enum ObjectColumn : std::uint32_t { kObjectSeverity = 2, kObjectAlarms, kObjectOutOfService };

enum ChangeColumn : std::uint32_t {
  kChangeAlarm = 2,
  kChangeKind,
  kChangeTime,
  kChangeBefore,
  kChangeAfter,
  kChangeFaultDn,
  kChangeObjectDn,
  kChangeCode,
  kChangeName,
  kChangeSensor,
  kChangeDescription,
  kChangeCause,
  kChangeFaultOid,
  kChangeEventType,
  kChangeProbableCause,
  kChangeReporters,
  kChangeRaises,
  kChangeOther,
  kChangePerson,
  kChangeComment,
  kChangeQuiet,
};

// A DN that is longer would make the name of its object's row too long for SNMP, so the name has this much of it.
inline constexpr std::size_t kMostDnBytes = 100;

// The name of an object's row.
Oid object_index(std::string_view dn);

// Where everything stands, for one enterprise number.
class Places {
 public:
  explicit Places(std::uint32_t enterprise);

  const Oid& module() const { return module_; }
  Oid notification(NotificationType type) const;
  // An object in its group, or the entry of a table: where its columns stand.
  Oid group(GroupArc arc) const;
  Oid entry(GroupArc arc) const;
  // The one instance of an object that is in no table.
  Oid scalar(GroupArc arc, std::uint32_t object) const;
  Oid change_column(ChangeColumn column, std::uint32_t number) const;
  Oid object_column(ObjectColumn column, std::string_view dn) const;

 private:
  Oid module_;
};

// ALARM-MIB and ITU-ALARM-MIB.
Oid alarm_module();      // alarmMIB
Oid itu_alarm_module();  // ituAlarmMIB
Oid snmp_trap_oid();     // snmpTrapOID.0

// alarmModelState, PolaigaSeverity.
std::uint32_t severity_number(engine::Severity severity);
// ItuPerceivedSeverity.
std::uint32_t itu_severity_number(engine::Severity severity);
// PolaigaKind.
std::uint32_t kind_number(engine::ChangeKind kind);
// PolaigaOperatorState.
std::uint32_t operator_state_number(engine::OperatorState state);
// IANAItuEventType; nothing: the cause is not known.
std::uint32_t event_type_number(const std::optional<engine::CauseStandard>& standard);
// TruthValue.
constexpr std::uint32_t truth_number(bool is_true) { return is_true ? 1 : 2; }

}  // namespace polaiga::snmp
