// What the engine knows, as JSON objects. All commands print these forms, so a
// thing has the same members wherever it is printed. docs/schemas describes them.
//
// A time is an RFC 3339 text; the number of an input is `seq` or ends with `_seq`.
// A member that does not apply, such as the end of an active fault, is left out.
#pragma once

#include <polaiga/records.h>

#include <string>
#include <string_view>

#include "alarms/alarms.h"
#include "ledger/batch.h"
#include "ledger/reader.h"
#include "ledger/stored.h"
#include "model/alarm_profile.h"
#include "report/json_object.h"

namespace polaiga::engine {

// "<ledger id>-<number of the change that raised it first>" names an alarm for
// ever. A replay has no ledger: there the id is empty, and the number stands alone.
std::string alarm_id(std::string_view ledger_id, ChangeNumber alarm);

// An event in the members that the input has for it.
JsonObject event_form(const SensorEvent& event);

// The same, beginning with its number and the times that the ledger noted.
JsonObject event_form(const StoredEvent& event);

// Every field of a record, its severity, and what X.733 and IANA call its cause.
JsonObject record_form(const fe_fault_record& record);

JsonObject change_form(const Change& change, std::string_view ledger_id);

// What an operator did: "action", "seq", "person", "comment" and so on. One that the engine did itself has no person.
JsonObject action_form(const StoredAction& action);

// One of the things that operators did to an alarm.
JsonObject alarm_action_form(const AlarmAction& action);

// An object that is out of service.
JsonObject maintenance_form(const StoredMaintenance& maintenance);

// An input with its record, if it has one, and its changes; for a replay.
JsonObject input_form(const RecordedInput& input);

// A record with its event, and the build of the library that made it.
JsonObject stored_record_form(const StoredRecord& stored);

// Who reports a fault, and since when.
JsonObject report_form(const Report& report);

// What the profile says of a fault, beside its severity. Empty when no entry fits it.
JsonObject profile_form(const ProfileEntry* entry);

// A fault, with what the profile says of it; so are those that follow.
JsonObject fault_form(const StoredFault& fault, std::string_view ledger_id, const AlarmProfile& profile);

// An active fault of a replay: with the record that it shows and its reporters.
JsonObject active_fault_form(const ActiveFault& fault, const fe_fault_record& shown, const AlarmProfile& profile);

// Since when a fault is chattering, and how often it was raised.
JsonObject chattering_form(const ChatteringFault& fault);

// An active fault with the record that it shows.
JsonObject active_row_form(const ActiveRow& row, std::string_view ledger_id, const AlarmProfile& profile);

// A change with the event that made it and the record of that event, if it has one.
JsonObject stored_change_form(const StoredChange& stored, std::string_view ledger_id);

// An alarm with its faults as steps.
JsonObject alarm_form(const StoredAlarm& alarm, std::string_view ledger_id, const AlarmProfile& profile);

}  // namespace polaiga::engine
