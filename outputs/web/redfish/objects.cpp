#include "redfish/objects.h"

#include <algorithm>

#include "redfish/resource.h"

namespace polaiga::web {
namespace {

bool stays(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-'; }

constexpr std::string_view kDigits = "0123456789ABCDEF";

}  // namespace

std::string object_id(std::string_view dn) {
  std::string id;
  for (const char c : dn) {
    const auto byte = static_cast<unsigned char>(c);
    if (stays(c)) {
      id += c;
    } else if (c == '/') {
      id += '.';
    } else {
      id.append({'_', kDigits[byte >> 4U], kDigits[byte & 15U]});
    }
  }
  return id;
}

std::optional<std::string> object_dn(std::string_view id) {
  std::string dn;
  for (std::size_t i = 0; i < id.size(); ++i) {
    if (stays(id[i])) {
      dn += id[i];
    } else if (id[i] == '.') {
      dn += '/';
    } else {
      const std::size_t high = id[i] == '_' && i + 2 < id.size() ? kDigits.find(id[i + 1]) : std::string_view::npos;
      const std::size_t low = high == std::string_view::npos ? high : kDigits.find(id[i + 2]);
      if (low == std::string_view::npos) return std::nullopt;
      const char c = static_cast<char>(high << 4U | low);
      if (stays(c) || c == '/') return std::nullopt;  // each DN has one id
      dn += c;
      i += 2;
    }
  }
  if (dn.empty()) return std::nullopt;
  return dn;
}

std::string chassis_uri(std::string_view dn) { return redfish_uri("/Chassis/") + object_id(dn); }
std::string system_uri(std::string_view dn) { return redfish_uri("/Systems/") + object_id(dn); }

std::optional<std::string> container_of(std::string_view dn) {
  if (std::ranges::count(dn, '/') < 2) return std::nullopt;
  return std::string(dn.substr(0, dn.rfind('/')));
}

void add_with_containers(Dns& dns, std::string_view dn) {
  for (std::optional<std::string> one = std::string(dn); one && dns.insert(*one).second;) one = container_of(*one);
}

std::string_view health_of(engine::Severity severity) {
  switch (severity) {
    case engine::Severity::kCleared:
      return "OK";
    case engine::Severity::kIndeterminate:
    case engine::Severity::kWarning:
    case engine::Severity::kMinor:
      return "Warning";
    case engine::Severity::kMajor:
    case engine::Severity::kCritical:
      return "Critical";
  }
  return "OK";
}

}  // namespace polaiga::web
