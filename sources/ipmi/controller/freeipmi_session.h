// A session with a real controller, by libfreeipmi. Nothing else includes that library.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "controller/session.h"

namespace polaiga::ipmi {

// How a controller is reached over the network: IPMI 2.0 (RMCP+), with the privilege USER.
struct NetworkAccess {
  std::string target;                         // HOST or HOST:PORT, [ADDRESS]:PORT for IPv6
  std::string user;                           // at most 16 bytes; "" is a user, too
  std::string password;                       // at most 20 bytes; "": none
  int cipher = 3;                             // the cipher suite: 3 or 17
  std::vector<std::string> workarounds = {};  // names of workaround_names()
  // The longest time between two requests, in seconds: how often the controller is asked. After more than that and
  // kMostMilliseconds the library takes a session as lost.
  unsigned pause = 3;
};

// What can be mended of controllers that do not keep to the standard. The names are those of FreeIPMI's own tools,
// whose manuals describe them (as ipmi-sel(8), "WORKAROUNDS").
std::vector<std::string_view> workaround_names();

class FreeIpmiSession : public Session {
 public:
  // How long a request waits for its answer, and NetworkAccess::pause in addition: the library counts from the last
  // answer, not from the request. Over the network a request is sent again and again meanwhile.
  static constexpr unsigned kMostMilliseconds = 5000;
  static constexpr unsigned kSendAgainMilliseconds = 1000;

  // Both begin a session, and throw ControllerGone or ControllerRefuses, whose texts say what to do.
  explicit FreeIpmiSession(const NetworkAccess& access);
  // In band: `device` is one of the kernel's OpenIPMI driver, as /dev/ipmi0. How long a request then takes, the kernel
  // and the library say: at most a minute.
  explicit FreeIpmiSession(const std::string& device);
  // Ends the session, so that it fills no slot of the controller.
  ~FreeIpmiSession() override;
  FreeIpmiSession(const FreeIpmiSession&) = delete;
  FreeIpmiSession& operator=(const FreeIpmiSession&) = delete;

  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override;

 private:
  struct Context;
  std::unique_ptr<Context> context_;
  std::string name_;  // of the controller, in messages
};

}  // namespace polaiga::ipmi
