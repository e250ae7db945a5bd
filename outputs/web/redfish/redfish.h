// /redfish: the alarms as a Redfish service (DMTF's DSP0266) shows them to management software.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "app/part.h"
#include "app/site.h"
#include "redfish/event_service.h"
#include "redfish/fault_log.h"
#include "redfish/inventory.h"
#include "redfish/registry.h"
#include "redfish/session_store.h"

namespace polaiga::web {

struct RedfishOptions {
  std::string state_directory;  // for subscriptions; empty: events are not pushed
  PushOptions push;
  SessionStore* sessions = nullptr;      // null: nobody can log in
  std::function<std::string()> catalog;  // makes what `polaiga catalog --json` prints; throws when it cannot
  std::function<void(const std::string&)> tell;
  std::function<void()> wake_streams;  // asks all streams of the server for what is new
};

class Redfish final : public Part {
 public:
  // Throws std::runtime_error.
  Redfish(Site& site, RedfishOptions options);

  Response answer(const Request& request, const Caller& caller) override;

  // The ledger has changed. For any thread.
  void wake() { events_.wake(); }

 private:
  struct Ask {
    const Request& request;
    const Caller& caller;
    std::vector<std::string> path;    // below /redfish/v1
    std::vector<std::string> chosen;  // the segments that stand for a resource of several

    bool is_question() const { return request.method == Method::kGet || request.method == Method::kHead; }
  };
  struct Route;

  static const Route kRoutes[];

  Response route(const Request& request, const Caller& caller);
  Response below_root(Ask& ask);

  Response service_root(Ask& ask);
  Response odata(Ask& ask);
  Response metadata(Ask& ask);
  Response session_service(Ask& ask);
  Response sessions(Ask& ask);
  Response session(Ask& ask);
  Response systems(Ask& ask);
  Response system(Ask& ask);
  Response system_logs(Ask& ask);
  Response all_chassis(Ask& ask);
  Response chassis(Ask& ask);
  Response managers(Ask& ask);
  Response manager(Ask& ask);
  Response manager_logs(Ask& ask);
  Response fault_log(Ask& ask);
  Response entries(Ask& ask);
  Response entry(Ask& ask);
  Response clear_log(Ask& ask);
  Response registries(Ask& ask);
  Response registry_file(Ask& ask);
  Response registry(Ask& ask);
  Response event_service(Ask& ask);
  Response event_stream(Ask& ask);
  Response subscriptions(Ask& ask);
  Response subscription(Ask& ask);
  Response suspend(Ask& ask);
  Response resume(Ask& ask);
  Response test_event(Ask& ask);

  Site& site_;
  RedfishOptions options_;
  FaultLog log_;
  Inventory inventory_;
  Registry registry_;
  EventService events_;
};

}  // namespace polaiga::web
