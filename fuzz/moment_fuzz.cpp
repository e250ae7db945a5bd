// A text is a time exactly when another reader of RFC 3339 takes it for one, and both mean the same moment; a time that
// is written reads the same.
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "check.h"
#include "model/moment.h"

namespace polaiga::fuzz {
namespace {

using engine::Moment;

// Reads by fixed places, and counts by the C library.
class OtherReader {
 public:
  explicit OtherReader(std::string_view text) : text_(text) {}

  std::optional<Moment> moment() {
    std::tm time = {};
    time.tm_year = number(0, 4) - 1900;
    time.tm_mon = number(5, 2) - 1;
    time.tm_mday = number(8, 2);
    time.tm_hour = number(11, 2);
    time.tm_min = number(14, 2);
    time.tm_sec = number(17, 2);
    sign(4, "-");
    sign(7, "-");
    sign(10, "Tt");
    sign(13, ":");
    sign(16, ":");
    const std::size_t zone = after_fraction();
    const int ahead = seconds_ahead(zone);
    good_ = good_ && time.tm_mon >= 0 && time.tm_mon < 12 && time.tm_mday >= 1 && time.tm_hour < 24 &&
            time.tm_min < 60 && time.tm_sec <= 60;
    if (!good_) return std::nullopt;
    const int day = time.tm_mday;
    std::tm date = time;
    date.tm_hour = date.tm_min = date.tm_sec = 0;
    ::timegm(&date);
    if (date.tm_mday != day) return std::nullopt;  // as the 30th of February
    const Moment moment = ::timegm(&time) - ahead;
    if (moment < 0 || moment > engine::kLastMoment) return std::nullopt;
    return moment;
  }

 private:
  int number(std::size_t at, std::size_t digits) {
    int value = 0;
    for (std::size_t i = at; i < at + digits; ++i) {
      if (i >= text_.size() || text_[i] < '0' || text_[i] > '9') good_ = false;
      if (good_) value = value * 10 + (text_[i] - '0');
    }
    return value;
  }

  void sign(std::size_t at, std::string_view allowed) {
    good_ = good_ && at < text_.size() && allowed.find(text_[at]) != std::string_view::npos;
  }

  std::size_t after_fraction() {
    if (text_.size() <= 19 || text_[19] != '.') return 19;
    const std::size_t end = text_.find_first_not_of("0123456789", 20);
    good_ = good_ && end != std::string_view::npos && end > 20;
    return end;
  }

  int seconds_ahead(std::size_t at) {
    if (!good_ || at >= text_.size()) return fail();
    if (text_[at] == 'Z' || text_[at] == 'z') return at + 1 == text_.size() ? 0 : fail();
    if (text_[at] != '+' && text_[at] != '-') return fail();
    const int hours = number(at + 1, 2);
    sign(at + 3, ":");
    const int minutes = number(at + 4, 2);
    if (at + 6 != text_.size() || hours > 23 || minutes > 59) return fail();
    const int seconds = hours * 3600 + minutes * 60;
    return text_[at] == '-' ? -seconds : seconds;
  }

  int fail() {
    good_ = false;
    return 0;
  }

  std::string_view text_;
  bool good_ = true;
};

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto moment = polaiga::engine::parse_moment(text);
  check(moment == OtherReader(text).moment(), "two readers agree");
  if (!moment) return 0;
  const std::string written = polaiga::engine::format_moment(*moment);
  check(written.size() == 20, "a time is written in 20 characters");
  check(polaiga::engine::parse_moment(written) == moment, "a time that is written reads the same");
  return 0;
}
