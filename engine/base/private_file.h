// Files that others must not read.
#pragma once

#include <string>
#include <string_view>

namespace polaiga::engine {

// Reads a file. `what` is what messages call it, as "the users file". Throws std::runtime_error.
std::string read_file(const std::string& path, std::string_view what);

// Reads a file with secrets. It must belong to root or to the user of this process, and nobody but its owner may have
// any permission for it, except that the group root may read it, because systemd gives credentials to services with
// that permission. Otherwise throws std::runtime_error with the command that mends it.
std::string read_private_file(const std::string& path, std::string_view what);

// Writes the text to a new file and renames it to `path`, so that a reader gets the whole old text or the whole new
// one. A symbolic link to a file stays, and the file that it leads to is replaced. The new file has the mode 0600 and
// the owner of the old one. Throws std::runtime_error.
void replace_private_file(const std::string& path, std::string_view text);

// Throws std::runtime_error unless this process may make files in the directory of `path`, which replace_private_file()
// needs. That may still fail for another reason, such as a full disk.
void check_replaceable(const std::string& path);

// An exclusive lock of the directory in which the file is. The constructor waits until no other FileLock of this
// directory is left, in this process or in another one, and throws std::runtime_error when the directory cannot be
// locked.
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
