// The three tables of sensors that are the host's: read from files, checked, and
// put where the library looks for them.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace polaiga::engine {

// Says which file, line and column is wrong, and in what.
struct TableError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The three files as they are.
struct HostTables {
  std::string nm;
  std::string cmc;
  std::string drive_bp;
  bool operator==(const HostTables&) const = default;
};

// Of nm.tsv, cmc.tsv and drive_bp.tsv. Throws TableError.
HostTables read_host_tables(const std::filesystem::path& directory);

// `directory` is what complaints name. Throws TableError, and then leaves the
// tables as they were.
void install_host_tables(const HostTables& tables, const std::filesystem::path& directory);

// Both.
void load_host_tables(const std::filesystem::path& directory);

// The directory that is named, or the program's own when none is: next to the
// program's directory, share/polaiga/tables.
std::filesystem::path tables_directory(const std::string& name);

}  // namespace polaiga::engine
