// Who asks, and what he may do.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace polaiga::web {

// Each may do what those before it may.
enum class Role : std::uint8_t { kNobody, kViewer, kOperator };

constexpr std::string_view role_word(Role role) {
  return role == Role::kOperator ? "operator" : role == Role::kViewer ? "viewer" : "nobody";
}

struct Caller {
  std::string name;  // as the ledger keeps it with an action; empty: nobody has logged in
  Role role = Role::kNobody;

  bool may_see() const { return role >= Role::kViewer; }
  bool may_act() const { return role >= Role::kOperator; }
};

}  // namespace polaiga::web
