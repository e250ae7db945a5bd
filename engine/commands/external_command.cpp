#include "commands/external_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "polaiga-";

// The program's own directory, so that programs of one installation go together, and then those of PATH. An empty or
// relative entry of PATH leads to wherever the user happens to be, where somebody else may have put a program.
std::vector<fs::path> program_directories() {
  std::vector<fs::path> directories;
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (!error) directories.push_back(self.parent_path());
  const char* const path = std::getenv("PATH");
  std::string_view rest = path == nullptr ? "" : path;
  while (!rest.empty()) {
    const std::string_view entry = rest.substr(0, rest.find(':'));
    if (entry.starts_with('/')) directories.emplace_back(entry);
    rest.remove_prefix(std::min(rest.size(), entry.size() + 1));
  }
  return directories;
}

bool is_program(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

bool is_own_command(const CLI::App& program, std::string_view name) {
  return !program.get_subcommands([name](const CLI::App* one) { return one->get_name() == name; }).empty();
}

// Whether a program is listed. One that has other characters in its name is run, but not listed, because its name could
// contain characters that a user cannot type or that change the terminal.
bool is_plain_name(std::string_view name) {
  constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
  return !name.empty() && !name.starts_with('-') && name.find_first_not_of(kPlain) == std::string_view::npos;
}

std::optional<fs::path> find_program(std::string_view name) {
  for (const fs::path& directory : program_directories()) {
    fs::path path = directory / std::string(kPrefix).append(name);
    if (is_program(path)) return path;
  }
  return std::nullopt;
}

}  // namespace

std::vector<std::string> external_commands(const CLI::App& program) {
  std::set<std::string> names;
  for (const fs::path& directory : program_directories()) {
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error)) {
      const std::string file = entry->path().filename().string();
      if (!file.starts_with(kPrefix)) continue;
      const std::string name = file.substr(kPrefix.size());
      if (is_plain_name(name) && !is_own_command(program, name) && is_program(entry->path())) names.insert(name);
    }
  }
  return {names.begin(), names.end()};
}

void run_external_command(const CLI::App& program, std::span<char* const> arguments) {
  if (arguments.size() < 2) return;
  const std::string_view name = arguments[1];
  if (name.empty() || name.starts_with('-') || name.find('/') != std::string_view::npos) return;
  if (is_own_command(program, name)) return;
  const std::optional<fs::path> path = find_program(name);
  if (!path) return;
  std::string first = path->string();
  std::vector<char*> words{first.data()};
  words.insert(words.end(), arguments.begin() + 2, arguments.end());
  words.push_back(nullptr);
  ::execv(first.c_str(), words.data());
  throw std::runtime_error("cannot run " + in_quotes(first) + ": " + std::strerror(errno));
}

}  // namespace polaiga::engine
