// The files that say who the program is, and whom it trusts: credentials and certificates.
#pragma once

#include <string>

#include "base/wipe.h"
#include "delivery/credentials.h"

namespace polaiga::alertmanager {

struct AccessFiles {
  std::string credentials;  // "": there is no such file; so with all
  std::string authorities;  // certificates of those who may sign a peer's
  std::string certificate;  // of this program
  std::string key;          // of that certificate
};

// What the files held when they were read.
struct Access {
  Access() = default;
  ~Access() { engine::wipe(key); }
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  Credentials credentials;
  std::string authorities;  // in PEM; "": those of the system
  std::string certificate;  // "": none
  std::string key;
};

// Fills an Access. Throws std::runtime_error.
void read_access(const AccessFiles& files, Access& access);

}  // namespace polaiga::alertmanager
