#include "standard/sel_record.h"

#include <cstddef>
#include <string_view>

namespace polaiga::ipmi {
namespace {

// Record types (IPMI 2.0, table 32-1 and section 32.2).
constexpr std::uint8_t kSystemEvent = 0x02;
constexpr std::uint8_t kFirstOemWithTime = 0xC0;
constexpr std::uint8_t kLastOemWithTime = 0xDF;

// Formats of event messages: that of IPMI 1.5 and 2.0, and that of IPMI 1.0. Both have these fields at the same places.
constexpr std::uint8_t kFormat = 0x04;
constexpr std::uint8_t kOldFormat = 0x03;

// Up to here a time counts from the start of the controller, whose clock nobody has set (IPMI 2.0, section 37.1).
constexpr std::uint32_t kLastTimeSinceStart = 0x20000000;
constexpr std::uint32_t kNoTime = 0xFFFFFFFF;

constexpr unsigned kIsDeasserted = 0x80;

std::optional<engine::Moment> parse_time(const SelBytes& bytes) {
  std::uint32_t seconds = 0;
  for (std::size_t i = 0; i < 4; ++i) seconds |= static_cast<std::uint32_t>(bytes[3 + i]) << (8 * i);
  if (seconds <= kLastTimeSinceStart || seconds == kNoTime) return std::nullopt;
  return engine::Moment{seconds};
}

std::optional<SelEvent> parse_event(const SelBytes& bytes) {
  const auto format = bytes[9];
  if (format != kFormat && format != kOldFormat) return std::nullopt;
  return SelEvent{.key = {.owner = bytes[7], .lun = static_cast<std::uint8_t>(bytes[8] & 3U), .number = bytes[11]},
                  .sensor_type = bytes[10],
                  .reading_type = static_cast<std::uint8_t>(bytes[12] & ~kIsDeasserted),
                  .is_deasserted = (bytes[12] & kIsDeasserted) != 0,
                  .offset = static_cast<std::uint8_t>(bytes[13] & 0x0FU),
                  .data = {bytes[13], bytes[14], bytes[15]}};
}

}  // namespace

SelRecord parse_sel_record(const SelBytes& bytes) {
  SelRecord record{.bytes = bytes,
                   .id = static_cast<std::uint16_t>(bytes[0] | static_cast<unsigned>(bytes[1]) << 8U),
                   .type = bytes[2],
                   .time = std::nullopt,
                   .event = std::nullopt};
  const bool is_event = record.type == kSystemEvent;
  if (is_event || (record.type >= kFirstOemWithTime && record.type <= kLastOemWithTime))
    record.time = parse_time(bytes);
  if (is_event) record.event = parse_event(bytes);
  return record;
}

std::string hexadecimal(const SelBytes& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const auto byte : bytes) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

}  // namespace polaiga::ipmi
