#include "tables/alarm_tables.h"

#include "oids/numbers.h"

namespace polaiga::snmp {
namespace {

Value alarm_cell(std::uint32_t column, const output::OutputAlarm& alarm) {
  switch (column) {
    case kAlarmFault:
      return unsigned_number(static_cast<std::uint64_t>(alarm.fault));
    case kAlarmFaultDn:
      return text(alarm.fault_dn);
    case kAlarmObjectDn:
      return text(alarm.dn);
    case kAlarmCode:
      return unsigned_number(alarm.code);
    case kAlarmName:
      return text(alarm.name);
    case kAlarmSeverity:
      return integer(severity_number(alarm.severity));
    case kAlarmCreated:
      return time_value(alarm.created);
    case kAlarmSince:
      return time_value(alarm.since);
    case kAlarmUpdated:
      return time_value(alarm.updated);
    case kAlarmCount:
      return unsigned_number(alarm.count);
    case kAlarmReporters:
      return unsigned_number(alarm.reporters);
    case kAlarmSensor:
      return text(alarm.sensor);
    case kAlarmDescription:
      return text(alarm.description);
    case kAlarmCause:
      return text(alarm.cause);
    case kAlarmFaultOid:
      return oid_value(alarm.oid);
    case kAlarmEventType:
      return integer(event_type_number(alarm.standard));
    case kAlarmProbableCause:
      return unsigned_number(alarm.standard ? alarm.standard->probable_cause_number : 0);
    case kAlarmOperatorState:
      return integer(operator_state_number(alarm.operator_state));
    case kAlarmOutOfService:
      return integer(truth_number(alarm.is_out_of_service));
    case kAlarmRaises:
      return unsigned_number(alarm.raises);
    default:
      return {};
  }
}

}  // namespace

std::optional<Value> AlarmTable::get(std::uint32_t column, OidView index) const {
  const auto number = exact_number(index);
  if (!number) return std::nullopt;
  const output::OutputAlarm* const alarm = view_.alarm(*number);
  if (alarm == nullptr) return std::nullopt;
  return alarm_cell(column, *alarm);
}

std::optional<Table::Cell> AlarmTable::next(std::uint32_t column, const RowStart& start) const {
  const auto found = view_.alarms().lower_bound(static_cast<engine::ChangeNumber>(least_number(start)));
  if (found == view_.alarms().end()) return std::nullopt;
  return Cell{.index = {static_cast<std::uint32_t>(found->first)}, .value = alarm_cell(column, found->second)};
}

Value ObjectTable::cell(std::uint32_t column, const Oid& /*index*/, const ObjectRow& row) const {
  switch (column) {
    case kObjectSeverity:
      return integer(severity_number(row.worst()));
    case kObjectAlarms:
      return unsigned_number(row.count());
    case kObjectOutOfService:
      return integer(truth_number(row.is_out_of_service()));
    default:
      return {};
  }
}

std::vector<std::uint32_t> columns(std::uint32_t first, std::uint32_t last) {
  std::vector<std::uint32_t> all;
  for (std::uint32_t column = first; column <= last; ++column) all.push_back(column);
  return all;
}

std::vector<std::uint32_t> alarm_columns() { return columns(kAlarmFault, kAlarmRaises); }

std::vector<std::uint32_t> object_columns() { return columns(kObjectSeverity, kObjectOutOfService); }

}  // namespace polaiga::snmp
