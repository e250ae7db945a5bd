// Who asks, and what he may do.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace polaiga::web {

// Each may do what those before it may.
enum class Role : std::uint8_t { kNobody, kViewer, kOperator };

// "nobody", "viewer" or "operator".
constexpr std::string_view role_name(Role role) {
  return role == Role::kOperator ? "operator" : role == Role::kViewer ? "viewer" : "nobody";
}

// How the server knows who asks.
enum class Proof : std::uint8_t { kNone, kSession, kPassword, kCertificate, kProxy, kUnixPeer };

struct Caller {
  std::string name;  // as the ledger keeps it with an action; empty: nobody has logged in
  Role role = Role::kNobody;
  Proof proof = Proof::kNone;
  std::string session = {};  // the public id of the session; empty: there is none
  // What the gate needs to see whether the proof still holds.
  std::string password = {};            // of Proof::kPassword: a digest of the user's hash
  std::optional<uid_t> unix_user = {};  // of Proof::kUnixPeer

  bool may_see() const { return role >= Role::kViewer; }
  bool may_act() const { return role >= Role::kOperator; }
};

}  // namespace polaiga::web
