// The program's own standard output.
#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace polaiga::engine {

// A write that failed; code() tells a closed pipe (EPIPE) from the rest.
struct WriteError : std::system_error {
  using std::system_error::system_error;
};

// Where what others print to standard output goes.
enum class Others { kDiscarded, kToStandardError };

// Filters print traces to standard output by themselves. This keeps the real one
// to the program, and gives them another in its place.
class StandardOutput {
 public:
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  // Puts file descriptor 1 and the C library's stdout in the hands of others.
  static void divert(Others others);

  bool is_terminal() const { return terminal_; }
  int fd() const { return fd_; }

  // Both throw WriteError. What is written is kept until a flush, or until there
  // is enough of it.
  void write(std::string_view text);
  void flush();

 private:
  int fd_;
  bool terminal_;
  std::string pending_;
};

}  // namespace polaiga::engine
