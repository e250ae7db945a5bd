#include "http/answers.h"

#include <microhttpd.h>
#include <nettle/sha2.h>

#include <array>
#include <nlohmann/json.hpp>

#include "report/json_object.h"

namespace polaiga::web {
namespace {

constexpr std::size_t kTagBytes = 12;

// Whether one of the tags of an If-None-Match header is this one, in the weak comparison of RFC 9110.
bool has_tag(std::string_view header, std::string_view etag) {
  if (header == "*") return true;
  for (std::size_t at = header.find(etag); at != std::string_view::npos; at = header.find(etag, at + 1)) {
    const std::string_view rest = header.substr(at + etag.size());
    const bool begins = at == 0 || header[at - 1] == ' ' || header[at - 1] == ',' || header[at - 1] == '/';
    if (begins && (rest.empty() || rest.front() == ',' || rest.front() == ' ')) return true;
  }
  return false;
}

}  // namespace

std::string etag_of(std::string_view body) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, body.size(), reinterpret_cast<const std::uint8_t*>(body.data()));
  std::array<std::uint8_t, kTagBytes> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string tag = "\"";
  for (const std::uint8_t byte : digest) tag.append({kDigits[byte >> 4U], kDigits[byte & 15U]});
  return tag + '"';
}

Response content(const Request& request, std::string_view etag, std::string_view type,
                 const std::function<Body()>& make) {
  Response response{.headers = {{"ETag", std::string(etag)}, {"Cache-Control", "no-cache"}}};
  if (has_tag(request.header("if-none-match"), etag)) {
    response.status = 304;
    return response;
  }
  response.headers.emplace_back("Content-Type", type);
  response.body = make();
  return response;
}

Response content(const Request& request, Body body, std::string_view type) {
  return content(request, etag_of(*body), type, [&] { return std::move(body); });
}

Response json_content(const Request& request, std::string text) {
  return content(request, std::make_shared<const std::string>(std::move(text)), "application/json");
}

std::string_view reason_of(int status) { return MHD_get_reason_phrase_for(static_cast<unsigned>(status)); }

Response problem(int status, std::string_view detail) {
  engine::JsonObject body;
  body.add("type", "about:blank").add("title", reason_of(status)).add("status", status).add("detail", detail);
  return {.status = status,
          .headers = {{"Content-Type", "application/problem+json"}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(body.line())};
}

std::string detail_of(const Response& response) {
  if (!response.body) return "";
  const auto told = nlohmann::json::parse(*response.body, nullptr, false);
  const auto detail = told.is_object() ? told.find("detail") : told.end();
  return detail == told.end() || !detail->is_string() ? "" : detail->get<std::string>();
}

Response not_allowed(std::string_view methods) {
  Response response = problem(405, "This address does not take that method; it takes " + std::string(methods) + ".");
  response.headers.emplace_back("Allow", methods);
  return response;
}

bool is_question(const Request& request) { return request.method == Method::kGet || request.method == Method::kHead; }

}  // namespace polaiga::web
