#include "access/password_hash.h"

#include <crypt.h>

#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "access/secrets.h"

namespace polaiga::web {
namespace {

constexpr std::string_view kYescrypt = "$y$";

// What crypt_r(3) works in: 32 KiB, with the password in them.
class Workspace {
 public:
  ~Workspace() { ::explicit_bzero(data_.get(), sizeof *data_); }
  Workspace() = default;
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // "": it could not be made.
  std::string hash(std::string_view password, const std::string& setting) {
    const Secret text{std::string(password)};
    const char* const hash = ::crypt_r(text.c_str(), setting.c_str(), data_.get());
    return hash == nullptr || *hash == '*' ? std::string() : std::string(hash);
  }

 private:
  std::unique_ptr<crypt_data> data_ = std::make_unique<crypt_data>();
};

std::string new_setting() {
  std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting{};
  if (::crypt_gensalt_rn(kYescrypt.data(), 0, nullptr, 0, setting.data(), setting.size()) == nullptr) {
    throw std::runtime_error("the system's crypt library cannot make yescrypt hashes");
  }
  return setting.data();
}

}  // namespace

std::string hash_password(std::string_view password) {
  std::string hash = Workspace().hash(password, new_setting());
  if (hash.empty()) throw std::runtime_error("the password could not be hashed; is there too little memory?");
  return hash;
}

bool is_password_hash(std::string_view text) {
  return text.starts_with(kYescrypt) && text.size() < CRYPT_OUTPUT_SIZE &&
         ::crypt_checksalt(std::string(text).c_str()) == CRYPT_SALT_OK;
}

PasswordChecker::PasswordChecker() : nobody_(hash_password(random_text(sizeof(Digest)))) {}

PasswordChecker::Verdict PasswordChecker::check(std::string_view password, const std::string& hash) {
  struct Place {
    std::atomic<int>& running;
    const bool is_free = ++running <= kMostAtOnce;
    ~Place() { --running; }
  };
  const Place place{running_};
  if (!place.is_free) return Verdict::kBusy;
  const std::string& wanted = hash.empty() ? nobody_ : hash;
  const std::string made = Workspace().hash(password, wanted);
  return !made.empty() && are_equal(made, wanted) ? Verdict::kRight : Verdict::kWrong;
}

}  // namespace polaiga::web
