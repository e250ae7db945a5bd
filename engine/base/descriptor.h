// File descriptors that close themselves.
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

// What a process writes to `in` can be read from `out`. Throws std::system_error.
struct Pipe {
  Pipe();

  Descriptor in;
  Descriptor out;
};

// Both move all the bytes and return true. They return false when the input ends
// before, or on an error, which is then in errno.
bool read_all(int fd, void* data, std::size_t size);
bool write_all(int fd, const void* data, std::size_t size);

}  // namespace polaiga::engine
