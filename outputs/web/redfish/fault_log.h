// The log of faults: each alarm of the ledger is an entry, the latest first.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/site.h"
#include "redfish/objects.h"
#include "redfish/resource.h"

namespace polaiga::web {

// What the ledger has at one moment: the numbers of its alarms and the objects that they are of.
struct LogIndex {
  std::uint64_t version = 0;                  // of the view
  std::vector<engine::ChangeNumber> numbers;  // ascending
  Dns objects;                                // with those that contain them
};

class FaultLog {
 public:
  explicit FaultLog(Site& site) : site_(site) {}

  // Each throws Refusal as long as the ledger cannot be read, and LedgerError.
  engine::JsonObject service() const;
  engine::JsonObject entries(const MemberRange& range);
  // Nothing: there is no such entry.
  std::optional<engine::JsonObject> entry(std::string_view id);

  std::shared_ptr<const LogIndex> index();

 private:
  Site& site_;
  std::mutex mutex_;
  std::shared_ptr<const LogIndex> index_;
};

// What the server shows now. Throws Refusal as long as the ledger cannot be read.
std::shared_ptr<const View> view_of(const Site& site);

// An alarm as an entry. `description` is what its latest record says; it may be empty.
engine::JsonObject log_entry(const engine::StoredAlarm& alarm, std::string_view ledger_id,
                             const engine::AlarmProfile& profile, std::string_view description);

}  // namespace polaiga::web
