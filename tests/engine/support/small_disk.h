// A disk of a few megabytes, which a test fills, or makes read-only.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "support/temp_dir.h"

namespace polaiga::engine::test {

// Mounted where only this process and its children see it, so that nothing is left behind.
class SmallDisk {
 public:
  SmallDisk(const TempDir& dir, int mebibytes) : path_(dir.file("disk")) {
    std::filesystem::create_directory(path_);
    const std::string size = "size=" + std::to_string(mebibytes) + "m";
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", path_.c_str(), "tmpfs", 0, size.c_str()) != 0) {
      throw std::runtime_error(std::string("a small disk cannot be mounted: ") + std::strerror(errno) +
                               "; run this test as root, with the capability CAP_SYS_ADMIN");
    }
  }
  ~SmallDisk() { ::umount2(path_.c_str(), MNT_DETACH); }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }

  std::size_t free_bytes() const { return std::filesystem::space(path_).free; }

  // Leaves so many bytes free, which is a whole number of pages.
  void fill(std::size_t left) const {
    const int fd = ::open(filler().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    std::array<char, 4096> page{};
    page.fill('x');
    while (free_bytes() > left && ::write(fd, page.data(), page.size()) > 0) {
    }
    ::close(fd);
  }
  void make_room() const { std::filesystem::remove(filler()); }

  void remove_all() const {
    for (const auto& entry : std::filesystem::directory_iterator(path_)) std::filesystem::remove_all(entry.path());
  }

  void make_read_only(bool read_only) const {
    if (::mount(nullptr, path_.c_str(), nullptr, read_only ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT, nullptr) != 0) {
      throw std::runtime_error(std::string("the small disk cannot be mounted again: ") + std::strerror(errno));
    }
  }

 private:
  std::string filler() const { return file("filler"); }

  std::string path_;
};

}  // namespace polaiga::engine::test
