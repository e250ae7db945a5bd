// Asks the engine over its control socket.
#pragma once

#include <chrono>
#include <string>

#include "base/descriptor.h"

namespace polaiga::engine {

// Where the engine of this machine's service listens.
inline constexpr const char* kControlSocket = "/run/polaiga/control.sock";

class ControlClient {
 public:
  // Connects. The engine may take so long for each answer. Throws std::runtime_error, which says who may connect when
  // the caller may not.
  explicit ControlClient(const std::string& path, std::chrono::seconds within = std::chrono::seconds(30));

  // Sends a request of one line and answers with the engine's line. Throws std::runtime_error when no answer comes.
  std::string ask(const std::string& line);

 private:
  std::string path_;
  std::chrono::seconds within_;
  Descriptor socket_;
};

}  // namespace polaiga::engine
