// The three sensor tables that the host gives to the library. This reads them from
// files, checks them, and writes them to the variables that the library reads.
#pragma once

#include <filesystem>
#include <string>

#include "base/tab_separated.h"

namespace polaiga::engine {

// The contents of the three files.
struct HostTables {
  std::string nm;
  std::string cmc;
  std::string drive_bp;
  bool operator==(const HostTables&) const = default;
};

// Reads nm.tsv, cmc.tsv and drive_bp.tsv in this directory. Throws TableError.
HostTables read_host_tables(const std::filesystem::path& directory);

// Checks the contents and makes them the library's tables. If something is wrong with
// them it throws TableError and leaves the tables as they were. `directory` serves
// only to name the files in the error.
void install_host_tables(const HostTables& tables, const std::filesystem::path& directory);

// Reads and installs the tables. Throws TableError.
void load_host_tables(const std::filesystem::path& directory);

// The directory of that name. Without a name it is the program's own directory of
// tables, share/polaiga/tables beside the directory of the program.
std::filesystem::path tables_directory(const std::string& name);

}  // namespace polaiga::engine
