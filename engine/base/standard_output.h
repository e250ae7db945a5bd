// The program's own standard output.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace polaiga::engine {

// Says that a write failed. code() is EPIPE if the reader closed the pipe.
struct WriteError : std::system_error {
  using std::system_error::system_error;
};

// What becomes of the text that the library prints to standard output.
enum class Others { kDiscarded, kToStandardError };

// The library's filters print traces to standard output. This class keeps the real
// standard output for the program, and gives the filters another one.
class StandardOutput {
 public:
  StandardOutput();
  ~StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  // From now on file descriptor 1 and the C library's stdout belong to the filters.
  static void divert(Others others);

  bool is_terminal() const { return terminal_; }
  int fd() const { return fd_; }

  // How many columns a line has: by the variable COLUMNS or, without it, as the
  // terminal says. Nothing when the output is no terminal, or nobody knows.
  std::optional<std::size_t> width() const;

  // Both throw WriteError. write() keeps the text until flush() is called or enough
  // text has come together.
  void write(std::string_view text);
  void flush();

 private:
  int fd_;
  bool terminal_;
  std::string pending_;
};

}  // namespace polaiga::engine
