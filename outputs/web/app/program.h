// Runs a program for its answer.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace polaiga::web {

// The program could not be run, took too long, said too much, or ended with another status than 0. `what` is what it
// complained of, if it did.
struct ProgramFailed : std::runtime_error {
  ProgramFailed(int status, const std::string& what) : std::runtime_error(what), exit_status(status) {}
  int exit_status;  // -1: it did not end by itself
};

// Answers with its standard output. The program is found as a shell finds it, has no standard input, and is killed after
// 20 s. At most two run at once; others wait for them. Throws ProgramFailed.
std::string run_program(const std::vector<std::string>& arguments);

}  // namespace polaiga::web
