#include "host.h"

#include <dlfcn.h>
#include <polaiga/services.h>
#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

std::int32_t fe_sdr_instance_array[FE_ENTITY_IDS];
std::int32_t g_platform;
fe_nm_map_row ent_nm_map[polaiga::fuzz::kRoom];
std::int32_t ent_nm_map_sz;
fe_sensor_map_row ent_cmc_map[polaiga::fuzz::kRoom];
std::int32_t ent_cmc_map_sz;
fe_sensor_map_row ent_drive_bp_map[polaiga::fuzz::kRoom];
std::int32_t ent_drive_bp_map_sz;

namespace polaiga::fuzz {
namespace {

// A service's text, which ends at its first NUL.
using Answer = std::array<char, 300>;

struct Services {
  Answer name = {};
  Answer cause = {};
  Answer instance = {};
  bool has_name = false;
  bool has_cause = false;
  bool has_instance = false;
  std::time_t now = 0;
  Answer zone_file = {};
  bool has_zone_file = false;
};
Services services;

void fill(Answer& answer, Input& input) {
  const std::size_t size = std::min<std::size_t>(input.byte(), answer.size() - 1);
  input.fill(answer.data(), size);
  answer[size] = '\0';
}

// Texts that a format, a clear or a name may stumble over.
constexpr const char* kTexts[] = {
    "%n", "%s%s%s%s%s%s%s%s%s%s", "%s: %s: Check", "%", "%%", "%d%1000000d", "no colon", ":::", "", "%*s",
};

// Fills a text field: with some text, or full to its last byte.
template <std::size_t N>
void fill(char (&field)[N], Input& input) {
  const std::uint8_t kind = input.byte();
  if (kind < 160) {
    const char* const text = kTexts[kind % std::size(kTexts)];
    std::memset(field, 0, N);
    std::memcpy(field, text, std::min(std::strlen(text), N));
  } else if (kind < 192) {
    std::memset(field, kind, N);
  } else {
    input.fill(field, N);
  }
}

void fill(fe_sensor_map_row& row, Input& input) {
  if (const std::uint8_t kind = input.byte(); kind < 128) {
    const char* const name = kKnownNames[kind % std::size(kKnownNames)];
    std::memset(row.sensor_name, 0, sizeof row.sensor_name);
    std::memcpy(row.sensor_name, name, std::strlen(name));
  } else {
    fill(row.sensor_name, input);
  }
  row.entity_id = input.byte();
  row.row_number = input.byte();
  row.subtype = input.byte();
  row.sensor_class = input.byte();
  row.base_code = static_cast<std::uint32_t>(input.number());
  row.cause_id = static_cast<std::uint32_t>(input.number());
  fill(row.fault_name, input);
  fill(row.cause, input);
  fill(row.dn, input);
  fill(row.rn, input);
  fill(row.descr_format, input);
  for (std::uint32_t& code : row.threshold_codes) code = static_cast<std::uint32_t>(input.number());
}

void fill(fe_nm_map_row& row, Input& input) {
  row.event_offset = static_cast<std::uint32_t>(input.number());
  row.entity_id = input.byte();
  row.instance = input.byte();
  row.subtype = input.byte();
  row.reserved = input.byte();
  row.code = static_cast<std::uint32_t>(input.number());
  row.cause_id = static_cast<std::uint32_t>(input.number());
  fill(row.fault_name, input);
  fill(row.cause, input);
  fill(row.dn, input);
  fill(row.rn, input);
  fill(row.descr, input);
}

// Forbids the rows behind the count.
template <class Row>
void set_count(Row (&table)[kRoom], std::int32_t& size, std::int32_t count) {
  size = std::min(count, kRoom);
  const std::int32_t used = std::max(size, 0);
  ASAN_UNPOISON_MEMORY_REGION(table, sizeof table);
  ASAN_POISON_MEMORY_REGION(table + used, sizeof(Row) * static_cast<std::size_t>(kRoom - used));
}

template <class Row>
void change(Row (&table)[kRoom], std::int32_t& size, Input& input) {
  const std::int32_t what = input.number();
  if (what < 0 || what > size) {
    set_count(table, size, what);
  } else {
    set_count(table, size, std::max(what + 1, size));
    if (what < kRoom) fill(table[what], input);
  }
}

template <class Row>
void empty(Row (&table)[kRoom], std::int32_t& size) {
  set_count(table, size, kRoom);
  std::memset(table, 0, sizeof table);
  set_count(table, size, 0);
}

}  // namespace

std::int32_t Input::number() {
  constexpr std::int32_t kExtremes[] = {
      std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(), -1, 256, 257, 883};
  const std::uint8_t kind = byte();
  if (kind < 250 - std::size(kExtremes)) return kind;
  if (kind < 250) return kExtremes[249 - kind];
  std::int32_t value = 0;
  fill(&value, sizeof value);
  return value;
}

void Input::fill(void* bytes, std::size_t size) {
  const std::size_t taken = std::min(size, static_cast<std::size_t>(end_ - at_));
  if (taken != 0) std::memcpy(bytes, at_, taken);
  std::memset(static_cast<char*>(bytes) + taken, 0, size - taken);
  at_ += taken;
}

void reset_host() {
  services = Services();
  g_platform = 0;
  std::memset(fe_sdr_instance_array, 0, sizeof fe_sdr_instance_array);
  empty(ent_nm_map, ent_nm_map_sz);
  empty(ent_cmc_map, ent_cmc_map_sz);
  empty(ent_drive_bp_map, ent_drive_bp_map_sz);
}

void change_answers(Input& input) {
  const std::uint8_t which = input.byte();
  services.has_name = (which & 1) != 0;
  services.has_cause = (which & 2) != 0;
  services.has_instance = (which & 4) != 0;
  services.has_zone_file = (which & 8) != 0;
  if (services.has_name) fill(services.name, input);
  if (services.has_cause) fill(services.cause, input);
  if (services.has_instance) fill(services.instance, input);
  if (services.has_zone_file) fill(services.zone_file, input);
  if ((which & 16) != 0) input.fill(&services.now, sizeof services.now);
  g_platform = input.number();
  fe_sdr_instance_array[input.byte()] = input.number();
}

void change_table(Input& input) {
  switch (input.byte() % 3) {
    case 0:
      return change(ent_nm_map, ent_nm_map_sz, input);
    case 1:
      return change(ent_cmc_map, ent_cmc_map_sz, input);
    default:
      return change(ent_drive_bp_map, ent_drive_bp_map_sz, input);
  }
}

}  // namespace polaiga::fuzz

