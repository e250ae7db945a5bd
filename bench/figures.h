// Figures with their limits, and the place where they are measured.
#pragma once

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "base/standard_output.h"

namespace polaiga::engine {

// A directory for what is measured, gone at the end.
class Place {
 public:
  Place() {
    std::string name = (std::filesystem::temp_directory_path() / "polaiga-bench-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
    path_ = name;
  }
  ~Place() { std::filesystem::remove_all(path_); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  std::string file(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// Prints each figure at once, and says which of them miss their limits.
class Figures {
 public:
  void at_least(const char* what, double is, double limit) { tell(what, is, limit, is >= limit, ">="); }
  void at_most(const char* what, double is, double limit) { tell(what, is, limit, is <= limit, "<="); }
  void note(const char* what, double is) { print("%-46s %10.0f\n", what, is); }

  int missed() const { return missed_; }

 private:
  void tell(const char* what, double is, double limit, bool holds, const char* sign) {
    print("%-46s %10.2f   %s %.2f%s\n", what, is, sign, limit, holds ? "" : "  MISSED");
    missed_ += holds ? 0 : 1;
  }

  template <class... Values>
  void print(const char* format, const Values&... values) {
    std::array<char, 200> line{};
    std::snprintf(line.data(), line.size(), format, values...);
    output_.write(line.data());
    output_.flush();
  }

  StandardOutput output_;
  int missed_ = 0;
};

}  // namespace polaiga::engine
