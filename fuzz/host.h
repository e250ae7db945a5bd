// The host of the fuzzed library: its answers and its tables come from the
// fuzzer's input.
#pragma once

#include <polaiga/tables.h>

#include <cstddef>
#include <cstdint>

namespace polaiga::fuzz {

// Bytes of the input, taken from its beginning; zeros once it is used up.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

  bool empty() const { return at_ == end_; }
  std::uint8_t byte() { return empty() ? std::uint8_t{0} : *at_++; }
  std::int32_t number();  // 32 bits, or a small or extreme one, which are more likely to matter
  void fill(void* bytes, std::size_t size);

 private:
  const std::uint8_t* at_;
  const std::uint8_t* end_;
};

// Names that filters know, in their own tables or by their parts.
inline constexpr const char* kKnownNames[] = {
    "SEL_FULLNESS", "P3V3_BAT_V_MOIN", "P12V_V_MOIN", "PCH_TEMP_SENS", "P1CORE_TEMP", "P1_TEMP_SENS",
    "PVTT_DDR_AB",  "P1_VCORE_TEMP",   "FAN1_TACH1",  "FAN6_TACH2",    "FAN1_SPEED",  "PSU1_PIN",
    "PSU2_POUT",    "HDD_BP1_TEMP",    "PSU3_POUT",   "FAN9_TACH1",    "POWER_USAGE", "P1_PRESENT",
};

// Rows that a host table has room for. Those behind its count must not be touched.
inline constexpr std::int32_t kRoom = 24;

void reset_host();
void change_answers(Input& input);  // dictionaries, names of instances, clock, time-zone file
void change_table(Input& input);    // count or a row of a host table

}  // namespace polaiga::fuzz
