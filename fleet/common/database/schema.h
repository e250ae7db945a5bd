// The versions of the database's schema. Each is a file in migrations/, and a part of the program.
#pragma once

#include <string>
#include <vector>

#include "database/database.h"

namespace polaiga::fleet {

struct Migration {
  int version = 0;  // from 1, without gaps
  std::string name;
  std::string sql;
};
const std::vector<Migration>& migrations();

// Brings the schema `polaiga` up to date: makes it, and runs the migrations that it does not have yet, each in a
// transaction of its own, one program at a time. Then gives the roles polaiga_collector, polaiga_viewer and
// polaiga_operator, those of them that exist, the rights that each needs. Answers with the names of the migrations that
// it ran. Throws DatabaseAway and DatabaseRefuses.
std::vector<std::string> migrate(Database& database);

// Nothing to tell, or why this program cannot work with the database's schema and what to do: it is older, so
// `polaiga-collector migrate` is to be run; or it is newer than the program by a version that the program may not use.
// Programs work with schemas that are newer by additions: migrations that say so (`-- compatible with N`).
std::string schema_problem(Database& database);

}  // namespace polaiga::fleet
