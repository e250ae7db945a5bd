// The polaiga program, run as a user runs it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/patience.h"
#include "support/temp_dir.h"

namespace polaiga::engine::test {

struct Ended {
  int status = -1;  // exit status; 128 and the signal when it was killed
  std::string out;
  std::string err;
};

// Waits, and gives up after some time, until it holds.
bool comes_true(const std::function<bool()>& condition, std::chrono::seconds patience = kPatience);

// What was printed, a line each. A terminal's carriage returns are left out.
std::vector<std::string> lines_of(std::string text);

// A program in the midst of its run, with a pipe at its standard input.
class Child {
 public:
  Child(const std::string& command, const TempDir& dir);
  // A function of the test in a process of its own, which ends with what the function returns.
  Child(const std::function<int()>& program, const TempDir& dir);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void send(const std::string& text) const;
  void close_input();
  void interrupt() const;
  void kill(int signal) const;
  int pid() const { return pid_; }

  // Wait, and give up after kPatience, until standard output or standard error
  // holds the text.
  bool has_printed(const std::string& text) const { return has(text, "out"); }
  bool has_complained(const std::string& text) const { return has(text, "err"); }

  bool has_ended() const;
  // Kills it when it does not end within kPatience.
  Ended wait();

 private:
  bool has(const std::string& text, const char* file) const;

  const TempDir& dir_;
  int pid_ = -1;
  int input_ = -1;
};

// What to put before a command so that it runs as a user who is not root and owns nothing here: another user when this
// is root, who may read and write anything. Throws std::runtime_error, which says what is needed, when that user cannot
// run the program.
std::string as_plain_user();

// Commands of the shell, in which $POLAIGA is the program.
class Shell {
 public:
  const TempDir& dir() const { return dir_; }

  // With the text at standard input.
  Ended run(const std::string& command, const std::string& input = "") const;

  // On a terminal, of which all that it was sent is in `out`, what was typed at it, too.
  // It does not tell how many columns it has if that is 0.
  Ended run_on_terminal(const std::string& command, std::uint16_t columns = 0, const std::string& typed = "") const;
  // The same, and tells `watch` each time what the terminal was sent so far.
  Ended watch_on_terminal(const std::string& command, const std::function<void(const std::string& sent)>& watch) const;

 private:
  Ended run_on_terminal(const std::string& command, std::uint16_t columns, const std::string& typed,
                        const std::function<void(const std::string& sent)>& watch) const;

  TempDir dir_;
};

}  // namespace polaiga::engine::test
