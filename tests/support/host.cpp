#include "support/host.h"

#include <dlfcn.h>
#include <polaiga/services.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace polaiga::test {

Host& host() {
  static Host the_host;
  return the_host;
}

void reset_host() {
  host() = Host();
  g_platform = 0;
  std::memset(fe_sdr_instance_array, 0, sizeof fe_sdr_instance_array);
}

namespace {

const char* look_up(const std::map<std::uint32_t, const char*>& dictionary, const char* prefix, std::uint32_t number) {
  if (const auto entry = dictionary.find(number); entry != dictionary.end()) return entry->second;
  static std::array<char, 64> recent;  // lasts until the next call, as an engine's may
  std::snprintf(recent.data(), recent.size(), "%s%u", prefix, number);
  return recent.data();
}

}  // namespace
}  // namespace polaiga::test

using polaiga::test::host;

std::int32_t fe_sdr_instance_array[FE_ENTITY_IDS];
std::int32_t g_platform;

void fe_logger(const char* format, ...) {
  std::array<char, 1024> line{};
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line.data(), line.size(), format, arguments);
  va_end(arguments);
  host().log.emplace_back(line.data());
  if (host().on_log) host().on_log();
}

void fe_itoa(std::int32_t value, char* buffer, std::int32_t /*flags*/) {
  std::strcpy(buffer, std::to_string(value).c_str());  // NOLINT: the buffer's size is the callee's to trust
}

const char* get_fault_code_string(std::uint32_t code) { return polaiga::test::look_up(host().names, "name of ", code); }

const char* get_probable_cause_string(std::uint32_t cause_id) {
  return polaiga::test::look_up(host().causes, "cause ", cause_id);
}

const char* translate_user_entity_instance(const fe_platform_names* table, std::int32_t platform, std::int32_t instance,
                                           ...) {
  host().platform_names = table;
  if (host().translate) return host().translate(platform, instance);
  if (platform < 0 || platform > 17) return nullptr;
  const fe_platform_names& row = table[platform];
  for (const auto& slot : row.slots) {
    if (slot.name != nullptr && slot.instance == instance) return slot.name;
  }
  return nullptr;
}

void cleanup_deasserted_events(fe_fault_record* record, std::int32_t first, std::int32_t second, std::int32_t third) {
  host().cleaned_up.push_back(*record);
  host().cleanup_arguments.push_back({first, second, third});
}

// These replace functions of the C library: they are different for the clock and the time-zone
// file only.

extern "C" std::time_t time(std::time_t* result) {
  if (result != nullptr) *result = host().now;
  return host().now;
}

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  using Open = std::FILE*(const char*, const char*);
  // With 64-bit offsets on a 32-bit target, the same call has another name.
  static auto* const real =
      reinterpret_cast<Open*>(dlsym(RTLD_NEXT, sizeof(long) < sizeof(off_t) ? "fopen64" : "fopen"));
  if (std::strcmp(path, "/mnt/jffs2/timezone") != 0) return real(path, mode);
  if (!host().timezone_file || std::strcmp(mode, "r") != 0) {
    errno = ENOENT;
    return nullptr;
  }
  std::FILE* file = std::tmpfile();
  if (file == nullptr) return nullptr;
  std::fputs(host().timezone_file->c_str(), file);
  std::rewind(file);
  return file;
}
