// Decides who a request comes from, before anything else looks at it.
#pragma once

#include <variant>

#include "access/caller.h"
#include "http/message.h"

namespace polaiga::web {

class Gate {
 public:
  virtual ~Gate() = default;

  // Who asks; or the response, when nobody may ask like that, as with a wrong password, or when the request is one of
  // the gate's own, as to log in. Called by several threads at once.
  virtual std::variant<Caller, Response> admit(const Request& request) = 0;
};

// Where no users are set up: everybody may look, and nobody may act.
class OpenGate final : public Gate {
 public:
  std::variant<Caller, Response> admit(const Request& /*request*/) override {
    return Caller{.name = {}, .role = Role::kViewer};
  }
};

}  // namespace polaiga::web
