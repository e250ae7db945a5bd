// The search for groups of alarms.
#include <algorithm>
#include <map>
#include <pqxx/result>
#include <pqxx/transaction>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "database/duties.h"
#include "database/duty.h"
#include "database/grouping.h"
#include "database/row_arrays.h"

namespace polaiga::fleet {
namespace {

constexpr int kMostNewAlarms = 2000;  // that are looked at at once
// Alarms that began at about the same time and are in no group yet: of a fault around one time, and in all.
constexpr int kMostNeighbours = 20'000;
constexpr int kMostAlarms = 100'000;

struct Fault {
  std::int64_t site_id = 0;
  std::int64_t code = 0;
  std::string name;

  bool operator<(const Fault& other) const {
    return std::tie(site_id, code, name) < std::tie(other.site_id, other.code, other.name);
  }
};

// What is known of a fault at a site, around the times at which new alarms began.
struct Candidates {
  std::vector<std::int64_t> due;        // the new alarms
  std::vector<engine::Moment> created;  // when these began
  std::vector<GroupableAlarm> alarms;   // in no group yet
  std::vector<AlarmGroup> groups;
};
using ByFault = std::map<Fault, Candidates>;

Fault read_fault(const pqxx::row& row) {
  return {.site_id = row[0].as<std::int64_t>(), .code = row[1].as<std::int64_t>(), .name = row[2].as<std::string>()};
}

ByFault read_due(pqxx::work& transaction) {
  ByFault faults;
  for (const pqxx::row& row : transaction.exec_params(
           "select site_id, code, name, alarm_no, extract(epoch from created)::bigint from alarm where is_grouping_due "
           "order by alarm_no limit $1",
           kMostNewAlarms)) {
    Candidates& candidates = faults[read_fault(row)];
    candidates.due.push_back(row[3].as<std::int64_t>());
    candidates.created.push_back(row[4].as<engine::Moment>());
  }
  return faults;
}

struct Period {
  engine::Moment first = 0;
  engine::Moment last = 0;
};

// The times around those at which alarms began. Times that overlap are one; a controller whose clock is wrong by years
// does not join them.
std::vector<Period> periods_around(std::vector<engine::Moment> moments, std::int64_t window) {
  std::ranges::sort(moments);
  std::vector<Period> periods;
  for (const engine::Moment moment : moments) {
    if (!periods.empty() && moment - window <= periods.back().last) {
      periods.back().last = moment + window;
    } else {
      periods.push_back({.first = moment - window, .last = moment + window});
    }
  }
  return periods;
}

void read_neighbours(pqxx::work& transaction, std::int64_t window, ByFault& faults) {
  const auto fault_rows = [&faults, window] {
    RowArrays rows{
        {"site_id", "integer"}, {"code", "bigint"}, {"name", "text"}, {"first", "bigint"}, {"last", "bigint"}};
    for (const auto& [fault, candidates] : faults) {
      for (const Period& period : periods_around(candidates.created, window)) {
        rows.number(fault.site_id).number(fault.code).text(fault.name).number(period.first).number(period.last);
      }
    }
    return rows;
  };
  RowArrays rows = fault_rows();
  for (const pqxx::row& row :
       rows.run(transaction,
                "select a.site_id, a.code, a.name, a.alarm_no, a.controller_id, extract(epoch from a.created)::bigint "
                "from " +
                    rows.as_w() +
                    " join lateral (select * from alarm a where a.site_id = w.site_id and a.code = w.code and "
                    "a.name = w.name and a.created between to_timestamp(w.first) and to_timestamp(w.last) and "
                    "a.group_no is null order by a.created desc limit " +
                    std::to_string(kMostNeighbours) + ") a on true limit " + std::to_string(kMostAlarms))) {
    faults.at(read_fault(row))
        .alarms.push_back({.alarm_no = row[3].as<std::int64_t>(),
                           .controller_id = row[4].as<std::int64_t>(),
                           .created = row[5].as<engine::Moment>()});
  }
  rows = fault_rows();
  for (const pqxx::row& row :
       rows.run(transaction,
                "select distinct g.site_id, g.code, g.name, g.group_no, extract(epoch from g.first_created)::bigint, "
                "extract(epoch from g.last_created)::bigint from " +
                    rows.as_w() +
                    " join alarm_group g on g.site_id = w.site_id and g.code = w.code and g.name = w.name and "
                    "g.last_created >= to_timestamp(w.first) and g.first_created <= to_timestamp(w.last) "
                    "order by 5, 4")) {
    faults.at(read_fault(row))
        .groups.push_back({.group_no = row[3].as<std::int64_t>(),
                           .first_created = row[4].as<engine::Moment>(),
                           .last_created = row[5].as<engine::Moment>()});
  }
}

std::set<std::int64_t> lock_alarms(pqxx::work& transaction, const std::set<std::int64_t>& wanted) {
  RowArrays rows{{"alarm_no", "bigint"}};
  for (const std::int64_t alarm_no : wanted) rows.number(alarm_no);
  std::set<std::int64_t> locked;
  if (rows.empty()) return locked;
  for (const pqxx::row& row :
       rows.run(transaction, "select a.alarm_no from alarm a where a.alarm_no in (select alarm_no from " + rows.as_w() +
                                 ") order by a.alarm_no for update skip locked")) {
    locked.insert(row[0].as<std::int64_t>());
  }
  return locked;
}

std::int64_t add_group(pqxx::work& transaction, const Fault& fault, const AlarmGroup& group) {
  return transaction
      .exec_params1(
          "insert into alarm_group (site_id, code, name, description, first_created, last_created, first_alarm_no, "
          "alarms, controllers, worst) select $1, $2, $3, a.description, to_timestamp($4::bigint), "
          "to_timestamp($5::bigint), a.alarm_no, 0, 0, a.worst from alarm a where a.alarm_no = $6 returning group_no",
          fault.site_id, fault.code, fault.name, group.first_created, group.last_created,
          group.members.front().alarm_no)[0]
      .as<std::int64_t>();
}

// Counts anew what is in groups that got alarms.
void count_members(pqxx::work& transaction, const std::set<std::int64_t>& groups) {
  RowArrays rows{{"group_no", "bigint"}};
  for (const std::int64_t group_no : groups) rows.number(group_no);
  if (rows.empty()) return;
  rows.run(transaction,
           "update alarm_group g set alarms = n.alarms, controllers = n.controllers, worst = n.worst, "
           "first_created = n.first_created, last_created = n.last_created from (select a.group_no, "
           "count(*) as alarms, count(distinct a.controller_id) as controllers, max(a.worst) as worst, "
           "min(a.created) as first_created, max(a.created) as last_created from alarm a "
           "where a.group_no in (select group_no from " +
               rows.as_w() + ") group by a.group_no) n where g.group_no = n.group_no");
}

}  // namespace

// Alarms that somebody is writing right now are not waited for: then the fault is looked at again the next time.
std::uint64_t Duties::find_groups(std::chrono::seconds window) {
  return database_.use([window](pqxx::connection& connection) -> std::uint64_t {
    pqxx::work transaction(connection);
    if (!take_duty(transaction, Duty::kGroups)) return 0;
    ByFault faults = read_due(transaction);
    if (faults.empty()) return 0;
    read_neighbours(transaction, window.count(), faults);

    std::map<Fault, std::vector<AlarmGroup>> found;
    std::set<std::int64_t> wanted;
    for (auto& [fault, candidates] : faults) {
      auto groups = group_alarms(std::move(candidates.alarms), candidates.groups, window.count(), kFewestControllers);
      for (const AlarmGroup& group : groups) {
        for (const GroupableAlarm& alarm : group.members) wanted.insert(alarm.alarm_no);
      }
      wanted.insert(candidates.due.begin(), candidates.due.end());
      found[fault] = std::move(groups);
    }
    const std::set<std::int64_t> locked = lock_alarms(transaction, wanted);

    std::uint64_t looked_at = 0;
    RowArrays members{{"alarm_no", "bigint"}, {"group_no", "bigint"}};
    RowArrays done{{"alarm_no", "bigint"}};
    std::set<std::int64_t> touched;
    for (auto& [fault, groups] : found) {
      const auto is_locked = [&locked](std::int64_t alarm_no) { return locked.contains(alarm_no); };
      const bool are_all_locked =
          std::ranges::all_of(groups,
                              [&](const AlarmGroup& group) {
                                return std::ranges::all_of(group.members, is_locked, &GroupableAlarm::alarm_no);
                              }) &&
          std::ranges::all_of(faults.at(fault).due, is_locked);
      if (!are_all_locked) continue;
      for (const AlarmGroup& group : groups) {
        const std::int64_t group_no = group.group_no != 0 ? group.group_no : add_group(transaction, fault, group);
        touched.insert(group_no);
        for (const GroupableAlarm& alarm : group.members) members.number(alarm.alarm_no).number(group_no);
      }
      for (const std::int64_t alarm_no : faults.at(fault).due) done.number(alarm_no);
      looked_at += faults.at(fault).due.size();
    }
    if (!members.empty()) {
      members.run(transaction,
                  "update alarm a set group_no = w.group_no from " + members.as_w() + " where a.alarm_no = w.alarm_no");
    }
    if (!done.empty()) {
      done.run(transaction,
               "update alarm a set is_grouping_due = false from " + done.as_w() + " where a.alarm_no = w.alarm_no");
    }
    count_members(transaction, touched);
    transaction.commit();
    return looked_at;
  });
}

}  // namespace polaiga::fleet
