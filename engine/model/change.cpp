#include "model/change.h"

#include <array>

namespace polaiga::engine {

std::string_view change_word(Change change) {
  constexpr std::array<std::string_view, 4> kWords{"raised", "refreshed", "cleared", "already_clear"};
  return kWords.at(static_cast<std::size_t>(change));
}

}  // namespace polaiga::engine
