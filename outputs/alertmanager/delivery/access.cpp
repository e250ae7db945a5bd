#include "delivery/access.h"

#include <stdexcept>
#include <string_view>

#include "base/printable.h"
#include "base/private_file.h"

namespace polaiga::alertmanager {
namespace {

void check_certificates(const std::string& text, std::string_view what, const std::string& path) {
  if (text.find("-----BEGIN ") != std::string::npos) return;
  throw std::runtime_error(std::string(what) + " " + engine::in_quotes(path) +
                           " has no certificate in PEM, which begins with -----BEGIN CERTIFICATE-----");
}

}  // namespace

void read_access(const AccessFiles& files, Access& access) {
  if (!files.credentials.empty()) {
    std::string text = engine::read_private_file(files.credentials, "the credentials file");
    try {
      access.credentials = Credentials(text, files.credentials);
    } catch (...) {
      engine::wipe(text);
      throw;
    }
    engine::wipe(text);
  }
  if (!files.authorities.empty()) {
    access.authorities = engine::read_file(files.authorities, "the file of authorities");
    check_certificates(access.authorities, "the file of authorities", files.authorities);
  }
  if (!files.certificate.empty()) {
    access.certificate = engine::read_file(files.certificate, "the certificate");
    check_certificates(access.certificate, "the certificate", files.certificate);
    access.key = engine::read_private_file(files.key, "the key of the certificate");
  }
}

}  // namespace polaiga::alertmanager
