// Which event offsets of a sensor are in force, as far as it is known.
#pragma once

#include <cstdint>
#include <map>

#include "mapping/ladder.h"
#include "standard/sel_record.h"

namespace polaiga::ipmi {

struct KnownBits {
  std::uint16_t asserted = 0;                     // a bit for each offset that is in force
  std::uint16_t known = 0;                        // a bit for each offset of which that is known
  std::map<std::uint8_t, std::uint8_t> data_3{};  // event data 3 of the record that asserted an offset last

  // What a record of the log says.
  void apply(const SelEvent& event);
  // What a reading says, which tells of all offsets at once.
  void read(std::uint16_t asserted_now);

  // Takes over what another one knows of an offset.
  void copy(const KnownBits& other, std::uint8_t offset);

  // The level on a ladder. An offset of which nothing is known puts the sensor on no rung.
  int level(const Ladder& ladder) const;

  bool operator==(const KnownBits&) const = default;
};

}  // namespace polaiga::ipmi
