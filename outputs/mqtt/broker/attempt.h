// An attempt to reach a broker, in a thread of its own: to look a name up and to connect may take minutes, and the
// library offers no other way. When the attempt is given up, its thread ends by itself.
#pragma once

#include <memory>
#include <string>

#include "broker/connection.h"

namespace polaiga::mqtt {

class Attempt {
 public:
  // So many that were given up may still be under way. Then no new one can be begun.
  static constexpr int kMostGivenUp = 4;

  static bool is_possible();

  // Throws ConnectionError when the settings cannot be used, and when there is no thread.
  Attempt(const Settings& settings, Protocol protocol);
  ~Attempt();
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  // What to poll for POLLIN: then it is over.
  int fd() const;
  bool is_over() const;
  // After it is over, once. Throws ConnectionError when the broker could not be reached.
  std::unique_ptr<Connection> take();

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

}  // namespace polaiga::mqtt
