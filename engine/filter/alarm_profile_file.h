// The file of the alarm profile, beside the host tables.
#pragma once

#include <filesystem>

#include "model/alarm_profile.h"

namespace polaiga::engine {

// Reads alarms.tsv in this directory; without such a file the profile says nothing.
// Throws TableError.
AlarmProfile read_alarm_profile(const std::filesystem::path& directory);

}  // namespace polaiga::engine
