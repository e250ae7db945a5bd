// File descriptors with an owner.
#pragma once

#include <cstddef>

namespace polaiga::engine {

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  void close();

 private:
  int fd_;
};

// What is written to `in` is read from `out`. Throws std::system_error.
struct Pipe {
  Pipe();

  Descriptor in;
  Descriptor out;
};

// All the bytes or none: false at the end of the input, or on an error that
// errno tells.
bool read_all(int fd, void* data, std::size_t size);
bool write_all(int fd, const void* data, std::size_t size);

}  // namespace polaiga::engine
