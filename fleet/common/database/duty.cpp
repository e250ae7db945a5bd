#include "database/duty.h"

#include <pqxx/result>

namespace polaiga::fleet {
namespace {

constexpr std::int32_t kFleetLocks = 730580;  // of advisory locks: any number that nobody else takes

}  // namespace

bool take_duty(pqxx::work& transaction, Duty duty) {
  return transaction
      .exec_params1("select pg_try_advisory_xact_lock($1::integer, $2::integer)", kFleetLocks,
                    static_cast<std::int32_t>(duty))[0]
      .as<bool>();
}

}  // namespace polaiga::fleet
