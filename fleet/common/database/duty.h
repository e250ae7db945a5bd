// The locks under which some collector does a duty.
#pragma once

#include <cstdint>
#include <pqxx/transaction>

namespace polaiga::fleet {

enum class Duty : std::int32_t { kSilence = 1, kGroups, kActions, kRequests, kTidying, kPuttingBack };

// Until the end of the transaction. False: another collector does it right now.
bool take_duty(pqxx::work& transaction, Duty duty);

}  // namespace polaiga::fleet
