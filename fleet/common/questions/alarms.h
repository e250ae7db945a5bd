// Alarms of all controllers, and the changes of one.
#pragma once

#include <cstdint>
#include <optional>
#include <pqxx/transaction_base>
#include <string>
#include <string_view>
#include <vector>

#include "model/dictionary.h"
#include "model/moment.h"
#include "model/operator_action.h"

namespace polaiga::fleet {

struct AlarmRow {
  std::int64_t id = 0;  // among all alarms of the fleet
  std::string site = {};
  std::string controller = {};
  std::string ledger_id = {};  // empty: an alarm of the fleet, because the controller is silent
  std::int64_t number = 0;     // in its ledger
  std::int64_t fault = 0;
  std::string fault_dn = {};
  std::string dn = {};
  std::int64_t code = 0;
  std::string name = {};
  std::string sensor = {};
  std::string description = {};
  std::string cause = {};
  std::string oid = {};
  engine::Severity severity = engine::Severity::kIndeterminate;
  engine::Severity worst = engine::Severity::kIndeterminate;
  engine::Moment created = 0;
  engine::Moment since = 0;
  engine::Moment updated = 0;
  std::optional<engine::Moment> cleared = {};
  std::string ended = {};  // how; empty: it is active
  std::int64_t count = 0;
  std::int64_t reporters = 0;
  engine::OperatorState state = engine::OperatorState::kNone;
  bool is_out_of_service = false;
  std::string acknowledged_by = {};
  std::int64_t raises = 0;
  std::optional<std::int64_t> group = {};
};

struct AlarmFilter {
  std::string site = {};
  std::string controller = {};
  std::optional<engine::Severity> least = {};
  std::optional<engine::OperatorState> state = {};
  bool is_unacknowledged = false;
  bool is_silenced = false;  // those that are silenced alone
  bool is_all = false;       // those, too
  std::string text = {};     // found in the DN, the name, the description or the sensor, in any letters
  std::optional<std::int64_t> group = {};
};

enum class AlarmOrder { kNewest, kWorst };

// How many alarms are counted at most.
inline constexpr std::int64_t kMostCounted = 10'000;

struct ActiveAlarms {
  std::vector<AlarmRow> rows = {};
  std::int64_t found = 0;  // up to kMostCounted
  bool is_more = false;    // there are more than that
};

ActiveAlarms read_active(pqxx::transaction_base& transaction, const AlarmFilter& filter, AlarmOrder order,
                         std::int64_t limit, std::int64_t skip);

std::optional<AlarmRow> read_alarm(pqxx::transaction_base& transaction, std::int64_t id);
std::optional<AlarmRow> read_alarm(pqxx::transaction_base& transaction, const std::string& ledger_id,
                                   std::int64_t number);

struct HistoryWanted {
  std::string site = {};
  std::string controller = {};
  std::string fault_dn = {};  // of a controller
  std::optional<std::int64_t> group = {};
  std::optional<std::int64_t> before = {};  // alarms that come before this one in the list
  std::int64_t limit = 100;
};
// The latest first, active ones, too.
std::vector<AlarmRow> read_history(pqxx::transaction_base& transaction, const HistoryWanted& wanted);

struct ChangesRead {
  std::string ledger_id = {};  // empty: there is no such controller, or no ledger of it is known yet
  std::int64_t through = 0;
  std::vector<std::string> bodies = {};  // JSON, as the controller sent them
};
// Of the ledger that the controller has now, after a number.
ChangesRead read_changes(pqxx::transaction_base& transaction, const std::string& site, const std::string& controller,
                         std::int64_t after, std::int64_t limit);

// Of one alarm, the latest first. One of the fleet itself has no changes, but what operators did with it.
struct AlarmStep {
  std::int64_t number = 0;  // of the change, or of the action
  std::string kind = {};
  engine::Moment at = 0;
  engine::Severity before = engine::Severity::kCleared;
  engine::Severity after = engine::Severity::kCleared;
  std::string person = {};
  std::string comment = {};
};
std::vector<AlarmStep> read_steps(pqxx::transaction_base& transaction, const AlarmRow& alarm, std::int64_t limit);

}  // namespace polaiga::fleet
