#include "http/tls_credentials.h"

#include <gnutls/x509.h>

#include <array>
#include <stdexcept>

namespace polaiga::web {
namespace {

// The library reads the text and keeps nothing of it.
gnutls_datum_t datum(const std::string& text) {
  return {.data = reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
          .size = static_cast<unsigned>(text.size())};
}

void expect(const char* what, int result) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + ::gnutls_strerror(result));
}

}  // namespace

TlsCredentials::TlsCredentials(const TlsIdentity& identity) : asks_clients_(!identity.client_authority.empty()) {
  expect("TLS cannot be used", ::gnutls_certificate_allocate_credentials(&credentials_));
  try {
    const gnutls_datum_t certificate = datum(identity.certificate);
    const gnutls_datum_t key = datum(identity.key);
    expect("the certificate and its key cannot be used",
           ::gnutls_certificate_set_x509_key_mem(credentials_, &certificate, &key, GNUTLS_X509_FMT_PEM));
    if (!asks_clients_) return;
    const gnutls_datum_t authority = datum(identity.client_authority);
    constexpr const char* kAuthority = "the certificate of the clients' authority cannot be used";
    const int count = ::gnutls_certificate_set_x509_trust_mem(credentials_, &authority, GNUTLS_X509_FMT_PEM);
    expect(kAuthority, count);
    if (count == 0) throw std::runtime_error(std::string(kAuthority) + ": there is none in the file");
  } catch (...) {
    ::gnutls_certificate_free_credentials(credentials_);
    throw;
  }
}

TlsCredentials::~TlsCredentials() { ::gnutls_certificate_free_credentials(credentials_); }

void TlsCredentials::give(gnutls_session_t session) const {
  ::gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials_);  // if it fails, so does the handshake
  ::gnutls_certificate_server_set_request(session, asks_clients_ ? GNUTLS_CERT_REQUEST : GNUTLS_CERT_IGNORE);
}

std::optional<std::string> verified_name(gnutls_session_t session) {
  unsigned problems = 0;
  unsigned count = 0;
  const gnutls_datum_t* const chain = gnutls_certificate_get_peers(session, &count);
  if (chain == nullptr || count == 0) return std::nullopt;
  std::string client = GNUTLS_KP_TLS_WWW_CLIENT;
  gnutls_typed_vdata_st purpose = {
      .type = GNUTLS_DT_KEY_PURPOSE_OID, .data = reinterpret_cast<unsigned char*>(client.data()), .size = 0};
  if (gnutls_certificate_verify_peers(session, &purpose, 1, &problems) != GNUTLS_E_SUCCESS || problems != 0) {
    return std::nullopt;
  }
  gnutls_x509_crt_t certificate = nullptr;
  if (gnutls_x509_crt_init(&certificate) != GNUTLS_E_SUCCESS) return std::nullopt;
  std::array<char, 256> name{};
  std::size_t size = name.size();
  const bool is_read = gnutls_x509_crt_import(certificate, &chain[0], GNUTLS_X509_FMT_DER) == GNUTLS_E_SUCCESS &&
                       gnutls_x509_crt_get_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, 0, name.data(),
                                                     &size) == GNUTLS_E_SUCCESS;
  gnutls_x509_crt_deinit(certificate);
  if (!is_read) return std::nullopt;
  return std::string(name.data(), size);
}

}  // namespace polaiga::web
