#include "app/application.h"

#include "access/guarded_stream.h"
#include "http/answers.h"
#include "ledger/ledger.h"

namespace polaiga::web {
namespace {

// Nothing comes from another host, nothing is put into another page, and no text can become a program.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; form-action 'self'; "
     "base-uri 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "camera=(), geolocation=(), microphone=()"},
};

}  // namespace

Response Application::answer(const Request& request) {
  Response response = route(request);
  for (const auto& [name, value] : kHeaders) response.headers.emplace_back(name, value);
  if (request.peer.is_encrypted) response.headers.emplace_back("Strict-Transport-Security", "max-age=31536000");
  return response;
}

Response Application::route(const Request& request) {
  auto part = parts_.find(request.target.path.front());
  if (part == parts_.end()) part = parts_.find("");
  auto admitted = gate_.admit(request);
  if (auto* const response = std::get_if<Response>(&admitted)) {
    return part == parts_.end() ? std::move(*response) : part->second->refused(request, std::move(*response));
  }
  if (part == parts_.end()) return problem(404, "There is nothing at this address.");
  try {
    const Caller& caller = std::get<Caller>(admitted);
    Response response = part->second->answer(request, caller);
    if (response.stream) {
      response.stream = std::make_unique<GuardedStream>(std::move(response.stream), gate_, caller);
    }
    return response;
  } catch (const engine::LedgerError& error) {
    return problem(503, std::string(error.what()) + ". Is the engine running, and may this server read its ledger?");
  }
}

}  // namespace polaiga::web
