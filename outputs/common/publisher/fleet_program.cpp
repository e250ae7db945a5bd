#include "publisher/fleet_program.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "base/messages.h"
#include "base/status.h"

namespace polaiga::output {

bool is_for_fleet(int argc, const char* const* argv) {
  return std::any_of(argv + std::min(argc, 1), argv + argc, [](const char* word) {
    const std::string_view text = word;
    return text == "--fleet" || text.starts_with("--fleet=");
  });
}

int run_for_fleet(const std::string& name, char** argv) {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/exe", error).replace_filename(name + "-fleet");
  ::execv(path.c_str(), argv);
  const char* const why = std::strerror(errno);
  engine::say("--fleet needs the program " + path.string() + ", which cannot be run: " + why + ". Install it beside " +
              name);
  return engine::kFailed;
}

}  // namespace polaiga::output
