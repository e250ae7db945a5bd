#include "base/standard_output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace polaiga::engine {
namespace {

constexpr std::size_t kEnough = std::size_t{64} * 1024;
constexpr int kFirstOwn = 3;  // after the three standard descriptors

[[noreturn]] void fail() { throw WriteError(errno, std::generic_category()); }

}  // namespace

StandardOutput::StandardOutput()
    : fd_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirstOwn)), terminal_(fd_ >= 0 && ::isatty(fd_) == 1) {
  if (fd_ < 0) fail();
}

StandardOutput::~StandardOutput() { ::close(fd_); }

void StandardOutput::divert(Others others) {
  // The text that stdout still holds was meant for the real output, so write it first.
  if (std::fflush(stdout) != 0) fail();
  if (others == Others::kToStandardError) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);  // keeps the order with the log lines
    if (::dup2(STDERR_FILENO, STDOUT_FILENO) < 0) fail();
    return;
  }
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0 || ::dup2(nowhere, STDOUT_FILENO) < 0) fail();
  ::close(nowhere);
}

std::optional<std::size_t> StandardOutput::width() const {
  if (!terminal_) return std::nullopt;
  if (const char* const columns = std::getenv("COLUMNS")) {
    std::size_t width = 0;
    const char* const end = columns + std::strlen(columns);
    const auto [stop, error] = std::from_chars(columns, end, width);
    if (error == std::errc() && stop == end && width > 0) return width;
  }
  winsize size = {};
  if (::ioctl(fd_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

void StandardOutput::write(std::string_view text) {
  pending_ += text;
  if (pending_.size() >= kEnough) flush();
}

void StandardOutput::flush() {
  std::string_view rest = pending_;
  while (!rest.empty()) {
    const auto written = ::write(fd_, rest.data(), rest.size());
    if (written >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail();
    }
  }
  pending_.clear();
}

}  // namespace polaiga::engine
