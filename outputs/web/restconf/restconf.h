// /restconf: the alarms as the YANG module ietf-alarms (RFC 8632) has them, read by RESTCONF (RFC 8040).
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <string>

#include "app/part.h"
#include "app/site.h"

namespace polaiga::web {

class Restconf final : public Part {
 public:
  explicit Restconf(Site& site) : site_(site) {}

  // Reads only: every other method is refused. Of the query parameters there is `content` alone; the others are
  // optional, and are refused. Entries of lists cannot be read alone.
  Response answer(const Request& request, const Caller& caller) override;
  Response refused(const Request& request, Response response) override;

 private:
  Response data(const Request& request, std::span<const std::string> path, bool configuration_alone);
  static Response nothing_here();
  Body alarms();

  Site& site_;
  std::mutex mutex_;
  Body alarms_;                // of this version of the view
  std::uint64_t version_ = 0;  // 0: none
};

// Tells clients where RESTCONF is: /.well-known/host-meta (RFC 8040, section 3.1).
class HostMeta final : public Part {
 public:
  Response answer(const Request& request, const Caller& caller) override;
};

}  // namespace polaiga::web
