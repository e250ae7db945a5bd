#include "standard/sensor.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "standard/hexadecimal.h"
#include "standard/id_string.h"

namespace polaiga::ipmi {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSize = 5;

// Where a record of each type has its fields (IPMI 2.0, tables 43-1, 43-2 and 43-3), counted from its first byte.
struct Layout {
  std::uint8_t record_type;
  std::size_t sensor_type;
  std::size_t reading_type;
  std::size_t sharing;      // 0: the record cannot be shared
  std::size_t type_length;  // of the id string, which follows
};
constexpr Layout kLayouts[] = {
    {.record_type = 0x01, .sensor_type = 12, .reading_type = 13, .sharing = 0, .type_length = 47},   // full
    {.record_type = 0x02, .sensor_type = 12, .reading_type = 13, .sharing = 23, .type_length = 31},  // compact
    {.record_type = 0x03, .sensor_type = 10, .reading_type = 11, .sharing = 12, .type_length = 16},  // event-only
};
constexpr std::uint8_t kEventOnly = 0x03;

// How several sensors share a record.
struct Sharing {
  unsigned count = 1;
  bool is_alphabetic = false;     // names end with A, B, ..., Z, AA, ... rather than with numbers
  unsigned first = 0;             // the number that the first sensor's name ends with
  bool counts_instances = false;  // each sensor has an entity instance of its own
};

Sharing parse_sharing(unsigned first_byte, unsigned second_byte) {
  return {.count = std::max(first_byte & 0x0FU, 1U),
          .is_alphabetic = (first_byte >> 4U & 3U) == 1,
          .first = second_byte & 0x7FU,
          .counts_instances = (second_byte & 0x80U) != 0};
}

// Controllers fill names up with blanks. A name that a number follows needs its own.
std::string without_blanks_at_end(std::string text) {
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

// 0 is A, 25 is Z, 26 is AA.
std::string letters(unsigned number) {
  std::string text(1, static_cast<char>('A' + number % 26));
  return number < 26 ? text : letters(number / 26 - 1) + text;
}

}  // namespace

std::vector<Sensor> parse_sdr(std::span<const std::uint8_t> record) {
  if (record.size() < kHeaderSize)
    throw BadRecord("it has " + std::to_string(record.size()) + " bytes, and its header alone has 5");
  const auto* layout = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                    [type = record[3]](const Layout& some) { return some.record_type == type; });
  if (layout == std::end(kLayouts)) return {};
  if (record.size() < kHeaderSize + record[4]) {
    throw BadRecord(std::to_string(record.size() - kHeaderSize) + " bytes follow its header, which says " +
                    std::to_string(record[4]));
  }
  record = record.first(kHeaderSize + record[4]);
  if (record.size() <= layout->type_length) {
    throw BadRecord("it has " + std::to_string(record.size()) + " bytes, and one of type " + hex(record[3]) +
                    " has at least " + std::to_string(layout->type_length + 1));
  }

  Sensor base{
      .key = {.owner = record[5], .lun = static_cast<std::uint8_t>(record[6] & 3U), .number = record[7]},
      .name = parse_id_string(record[layout->type_length], record.subspan(layout->type_length + 1)),
      .entity_id = record[8],
      .entity_instance = static_cast<std::uint8_t>(record[9] & 0x7FU),
      .sensor_type = record[layout->sensor_type],
      .reading_type = static_cast<std::uint8_t>(record[layout->reading_type] & 0x7FU),
      .is_event_only = record[3] == kEventOnly,
  };
  const auto sharing =
      layout->sharing == 0 ? Sharing{} : parse_sharing(record[layout->sharing], record[layout->sharing + 1]);
  if (sharing.count == 1) {
    base.name = without_blanks_at_end(std::move(base.name));
    return {std::move(base)};
  }
  if (base.key.number + sharing.count > 0x100) {
    throw BadRecord(std::to_string(sharing.count) + " sensors from number " + std::to_string(base.key.number) +
                    " on share it, and numbers end at 255");
  }

  std::vector<Sensor> sensors;
  for (unsigned i = 0; i < sharing.count; ++i) {
    Sensor sensor = base;
    sensor.key.number = static_cast<std::uint8_t>(base.key.number + i);
    sensor.name += sharing.is_alphabetic ? letters(sharing.first + i) : std::to_string(sharing.first + i);
    if (sharing.counts_instances)
      sensor.entity_instance = static_cast<std::uint8_t>((base.entity_instance + i) & 0x7FU);
    sensors.push_back(std::move(sensor));
  }
  return sensors;
}

SensorState parse_sensor_state(const Sensor& sensor, std::span<const std::uint8_t> answer) {
  if (answer.size() < 2) {
    throw BadRecord("the reading of sensor " + std::to_string(sensor.key.number) + " has " +
                    std::to_string(answer.size()) + " bytes, and must have at least 2");
  }
  constexpr unsigned kIsScanned = 0x40;
  constexpr unsigned kIsUnavailable = 0x20;
  SensorState state;
  // Without the bytes of its states, nothing is known of them.
  state.is_available = (answer[1] & kIsScanned) != 0 && (answer[1] & kIsUnavailable) == 0 && answer.size() > 2;
  if (!state.is_available) return state;

  if (sensor.reading_type != kThresholdReading) {
    const unsigned high = answer.size() > 3 ? answer[3] & 0x7FU : 0U;
    state.asserted = static_cast<std::uint16_t>(answer[2] | high << 8U);
    return state;
  }
  // The event offset of each bit: lower non-critical, critical and non-recoverable, upper likewise.
  constexpr unsigned kOffsets[] = {0, 2, 4, 7, 9, 11};
  unsigned asserted = 0;
  for (unsigned bit = 0; bit < std::size(kOffsets); ++bit) asserted |= (answer[2] >> bit & 1U) << kOffsets[bit];
  state.asserted = static_cast<std::uint16_t>(asserted);
  return state;
}

}  // namespace polaiga::ipmi
