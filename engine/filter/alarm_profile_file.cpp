#include "filter/alarm_profile_file.h"

#include <system_error>

namespace polaiga::engine {

AlarmProfile read_alarm_profile(const std::filesystem::path& directory) {
  const std::filesystem::path path = directory / "alarms.tsv";
  std::error_code error;
  // What cannot be looked at is left to the reading to complain about.
  if (std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found) return {};
  std::string text = read_table_file(path, AlarmProfile::kMostBytes);
  if (text.empty()) throw TableError(path.string() + ":1:1: code: there is no header line");
  return {std::move(text), path};
}

}  // namespace polaiga::engine
