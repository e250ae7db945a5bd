#include "http/protection.h"

#include <utility>

namespace polaiga::web {
namespace {

constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; form-action 'self'; "
     "base-uri 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Embedder-Policy", "require-corp"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "camera=(), geolocation=(), microphone=(), payment=(), usb=()"},
};

}  // namespace

void add_protection(Response& response, bool is_encrypted) {
  for (const auto& [name, value] : kHeaders) response.headers.emplace_back(name, value);
  if (is_encrypted) response.headers.emplace_back("Strict-Transport-Security", "max-age=31536000");
}

}  // namespace polaiga::web
