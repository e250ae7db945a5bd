#include "model/moment.h"

#include <algorithm>
#include <chrono>

#include "base/quantities.h"

namespace polaiga::engine {
namespace {

constexpr Moment kMinute = 60;
constexpr Moment kHour = 60 * kMinute;
constexpr Moment kDay = 24 * kHour;

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Reads a text piece by piece from its beginning. After the first piece that is wrong,
// finished() stays false.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  int number(std::size_t digits, int most) {
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      if (i >= rest_.size() || !is_digit(rest_[i])) return spoil();
      value = value * 10 + (rest_[i] - '0');
    }
    rest_.remove_prefix(digits);
    return value <= most ? value : spoil();
  }

  char one_of(std::string_view allowed) {
    if (rest_.empty() || allowed.find(rest_.front()) == std::string_view::npos) return static_cast<char>(spoil());
    const char found = rest_.front();
    rest_.remove_prefix(1);
    return found;
  }

  void skip_fraction() {
    if (!rest_.starts_with('.')) return;
    rest_.remove_prefix(1);
    const auto* const end = std::ranges::find_if_not(rest_, is_digit);
    if (end == rest_.begin()) spoil();
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.begin()));
  }

  bool finished() const { return good_ && rest_.empty(); }

 private:
  int spoil() {
    good_ = false;
    return 0;
  }

  std::string_view rest_;
  bool good_ = true;
};

}  // namespace

std::optional<Moment> parse_moment(std::string_view text) {
  using namespace std::chrono;
  Scanner scan(text);
  const int years = scan.number(4, 9999);
  scan.one_of("-");
  const int months = scan.number(2, 12);
  scan.one_of("-");
  const int days = scan.number(2, 31);
  scan.one_of("Tt");
  const int hours = scan.number(2, 23);
  scan.one_of(":");
  const int minutes = scan.number(2, 59);
  scan.one_of(":");
  const int seconds = scan.number(2, 60);  // a leap second counts as the one after it
  scan.skip_fraction();
  const char zone = scan.one_of("Zz+-");
  Moment ahead = 0;
  if (zone == '+' || zone == '-') {
    ahead = scan.number(2, 23) * kHour;
    scan.one_of(":");
    ahead += scan.number(2, 59) * kMinute;
    if (zone == '-') ahead = -ahead;
  }
  if (!scan.finished()) return std::nullopt;
  const year_month_day date{year(years), month(static_cast<unsigned>(months)), day(static_cast<unsigned>(days))};
  if (!date.ok()) return std::nullopt;
  const Moment day_number = sys_days(date).time_since_epoch().count();
  const Moment moment = day_number * kDay + hours * kHour + minutes * kMinute + seconds - ahead;
  if (moment < 0 || moment > kLastMoment) return std::nullopt;
  return moment;
}

std::optional<Moment> parse_age(std::string_view text) {
  static constexpr Unit kUnits[] = {{"s", 1}, {"m", 60}, {"h", 3'600}, {"d", 86'400}};
  const auto age = parse_quantity(text, kUnits);
  return age && *age <= kLastMoment ? age : std::nullopt;
}

std::string format_moment(Moment moment) {
  using namespace std::chrono;
  const sys_seconds time{seconds(moment)};
  const auto midnight = floor<days>(time);
  const year_month_day date(midnight);
  const hh_mm_ss clock(time - midnight);
  std::string text = "0000-00-00T00:00:00Z";
  const auto write = [&text](std::size_t end, auto number) {
    for (auto rest = static_cast<unsigned>(number); rest > 0; rest /= 10)
      text[--end] = static_cast<char>('0' + rest % 10);
  };
  write(4, static_cast<int>(date.year()));
  write(7, static_cast<unsigned>(date.month()));
  write(10, static_cast<unsigned>(date.day()));
  write(13, clock.hours().count());
  write(16, clock.minutes().count());
  write(19, clock.seconds().count());
  return text;
}

}  // namespace polaiga::engine
