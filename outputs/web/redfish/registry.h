// The message registry of our events, made of the catalog of faults.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "http/message.h"
#include "model/alarm_profile.h"
#include "redfish/resource.h"
#include "report/json_object.h"

namespace polaiga::web {

// What the catalog says, JSON Lines of `polaiga catalog --json`, and the site's advice, as the text of a
// MessageRegistry. Throws std::exception for a catalog that is not right.
std::string message_registry(std::string_view catalog, const engine::AlarmProfile& profile);

class Registry {
 public:
  // `catalog` makes the catalog; it may take a while, and throws when it cannot be made.
  explicit Registry(std::function<std::string()> catalog) : catalog_(std::move(catalog)) {}

  // The collection with the one file that there is.
  static engine::JsonObject files(const MemberRange& range);
  // Where it is, a MessageRegistryFile.
  static engine::JsonObject file();

  // Throws Refusal.
  Body text(const std::shared_ptr<const engine::AlarmProfile>& profile);

 private:
  std::function<std::string()> catalog_;
  std::mutex mutex_;
  std::string faults_;                                   // "": they were not asked for yet
  std::shared_ptr<const engine::AlarmProfile> profile_;  // that the text was made with
  Body text_;
};

}  // namespace polaiga::web
