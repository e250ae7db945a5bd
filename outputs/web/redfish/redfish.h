// /redfish: the alarms as a Redfish service (DMTF's DSP0266) shows them to management software.
#pragma once

#include <cstdint>
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
#include "redfish/session_service.h"

namespace polaiga::web {

struct RedfishOptions {
  std::string state_directory;  // for subscriptions; empty: events are not pushed
  PushOptions push;
  SessionDesk* sessions = nullptr;       // null: nobody can log in
  std::function<std::string()> catalog;  // makes what `polaiga catalog --json` prints; throws when it cannot
  Pusher::Tell tell;                     // is called by several threads
  std::function<void()> wake_streams;    // asks all streams of the server for what is new
};

class Redfish final : public Part {
 public:
  // Throws std::runtime_error.
  Redfish(Site& site, RedfishOptions options);

  Response answer(const Request& request, const Caller& caller) override;
  Response refused(const Request& request, Response response) override;

  // The ledger has changed. For any thread.
  void wake() { events_.wake(); }

 private:
  struct Ask {
    const Request& request;
    const Caller& caller;
    std::string chosen;  // the segment of the path that names one resource of several

    MemberRange range(std::size_t usual = MemberRange::kMost) const { return read_member_range(request.target, usual); }
  };
  // Which rights a caller needs.
  enum class Needs : std::uint8_t {
    kNothing,  // whoever asks; the resource tells what he must do to be let in
    kSight,    // to ask: the right to see; to change: the right to act
    kOwn,      // the resource looks itself, after the right to see
  };
  // Collections take $top and $skip.
  enum class Shape : std::uint8_t { kOne, kCollection };
  struct Route;

  static const Route kRoutes[];

  Response route(const Request& request, const Caller& caller);
  Response below_root(Ask ask, const std::vector<std::string>& path);

  Response root(const Ask& ask);
  Response odata(const Ask& ask);
  Response metadata(const Ask& ask);
  Response session_service(const Ask& ask);
  Response sessions(const Ask& ask);
  Response session(const Ask& ask);
  Response systems(const Ask& ask);
  Response system(const Ask& ask);
  Response system_logs(const Ask& ask);
  Response all_chassis(const Ask& ask);
  Response chassis(const Ask& ask);
  Response managers(const Ask& ask);
  Response manager(const Ask& ask);
  Response manager_logs(const Ask& ask);
  Response fault_log(const Ask& ask);
  Response entries(const Ask& ask);
  Response entry(const Ask& ask);
  Response clear_log(const Ask& ask);
  Response registries(const Ask& ask);
  Response registry_file(const Ask& ask);
  Response registry(const Ask& ask);
  Response event_service(const Ask& ask);
  Response event_stream(const Ask& ask);
  Response subscriptions(const Ask& ask);
  Response subscription(const Ask& ask);
  Response suspend(const Ask& ask);
  Response resume(const Ask& ask);
  Response test_event(const Ask& ask);

  Site& site_;
  RedfishOptions options_;
  SessionService sessions_;
  FaultLog log_;
  Inventory inventory_;
  Registry registry_;
  EventService events_;
};

}  // namespace polaiga::web
