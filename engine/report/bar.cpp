#include "report/bar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>

namespace polaiga::engine {
namespace {

// From an eighth of a column to all of it.
constexpr std::array<std::string_view, 8> kBlocks{"\xE2\x96\x8F", "\xE2\x96\x8E", "\xE2\x96\x8D", "\xE2\x96\x8C",
                                                  "\xE2\x96\x8B", "\xE2\x96\x8A", "\xE2\x96\x89", "\xE2\x96\x88"};

// The first of these variables that is set and not empty names the locale's characters, as setlocale(3) says.
std::string_view locale_name() {
  for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const name = std::getenv(variable);
    if (name != nullptr && *name != '\0') return name;
  }
  return "";
}

bool is_utf8(std::string_view locale) {
  std::string name;
  for (const char c : locale) {
    if (c != '-') name += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return name.find(".utf8") != std::string::npos;
}

// `value` of `most` in parts of a bar, rounded to the nearest number of parts.
std::size_t filled_parts(std::uint64_t value, std::uint64_t most, std::size_t parts) {
  if (value == 0 || most == 0) return 0;
  const double share = static_cast<double>(std::min(value, most)) / static_cast<double>(most);
  return std::max<std::size_t>(static_cast<std::size_t>(std::lround(share * static_cast<double>(parts))), 1);
}

}  // namespace

BarStyle bar_style(const StandardOutput& output) {
  const char* const name = std::getenv("TERM");
  const std::string_view terminal = name == nullptr ? "" : name;
  // The console of the machine itself lacks most of the blocks.
  const bool lacks_blocks = terminal == "dumb" || terminal == "linux";
  return output.is_terminal() && !lacks_blocks && is_utf8(locale_name()) ? BarStyle::kBlocks : BarStyle::kAscii;
}

std::string bar(std::uint64_t value, std::uint64_t most, std::size_t width, BarStyle style) {
  if (width == 0) return "";
  std::string text;
  if (style == BarStyle::kAscii) return text.append(filled_parts(value, most, width), '#');
  const std::size_t eighths = filled_parts(value, most, width * kBlocks.size());
  for (std::size_t column = 0; column < eighths / kBlocks.size(); ++column) text += kBlocks.back();
  if (eighths % kBlocks.size() != 0) text += kBlocks[eighths % kBlocks.size() - 1];
  return text;
}

}  // namespace polaiga::engine
