#include "page/markup.h"

namespace polaiga::web {

Markup& Markup::number(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, 1, ',');
  html_ += digits;
  return *this;
}

}  // namespace polaiga::web
