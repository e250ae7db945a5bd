#include "http/host_names.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <stdexcept>

#include "base/printable.h"
#include "http/answers.h"
#include "http/letters.h"

namespace polaiga::web {
namespace {

constexpr std::size_t kLongestHost = 253;  // bytes of a name in the DNS

bool is_in_name(char c) {
  constexpr std::string_view kOthers = "-._~%!$&'()*+,;=";
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || kOthers.find(c) != std::string_view::npos;
}

bool is_port(std::string_view text) {
  constexpr std::size_t kMostDigits = 5;
  return text.size() <= kMostDigits && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool is_loopback(const std::string& host) {
  in_addr four = {};
  if (::inet_pton(AF_INET, host.c_str(), &four) == 1) return (ntohl(four.s_addr) >> 24U) == IN_LOOPBACKNET;
  in6_addr six = {};
  return ::inet_pton(AF_INET6, host.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

}  // namespace

std::optional<std::string> host_of(std::string_view header) {
  std::string host = small_letters(header);
  const bool has_brackets = host.starts_with('[');
  const std::size_t end = has_brackets ? host.find(']') : host.find(':');
  if (has_brackets && end == std::string::npos) return std::nullopt;
  std::string_view port = std::string_view(host).substr(std::min(host.size(), has_brackets ? end + 1 : end));
  if (!port.empty() && (port.front() != ':' || !is_port(port.substr(1)))) return std::nullopt;
  host = host.substr(has_brackets ? 1 : 0, has_brackets ? end - 1 : end);
  if (has_brackets) {
    in6_addr address = {};
    if (::inet_pton(AF_INET6, host.c_str(), &address) != 1) return std::nullopt;
    return host;
  }
  if (host.ends_with('.')) host.pop_back();
  if (host.empty() || host.size() > kLongestHost || !std::ranges::all_of(host, is_in_name)) return std::nullopt;
  return host;
}

HostNames::HostNames(const std::vector<std::string>& more) {
  names_.emplace_back("localhost");
  for (const std::string& one : more) {
    const auto name = host_of(one);
    const bool has_port = !one.ends_with(']') && one.rfind(':') != std::string::npos;
    if (!name || has_port) {
      throw std::runtime_error(
          "--host is " + engine::in_quotes(one) +
          "; give a name or an address without a port, such as alarms.example.com or [2001:db8::1]");
    }
    names_.push_back(*name);
  }
}

std::optional<Response> HostNames::refuse(const Request& request) const {
  const auto header = request.headers.find("host");
  // Without the header it is HTTP/1.0, which no browser speaks.
  if (header == request.headers.end()) return std::nullopt;
  const auto host = host_of(header->second);
  if (!host) return problem(400, "The header Host is not well-formed: it has to be a name, and a port if need be.");
  const bool is_unix = request.peer.address.empty();
  if (is_unix || request.peer.is_encrypted || is_loopback(*host) || std::ranges::find(names_, *host) != names_.end()) {
    return std::nullopt;
  }
  return problem(421,
                 "This server does not go by the name " + engine::in_quotes(*host) +
                     ", which the header Host has. Ask for localhost or 127.0.0.1; or, if others are to reach it by "
                     "that name, start it with --host " +
                     engine::printable(*host) + ".");
}

}  // namespace polaiga::web
