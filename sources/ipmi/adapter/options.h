// What the program is asked to do.
#pragma once

#include <string>
#include <vector>

namespace polaiga::ipmi {

struct Options {
  // The controller: one of the first two.
  std::string target;
  std::string device;
  std::string user;
  std::string password_file;
  int cipher = 0;  // 0: not given
  std::vector<std::string> workarounds;

  std::string socket;
  std::string state;
  std::string map;
  int poll = 2;  // seconds
  bool with_history = false;

  bool once = false;
  bool check = false;
  bool print = false;

  // Files in place of a controller.
  std::string sel;
  std::string sdr;
};

inline constexpr int kUsualCipher = 3;

}  // namespace polaiga::ipmi
