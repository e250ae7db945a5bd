// An arbitrary text of a host table either is refused, with a complaint that names its place, and leaves all tables as
// they were, or its rows are installed and fit their fields. The first character of the input says which table.
#include <polaiga/tables.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "check.h"
#include "filter/host_tables.h"

namespace polaiga::fuzz {
namespace {

using engine::HostTables;
using engine::TableError;

constexpr const char* kNodeManagerHeader =
    "event_offset\tentity_id\tinstance\tsubtype\tcode\tcause_id\tfault_name\tcause\tdn\trn\tdescr\n";
constexpr const char* kSensorHeader =
    "sensor_name\tentity_id\tsubtype\tsensor_class\tbase_code\tlower_critical\tlower_non_recoverable\t"
    "upper_non_critical\tupper_critical\tupper_non_recoverable\tcause_id\tfault_name\tcause\tdn\trn\tdescr_format\n";

// The installed tables, to be compared.
struct Installed {
  fe_nm_map_row nm[FE_HOST_TABLE_ROWS];
  fe_sensor_map_row cmc[FE_HOST_TABLE_ROWS];
  fe_sensor_map_row drive_bp[FE_HOST_TABLE_ROWS];
  std::int32_t sizes[3];

  Installed() {
    std::memset(this, 0, sizeof *this);
    std::memcpy(nm, ent_nm_map, sizeof nm);
    std::memcpy(cmc, ent_cmc_map, sizeof cmc);
    std::memcpy(drive_bp, ent_drive_bp_map, sizeof drive_bp);
    sizes[0] = ent_nm_map_sz;
    sizes[1] = ent_cmc_map_sz;
    sizes[2] = ent_drive_bp_map_sz;
  }
};

template <std::size_t N>
void check_text(const char (&field)[N]) {
  check(field[0] != '\0', "a text is not empty");
  check(std::memchr(field, 0, N) != nullptr, "a text ends within its field");
}

template <class Row>
void check_common(const Row& row) {
  check_text(row.fault_name);
  check_text(row.cause);
  check_text(row.dn);
  check_text(row.rn);
}

void check_row(const fe_nm_map_row& row, int /*number*/) {
  check_common(row);
  check_text(row.descr);
  check(row.code >= 1 && row.code <= INT32_MAX, "a code is a positive number of 32 bits");
  check(std::strchr(row.descr, ':') != nullptr, "a description has a colon");
}

// The format is given two texts and no more.
void check_format(std::string_view format) {
  int taken = 0;
  for (std::size_t at = format.find('%'); at != std::string_view::npos; at = format.find('%', at + 2)) {
    check(format.substr(at, 2) == "%s", "a format only takes texts");
    ++taken;
  }
  check(taken <= 2, "a format takes two texts");
  check(format.find(':') != std::string_view::npos, "a description has a colon");
}

void check_row(const fe_sensor_map_row& row, int number) {
  check_common(row);
  check_text(row.sensor_name);
  check_text(row.descr_format);
  check_format(row.descr_format);
  check(row.row_number == number, "rows are numbered from 1");
  check(row.base_code >= 1 && row.base_code <= INT32_MAX, "a code is a positive number of 32 bits");
}

template <class Row>
void check_rows(const Row* rows, std::int32_t size) {
  check(size >= 0 && size <= FE_HOST_TABLE_ROWS, "a table has at most 20 rows");
  for (std::int32_t i = 0; i < size; ++i) check_row(rows[i], i + 1);
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  HostTables tables{kNodeManagerHeader, kSensorHeader, kSensorHeader};
  const char* file = "tables/drive_bp.tsv";
  if (data[0] == 'n') {
    tables.nm = text;
    file = "tables/nm.tsv";
  } else if (data[0] == 'c') {
    tables.cmc = text;
    file = "tables/cmc.tsv";
  } else {
    tables.drive_bp = text;
  }

  const Installed before;
  try {
    polaiga::engine::install_host_tables(tables, "tables");
  } catch (const TableError& error) {
    check_table_complaint(error.what(), file);
    const Installed after;
    check(std::memcmp(&before, &after, sizeof after) == 0, "a table that is refused changes nothing");
    return 0;
  }
  check_rows(ent_nm_map, ent_nm_map_sz);
  check_rows(ent_cmc_map, ent_cmc_map_sz);
  check_rows(ent_drive_bp_map, ent_drive_bp_map_sz);
  return 0;
}
