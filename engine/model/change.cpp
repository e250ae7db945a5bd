#include "model/change.h"

#include <algorithm>
#include <array>

namespace polaiga::engine {
namespace {

constexpr std::array<std::string_view, 15> kChanges{
    "raised",    "refreshed", "partly_cleared", "cleared",        "superseded",
    "withdrawn", "merged",    "acknowledged",   "unacknowledged", "closed",
    "commented", "shelved",   "unshelved",      "out_of_service", "back_in_service"};
constexpr std::array<std::string_view, 6> kOutcomes{"raised",  "refreshed",     "partly_cleared",
                                                    "cleared", "already_clear", "not_tracked"};

template <class Value, std::size_t N>
std::optional<Value> find(const std::array<std::string_view, N>& words, std::string_view word) {
  const auto found = std::ranges::find(words, word);
  if (found == words.end()) return std::nullopt;
  return static_cast<Value>(found - words.begin());
}

}  // namespace

std::string_view change_word(ChangeKind kind) { return kChanges.at(static_cast<std::size_t>(kind)); }
std::optional<ChangeKind> find_change(std::string_view word) { return find<ChangeKind>(kChanges, word); }

std::string_view outcome_word(Outcome outcome) { return kOutcomes.at(static_cast<std::size_t>(outcome)); }
std::optional<Outcome> find_outcome(std::string_view word) { return find<Outcome>(kOutcomes, word); }

}  // namespace polaiga::engine
