// Runs a program for its answer.
#pragma once

#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace polaiga::web {

// The program could not be run, took too long, or said too much.
struct ProgramFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct ProgramAnswer {
  int status = 0;         // with which it ended; -1: a signal ended it
  std::string output;     // all of its standard output
  std::string complaint;  // the beginning of its standard error, as one line without its end
};

struct RunHow {
  bool in_background = false;  // nobody waits for it: it takes no place from others, and may take 5 minutes
  std::stop_token stop = {};   // kills it
};

// The program is found as a shell finds it, has no standard input, and is killed after 20 s. At most two run at once
// and two wait for them, so that other requests are answered meanwhile. Throws ProgramFailed.
ProgramAnswer run_program(const std::vector<std::string>& arguments, const RunHow& how = {});

}  // namespace polaiga::web
