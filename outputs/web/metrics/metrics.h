// GET /metrics: what is wrong, how the engine is and how this server is, for Prometheus.
#pragma once

#include <atomic>
#include <cstddef>

#include "app/part.h"
#include "app/site.h"
#include "http/server.h"
#include "metrics/families.h"

namespace polaiga::web {

class Metrics final : public Part {
 public:
  static constexpr std::size_t kMostSeries = 10'000;

  // At most so many alarms have a series of their own.
  Metrics(Site& site, std::size_t most_series) : site_(site), most_series_(most_series) {}

  // The server whose connections are told from now on. It must answer no more requests after its end.
  void watch(const Server& server) { server_ = &server; }

  Response answer(const Request& request, const Caller& caller) override;

 private:
  Families families();
  void add_ledger(Families& families) const;
  void add_server(Families& families) const;

  Site& site_;
  std::size_t most_series_;
  std::atomic<const Server*> server_ = nullptr;
};

}  // namespace polaiga::web
