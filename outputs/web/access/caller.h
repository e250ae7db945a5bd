// Who asks, and what he may do.
#pragma once

#include <cstdint>
#include <string>

namespace polaiga::web {

// Each may do what those before it may.
enum class Role : std::uint8_t { kNobody, kViewer, kOperator };

struct Caller {
  std::string name;  // as the ledger keeps it with an action; empty: nobody has logged in
  Role role = Role::kNobody;

  bool may_see() const { return role >= Role::kViewer; }
  bool may_act() const { return role >= Role::kOperator; }
};

}  // namespace polaiga::web
