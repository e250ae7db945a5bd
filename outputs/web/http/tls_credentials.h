// The certificate that the server shows to clients that connect by TLS, and the authority whose certificates of clients
// it believes.
#pragma once

#include <gnutls/gnutls.h>

#include <optional>
#include <string>

namespace polaiga::web {

// PEM texts.
struct TlsIdentity {
  std::string certificate;
  std::string key;
  std::string client_authority;  // that signs certificates of clients; empty: none are asked for
};

class TlsCredentials {
 public:
  // Throws std::runtime_error when the texts are not what they should be, or do not go together.
  explicit TlsCredentials(const TlsIdentity& identity);
  ~TlsCredentials();
  TlsCredentials(const TlsCredentials&) = delete;
  TlsCredentials& operator=(const TlsCredentials&) = delete;

  // Gives them to a session whose handshake has not begun. They must outlive it.
  void give(gnutls_session_t session) const;

 private:
  gnutls_certificate_credentials_t credentials_ = nullptr;
  bool asks_clients_;
};

// The common name of a client certificate that the authority has signed, for clients, and that is valid now.
std::optional<std::string> verified_name(gnutls_session_t session);

}  // namespace polaiga::web
