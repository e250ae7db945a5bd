// What the roles of a fleet's programs may do with the tables.
#pragma once

#include <pqxx/transaction>

namespace polaiga::fleet {

// Gives the roles polaiga_collector, polaiga_viewer and polaiga_operator, those of them that exist, the rights that
// each needs, and takes all others away.
void give_rights(pqxx::work& transaction);

}  // namespace polaiga::fleet
