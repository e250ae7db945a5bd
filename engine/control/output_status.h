// The outputs, as the engine tells of them at its control socket.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"
#include "model/moment.h"
#include "report/json_object.h"

namespace polaiga::engine {

// A publisher that is not heard for longer is silent: it says every few seconds how it goes.
inline constexpr std::int64_t kSilentAfter = 30;

// What the engine was not told is left out.
struct OutputStatus {
  std::string publisher;
  ChangeNumber through = 0;
  std::int64_t behind = 0;
  Moment updated = 0;                  // when it was heard last
  std::optional<std::int64_t> silent;  // seconds since then; nothing: it was not heard since the engine's start
  std::optional<std::string> peer;
  std::optional<bool> connected;
  std::optional<std::uint64_t> told;
  std::optional<std::uint64_t> lost;
  std::optional<std::uint64_t> cut;
  std::optional<Moment> last_success;
  std::optional<std::string> last_error;
  std::optional<Moment> last_error_at;
};

// Reads the engine's answer to a request for its status. Nothing: it is none.
std::optional<std::vector<OutputStatus>> outputs_in(std::string_view status);

// What the engine says is wrong with a request; "" when its answer is that it has done it. Nothing: it is no answer.
std::optional<std::string> complaint_in(std::string_view answer);

// In the members of the engine's status.
JsonObject output_form(const OutputStatus& output);

// "connected", "not connected", or for how long nothing was heard of it; "not heard yet" since the engine's start.
std::string state_text(const OutputStatus& output);

}  // namespace polaiga::engine
