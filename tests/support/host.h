// The host of the tests: it defines the engine's services, and the clock and
// the time-zone file that the library sees.
#pragma once

#include <polaiga/records.h>
#include <polaiga/services.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace polaiga::test {

// 2024-01-31T23:59:59 in UTC: the time of the clock, unless a test sets another.
inline constexpr std::time_t kNow = 1706745599;
inline constexpr const char* kNowText = "2024-01-31T23:59:59";

struct Host {
  std::time_t now = kNow;
  std::optional<std::string> timezone_file;  // its content; empty: there is no such file

  // Dictionaries. A code or cause without an entry has the text "name of CODE"
  // or "cause NUMBER"; an entry may be null.
  std::map<std::uint32_t, const char*> names;
  std::map<std::uint32_t, const char*> causes;

  std::function<void()> on_log;                                // called by fe_logger
  std::vector<std::string> log;                                // what fe_logger was given, formatted
  std::vector<fe_fault_record> cleaned_up;                     // copies of what cleanup_deasserted_events was given
  std::vector<std::array<std::int32_t, 3>> cleanup_arguments;  // its further arguments

  // Answer of translate_user_entity_instance; without one it searches the table.
  std::function<const char*(std::int32_t platform, std::int32_t instance)> translate;
  const fe_platform_names* platform_names = nullptr;  // the table that it was last given
};

// host() is the only host. reset_host() sets it, the platform and all sdr values to their
// initial values.
Host& host();
void reset_host();

}  // namespace polaiga::test
