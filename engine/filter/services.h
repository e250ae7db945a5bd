// The services that the library asks of its host; see polaiga/services.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace polaiga::engine {

inline constexpr std::int32_t kPlatforms = 18;

enum class Log { kOff, kDebug };

// Told of a fault, by its DN, that is over although no record clears it.
using Withdraw = std::function<void(const std::string& fault_dn)>;

// What the services answer with from now on.
void provide_services(Withdraw withdraw, std::int32_t platform, Log log);

}  // namespace polaiga::engine
