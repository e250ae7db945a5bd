#include "redfish/inventory.h"

#include <algorithm>

#include "model/fault.h"
#include "model/record_text.h"
#include "redfish/errors.h"
#include "redfish/messages.h"

namespace polaiga::web {

using engine::ActiveRow;
using engine::JsonArray;
using engine::JsonObject;
using engine::Severity;

namespace {

constexpr std::size_t kMostConditions = 50;

JsonObject condition(const ActiveRow& row, const engine::AlarmProfile& profile) {
  const FilledMessage message = fault_message(row.fault.code, row.fault.dn, row.fault.name, row.fault.severity);
  JsonArray args;
  for (const std::string& arg : message.args) args.add(arg);
  return JsonObject()
      .add("MessageId", message.id)
      .add("Message", message.text)
      .add("MessageArgs", args)
      .add("Severity", message.health)
      .add("Timestamp", engine::format_moment(row.alarm_since))
      .add("Resolution", resolution_of(profile.find(row.fault.code, row.fault.dn)))
      .add("OriginOfCondition", link_to(chassis_uri(row.fault.dn)))
      .add("LogEntry", link_to(entry_uri(std::to_string(row.fault.alarm))));
}

// What operators have silenced does not count, but is listed.
JsonObject status_of(const engine::Overview& now, std::string_view dn) {
  Severity own = Severity::kCleared;
  Severity all = Severity::kCleared;
  JsonArray conditions;
  std::size_t listed = 0;
  for (const ActiveRow& row : now.active) {
    const bool is_own = row.fault.dn == dn;
    if (!engine::is_under(row.fault.dn, dn)) continue;
    if (is_own && ++listed <= kMostConditions) conditions.add(condition(row, *now.profile));
    if (row.is_silenced()) continue;
    if (is_own) own = std::max(own, row.fault.severity);
    all = std::max(all, row.fault.severity);
  }
  JsonObject status;
  status.add("State", "Enabled").add("Health", health_of(own)).add("HealthRollup", health_of(all));
  if (listed > 0) status.add("Conditions", conditions);
  return status;
}

JsonObject object_oem(const engine::Overview& now, std::string_view type, std::string_view dn) {
  const bool is_out = std::ranges::any_of(
      now.maintenance, [&](const engine::StoredMaintenance& one) { return engine::is_under(dn, one.maintenance.dn); });
  return oem(type, JsonObject().add("dn", dn).add("out_of_service", is_out));
}

JsonArray links(const std::vector<std::string>& uris) {
  JsonArray list;
  for (const std::string& uri : uris) list.add(link_to(uri));
  return list;
}

// The last level of a DN: what people call the object.
std::string_view name_of(std::string_view dn) {
  const std::size_t slash = dn.rfind('/');
  return slash == std::string_view::npos ? dn : dn.substr(slash + 1);
}

std::string manager_uri() { return redfish_uri("/Managers/polaiga"); }

JsonObject logs_of(const std::string& uri, const MemberRange& range) {
  return collection_of_links(uri + "/LogServices", schemas::kLogServices, "Logs", range, {std::string(kLogUri)});
}

}  // namespace

std::optional<std::string> Inventory::known_dn(std::string_view id) {
  auto dn = object_dn(id);
  if (!dn) return std::nullopt;
  if (log_.index()->objects.contains(*dn)) return dn;
  // The object of an alarm that has come since.
  const auto view = view_of(site_);
  const bool is_new =
      std::ranges::any_of(view->of.active, [&](const ActiveRow& row) { return engine::is_under(row.fault.dn, *dn); });
  if (!is_new || *dn == "sys") return std::nullopt;
  return dn;
}

std::vector<std::string> Inventory::system_dns() {
  std::vector<std::string> dns;
  for (const std::string& dn : log_.index()->objects) {
    if (!container_of(dn)) dns.push_back(dn);
  }
  return dns;
}

JsonObject Inventory::systems(const MemberRange& range) {
  std::vector<std::string> uris;
  for (const std::string& dn : system_dns()) uris.push_back(system_uri(dn));
  return collection_of_links(redfish_uri("/Systems"), schemas::kSystems, "Systems", range, uris);
}

std::optional<JsonObject> Inventory::system(std::string_view id) {
  const auto dn = known_dn(id);
  if (!dn || container_of(*dn)) return std::nullopt;
  const auto view = view_of(site_);
  JsonObject links_of;
  links_of.add("Chassis", links({chassis_uri(*dn)})).add("ManagedBy", links({manager_uri()}));
  JsonObject body = resource(system_uri(*dn), schemas::kSystem, id, name_of(*dn));
  body.add("SystemType", "Physical")
      .add("Status", status_of(view->of, *dn))
      .add("LogServices", link_to(system_uri(*dn) + "/LogServices"))
      .add("Links", links_of)
      .add("Boot", JsonObject())  // some clients insist on these two
      .add("Actions", JsonObject())
      .add("Oem", object_oem(view->of, "ComputerSystem.v1_0_0.Object", *dn));
  return body;
}

std::optional<JsonObject> Inventory::system_logs(std::string_view id, const MemberRange& range) {
  const auto dn = known_dn(id);
  if (!dn || container_of(*dn)) return std::nullopt;
  return logs_of(system_uri(*dn), range);
}

JsonObject Inventory::all_chassis(const MemberRange& range) {
  std::vector<std::string> uris;
  for (const std::string& dn : log_.index()->objects) uris.push_back(chassis_uri(dn));
  return collection_of_links(redfish_uri("/Chassis"), schemas::kAllChassis, "Chassis", range, uris);
}

std::optional<JsonObject> Inventory::chassis(std::string_view id) {
  const auto dn = known_dn(id);
  if (!dn) return std::nullopt;
  const auto view = view_of(site_);
  const auto container = container_of(*dn);
  std::vector<std::string> contained;
  for (const std::string& other : log_.index()->objects) {
    if (container_of(other) == dn) contained.push_back(chassis_uri(other));
  }
  JsonObject links_of;
  if (container) {
    links_of.add("ContainedBy", link_to(chassis_uri(*container)));
  } else {
    links_of.add("ComputerSystems", links({system_uri(*dn)}));
  }
  links_of.add("Contains", links(contained)).add("ManagedBy", links({manager_uri()}));
  JsonObject body = resource(chassis_uri(*dn), schemas::kChassis, id, name_of(*dn));
  body.add("ChassisType", container ? "Component" : "RackMount")
      .add("Status", status_of(view->of, *dn))
      .add("Links", links_of)
      .add("Oem", object_oem(view->of, "Chassis.v1_0_0.Object", *dn));
  return body;
}

JsonObject Inventory::managers(const MemberRange& range) {
  return collection_of_links(redfish_uri("/Managers"), schemas::kManagers, "Managers", range, {manager_uri()});
}

JsonObject Inventory::manager_logs(const MemberRange& range) { return logs_of(manager_uri(), range); }

JsonObject Inventory::manager() {
  std::vector<std::string> managed_systems;
  std::vector<std::string> managed_chassis;
  for (const std::string& dn : system_dns()) {
    managed_systems.push_back(system_uri(dn));
    managed_chassis.push_back(chassis_uri(dn));
  }
  JsonObject links_of;
  links_of.add("ManagerForServers", links(managed_systems)).add("ManagerForChassis", links(managed_chassis));
  const bool is_running = site_.engine.is_running();
  JsonObject state;
  state.add("State", is_running ? "Enabled" : "UnavailableOffline").add("Health", is_running ? "OK" : "Critical");
  JsonObject body = resource(manager_uri(), schemas::kManager, "polaiga", "polaiga");
  body.add("Description", "The engine that turns the events of sensors into alarms")
      .add("ManagerType", "Service")
      .add("Status", state)
      .add("LogServices", link_to(manager_uri() + "/LogServices"))
      .add("Links", links_of);
  return body;
}

}  // namespace polaiga::web
