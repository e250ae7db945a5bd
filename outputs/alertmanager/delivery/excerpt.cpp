#include "delivery/excerpt.h"

#include <algorithm>

#include "base/printable.h"
#include "base/utf8.h"

namespace polaiga::alertmanager {

std::string excerpt(std::string_view body) {
  const bool is_cut = body.size() > kMostExcerpt;
  body = body.substr(0, kMostExcerpt);
  std::string text(body);
  std::ranges::replace_if(
      text, [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  const std::size_t begin = text.find_first_not_of(" \"");
  if (begin == std::string::npos) return "";
  const std::size_t end = text.find_last_not_of(" \"");
  const std::string shown = engine::printable(std::string_view(text).substr(begin, end + 1 - begin));

  std::string_view rest = shown;
  std::size_t characters = 0;
  for (; !rest.empty() && characters < kMostShown; ++characters) rest.remove_prefix(engine::first_character(rest).size);
  std::string line = shown.substr(0, shown.size() - rest.size());
  if (!rest.empty() || is_cut) line += "...";
  return line;
}

}  // namespace polaiga::alertmanager
