#include "framework/clear_text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "framework/text.h"

namespace polaiga {
namespace {

constexpr char kCleared[] = ": Cleared";
constexpr std::size_t kLast = FE_DESCR_SIZE - 1;  // where the NUL of a full description stands

// Removes the next token from the beginning of `rest` and returns it. It is empty
// when there is none.
std::string_view next_token(std::string_view& rest) {
  while (rest.starts_with(':')) rest.remove_prefix(1);
  const std::string_view token(rest.data(), std::min(rest.find(':'), rest.size()));
  rest.remove_prefix(token.size());
  return token;
}

bool clear_from(char (&descr)[FE_DESCR_SIZE], std::size_t colon) {
  if (colon == std::string_view::npos) return false;
  TextWriter(descr, colon).add_literal(kCleared);
  return true;
}

}  // namespace

bool clear_by_tokens(char (&descr)[FE_DESCR_SIZE], Keep keep) {
  std::string_view rest = field_text(descr);
  const std::string_view first = next_token(rest);
  if (first.empty()) return false;
  const std::string_view second = keep == Keep::kNameAndText ? next_token(rest) : std::string_view();

  // Both tokens are moved within the field: the first to the beginning of the field,
  // the second to behind the first and ": ".
  if (first.data() != descr) std::memmove(descr, first.data(), first.size());
  std::size_t size = std::min(first.size(), kLast);
  if (!second.empty()) {
    const std::size_t at = std::min(size + 2, kLast);
    const std::size_t kept = std::min(second.size(), kLast - at);
    std::memmove(descr + at, second.data(), kept);
    std::memcpy(descr + size, ": ", 2);
    size = at + kept;
  }
  TextWriter(descr, size).add_literal(kCleared);
  return true;
}

bool clear_at_first_colon(char (&descr)[FE_DESCR_SIZE]) { return clear_from(descr, field_text(descr).find(':')); }

bool clear_at_last_colon(char (&descr)[FE_DESCR_SIZE]) { return clear_from(descr, field_text(descr).rfind(':')); }

}  // namespace polaiga
