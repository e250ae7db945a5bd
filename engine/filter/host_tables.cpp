#include "filter/host_tables.h"

#include <polaiga/tables.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/printable.h"

fe_nm_map_row ent_nm_map[FE_HOST_TABLE_ROWS];
std::int32_t ent_nm_map_sz;
fe_sensor_map_row ent_cmc_map[FE_HOST_TABLE_ROWS];
std::int32_t ent_cmc_map_sz;
fe_sensor_map_row ent_drive_bp_map[FE_HOST_TABLE_ROWS];
std::int32_t ent_drive_bp_map_sz;

namespace polaiga::engine {
namespace {

constexpr const char* kNodeManagerFile = "nm.tsv";
constexpr const char* kControllerFile = "cmc.tsv";
constexpr const char* kDriveBackplaneFile = "drive_bp.tsv";

constexpr std::uint32_t kHighest = std::numeric_limits<std::int32_t>::max();  // codes are printed as signed numbers

template <auto Field, std::uint32_t Least, std::uint32_t Most, class Row>
void read_number(Row& row, const Cell& cell) {
  std::uint32_t number = 0;
  const char* const end = cell.text.data() + cell.text.size();
  const auto [stop, error] = std::from_chars(cell.text.data(), end, number);
  if (error != std::errc() || stop != end || number < Least || number > Most) {
    cell.reject(in_quotes(cell.text) + " is not a number from " + std::to_string(Least) + " to " +
                std::to_string(Most));
  }
  row.*Field = static_cast<std::remove_reference_t<decltype(row.*Field)>>(number);
}

template <std::size_t Level>
void read_level(fe_sensor_map_row& row, const Cell& cell) {
  struct Number {
    std::uint32_t value;
  } number{};
  read_number<&Number::value, 1, kHighest>(number, cell);
  row.threshold_codes[Level] = number.value;
}

void write_text(std::span<char> field, const Cell& cell, std::size_t longest) {
  if (cell.text.empty()) cell.reject("is empty");
  if (cell.text.find('\0') != std::string_view::npos) cell.reject("holds a NUL");
  if (cell.text.size() > longest) {
    cell.reject("has " + std::to_string(cell.text.size()) + " bytes; at most " + std::to_string(longest) + " fit");
  }
  std::memcpy(field.data(), cell.text.data(), cell.text.size());
}

template <auto Field, class Row>
void read_text(Row& row, const Cell& cell) {
  write_text(row.*Field, cell, sizeof(row.*Field) - 1);
}

// The text of a clear repeats the part in front of a colon, so there must be a colon.
template <auto Field, class Row>
void read_description(Row& row, const Cell& cell) {
  write_text(row.*Field, cell, FE_DESCR_SIZE - 1);
  if (cell.text.find(':') == std::string_view::npos) cell.reject("has no colon");
}

// The filter puts the sensor name in place of the first "%s", and the words for the
// threshold in place of the second.
void read_format(fe_sensor_map_row& row, const Cell& cell) {
  read_description<&fe_sensor_map_row::descr_format>(row, cell);
  int taken = 0;
  for (std::size_t at = cell.text.find('%'); at != std::string_view::npos; at = cell.text.find('%', at + 2)) {
    const std::size_t before = characters(cell.text.substr(0, at));
    if (cell.text.substr(at, 2) != "%s") cell.reject("a '%' must be part of a '%s'", before);
    if (++taken > 2) cell.reject("at most two '%s' are allowed", before);
  }
}

template <class Row>
struct Column {
  std::string_view name;
  void (*read)(Row& row, const Cell& cell);
};

// The first column of each table is its key: no two rows may have the same.
const Column<fe_nm_map_row> kNodeManagerColumns[] = {
    {"event_offset", read_number<&fe_nm_map_row::event_offset, 0, kHighest>},
    {"entity_id", read_number<&fe_nm_map_row::entity_id, 0, 255>},
    {"instance", read_number<&fe_nm_map_row::instance, 0, 255>},
    {"subtype", read_number<&fe_nm_map_row::subtype, 0, 255>},
    {"code", read_number<&fe_nm_map_row::code, 1, kHighest>},
    {"cause_id", read_number<&fe_nm_map_row::cause_id, 0, kHighest>},
    {"fault_name", read_text<&fe_nm_map_row::fault_name>},
    {"cause", read_text<&fe_nm_map_row::cause>},
    {"dn", read_text<&fe_nm_map_row::dn>},
    {"rn", read_text<&fe_nm_map_row::rn>},
    {"descr", read_description<&fe_nm_map_row::descr>},
};

const Column<fe_sensor_map_row> kSensorColumns[] = {
    {"sensor_name", read_text<&fe_sensor_map_row::sensor_name>},
    {"entity_id", read_number<&fe_sensor_map_row::entity_id, 0, 255>},
    {"subtype", read_number<&fe_sensor_map_row::subtype, 0, 255>},
    {"sensor_class", read_number<&fe_sensor_map_row::sensor_class, 0, 255>},
    {"base_code", read_number<&fe_sensor_map_row::base_code, 1, kHighest>},
    {"lower_critical", read_level<FE_CODE_LOWER_CRITICAL>},
    {"lower_non_recoverable", read_level<FE_CODE_LOWER_NON_RECOVERABLE>},
    {"upper_non_critical", read_level<FE_CODE_UPPER_NON_CRITICAL>},
    {"upper_critical", read_level<FE_CODE_UPPER_CRITICAL>},
    {"upper_non_recoverable", read_level<FE_CODE_UPPER_NON_RECOVERABLE>},
    {"cause_id", read_number<&fe_sensor_map_row::cause_id, 0, kHighest>},
    {"fault_name", read_text<&fe_sensor_map_row::fault_name>},
    {"cause", read_text<&fe_sensor_map_row::cause>},
    {"dn", read_text<&fe_sensor_map_row::dn>},
    {"rn", read_text<&fe_sensor_map_row::rn>},
    {"descr_format", read_format},
};

bool same_key(const fe_nm_map_row& a, const fe_nm_map_row& b) { return a.event_offset == b.event_offset; }
bool same_key(const fe_sensor_map_row& a, const fe_sensor_map_row& b) {
  return std::strcmp(a.sensor_name, b.sensor_name) == 0;
}

void number_row(fe_nm_map_row& /*row*/, std::size_t /*number*/) {}
void number_row(fe_sensor_map_row& row, std::size_t number) { row.row_number = static_cast<std::uint8_t>(number); }

template <class Row, std::size_t N>
std::vector<Row> rows_of(const std::string& content, const std::string& file, const Column<Row> (&columns)[N]) {
  std::array<std::string_view, N> names;
  std::ranges::transform(columns, names.begin(), &Column<Row>::name);
  std::vector<Row> rows;
  std::vector<std::size_t> lines;  // the line that each row came from
  read_rows(content, file, names, [&](std::span<const Cell> cells) {
    if (rows.size() == FE_HOST_TABLE_ROWS) {
      cells.front().reject("the table has more than " + std::to_string(FE_HOST_TABLE_ROWS) + " rows");
    }
    Row row{};
    for (std::size_t i = 0; i < N; ++i) columns[i].read(row, cells[i]);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      if (same_key(rows[i], row)) {
        cells.front().reject(in_quotes(cells.front().text) + " is already in line " + std::to_string(lines[i]));
      }
    }
    rows.push_back(row);
    lines.push_back(cells.front().line);
    number_row(rows.back(), rows.size());
  });
  return rows;
}

template <class Row, std::size_t N>
void install(const std::vector<Row>& rows, Row (&table)[N], std::int32_t& count) {
  std::ranges::copy(rows, table);
  count = static_cast<std::int32_t>(rows.size());
}

}  // namespace

HostTables read_host_tables(const std::filesystem::path& directory) {
  return {read_table_file(directory / kNodeManagerFile), read_table_file(directory / kControllerFile),
          read_table_file(directory / kDriveBackplaneFile)};
}

void install_host_tables(const HostTables& tables, const std::filesystem::path& directory) {
  const auto nm = rows_of(tables.nm, directory / kNodeManagerFile, kNodeManagerColumns);
  const auto cmc = rows_of(tables.cmc, directory / kControllerFile, kSensorColumns);
  const auto drive_bp = rows_of(tables.drive_bp, directory / kDriveBackplaneFile, kSensorColumns);
  install(nm, ent_nm_map, ent_nm_map_sz);
  install(cmc, ent_cmc_map, ent_cmc_map_sz);
  install(drive_bp, ent_drive_bp_map, ent_drive_bp_map_sz);
}

void load_host_tables(const std::filesystem::path& directory) {
  install_host_tables(read_host_tables(directory), directory);
}

std::filesystem::path tables_directory(const std::string& name) {
  if (!name.empty()) return name;
  const auto program = std::filesystem::read_symlink("/proc/self/exe");
  return program.parent_path().parent_path() / "share" / "polaiga" / "tables";
}

}  // namespace polaiga::engine
