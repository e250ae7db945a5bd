// A part of the server: the page, the API, Redfish and so on, each below a path of its own.
#pragma once

#include "access/caller.h"
#include "http/message.h"

namespace polaiga::web {

class Part {
 public:
  virtual ~Part() = default;

  // The caller may see what is there; whether he may act the part asks itself. Called by several threads at once.
  virtual Response answer(const Request& request, const Caller& caller) = 0;

  // What the gate answers in place of the part, in the form that clients of the part know.
  virtual Response refused(const Request& /*request*/, Response response) { return response; }
};

}  // namespace polaiga::web
