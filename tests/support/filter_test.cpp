#include "support/filter_test.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iomanip>
#include <sstream>

namespace polaiga::test {
namespace {

constexpr int kPattern = 0xA5;

template <std::size_t N>
void write(char (&field)[N], const std::optional<std::string>& text) {
  if (!text) return;
  ASSERT_LT(text->size(), N) << "the expected text does not fit its field: " << *text;
  std::memcpy(field, text->c_str(), text->size() + 1);
}

template <class T>
void write(T& field, const std::optional<T>& value) {
  if (value) field = *value;
}

std::string dump(const unsigned char* bytes, std::size_t size) {
  std::ostringstream out;
  for (std::size_t i = 0; i < size; ++i) {
    if (bytes[i] >= 0x20 && bytes[i] < 0x7F) {
      out << static_cast<char>(bytes[i]);
    } else {
      out << "\\x" << std::hex << std::setw(2) << std::setfill('0') << int{bytes[i]};
    }
  }
  return out.str();
}

struct Field {
  const char* name;
  std::size_t offset;
  std::size_t size;
};

#define FIELD(member) \
  Field { #member, offsetof(fe_fault_record, member), sizeof(fe_fault_record::member) }

const Field kFields[] = {
    {"event.entity_id", 0, 1},
    {"event.entity_subtype", 1, 1},
    {"event.reserved1", 2, 2},
    {"event.group_instance", 4, 4},
    {"event.entity_instance", 8, 4},
    {"event.event_state", 12, 4},
    {"event.event_offset", 16, 4},
    {"event.reserved2", 20, 4},
    {"event.sensor_name", 24, 20},
    {"event.reading_type", 44, 4},
    {"event.reserved3", 48, 4},
    FIELD(fault_key),
    FIELD(reserved1),
    FIELD(dn),
    FIELD(fault_dn),
    FIELD(rn),
    FIELD(code_text),
    FIELD(oid),
    FIELD(oid_len),
    FIELD(reserved2),
    FIELD(descr),
    FIELD(created),
    FIELD(created_time),
    FIELD(reserved3),
    FIELD(disposition),
    FIELD(reserved4),
    FIELD(cause_id),
    FIELD(clear_cause_id),
    FIELD(cause),
    FIELD(clear_cause),
    FIELD(code),
    FIELD(clear_code),
    FIELD(reserved5),
    FIELD(name),
};

#undef FIELD

}  // namespace

fe_sensor_event bytes_of(const Event& event) {
  fe_sensor_event bytes;
  std::memset(&bytes, 0x5E, sizeof bytes);
  bytes.entity_id = event.entity_id;
  bytes.entity_subtype = event.entity_subtype;
  bytes.group_instance = event.group;
  bytes.entity_instance = event.instance;
  bytes.event_state = event.state;
  bytes.event_offset = event.offset;
  std::memset(bytes.sensor_name, 0, sizeof bytes.sensor_name);
  std::memcpy(bytes.sensor_name, event.sensor, std::min(std::strlen(event.sensor), sizeof bytes.sensor_name));
  bytes.reading_type = event.reading_type;
  return bytes;
}

fe_fault_record patterned_record() {
  fe_fault_record record;
  std::memset(&record, kPattern, sizeof record);
  return record;
}

void expect_record(const Event& event, const Written& written, const fe_fault_record& got,
                   const fe_fault_record& before) {
  fe_fault_record want = before;
  want.event = bytes_of(event);
  write(want.event.entity_id, written.entity_id);
  write(want.event.entity_subtype, written.entity_subtype);
  write(want.event.entity_instance, written.entity_instance);
  write(want.event.event_state, written.event_state);
  write(want.fault_key, written.fault_key);
  write(want.dn, written.dn);
  write(want.fault_dn, written.fault_dn);
  write(want.rn, written.rn);
  write(want.code_text, written.code_text);
  if (written.oid) std::copy(written.oid->begin(), written.oid->end(), want.oid);
  write(want.oid_len, written.oid_len);
  write(want.descr, written.descr);
  write(want.created, written.created);
  write(want.created_time, written.created_time);
  write(want.disposition, written.disposition);
  write(want.cause_id, written.cause_id);
  write(want.clear_cause_id, written.clear_cause_id);
  write(want.cause, written.cause);
  write(want.clear_cause, written.clear_cause);
  write(want.code, written.code);
  write(want.clear_code, written.clear_code);
  write(want.name, written.name);

  const auto* want_bytes = reinterpret_cast<const unsigned char*>(&want);
  const auto* got_bytes = reinterpret_cast<const unsigned char*>(&got);
  std::size_t compared = 0;
  for (const Field& field : kFields) {
    EXPECT_EQ(field.offset, compared) << "fields are listed without a gap";
    compared += field.size;
    std::size_t size = field.size;
    if (written.descr_was_longer && std::strcmp(field.name, "descr") == 0) size = written.descr.value().size() + 1;
    const unsigned char* w = want_bytes + field.offset;
    const unsigned char* g = got_bytes + field.offset;
    EXPECT_EQ(std::memcmp(w, g, size), 0)
        << "field " << field.name << "\n  wanted " << dump(w, size) << "\n  got    " << dump(g, size);
  }
  EXPECT_EQ(compared, sizeof(fe_fault_record));
}

FilterTest::FilterTest(const char* filter) : filter_(library_.get<fe_fault_filter>(filter)) { reset_host(); }

Outcome FilterTest::send(const Event& event, const fe_fault_record& record) {
  Outcome outcome{.result = 0, .record = record, .event = bytes_of(event)};
  fe_fault_record* out = &outcome.record;
  outcome.result = filter_(&outcome.event, &out);
  EXPECT_EQ(out, &outcome.record) << "the caller's pointer is the caller's";
  return outcome;
}

void FilterTest::expect(const Event& event, std::int32_t result, const Written& written,
                        const fe_fault_record& before) {
  SCOPED_TRACE(::testing::Message() << event.sensor << " offset " << event.offset << " state " << event.state
                                    << " instance " << event.instance);
  const fe_sensor_event sent = bytes_of(event);
  const Outcome outcome = send(event, before);
  EXPECT_EQ(outcome.result, result);
  EXPECT_EQ(std::memcmp(&outcome.event, &sent, sizeof sent), 0) << "the event was written to";
  expect_record(event, written, outcome.record, before);
}

void FilterTest::expect_null_arguments_rejected() {
  fe_sensor_event event = bytes_of({.sensor = "ANY"});
  const fe_fault_record untouched = patterned_record();
  fe_fault_record record = untouched;
  fe_fault_record* out = &record;
  fe_fault_record* none = nullptr;
  EXPECT_EQ(filter_(&event, nullptr), -1);
  EXPECT_EQ(filter_(&event, &none), -1);
  EXPECT_EQ(filter_(nullptr, &out), -1);
  EXPECT_EQ(filter_(nullptr, nullptr), -1);
  EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0);
}

}  // namespace polaiga::test
