// Sequences of events over all filters, with arbitrary bytes wherever the
// engine or the host may put them. What the library remembers carries over from
// one input to the next, as it does in an engine.
#include <polaiga/filters.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "host.h"
#include "model/entities.h"

namespace polaiga::fuzz {
namespace {

using engine::Entity;

// Which filter an input means depends on the order of entities(): a filter that is
// not added at its end changes the meaning of the corpus.
const Entity& pick_filter(Input& input) {
  const auto filters = engine::entities();
  return filters[input.byte() % filters.size()];
}

[[noreturn]] void fail(const Entity& entity, const char* what) {
  std::fprintf(stderr, "%s: %s\n", std::string(entity.name).c_str(), what);
  std::abort();
}

constexpr std::size_t kEventSize = sizeof(fe_sensor_event);
constexpr std::size_t kNameAt = offsetof(fe_sensor_event, sensor_name);

// Name of one of the rows of a host table; false when it has none.
bool name_after_row(fe_sensor_event& event, const fe_sensor_map_row* table, std::int32_t size, std::uint8_t choice) {
  if (size < 1) return false;
  std::memcpy(event.sensor_name, table[choice % size].sensor_name, sizeof event.sensor_name);
  return true;
}

void name_sensor(fe_sensor_event& event, Input& input) {
  std::memset(event.sensor_name, 0, sizeof event.sensor_name);
  const std::uint8_t kind = input.byte();
  if (kind < std::size(kKnownNames)) {
    std::strcpy(event.sensor_name, kKnownNames[kind]);
  } else if (kind < 64 && name_after_row(event, ent_cmc_map, ent_cmc_map_sz, kind)) {
  } else if (kind < 128 && name_after_row(event, ent_drive_bp_map, ent_drive_bp_map_sz, kind)) {
  } else {
    input.fill(event.sensor_name, sizeof event.sensor_name);
  }
}

// A state that filters tell apart, or any number.
std::int32_t state_of(Input& input) {
  const std::uint8_t kind = input.byte();
  return kind < 224 ? kind % 8 : input.number();
}

// An event in a block of its own, which ends with the event; one whose name runs
// on behind it goes on up to a NUL, and the block with it.
std::unique_ptr<char[]> make_event(Input& input) {
  fe_sensor_event event;
  event.entity_id = input.byte();
  event.entity_subtype = input.byte();
  event.entity_instance = input.number();
  event.group_instance = input.number();
  event.event_state = state_of(input);
  event.event_offset = input.number();
  event.reading_type = static_cast<std::uint32_t>(input.number());
  input.fill(event.reserved1, sizeof event.reserved1);
  input.fill(event.reserved2, sizeof event.reserved2);
  input.fill(event.reserved3, sizeof event.reserved3);
  name_sensor(event, input);

  char bytes[kEventSize];
  std::memcpy(bytes, &event, kEventSize);
  std::size_t tail = 0;
  if (std::memchr(bytes + kNameAt, 0, kEventSize - kNameAt) == nullptr) tail = std::size_t{input.byte()} + 1;
  auto block = std::make_unique<char[]>(kEventSize + tail);
  std::memcpy(block.get(), bytes, kEventSize);
  if (tail != 0) {
    input.fill(block.get() + kEventSize, tail - 1);
    block[kEventSize + tail - 1] = '\0';
  }
  return block;
}

// The caller's record in a block of its own. A name that runs on behind the
// event's copy must find a NUL in it.
std::unique_ptr<fe_fault_record> make_record(Input& input) {
  auto record = std::make_unique<fe_fault_record>();
  const std::uint8_t kind = input.byte();
  std::memset(record.get(), kind, sizeof *record);
  if (kind == 1) input.fill(record.get(), sizeof *record);
  record->reserved1[sizeof record->reserved1 - 1] = 0;
  return record;
}

template <std::size_t N>
bool ends(const char (&field)[N]) {
  return std::memchr(field, 0, N) != nullptr;
}

// What holds of every record that is to be reported.
const char* fault_of(const fe_fault_record& record, const fe_fault_record& before) {
  if (!ends(record.fault_dn) || !ends(record.code_text) || !ends(record.created)) return "a text without an end";
  if (!ends(record.cause) || !ends(record.name)) return "a text without an end";
  if (!ends(record.dn) && std::memcmp(record.dn, before.dn, sizeof record.dn) != 0) return "a DN without an end";
  if (!ends(record.rn) && std::memcmp(record.rn, before.rn, sizeof record.rn) != 0) return "an RN without an end";
  if (!ends(record.descr) && std::memcmp(record.descr, before.descr, sizeof record.descr) != 0) {
    return "a description without an end";
  }
  return nullptr;
}

template <std::size_t N>
bool same(const std::uint8_t (&a)[N], const std::uint8_t (&b)[N]) {
  return std::memcmp(a, b, N) == 0;
}

void send_event(Input& input) {
  const Entity& entity = pick_filter(input);
  const auto event = make_event(input);
  const auto record = make_record(input);
  const fe_fault_record before = *record;
  fe_fault_record* out = record.get();
  const std::int32_t result = entity.filter(reinterpret_cast<fe_sensor_event*>(event.get()), &out);
  if (result != 0 && result != -1) fail(entity, "a result that is neither 0 nor -1");
  if (out != record.get()) fail(entity, "the caller's pointer was written");
  if (!same(record->reserved1, before.reserved1) || !same(record->reserved2, before.reserved2) ||
      !same(record->reserved3, before.reserved3) || !same(record->reserved4, before.reserved4) ||
      !same(record->reserved5, before.reserved5)) {
    fail(entity, "reserved bytes were written");
  }
  if (result != 0) return;
  if (const char* what = fault_of(*record, before)) fail(entity, what);
}

void send_null(Input& input) {
  const Entity& entity = pick_filter(input);
  const auto event = make_event(input);
  const auto record = make_record(input);
  auto* ev = reinterpret_cast<fe_sensor_event*>(event.get());
  fe_fault_record* out = record.get();
  fe_fault_record* none = nullptr;
  if (entity.filter(nullptr, &out) != -1 || entity.filter(ev, &none) != -1 || entity.filter(ev, nullptr) != -1) {
    fail(entity, "null was taken");
  }
}

}  // namespace
}  // namespace polaiga::fuzz

// One filter traces its events to standard output, where nobody looks.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  reset_host();
  Input input(data, size);
  while (!input.empty()) {
    switch (input.byte() % 8) {
      case 0:
        change_answers(input);
        break;
      case 1:
        change_table(input);
        break;
      case 2:
        send_null(input);
        break;
      default:
        send_event(input);
    }
  }
  return 0;
}
