// The way to a peer, as those see it who have something to tell.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "delivery/address.h"

namespace polaiga::alertmanager {

struct Request {
  std::string url;
  const char* content_type = "application/json";
  std::string body;
};

struct Answer {
  long status = 0;                                // of HTTP; 0: there was no answer
  std::string problem;                            // why the request was not taken, for people; "": it was
  std::optional<std::chrono::seconds> try_after;  // what the peer asks for

  bool is_taken() const { return problem.empty(); }
  // Whether the peer does not take just this body: it is malformed (400), too large (413) or makes no sense (422).
  bool is_refusal() const { return status == 400 || status == 413 || status == 422; }
};

class Post {
 public:
  using Done = std::function<void(const Answer&)>;

  virtual ~Post() = default;

  // Sends the request. `done` is called once, in a later step, never from here. Throws std::runtime_error.
  virtual void send(const Address& address, Request request, Done done) = 0;
};

}  // namespace polaiga::alertmanager
