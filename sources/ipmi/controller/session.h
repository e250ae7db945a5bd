// How a controller is asked: the one thing that the program needs of an IPMI library.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace polaiga::ipmi {

enum class NetFn : std::uint8_t { kSensor = 0x04, kApplication = 0x06, kStorage = 0x0A };

// The controller did not answer, or the session with it has ended. A new one may help.
struct ControllerGone : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The controller does not let this user in, or the options cannot be right. Trying again could lock the user out.
struct ControllerRefuses : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the controller answers to a request (IPMI 2.0, section 5.2).
struct Answer {
  std::uint8_t completion = 0;     // the completion code; 0: it is done
  std::vector<std::uint8_t> data;  // what follows it
};

class Session {
 public:
  virtual ~Session() = default;

  // Sends a request to the controller's own LUN 0, and waits for the answer, which takes a bounded time. Throws
  // ControllerGone.
  virtual Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) = 0;
};

}  // namespace polaiga::ipmi
