#include "database/rights.h"

#include <string>

namespace polaiga::fleet {
namespace {

struct Right {
  const char* role;
  const char* right;
};

// Collectors write what controllers send. The page reads, and its operators may ask for actions besides.
constexpr Right kRights[] = {
    {"polaiga_collector", "usage on schema polaiga"},
    {"polaiga_collector", "select on all tables in schema polaiga"},
    {"polaiga_collector", "insert on polaiga.site"},
    {"polaiga_collector", "insert, update on polaiga.controller"},
    {"polaiga_collector", "insert, update, delete on polaiga.ledger"},
    {"polaiga_collector", "insert, delete on polaiga.change"},
    {"polaiga_collector", "insert, delete on polaiga.gap"},
    {"polaiga_collector", "insert, update, delete on polaiga.alarm"},
    {"polaiga_collector", "insert, update, delete on polaiga.alarm_group"},
    {"polaiga_collector", "update (sent, state, why, ended), delete on polaiga.action"},
    {"polaiga_collector", "insert, update, delete on polaiga.collector"},
    {"polaiga_collector", "execute on function polaiga.make_change_partition(date)"},
    {"polaiga_collector", "execute on function polaiga.drop_change_partitions(date)"},
    {"polaiga_viewer", "usage on schema polaiga"},
    {"polaiga_viewer", "select on all tables in schema polaiga"},
    {"polaiga_operator", "usage on schema polaiga"},
    {"polaiga_operator", "select on all tables in schema polaiga"},
    {"polaiga_operator", "insert (controller_id, ledger_no, request, person, expires) on polaiga.action"},
    {"polaiga_operator",
     "execute on function polaiga.act_on_own_alarms(bigint[], text, text, text, timestamp with time zone)"},
};

bool is_there(pqxx::work& transaction, const std::string& role) {
  return !transaction.exec_params("select 1 from pg_roles where rolname = $1", role).empty();
}

}  // namespace

void give_rights(pqxx::work& transaction) {
  for (const std::string role : {"polaiga_collector", "polaiga_viewer", "polaiga_operator"}) {
    if (!is_there(transaction, role)) continue;
    transaction.exec("revoke all on all tables in schema polaiga from " + role);
    transaction.exec("revoke all on all functions in schema polaiga from " + role);
    for (const Right& right : kRights) {
      if (right.role == role) transaction.exec("grant " + std::string(right.right) + " to " + role);
    }
  }
}

}  // namespace polaiga::fleet
