// The polaiga program, run as a user runs it.
#pragma once

#include <string>

#include "temp_dir.h"

namespace polaiga::engine::test {

struct Ended {
  int status = -1;  // exit status; 128 and the signal when it was killed
  std::string out;
  std::string err;
};

// A program in the midst of its run, with a pipe at its standard input.
class Child {
 public:
  Child(const std::string& command, const TempDir& dir);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void send(const std::string& text) const;
  void close_input();
  void interrupt() const;

  // Waits, and gives up after some seconds, until standard output holds the text.
  bool has_printed(const std::string& text) const;

  Ended wait();

 private:
  const TempDir& dir_;
  int pid_ = -1;
  int input_ = -1;
};

// Commands of the shell, in which $POLAIGA is the program.
class Shell {
 public:
  const TempDir& dir() const { return dir_; }

  // With the text at standard input.
  Ended run(const std::string& command, const std::string& input = "") const;

  // On a terminal, of which all that it was sent is in `out`.
  Ended run_on_terminal(const std::string& command) const;

 private:
  TempDir dir_;
};

}  // namespace polaiga::engine::test
