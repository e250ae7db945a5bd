// The functions that the library calls in its host; see polaiga/services.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace polaiga::engine {

inline constexpr std::int32_t kPlatforms = 18;

enum class Log { kOff, kDebug };

// Called with the DN of a fault that has ended although no record clears it.
using Withdraw = std::function<void(const std::string& fault_dn)>;

// Sets what the services use from now on.
void provide_services(Withdraw withdraw, std::int32_t platform, Log log);

// Where the library's diagnostics go from now on, one line each. Without this they go to standard error. It must not
// throw: the library has no exceptions.
using TakeLog = std::function<void(std::string_view line)>;
void log_to(TakeLog take_log);

// Whether a service failed for want of memory since the last call. The library is not told, since it could do nothing
// about it.
bool take_out_of_memory();

}  // namespace polaiga::engine
