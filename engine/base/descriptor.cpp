#include "base/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace polaiga::engine {
namespace {

// Repeats a system call that moves some of the bytes each time until all are moved.
template <class Byte, class Call>
bool move_all(Byte* data, std::size_t size, Call call) {
  while (size > 0) {
    const auto moved = call(data, size);
    if (moved > 0) {
      data += moved;
      size -= static_cast<std::size_t>(moved);
    } else if (moved == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

Descriptor::Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

void Descriptor::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

Pipe::Pipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  out = Descriptor(ends[0]);
  in = Descriptor(ends[1]);
}

bool read_all(int fd, void* data, std::size_t size) {
  return move_all(static_cast<char*>(data), size, [fd](char* to, std::size_t most) { return ::read(fd, to, most); });
}

bool write_all(int fd, const void* data, std::size_t size) {
  return move_all(static_cast<const char*>(data), size,
                  [fd](const char* from, std::size_t most) { return ::write(fd, from, most); });
}

}  // namespace polaiga::engine
