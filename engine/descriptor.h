// File descriptors that close themselves, and whole reads and writes.
#pragma once

#include <cstddef>

namespace polaiga::engine {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;

  int get() const { return fd_; }
  void close();

 private:
  int fd_ = -1;
};

// Both ends are closed by the start of another program.
struct Pipe {
  Pipe();  // throws std::system_error
  Descriptor out;
  Descriptor in;
};

// Whether all of it came, or went, as it does not at the end of a pipe.
bool read_all(int fd, void* data, std::size_t size);
bool write_all(int fd, const void* data, std::size_t size);

}  // namespace polaiga::engine
