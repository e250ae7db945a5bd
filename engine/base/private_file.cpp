#include "base/private_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "base/descriptor.h"
#include "base/printable.h"
#include "base/wipe.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kMostFileBytes = std::size_t{1024} * 1024;

[[noreturn]] void fail(const std::string& text) { throw std::runtime_error(text); }

[[noreturn]] void fail_to(const char* what, const std::string& path) {
  fail("cannot " + std::string(what) + " " + in_quotes(path) + ": " + std::strerror(errno));
}

std::string shown(std::string_view what, const std::string& path) { return std::string(what) + " " + in_quotes(path); }

void check_private(const struct stat& status, std::string_view what, const std::string& path) {
  const std::string type = "; type: ";
  // The file is to be given to this process's user, since only root can read a file of root with the mode 0600.
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) {
    fail(shown(what, path) + " belongs to neither root nor the user of this process, so somebody else could change it" +
         type + "chown " + std::to_string(::geteuid()) + " " + in_quotes(path));
  }
  const mode_t readable_by_group_root = status.st_gid == 0 ? S_IRGRP : 0U;
  if ((status.st_mode & (S_IRWXG | S_IRWXO) & ~readable_by_group_root) != 0) {
    fail(shown(what, path) + " may be read or changed by others than its owner" + type + "chmod 600 " +
         in_quotes(path));
  }
}

std::string read_checked(const std::string& path, std::string_view what, bool is_private) {
  // A named pipe in its place must not make this wait.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status = {};
  if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
    const int error = errno;
    std::string why = "cannot read " + shown(what, path) + ": " + std::strerror(error);
    // A file that this process sees and may not read was made by root, as `polaiga-web passwd` does when root types it.
    const bool is_owner_wrong = is_private && error == EACCES && ::stat(path.c_str(), &status) == 0;
    if (is_owner_wrong) {
      why +=
          "; give it to the user of this process, type: chown " + std::to_string(::geteuid()) + " " + in_quotes(path);
    }
    fail(why);
  }
  if (!S_ISREG(status.st_mode)) fail(shown(what, path) + " is no regular file");
  if (is_private) check_private(status, what, path);
  if (static_cast<std::size_t>(status.st_size) > kMostFileBytes) {
    fail(shown(what, path) + " is longer than " + std::to_string(kMostFileBytes) + " bytes");
  }
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  if (!read_all(file.get(), text.data(), text.size())) {
    wipe(text);
    fail("cannot read " + shown(what, path) + ": it was cut short");
  }
  return text;
}

std::string directory_of(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path().string();
  return directory.empty() ? "." : directory;
}

// A file of its own beside the other, gone again unless it has taken the other's place.
class NewFile {
 public:
  explicit NewFile(const std::string& path) : path_(path), name_(path + ".XXXXXX") {
    file_ = Descriptor(::mkostemp(name_.data(), O_CLOEXEC));
    if (!file_.is_open()) fail_to("make a file beside", path_);
  }
  ~NewFile() {
    if (!name_.empty()) ::unlink(name_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void fill(std::string_view text) const {
    struct stat old = {};
    const bool is_there = ::stat(path_.c_str(), &old) == 0;
    if (is_there && old.st_uid != ::geteuid() && ::fchown(file_.get(), old.st_uid, old.st_gid) != 0) {
      fail_to("give the new file to the owner of", path_);
    }
    if (::fchmod(file_.get(), S_IRUSR | S_IWUSR) != 0) fail_to("set the mode of", name_);
    if (!write_all(file_.get(), text.data(), text.size())) fail_to("write", name_);
    if (::fsync(file_.get()) != 0) fail_to("write", name_);
  }

  void take_place() {
    if (::rename(name_.c_str(), path_.c_str()) != 0) fail_to("replace", path_);
    name_.clear();
  }

 private:
  std::string path_;
  std::string name_;
  Descriptor file_;
};

// A link stays one: what it leads to is replaced.
std::string real_path(const std::string& path) {
  std::error_code error;
  const auto real = std::filesystem::canonical(path, error);
  return error ? path : real.string();
}

}  // namespace

std::string read_file(const std::string& path, std::string_view what) { return read_checked(path, what, false); }

std::string read_private_file(const std::string& path, std::string_view what) { return read_checked(path, what, true); }

void replace_private_file(const std::string& path, std::string_view text) {
  const std::string real = real_path(path);
  NewFile file(real);
  file.fill(text);
  file.take_place();
  const Descriptor directory(::open(directory_of(real).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.is_open() || ::fsync(directory.get()) != 0) fail_to("write the directory of", real);
}

void check_replaceable(const std::string& path) {
  const std::string directory = directory_of(real_path(path));
  if (::access(directory.c_str(), W_OK | X_OK) == 0) return;
  const int error = errno;
  fail("cannot make a file in the directory " + in_quotes(directory) + ": " + std::strerror(error) +
       (error == ENOENT ? "; type: mkdir -p " + in_quotes(directory) : std::string()));
}

FileLock::FileLock(const std::string& path)
    : fd_(::open(directory_of(real_path(path)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (fd_ >= 0 && ::flock(fd_, LOCK_EX) == 0) return;
  const int error = errno;
  if (fd_ >= 0) ::close(fd_);
  errno = error;
  fail_to("use the directory of", path);
}

FileLock::~FileLock() { ::close(fd_); }

}  // namespace polaiga::engine
