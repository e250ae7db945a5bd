// Numbers as the standard writes them: C5h, 0001h.
#pragma once

#include <cstdint>
#include <string>

namespace polaiga::ipmi {

std::string hex(std::uint8_t byte);
std::string hex(std::uint16_t number);

}  // namespace polaiga::ipmi
