#include "follow/known_bits.h"

namespace polaiga::ipmi {
namespace {

constexpr std::uint16_t kAll = 0xFFFF;

// Event/reading types (IPMI 2.0, table 42-2).
constexpr std::uint8_t kFirstGeneric = 0x02;
constexpr std::uint8_t kLastGeneric = 0x0C;
constexpr std::uint8_t kRedundancy = 0x0B;

std::uint16_t bit(unsigned offset) { return static_cast<std::uint16_t>(1U << (offset & 15U)); }

std::uint16_t without(std::uint16_t bits, std::uint16_t some) {
  return static_cast<std::uint16_t>(bits & static_cast<unsigned>(~some));
}

// Their states are a pair of opposites: one of them is always in force.
bool has_two_states(std::uint8_t reading_type) {
  return (reading_type >= 0x03 && reading_type <= 0x06) || reading_type == 0x08 || reading_type == 0x09;
}

// A threshold's offset says where the value went. When it went back over a threshold, the offset of the way out is in
// force no more: 1, 3 and 5 end 0, 2 and 4; 6, 8 and 10 end 7, 9 and 11.
std::uint16_t ended_by_threshold(unsigned offset) {
  if (offset < 6 && offset % 2 == 1) return bit(offset - 1);
  if (offset >= 6 && offset <= 10 && offset % 2 == 0) return bit(offset + 1);
  return 0;
}

// What is in force no more when an offset is asserted. Many controllers log only that a state has come, and not that
// the one before has gone.
std::uint16_t ended_by(const SelEvent& event) {
  if (event.reading_type == kThresholdReading) return ended_by_threshold(event.offset);
  if (event.reading_type < kFirstGeneric || event.reading_type > kLastGeneric) return 0;
  // Redundancy may be lost and its resources be too few at once; only full redundancy ends all the rest.
  if (event.reading_type == kRedundancy && event.offset != 0) return bit(0);
  return without(kAll, bit(event.offset));
}

}  // namespace

void KnownBits::apply(const SelEvent& event) {
  const std::uint16_t its_bit = bit(event.offset);
  known |= its_bit;
  if (event.is_deasserted) {
    asserted = without(asserted, its_bit);
    if (has_two_states(event.reading_type) && event.offset < 2) {
      asserted |= bit(event.offset ^ 1U);
      known |= bit(event.offset ^ 1U);
    }
    return;
  }
  const std::uint16_t ended = ended_by(event);
  known |= ended;
  asserted = without(asserted, ended) | its_bit;
  // Bits 5 and 4 of event data 1 say whether event data 3 means anything (IPMI 2.0, table 29-6).
  constexpr unsigned kMeaning = 0x30;
  if ((event.data[0] & kMeaning) != 0) {
    data_3[event.offset] = event.data[2];
  } else {
    data_3.erase(event.offset);
  }
}

void KnownBits::read(std::uint16_t asserted_now) {
  asserted = asserted_now;
  known = kAll;
}

void KnownBits::copy(const KnownBits& other, std::uint8_t offset) {
  const std::uint16_t its_bit = bit(offset);
  asserted = without(asserted, its_bit) | (other.asserted & its_bit);
  known = without(known, its_bit) | (other.known & its_bit);
}

int KnownBits::level(const Ladder& ladder) const {
  Bits bits{.asserted = asserted, .event_data_3 = {}, .known = known};
  for (const Rung& rung : ladder.rungs) {
    for (const Condition& condition : rung.when) {
      if (!condition.event_data_3) continue;
      const auto found = data_3.find(condition.offset);
      if (found != data_3.end()) bits.event_data_3 = found->second;
    }
  }
  return ladder.level(bits);
}

}  // namespace polaiga::ipmi
