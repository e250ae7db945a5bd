// The active alarms and their objects, as the tables of SNMP have them: in the order of their rows' names, and counted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "oids/oid.h"
#include "picture/output_alarm.h"
#include "tables/row_map.h"

namespace polaiga::snmp {

struct ObjectRow {
  // How many active alarms it has of each severity.
  std::array<std::uint32_t, 6> alarms = {};
  std::uint32_t out_of_service_alarms = 0;
  bool is_maintained = false;  // operators took it out of service, and not only one above it

  std::uint32_t count() const;
  engine::Severity worst() const;
  bool is_out_of_service() const { return is_maintained || out_of_service_alarms != 0; }
};

class AlarmView {
 public:
  using Alarms = std::map<engine::ChangeNumber, output::OutputAlarm>;

  // The alarms must outlive this. They are looked at when they are asked for.
  explicit AlarmView(const Alarms& alarms) : alarms_(alarms) {}

  // All alarms may have changed.
  void read_all();
  // These alarms may have changed.
  void read(const std::vector<engine::ChangeNumber>& touched);
  // The objects that are out of service, whether they have alarms or not. Those below them are not named.
  void set_maintained(const std::set<std::string>& dns);

  const Alarms& alarms() const { return alarms_; }
  const output::OutputAlarm* alarm(engine::ChangeNumber number) const;
  const RowMap<ObjectRow>& objects() const { return objects_; }
  // The rows of alarmActiveTable, with the numbers of their alarms.
  const RowMap<engine::ChangeNumber>& by_time() const { return by_time_; }
  std::uint32_t count(engine::Severity severity) const { return counts_.at(static_cast<std::size_t>(severity)); }
  std::uint32_t silenced() const { return silenced_; }
  // An object without a row has no alarms.
  engine::Severity worst_of(const std::string& dn) const;
  // How often an alarm began or ended.
  std::uint64_t comings_and_goings() const { return comings_and_goings_; }

 private:
  // What of an alarm counts in the tables above.
  struct Counted {
    Oid by_time;
    std::string dn;
    engine::Severity severity = engine::Severity::kIndeterminate;
    bool is_silenced = false;
    bool is_out_of_service = false;
  };

  void take(engine::ChangeNumber number);
  void add(engine::ChangeNumber number, const output::OutputAlarm& alarm);
  void remove_if_empty(const std::string& dn);

  const Alarms& alarms_;
  std::map<engine::ChangeNumber, Counted> counted_;
  RowMap<ObjectRow> objects_;
  RowMap<engine::ChangeNumber> by_time_;
  std::array<std::uint32_t, 6> counts_ = {};
  std::uint32_t silenced_ = 0;
  std::uint64_t comings_and_goings_ = 0;
  std::set<std::string> maintained_;
};

// The name of a row of alarmActiveTable or alarmClearTable, in the list without a name.
Oid listed_index(engine::Moment at, engine::ChangeNumber number);

}  // namespace polaiga::snmp
