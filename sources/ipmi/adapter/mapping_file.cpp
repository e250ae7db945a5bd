#include "adapter/mapping_file.h"

#include <memory>

#include "base/tab_separated.h"
#include "mapping/mapping.h"

namespace polaiga::ipmi {

std::filesystem::path mapping_file(const std::string& name) {
  if (!name.empty()) return name;
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  return program.parent_path().parent_path() / "share" / "polaiga" / "ipmi" / "ipmi.tsv";
}

SensorLevels::Rows read_rows_of(const std::filesystem::path& file) {
  constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;
  const auto mapping =
      std::make_shared<const Mapping>(Mapping::parse(engine::read_table_file(file, kMostBytes), file.string()));
  return {.of = [mapping](const Sensor& sensor) { return mapping->of(sensor); },
          .line_of = [mapping](const Sensor& sensor) { return mapping->line_of(sensor); }};
}

}  // namespace polaiga::ipmi
