#include "oids/numbers.h"

namespace polaiga::snmp {

using engine::Severity;

Oid object_index(std::string_view dn) {
  Oid index;
  add_text_index(index, dn.substr(0, kMostDnBytes));
  return index;
}

Places::Places(std::uint32_t enterprise) : module_{1, 3, 6, 1, 4, 1, enterprise, 1} {}

Oid Places::notification(NotificationType type) const {
  return joined(module_, Oid{kNotificationsArc, static_cast<std::uint32_t>(type)});
}

Oid Places::group(GroupArc arc) const { return joined(module_, Oid{kObjectsArc, arc}); }

Oid Places::entry(GroupArc arc) const { return joined(module_, Oid{kObjectsArc, arc, 1}); }

Oid Places::scalar(GroupArc arc, std::uint32_t object) const {
  return joined(module_, Oid{kObjectsArc, arc, object, 0});
}

Oid Places::change_column(ChangeColumn column, std::uint32_t number) const {
  return joined(module_, Oid{kObjectsArc, kChangeTableArc, 1, column, number});
}

Oid Places::object_column(ObjectColumn column, std::string_view dn) const {
  return joined(joined(module_, Oid{kObjectsArc, kObjectTableArc, 1, column}), object_index(dn));
}

Oid alarm_module() { return {1, 3, 6, 1, 2, 1, 118}; }

Oid itu_alarm_module() { return {1, 3, 6, 1, 2, 1, 121}; }

Oid snmp_trap_oid() { return {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}; }

std::uint32_t severity_number(Severity severity) {
  switch (severity) {
    case Severity::kCleared:
      return 1;
    case Severity::kIndeterminate:
      return 2;
    case Severity::kWarning:
      return 3;
    case Severity::kMinor:
      return 4;
    case Severity::kMajor:
      return 5;
    case Severity::kCritical:
      return 6;
  }
  return 2;
}

std::uint32_t itu_severity_number(Severity severity) {
  switch (severity) {
    case Severity::kCleared:
      return 1;
    case Severity::kIndeterminate:
      return 2;
    case Severity::kCritical:
      return 3;
    case Severity::kMajor:
      return 4;
    case Severity::kMinor:
      return 5;
    case Severity::kWarning:
      return 6;
  }
  return 2;
}

// The numbers of both are those of the module, from 1, in the order in which the engine has them.
std::uint32_t kind_number(engine::ChangeKind kind) { return static_cast<std::uint32_t>(kind) + 1; }

std::uint32_t operator_state_number(engine::OperatorState state) {
  switch (state) {
    case engine::OperatorState::kNone:
      return 1;
    case engine::OperatorState::kAcknowledged:
      return 2;
    case engine::OperatorState::kClosed:
      return 3;
    case engine::OperatorState::kShelved:
      return 4;
    case engine::OperatorState::kUnshelved:
      return 5;
  }
  return 1;
}

std::uint32_t event_type_number(const std::optional<engine::CauseStandard>& standard) {
  constexpr std::uint32_t kOther = 1;
  if (!standard) return kOther;
  switch (standard->event_type) {
    case engine::EventType::kCommunications:
      return 2;
    case engine::EventType::kQualityOfService:
      return 3;
    case engine::EventType::kProcessingError:
      return 4;
    case engine::EventType::kEquipment:
      return 5;
    case engine::EventType::kEnvironmental:
      return 6;
  }
  return kOther;
}

}  // namespace polaiga::snmp
