// The steps that every filter takes around its own decision: argument checks,
// event copy, object identifier, key, time stamp, code text and fault DN.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <string_view>

namespace polaiga {

// What a filter answers.
inline constexpr std::int32_t kFilled = 0;
inline constexpr std::int32_t kNoFault = -1;

// The arcs of a fault class behind the prefix that all classes share, ended by 0.
struct FaultClass {
  std::uint8_t arcs[6];
};

// The zone name that a time stamp was made with, which some filters use as a label.
struct ZoneName {
  char text[64];
};

// Checks the arguments and copies the event into the caller's record, which is
// returned; null when there is none to fill.
fe_fault_record* open_record(const fe_sensor_event* ev, fe_fault_record** out);

// The sensor name to its NUL, even where that lies behind the name's field.
std::string_view sensor_name(const fe_sensor_event& event);

// Writes the arcs and returns their number; write_oid stores it, too.
std::uint8_t write_oid_arcs(fe_fault_record& record, const FaultClass& fault_class);
void write_oid(fe_fault_record& record, const FaultClass& fault_class);

// Packs the key from the event copy as it stands, or with another instance.
void write_key(fe_fault_record& record);
void write_key(fe_fault_record& record, std::int32_t instance);

// Names the affected object.
void write_names(fe_fault_record& record, std::string_view dn, std::string_view rn);

// Stamps the local time of the zone in the time-zone file.
ZoneName stamp_time(fe_fault_record& record);

// Writes the code text and the fault DN of the record's code and DN.
void write_code_texts(fe_fault_record& record);

// The steps between addressing and decision of the hand-written filters.
void stamp_event(fe_fault_record& record, const fe_sensor_event& event);

}  // namespace polaiga
