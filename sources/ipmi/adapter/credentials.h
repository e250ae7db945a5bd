// How the controller is reached, with the password, which comes from a file alone.
#pragma once

#include <string>
#include <string_view>

#include "adapter/options.h"

namespace polaiga::ipmi {

// Forgets the password at its end.
struct Access {
  Access() = default;
  ~Access();
  Access(Access&&) = default;
  Access& operator=(Access&&) = delete;

  std::string target;  // one of these two
  std::string device;
  std::string user;
  std::string password;
  int cipher = kUsualCipher;
  std::vector<std::string> workarounds;

  const std::string& name() const { return target.empty() ? device : target; }
};

// Adds what the lines of a credential say, where the options say nothing. `name` is the file's, for errors, which never
// show what is in it. Throws std::runtime_error.
void add_credential(Access& access, const Options& options, std::string_view text, const std::string& name);

// From the options, and from the files that they or the service manager name. Throws std::runtime_error.
Access find_access(const Options& options);

}  // namespace polaiga::ipmi
