// All controllers at once, as one question of a few statements.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <pqxx/transaction>
#include <string>
#include <vector>

#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::fleet {

// Active alarms. What is shelved or out of service counts as silenced alone.
struct AlarmCounts {
  std::array<std::uint64_t, 6> of_severity{};
  std::uint64_t unacknowledged = 0;
  std::uint64_t silenced = 0;

  std::uint64_t of(engine::Severity severity) const { return of_severity.at(static_cast<std::size_t>(severity)); }
  // kCleared: there is none.
  engine::Severity worst() const;
  std::uint64_t all() const;
  AlarmCounts& operator+=(const AlarmCounts& other);
};

struct ControllerRow {
  std::int64_t id = 0;
  std::string site = {};
  std::string name = {};
  bool is_online = false;
  bool is_engine_answering = false;
  std::string version = {};
  engine::Moment heard = 0;
  std::optional<engine::Moment> silent_since = {};
  std::string ledger_id = {};  // empty: none is known yet
  std::int64_t through = 0;
  std::int64_t wanted_through = 0;
  bool is_list_wanted = false;
  AlarmCounts counts = {};

  // How many of its changes are known of, and not here yet.
  std::int64_t behind() const { return wanted_through > through ? wanted_through - through : 0; }
};

struct SiteRow {
  std::string name = {};
  std::uint64_t controllers = 0;
  std::uint64_t silent = 0;
  std::uint64_t changes = 0;  // that were taken of the ledgers that its controllers have now
  std::uint64_t behind = 0;
  AlarmCounts counts = {};
};

// Alarms of one fault that began at about the same time on several controllers of a site.
struct GroupRow {
  std::int64_t number = 0;
  std::string site = {};
  std::int64_t code = 0;
  std::string name = {};
  std::string description = {};
  engine::Moment first_created = 0;
  engine::Moment last_created = 0;
  std::uint64_t alarms = 0;
  std::uint64_t controllers = 0;
  engine::Severity worst = engine::Severity::kIndeterminate;  // of those that are active; if none is, of all there were
  std::uint64_t active = 0;                                   // of its alarms
  std::uint64_t unacknowledged = 0;                           // of those that are active
};

struct CollectorRow {
  std::string name = {};
  engine::Moment begun = 0;
  engine::Moment heard = 0;
  std::string version = {};
  std::int64_t queues = 0;
  std::uint64_t messages = 0;
  std::uint64_t changes = 0;
  std::uint64_t repeats = 0;
  std::uint64_t early = 0;
  std::uint64_t dead_letters = 0;
  std::string last_problem = {};
  std::optional<engine::Moment> last_problem_at = {};
};

struct Overview {
  std::vector<SiteRow> sites = {};              // by name
  std::vector<ControllerRow> controllers = {};  // by site and name
  std::vector<GroupRow> groups = {};            // that have active alarms, the latest first
  std::vector<CollectorRow> collectors = {};    // by name
  AlarmCounts counts = {};
  std::uint64_t silent = 0;  // controllers
};

// The latest groups are looked at; of them, those with active alarms are in the overview.
inline constexpr int kGroupsLookedAt = 100;

Overview read_overview(pqxx::transaction_base& transaction);
std::vector<CollectorRow> read_collectors(pqxx::transaction_base& transaction);

struct GroupsWanted {
  std::string site = {};                    // empty: of all sites
  std::optional<std::int64_t> number = {};  // that group alone
  std::optional<std::int64_t> before = {};  // groups with smaller numbers
  bool is_active_only = false;              // those that have active alarms
  std::int64_t limit = kGroupsLookedAt;
};
// The latest first.
std::vector<GroupRow> read_groups(pqxx::transaction_base& transaction, const GroupsWanted& wanted);

// Sums of the controllers of each site.
std::vector<SiteRow> sites_of(const std::vector<ControllerRow>& controllers);

}  // namespace polaiga::fleet
