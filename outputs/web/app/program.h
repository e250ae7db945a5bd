// Runs a program for its answer.
#pragma once

#include <stdexcept>
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
  std::string complaint;  // the beginning of its standard error
};

// The program is found as a shell finds it, has no standard input, and is killed after
// 20 s. At most two run at once; others wait for them. Throws ProgramFailed.
ProgramAnswer run_program(const std::vector<std::string>& arguments);

}  // namespace polaiga::web
