// An input of events: a file, or standard input.
#pragma once

#include <cstdint>
#include <string>

namespace polaiga::engine {

// Open from before the first line is read.
class Input {
 public:
  // "-" is standard input. Throws std::runtime_error with the file's name.
  explicit Input(const std::string& path);
  ~Input();
  Input(Input&& other) noexcept;
  Input& operator=(Input&&) = delete;

  const std::string& name() const { return name_; }  // for people
  int fd() const { return fd_; }
  bool is_regular() const { return regular_; }
  std::uint64_t size() const { return size_; }  // 0 of what is no regular file

 private:
  [[noreturn]] void fail(const char* what, int error) const;

  std::string name_;
  int fd_ = -1;
  bool regular_ = false;
  std::uint64_t size_ = 0;
};

}  // namespace polaiga::engine
