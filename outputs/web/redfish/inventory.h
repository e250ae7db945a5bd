// Systems, chassis and the manager: what the alarms are of, with the health that they give it.
#pragma once

#include <optional>
#include <string_view>

#include "redfish/fault_log.h"

namespace polaiga::web {

class Inventory {
 public:
  Inventory(Site& site, FaultLog& log) : site_(site), log_(log) {}

  // Each throws Refusal as long as the ledger cannot be read, and LedgerError. Nothing: there is no such object.
  engine::JsonObject systems(const MemberRange& range);
  std::optional<engine::JsonObject> system(std::string_view id);
  std::optional<engine::JsonObject> system_logs(std::string_view id, const MemberRange& range);
  engine::JsonObject all_chassis(const MemberRange& range);
  std::optional<engine::JsonObject> chassis(std::string_view id);
  static engine::JsonObject managers(const MemberRange& range);
  engine::JsonObject manager();
  static engine::JsonObject manager_logs(const MemberRange& range);

 private:
  std::optional<std::string> known_dn(std::string_view id);
  std::vector<std::string> system_dns();

  Site& site_;
  FaultLog& log_;
};

}  // namespace polaiga::web
