// Hands each request to the part of the server that it is for.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "access/gate.h"
#include "app/part.h"
#include "http/host_names.h"
#include "http/message.h"

namespace polaiga::web {

class Application final : public Handler {
 public:
  // The gate must outlive this.
  Application(Gate& gate, HostNames hosts) : gate_(gate), hosts_(std::move(hosts)) {}

  // The part answers what begins with this segment; "" answers all that is for no other part. It must outlive this.
  void add(const std::string& segment, Part& part) { parts_[segment] = &part; }

  Response answer(const Request& request) override;

 private:
  Gate& gate_;
  HostNames hosts_;
  std::map<std::string, Part*> parts_;
};

}  // namespace polaiga::web
