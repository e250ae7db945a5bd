// The program as a service, with its sockets, for what is to be measured of it.
#pragma once

#include <string>

namespace polaiga::engine {

class RunningEngine {
 public:
  // Starts it and waits until it listens. The sockets are made in the directory of the ledger.
  explicit RunningEngine(const std::string& ledger);
  // Stops it.
  ~RunningEngine();
  RunningEngine(const RunningEngine&) = delete;
  RunningEngine& operator=(const RunningEngine&) = delete;

  const std::string& control() const { return control_; }

  // Sends lines with events as one client, and waits until each is acknowledged. Throws unless all are.
  void send(const std::string& lines) const;

 private:
  std::string events_;
  std::string control_;
  int pid_ = -1;
};

}  // namespace polaiga::engine
