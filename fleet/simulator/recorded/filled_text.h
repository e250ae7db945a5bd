// A text with places in it that are filled in anew each time, such as the numbers in the JSON of a change.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"
#include "model/moment.h"

namespace polaiga::fleet {

enum class Place : std::uint8_t {
  kLedgerId,
  kNumber,    // of a change
  kAlarm,     // the id of an alarm: the ledger's id and the number
  kSequence,  // of an input
  kMoment,    // when a change was made, as RFC 3339 writes it
  kSeconds,   // the same, as seconds since 1970
};

// What stands in the places. Numbers of a recording become those of a ledger when the shift is added.
class Filling {
 public:
  virtual ~Filling() = default;
  virtual std::string_view ledger_id() const = 0;
  virtual engine::ChangeNumber number_of(engine::ChangeNumber recorded) const = 0;
  virtual engine::Sequence sequence_of(engine::Sequence recorded) const = 0;
  // When the change was made that has this number in the recording.
  virtual engine::Moment moment_of(engine::ChangeNumber recorded) const = 0;
};

class FilledText {
 public:
  FilledText& add(std::string_view text);
  // The number is that of the recording.
  FilledText& add(Place place, std::int64_t recorded = 0);

  std::string text(const Filling& filling) const;
  bool is_empty() const { return parts_.empty() && rest_.empty(); }

 private:
  struct Part {
    std::string before;
    Place place = Place::kLedgerId;
    std::int64_t recorded = 0;
  };
  std::vector<Part> parts_;
  std::string rest_;  // after the last place
};

}  // namespace polaiga::fleet
