#include "filter/services.h"

#include <polaiga/services.h>

#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "base/printable.h"
#include "model/change.h"
#include "model/dictionary.h"
#include "model/fault.h"

namespace polaiga::engine {
namespace {

constexpr std::uint32_t kPostFailure = 517;

Withdraw withdraw_fault;
Log log_level = Log::kOff;
TakeLog take_log_line;
bool out_of_memory = false;

}  // namespace

void provide_services(Withdraw withdraw, std::int32_t platform, Log log) {
  withdraw_fault = std::move(withdraw);
  g_platform = platform;
  log_level = log;
}

void log_to(TakeLog take_log) { take_log_line = std::move(take_log); }

bool take_out_of_memory() { return std::exchange(out_of_memory, false); }

}  // namespace polaiga::engine

using namespace polaiga::engine;

std::int32_t g_platform;

// All are 0, since the instances of every entity count from 1 here.
std::int32_t fe_sdr_instance_array[FE_ENTITY_IDS];

void fe_logger(const char* format, ...) {
  if (log_level == Log::kOff) return;
  std::array<char, 1024> line{};
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line.data(), line.size(), format, arguments);  // NOLINT(clang-analyzer-valist.Uninitialized): it is
  va_end(arguments);
  std::string_view text = line.data();
  while (text.ends_with('\n')) text.remove_suffix(1);
  if (take_log_line) {
    take_log_line(text);
    return;
  }
  try {
    std::fprintf(stderr, "%s\n", printable(text).c_str());
  } catch (const std::bad_alloc&) {  // a line of diagnostics less
  }
}

void fe_itoa(std::int32_t value, char* buffer, std::int32_t /*flags*/) {
  constexpr std::ptrdiff_t kLongest = 11;  // -2147483648
  *std::to_chars(buffer, buffer + kLongest, value).ptr = '\0';
}

const char* get_fault_code_string(std::uint32_t code) { return fault_name(code); }

const char* get_probable_cause_string(std::uint32_t cause_id) { return cause_text(cause_id); }

const char* translate_user_entity_instance(const fe_platform_names* table, std::int32_t platform, std::int32_t instance,
                                           ...) {
  if (table == nullptr || platform < 0 || platform >= kPlatforms) return nullptr;
  for (const auto& slot : table[platform].slots) {
    if (slot.name != nullptr && slot.instance == instance) return slot.name;
  }
  return nullptr;
}

void cleanup_deasserted_events(fe_fault_record* record, std::int32_t /*unused*/, std::int32_t /*unused*/,
                               std::int32_t /*unused*/) {
  try {
    if (record != nullptr && withdraw_fault) withdraw_fault(fault_dn(record->dn, kPostFailure));
  } catch (const std::bad_alloc&) {  // it would end the program if it went through the library
    out_of_memory = true;
  }
}
