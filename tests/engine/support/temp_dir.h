// A directory of a test's own, gone with all that is in it at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace polaiga::engine::test {

class TempDir {
 public:
  TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "polaiga-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = name;
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
  }

  std::string read(const std::string& name) const {
    std::ifstream input(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace polaiga::engine::test
