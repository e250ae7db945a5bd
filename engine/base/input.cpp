#include "base/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "base/printable.h"

namespace polaiga::engine {

Input::Input(const std::string& path) : name_(path == "-" ? "<stdin>" : printable(path)) {
  fd_ = path == "-" ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  if (fd_ < 0 || ::fstat(fd_, &status) != 0) fail("cannot open", errno);
  if (S_ISDIR(status.st_mode)) fail("cannot read", EISDIR);
  regular_ = S_ISREG(status.st_mode);
  size_ = regular_ ? static_cast<std::uint64_t>(status.st_size) : 0;
}

Input::~Input() {
  if (fd_ >= 0) ::close(fd_);
}

Input::Input(Input&& other) noexcept
    : name_(std::move(other.name_)), fd_(std::exchange(other.fd_, -1)), regular_(other.regular_), size_(other.size_) {}

void Input::fail(const char* what, int error) const {
  throw std::runtime_error(name_ + ": " + what + ": " + std::strerror(error));
}

}  // namespace polaiga::engine
