// The steps that all filters have in common: checking the arguments, copying the
// event, and writing object identifier, key, time stamp, code text and fault DN. Each
// filter calls them in its own order.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string_view>

namespace polaiga {

// The return values of a filter.
inline constexpr std::int32_t kFilled = 0;
inline constexpr std::int32_t kNoFault = -1;

// The arcs of a fault class behind the prefix that all classes share. The first 0
// ends them.
struct FaultClass {
  std::uint8_t arcs[6];
};

// The name of the time zone of a time stamp. Some filters also write it into the
// description.
struct ZoneName {
  char text[64];
};

// Checks the arguments, copies the event into the caller's record, and returns that
// record. Returns null when an argument is null.
fe_fault_record* open_record(const fe_sensor_event* ev, fe_fault_record** out);

// The sensor name up to its NUL. A name that fills its field goes on into the bytes
// behind the field: intended.
std::string_view sensor_name(const fe_sensor_event& event);

// Writes the arcs of the object identifier. write_oid_arcs() returns their number,
// write_oid() writes it into the record.
std::uint8_t write_oid_arcs(fe_fault_record& record, const FaultClass& fault_class);
void write_oid(fe_fault_record& record, const FaultClass& fault_class);

// Writes the fault key, which is packed from the record's copy of the event. The
// second function takes another instance than that of the event.
void write_key(fe_fault_record& record);
void write_key(fe_fault_record& record, std::int32_t instance);

// Writes the names of the affected object.
void write_names(fe_fault_record& record, std::string_view dn, std::string_view rn);

// Writes the time stamp: the local time of the zone that the time-zone file names.
ZoneName stamp_time(fe_fault_record& record);

// Writes the code text and the fault DN of the record's code and DN.
void write_code_texts(fe_fault_record& record);

// Writes the time stamp and the event's state. Most filters that have faults of their
// own do so after they have addressed the object and before they decide.
void stamp_event(fe_fault_record& record, const fe_sensor_event& event);

}  // namespace polaiga
