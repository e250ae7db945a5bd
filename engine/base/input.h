// A source of event lines: a file or standard input.
#pragma once

#include <cstdint>
#include <string>

namespace polaiga::engine {

// The file is opened at once, so that a wrong name is reported before any line is read.
class Input {
 public:
  // "-" means standard input. Throws std::runtime_error with the file's name.
  explicit Input(const std::string& path);
  ~Input();
  Input(Input&& other) noexcept;
  Input& operator=(Input&&) = delete;

  const std::string& name() const { return name_; }  // to be shown
  int fd() const { return fd_; }
  bool is_regular() const { return regular_; }
  std::uint64_t size() const { return size_; }  // 0 unless it is a regular file

 private:
  [[noreturn]] void fail(const char* what, int error) const;

  std::string name_;
  int fd_ = -1;
  bool regular_ = false;
  std::uint64_t size_ = 0;
};

}  // namespace polaiga::engine
