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

// "$y$", parameters, salt and digest, with a dollar sign between them.
bool is_password_hash(std::string_view text) {
  constexpr std::string_view kDigits = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  constexpr std::size_t kDigestSize = 43;
  constexpr int kParts = 3;
  if (!text.starts_with(kYescrypt) || text.size() >= CRYPT_OUTPUT_SIZE) return false;
  text.remove_prefix(kYescrypt.size());
  for (int part = 1; part <= kParts; ++part) {
    const std::size_t end = text.find('$');
    const std::string_view digits = text.substr(0, end);
    if (digits.empty() || digits.find_first_not_of(kDigits) != std::string_view::npos) return false;
    if (part == kParts) return end == std::string_view::npos && digits.size() == kDigestSize;
    if (end == std::string_view::npos) return false;
    text.remove_prefix(end + 1);
  }
  return false;
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
