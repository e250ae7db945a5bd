#include "adapter/credentials.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "base/printable.h"
#include "base/private_file.h"
#include "base/wipe.h"

namespace polaiga::ipmi {
namespace {

// A text that is wiped at its end, however that comes.
struct Secret {
  explicit Secret(std::string value) : text(std::move(value)) {}
  ~Secret() { engine::wipe(text); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  std::string text;
};

void set(std::string& member, std::string_view value) {
  if (member.empty()) member = value;
}

}  // namespace

Access::~Access() { engine::wipe(password); }

void add_credential(Access& access, const Options& options, std::string_view text, const std::string& name) {
  std::size_t number = 0;
  bool has_workarounds = !options.workarounds.empty();
  const auto reject = [&](const std::string& what) {
    throw std::runtime_error(engine::in_quotes(name) + ", line " + std::to_string(number) + ": " + what);
  };
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos || line.starts_with('#')) continue;
    const std::size_t equals = line.find('=');
    const std::string_view key = line.substr(0, equals);
    // A line without = may be a password.
    if (equals == std::string_view::npos) reject("there is no =; write NAME=VALUE, as in target=192.0.2.7");
    const std::string_view value = line.substr(equals + 1);
    if (key == "target") {
      if (access.device.empty()) set(access.target, value);
    } else if (key == "user") {
      set(access.user, value);
    } else if (key == "password") {
      set(access.password, value);
    } else if (key == "cipher") {
      if (value != "3" && value != "17") reject("cipher is neither 3 nor 17");
      if (options.cipher == 0) access.cipher = value == "3" ? 3 : 17;
    } else if (key == "workaround") {
      if (!has_workarounds) access.workarounds.emplace_back(value);
    } else {
      // What is before the = may be a part of a password.
      reject("what is before the = is none of target, user, password, cipher and workaround");
    }
  }
}

Access find_access(const Options& options) {
  Access access;
  access.target = options.target;
  access.device = options.device;
  access.user = options.user;
  if (options.cipher != 0) access.cipher = options.cipher;
  access.workarounds = options.workarounds;
  if (!options.password_file.empty()) {
    Secret file(engine::read_private_file(options.password_file, "the password file"));
    if (file.text.ends_with('\n')) file.text.pop_back();
    access.password = file.text;
  }
  const char* const directory = std::getenv("CREDENTIALS_DIRECTORY");
  if (directory != nullptr) {
    const std::string path = std::filesystem::path(directory) / "server";
    std::error_code error;
    if (std::filesystem::exists(path, error)) {
      const Secret file(engine::read_private_file(path, "the credential"));
      add_credential(access, options, file.text, path);
    }
  }
  if (access.target.empty() && access.device.empty()) {
    throw std::runtime_error(
        "give a controller with --target or --device, or in the credential `server` of the service manager");
  }
  return access;
}

}  // namespace polaiga::ipmi
