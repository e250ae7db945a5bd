#include "framework/clear_text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "framework/text.h"

namespace polaiga {
namespace {

constexpr const char* kCleared = ": Cleared";

// Takes the next token off `rest`; empty when there is none.
std::string_view next_token(std::string_view& rest) {
  while (rest.starts_with(':')) rest.remove_prefix(1);
  const std::string_view token(rest.data(), std::min(rest.find(':'), rest.size()));
  rest.remove_prefix(token.size());
  return token;
}

bool clear_from(char (&descr)[FE_DESCR_SIZE], std::size_t colon) {
  if (colon == std::string_view::npos) return false;
  TextWriter(descr, colon).add(kCleared);
  return true;
}

}  // namespace

bool clear_by_tokens(char (&descr)[FE_DESCR_SIZE], Keep keep) {
  char raised[FE_DESCR_SIZE];
  std::memcpy(raised, descr, sizeof raised);
  std::string_view rest = field_text(raised);
  const std::string_view first = next_token(rest);
  if (first.empty()) return false;
  TextWriter cleared(descr);
  cleared.add(first);
  if (keep == Keep::kNameAndText) {
    const std::string_view second = next_token(rest);
    if (!second.empty()) cleared.add(": ").add(second);
  }
  cleared.add(kCleared);
  return true;
}

bool clear_at_first_colon(char (&descr)[FE_DESCR_SIZE]) { return clear_from(descr, field_text(descr).find(':')); }

bool clear_at_last_colon(char (&descr)[FE_DESCR_SIZE]) { return clear_from(descr, field_text(descr).rfind(':')); }

}  // namespace polaiga
