#include "framework/framing.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "framework/text.h"

namespace polaiga {
namespace {

constexpr const char* kTimeZoneFile = "/mnt/jffs2/timezone";

constexpr std::uint32_t kOidPrefix[] = {1, 3, 6, 1, 4, 1, 32473, 5, 100};
constexpr std::uint32_t kInstanceMask = 0x00FFFFFF;

// Reads the first word of the time-zone file. It is empty when there is none, which
// means UTC.
ZoneName read_zone_name() {
  ZoneName zone;
  zone.text[0] = '\0';
  if (std::FILE* file = std::fopen(kTimeZoneFile, "r")) {
    if (std::fscanf(file, "%63s", zone.text) != 1) zone.text[0] = '\0';
    std::fclose(file);
  }
  return zone;
}

}  // namespace

fe_fault_record* open_record(const fe_sensor_event* ev, fe_fault_record** out) {
  if (out == nullptr || *out == nullptr || ev == nullptr) return nullptr;
  (*out)->event = *ev;
  return *out;
}

// The name may go on behind its array. Therefore it is read through a pointer into
// the event's bytes: the compiler must not conclude that it ends within the array.
__attribute__((noinline)) std::string_view sensor_name(const fe_sensor_event& event) {
  return reinterpret_cast<const char*>(&event) + offsetof(fe_sensor_event, sensor_name);
}

std::uint8_t write_oid_arcs(fe_fault_record& record, const FaultClass& fault_class) {
  std::memcpy(record.oid, kOidPrefix, sizeof kOidPrefix);
  std::uint8_t count = std::size(kOidPrefix);
  for (const std::uint8_t* arc = fault_class.arcs; *arc != 0; ++arc) record.oid[count++] = *arc;
  return count;
}

void write_oid(fe_fault_record& record, const FaultClass& fault_class) {
  record.oid_len = write_oid_arcs(record, fault_class);
}

void write_key(fe_fault_record& record) { write_key(record, record.event.entity_instance); }

void write_key(fe_fault_record& record, std::int32_t instance) {
  const std::uint32_t middle = (static_cast<std::uint32_t>(instance) & kInstanceMask) << 8;
  // The upper byte of the instance lies where the entity id lies. Both are OR-ed: intended.
  record.fault_key = std::uint32_t{record.event.entity_id} << 24 | middle | record.event.entity_subtype;
}

void write_names(fe_fault_record& record, std::string_view dn, std::string_view rn) {
  write_text(record.dn, dn);
  write_text(record.rn, rn);
}

ZoneName stamp_time(fe_fault_record& record) {
  const ZoneName zone = read_zone_name();
  setenv("TZ", zone.text, 1);
  tzset();
  const std::time_t now = std::time(nullptr);
  record.created_time = static_cast<std::uint32_t>(now);
  char stamp[20] = "";  // for 19 characters: with a year of five digits the text is empty
  std::size_t size = 0;
  if (const std::tm* local = std::localtime(&now))
    size = std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", local);
  write_text(record.created, {stamp, size});
  return zone;
}

void write_code_texts(fe_fault_record& record) {
  char text[sizeof "/fault-F-2147483648"];  // what follows the DN in a fault DN, with the longest code
  TextWriter writer(text);
  const char* const code = writer.add_literal("/fault-").end();
  const char* const end = writer.add_literal("F").add_code(record.code).end();
  write_text(record.code_text, {code, static_cast<std::size_t>(end - code)});
  TextWriter(record.fault_dn).add(field_text(record.dn)).add({text, static_cast<std::size_t>(end - text)});
}

void stamp_event(fe_fault_record& record, const fe_sensor_event& event) {
  stamp_time(record);
  record.event.event_state = event.event_state;
}

}  // namespace polaiga
