#include "metrics/metrics.h"

#include <prometheus/text_serializer.h>

#include "http/answers.h"
#include "metrics/alarm_families.h"
#include "metrics/engine_families.h"

namespace polaiga::web {
namespace {

constexpr const char* kTextFormat = "text/plain; version=0.0.4; charset=utf-8";

}  // namespace

Response Metrics::answer(const Request& request, const Caller& caller) {
  if (!caller.may_see()) return problem(401, "Log in first.");
  if (request.target.path.size() != 1) return problem(404, "There is nothing at this address.");
  if (!is_question(request)) return not_allowed("GET, HEAD");
  return {.headers = {{"Content-Type", kTextFormat}, {"Cache-Control", "no-store"}},
          .body = std::make_shared<const std::string>(prometheus::TextSerializer().Serialize(families()))};
}

Families Metrics::families() {
  Families families;
  auto build = gauge("polaiga_build_info", "1, with the version of this server.");
  add(build, 1, {{"version", POLAIGA_VERSION}});
  families.push_back(std::move(build));
  add_server(families);
  add_engine_families(site_.engine.said().status, families);
  add_ledger(families);
  return families;
}

// Alarms whose metrics vanish would look as if they were over, so the last that was read stays.
void Metrics::add_ledger(Families& families) const {
  const auto view = site_.live.view();
  auto readable = gauge("polaiga_ledger_readable",
                        "1 when this server can read the ledger. When it cannot, the metrics of alarms are as it was "
                        "read last.");
  add(readable, view && !site_.live.problem() ? 1 : 0);
  families.push_back(std::move(readable));
  if (view) add_alarm_families(view->of, most_series_, families);
}

void Metrics::add_server(Families& families) const {
  const Server* const server = server_;
  if (server == nullptr) return;
  auto connections = gauge("polaiga_web_connections", "Connections to this server.");
  add(connections, static_cast<double>(server->connections()));
  families.push_back(std::move(connections));
  auto streams = gauge("polaiga_web_streams", "Connections that are streams of events.");
  add(streams, static_cast<double>(server->streams()));
  families.push_back(std::move(streams));
  auto responses = counter("polaiga_web_responses_total", "Responses of this server, by the class of their status.");
  constexpr const char* kClasses[] = {"1xx", "2xx", "3xx", "4xx", "5xx"};
  const ResponseCounts counts = server->responses();
  for (std::size_t i = 0; i < counts.size(); ++i) {
    add(responses, static_cast<double>(counts.at(i)), {{"class", kClasses[i]}});
  }
  families.push_back(std::move(responses));
}

}  // namespace polaiga::web
