// The log of faults: each alarm of the ledger is an entry, the latest first.
#pragma once

#include <chrono>
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
  std::string ledger_id;
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

  // It may be a little old: making it takes its time with a large ledger, so at most a tenth of all time is spent on
  // it.
  std::shared_ptr<const LogIndex> index();

 private:
  std::shared_ptr<const LogIndex> usable(const View& view);
  std::shared_ptr<const LogIndex> make(const View& view) const;

  Site& site_;
  std::mutex making_;  // one makes an index, and those who need it wait
  std::mutex mutex_;   // of what follows; never held for long
  std::shared_ptr<const LogIndex> index_;
  std::chrono::steady_clock::time_point next_{};  // when another one may be made
  bool is_being_made_ = false;
};

// What the server shows now. Throws Refusal as long as the ledger cannot be read.
std::shared_ptr<const View> view_of(const Site& site);

// An alarm as an entry. `description` is what its latest record says; it may be empty.
engine::JsonObject log_entry(const engine::StoredAlarm& alarm, std::string_view ledger_id,
                             const engine::AlarmProfile& profile, std::string_view description);

}  // namespace polaiga::web
