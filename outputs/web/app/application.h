// Hands each request to the part of the server that it is for.
#pragma once

#include <map>
#include <string>

#include "access/gate.h"
#include "app/part.h"
#include "http/message.h"

namespace polaiga::web {

class Application final : public Handler {
 public:
  // The gate must outlive this.
  explicit Application(Gate& gate) : gate_(gate) {}

  // The part answers what begins with this segment; "" answers all that is for no other part. It must outlive this.
  void add(const std::string& segment, Part& part) { parts_[segment] = &part; }

  // Adds the headers that protect whoever shows the response in a browser.
  Response answer(const Request& request) override;

 private:
  Response route(const Request& request);

  Gate& gate_;
  std::map<std::string, Part*> parts_;
};

}  // namespace polaiga::web
