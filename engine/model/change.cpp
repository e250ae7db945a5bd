#include "model/change.h"

#include "model/words.h"

namespace polaiga::engine {
namespace {

constexpr Words<kChangeKinds> kChanges{"raised",     "refreshed", "partly_cleared", "cleared",        "superseded",
                                       "withdrawn",  "merged",    "acknowledged",   "unacknowledged", "closed",
                                       "commented",  "shelved",   "unshelved",      "out_of_service", "back_in_service",
                                       "chattering", "settled"};
constexpr Words<6> kOutcomes{"raised", "refreshed", "partly_cleared", "cleared", "already_clear", "not_tracked"};

}  // namespace

std::string_view change_word(ChangeKind kind) { return kChanges.at(static_cast<std::size_t>(kind)); }
std::optional<ChangeKind> find_change(std::string_view word) { return value_of<ChangeKind>(kChanges, word); }

std::string_view outcome_word(Outcome outcome) { return kOutcomes.at(static_cast<std::size_t>(outcome)); }
std::optional<Outcome> find_outcome(std::string_view word) { return value_of<Outcome>(kOutcomes, word); }

}  // namespace polaiga::engine
