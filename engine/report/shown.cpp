#include "report/shown.h"

#include <algorithm>
#include <array>

#include "base/printable.h"
#include "base/text_width.h"
#include "model/fault.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kSeverityWidth = 8;

std::string_view colour_of(Severity severity) {
  constexpr std::array<std::string_view, 6> kColours{"32", "34", "36", "33", "31", "1;31"};
  return kColours.at(static_cast<std::size_t>(severity));
}

}  // namespace

void add_padded(std::string& line, std::string_view text, std::size_t width) {
  line += text;
  const std::size_t taken = text_width(text);
  if (taken < width) line.append(width - taken, ' ');
}

std::string padded(std::string_view text, std::size_t width) {
  std::string wide;
  add_padded(wide, text, width);
  return wide;
}

void add_shown(std::string& line, Severity severity, bool coloured) {
  if (coloured) line.append("\x1b[").append(colour_of(severity)).append("m");
  add_padded(line, severity_word(severity), kSeverityWidth);
  if (coloured) line += "\x1b[0m";
}

std::string shown(Severity severity, bool coloured) {
  std::string text;
  add_shown(text, severity, coloured);
  return text;
}

void add_description(std::string& line, std::string_view description) {
  add_printable(line, description.substr(0, description.find_last_not_of(' ') + 1));
}

std::string shown_description(std::string_view description) {
  std::string text;
  add_description(text, description);
  return text;
}

std::string duration_text(Moment seconds) {
  struct Unit {
    Moment seconds;
    const char* name;
  };
  constexpr Unit kUnits[] = {{86'400, "d"}, {3'600, "h"}, {60, "m"}, {1, "s"}};
  std::string text;
  if (seconds < 0) return text.append("-").append(duration_text(-seconds));
  int shown = 0;
  for (const Unit& unit : kUnits) {
    const Moment count = seconds / unit.seconds;
    seconds %= unit.seconds;
    if (shown > 0) ++shown;
    if (shown > 2) break;
    if (count == 0) continue;
    text.append(text.empty() ? "" : " ").append(std::to_string(count)).append(unit.name);
    shown = std::max(shown, 1);
  }
  return text.empty() ? "0s" : text;
}

std::string code_text(std::uint32_t code) { return fault_dn("", code).substr(std::string_view("/fault-").size()); }

std::string plural(std::uint64_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace polaiga::engine
