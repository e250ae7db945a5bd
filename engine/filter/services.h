// The functions that the library calls in its host; see polaiga/services.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace polaiga::engine {

inline constexpr std::int32_t kPlatforms = 18;

enum class Log { kOff, kDebug };

// Called with the DN of a fault that has ended although no record clears it.
using Withdraw = std::function<void(const std::string& fault_dn)>;

// Sets what the services use from now on.
void provide_services(Withdraw withdraw, std::int32_t platform, Log log);

}  // namespace polaiga::engine
