// The file that says which events sensors become.
#pragma once

#include <filesystem>
#include <string>

#include "follow/sensor_levels.h"

namespace polaiga::ipmi {

// The file of that name. Without a name it is the program's own, share/polaiga/ipmi/ipmi.tsv beside the directory of
// the program.
std::filesystem::path mapping_file(const std::string& name);

// Throws engine::TableError.
SensorLevels::Rows read_rows_of(const std::filesystem::path& file);

}  // namespace polaiga::ipmi
