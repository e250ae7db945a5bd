#include "recorded/filled_text.h"

#include <utility>

namespace polaiga::fleet {

FilledText& FilledText::add(std::string_view text) {
  rest_ += text;
  return *this;
}

FilledText& FilledText::add(Place place, std::int64_t recorded) {
  parts_.push_back({.before = std::exchange(rest_, {}), .place = place, .recorded = recorded});
  return *this;
}

std::string FilledText::text(const Filling& filling) const {
  std::string text;
  for (const Part& part : parts_) {
    text += part.before;
    switch (part.place) {
      case Place::kLedgerId:
        text += filling.ledger_id();
        break;
      case Place::kNumber:
        text += std::to_string(filling.number_of(part.recorded));
        break;
      case Place::kAlarm:
        text.append(filling.ledger_id()).append(1, '-').append(std::to_string(filling.number_of(part.recorded)));
        break;
      case Place::kSequence:
        text += std::to_string(filling.sequence_of(part.recorded));
        break;
      case Place::kMoment:
        text += engine::format_moment(filling.moment_of(part.recorded));
        break;
      case Place::kSeconds:
        text += std::to_string(filling.moment_of(part.recorded));
        break;
    }
  }
  return text + rest_;
}

}  // namespace polaiga::fleet
