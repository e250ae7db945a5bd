// The publisher: follows a ledger, and has all that managers ask for and are told.
#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "agent/notifier.h"
#include "agent/options.h"
#include "agentx/master_session.h"
#include "base/clock.h"
#include "picture/followed_ledger.h"
#include "publisher/report.h"
#include "tables/object_tree.h"

namespace polaiga::snmp {

// What another start does not mend.
class LedgerIsFull : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Publisher {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  static constexpr const char* kName = "snmp";

  // The clock must outlive this.
  Publisher(const Options& options, const engine::Clock& clock, Tell tell);

  // Does all that can be done now. Throws LedgerIsFull when SNMP has no numbers for further changes.
  void go_on();

  int fd() const { return master_.fd(); }
  short poll_events() const { return master_.poll_events(); }
  std::chrono::milliseconds until_next() const;

  // Nothing before a ledger was read.
  std::optional<output::Report> report();
  std::string status() const;

 private:
  static constexpr std::chrono::seconds kLookForMaintenance{1};
  static constexpr std::chrono::seconds kLookForOldest{1};
  static constexpr std::chrono::milliseconds kNotMoreOften{50};

  void follow();
  void begin_ledger();
  void forget();
  // Whether the notifier tells of the ledger that is followed.
  bool has_begun() const { return followed_.ledger_id() == ledger_id_; }
  void read_maintenance();
  LedgerFacts facts();

  const Options& options_;
  const engine::Clock& clock_;
  Tell tell_;
  Places places_;
  output::FollowedLedger followed_;
  AlarmView view_;
  ChangeTable changes_;
  ClearedAlarms cleared_;
  ObjectTree objects_;
  MasterSession master_;
  Notifier notifier_;
  std::string ledger_id_;  // of which the notifier tells
  bool has_more_ = false;
  bool is_new_ = false;                 // the picture was read anew, and not everything that is made of it was
  engine::ChangeNumber table_of_ = -1;  // the change up to which the table of changes goes
  engine::Clock::Steady table_at_{};
  std::optional<engine::LedgerReader> reader_;  // for the objects that are out of service
  engine::ChangeNumber maintenance_of_ = -1;    // the change after which they were read last
  engine::Clock::Steady maintenance_at_{};
  std::uint64_t comings_and_goings_ = 0;
  std::uint32_t last_changed_ = 0;  // sysUpTime
  bool has_picture_ = false;
  std::string last_error_;
  std::string error_now_;
  std::optional<engine::Moment> last_error_at_;
};

}  // namespace polaiga::snmp
