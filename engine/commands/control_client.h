// Asks the engine over its control socket.
#pragma once

#include <string>

#include "base/descriptor.h"

namespace CLI {
class App;
}  // namespace CLI

namespace polaiga::engine {

class ControlClient {
 public:
  // Connects. Throws std::runtime_error, which says who may connect when the caller may not.
  explicit ControlClient(const std::string& path);

  // Sends a request of one line and answers with the engine's line. Throws std::runtime_error when no answer comes.
  std::string ask(const std::string& line);

 private:
  std::string path_;
  Descriptor socket_;
};

// Adds --control, with its default.
void add_control_option(CLI::App& command, std::string& control);

}  // namespace polaiga::engine