using polaiga::fuzz::services;

void fe_logger(const char* format, ...) {
  std::array<char, 2048> line;
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line.data(), line.size(), format, arguments);  // reads every text to its end
  va_end(arguments);
}

void fe_itoa(std::int32_t value, char* buffer, std::int32_t /*flags*/) {
  std::array<char, 12> digits;  // what a 32-bit number needs at most
  const int size = std::snprintf(digits.data(), digits.size(), "%d", value);
  std::memcpy(buffer, digits.data(), static_cast<std::size_t>(size) + 1);
}

const char* get_fault_code_string(std::uint32_t /*code*/) { return services.has_name ? services.name.data() : nullptr; }

const char* get_probable_cause_string(std::uint32_t /*cause_id*/) {
  return services.has_cause ? services.cause.data() : nullptr;
}

const char* translate_user_entity_instance(const fe_platform_names* /*table*/, std::int32_t /*platform*/,
                                           std::int32_t /*instance*/, ...) {
  return services.has_instance ? services.instance.data() : nullptr;
}

void cleanup_deasserted_events(fe_fault_record* record, std::int32_t /*unused*/, std::int32_t /*unused*/,
                               std::int32_t /*unused*/) {
  volatile char last = record->name[FE_NAME_SIZE - 1];
  static_cast<void>(last);
}

// The C library's own, but for the clock and the one file.

extern "C" std::time_t time(std::time_t* result) {
  if (result != nullptr) *result = services.now;
  return services.now;
}

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  using Open = std::FILE*(const char*, const char*);
  static auto* const real = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen"));
  if (std::strcmp(path, "/mnt/jffs2/timezone") != 0) return real(path, mode);
  if (!services.has_zone_file) {
    errno = ENOENT;
    return nullptr;
  }
  const std::size_t size = std::strlen(services.zone_file.data());
  return size != 0 ? fmemopen(services.zone_file.data(), size, "r") : nullptr;
}
