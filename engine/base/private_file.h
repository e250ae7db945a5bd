// Files that others must not read.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::engine {

// Reads a file. `what` is what messages call it, as "the users file". Throws std::runtime_error.
std::string read_file(const std::string& path, std::string_view what);

// The same for a file with secrets. It is refused, with what to type, unless it belongs to root or to this process's
// user, and nobody else may read or write it. The group root may read it, too: so systemd hands out credentials.
std::string read_private_file(const std::string& path, std::string_view what);

// Puts the text in place of the file at once: who reads it meanwhile gets the old one or the new one, whole. Its mode
// is 0600 then; who owned it still does. Throws std::runtime_error.
void replace_private_file(const std::string& path, std::string_view text);

// Whether that can be done as far as one can tell before; else throws std::runtime_error with what to do.
void check_replaceable(const std::string& path);

// As long as this lives, no other process has one for the directory of the same file. Throws std::runtime_error.
class FileLock {
 public:
  explicit FileLock(const std::string& path);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_;
};

}  // namespace polaiga::engine
