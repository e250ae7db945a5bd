// Decides who a request comes from, before anything else looks at it.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "access/caller.h"
#include "http/message.h"

namespace polaiga::web {

class Gate {
 public:
  virtual ~Gate() = default;

  // Who asks; or the response, when nobody may ask like that, as with a wrong password, or when the request is one of
  // the gate's own, as to log in. A caller may have the role of nobody at the few addresses that tell how to log in.
  // Called by several threads at once.
  virtual std::variant<Caller, Response> admit(const Request& request) = 0;

  // The token that a browser has to send with each request that changes something: as the header X-CSRF-Token, or as
  // the field "csrf" of a form, which then has at most 4,000 bytes and 32 fields, without line ends in them. Nothing:
  // the request came without the cookie of a session, and needs none.
  virtual std::optional<std::string> csrf(const Request& /*request*/) { return std::nullopt; }

  // Whether the caller would still be admitted with the same role. It is asked again and again while he reads a stream,
  // which ends when he would not be. An open stream counts as use of its session.
  virtual bool holds(const Caller& /*caller*/) { return true; }
};

// Where no users are set up: everybody may look, and nobody may act.
class OpenGate final : public Gate {
 public:
  std::variant<Caller, Response> admit(const Request& /*request*/) override {
    return Caller{.name = {}, .role = Role::kViewer};
  }
};

}  // namespace polaiga::web
