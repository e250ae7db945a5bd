// The objects that alarms are of, as Redfish names them. An object is a chassis that is contained in that of the object
// above it; the topmost is also a system.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "model/dictionary.h"

namespace polaiga::web {

// The DN that is above all others.
inline constexpr std::string_view kSystemDn = "sys/rack-unit-1";

// "sys/rack-unit-1/fan-module-1-2" is "sys.rack-unit-1.fan-module-1-2": a slash becomes a dot, and what is neither a
// letter, a digit nor a hyphen becomes an underscore with two hexadecimal digits.
std::string object_id(std::string_view dn);

// Nothing: it is no such id.
std::optional<std::string> object_dn(std::string_view id);

std::string chassis_uri(std::string_view dn);
std::string system_uri(std::string_view dn);

// Of a DN of at least three levels, the DN above it; nothing for others, which are systems.
std::optional<std::string> container_of(std::string_view dn);

using Dns = std::set<std::string, std::less<>>;

// Adds an object and all that contain it.
void add_with_containers(Dns& dns, std::string_view dn);

// How Redfish tells a severity: OK, Warning or Critical.
std::string_view health_of(engine::Severity severity);

}  // namespace polaiga::web
