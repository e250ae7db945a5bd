#include "tables/object_tree.h"

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace polaiga::snmp {
namespace {

using engine::Severity;

// A table that somebody else owns.
class Shared final : public Table {
 public:
  explicit Shared(const Table& table) : table_(table) {}

  std::optional<Value> get(std::uint32_t column, OidView index) const override { return table_.get(column, index); }
  std::optional<Cell> next(std::uint32_t column, const RowStart& start) const override {
    return table_.next(column, start);
  }

 private:
  const Table& table_;
};

Value number_value(engine::ChangeNumber number) { return unsigned_number(static_cast<std::uint64_t>(number)); }

Value ledger_value(std::uint32_t object, const LedgerFacts& facts) {
  switch (object) {
    case kLedgerId:
      return text(facts.ledger_id);
    case kLastNumber:
      return number_value(facts.last);
    case kOldestNumber:
      return number_value(facts.oldest);
    case kToldNumber:
      return number_value(facts.told);
    default:
      return text(facts.problem);
  }
}

Value count_value(std::uint32_t object, const AlarmView& view) {
  switch (object) {
    case kActiveAlarms:
      return unsigned_number(view.alarms().size());
    case kActiveCritical:
      return unsigned_number(view.count(Severity::kCritical));
    case kActiveMajor:
      return unsigned_number(view.count(Severity::kMajor));
    case kActiveMinor:
      return unsigned_number(view.count(Severity::kMinor));
    case kActiveWarning:
      return unsigned_number(view.count(Severity::kWarning));
    case kActiveIndeterminate:
      return unsigned_number(view.count(Severity::kIndeterminate));
    case kSilencedAlarms:
      return unsigned_number(view.silenced());
    default:
      return unsigned_number(view.objects().size());
  }
}

OwnedRegions own_regions(const Places& places, const AlarmView& view, const ChangeTable& changes,
                         const ObjectTree::Facts& facts) {
  OwnedRegions owned;
  for (const std::uint32_t object : columns(kLedgerId, kLedgerProblem)) {
    owned.add_scalar(joined(places.group(kLedgerArc), Oid{object}),
                     [facts, object] { return ledger_value(object, facts()); });
  }
  for (const std::uint32_t object : columns(kActiveAlarms, kObjectCount)) {
    owned.add_scalar(joined(places.group(kCountsArc), Oid{object}),
                     [&view, object] { return count_value(object, view); });
  }
  owned.add(places.entry(kAlarmTableArc), alarm_columns(), std::make_unique<AlarmTable>(view));
  owned.add(places.entry(kObjectTableArc), object_columns(), std::make_unique<ObjectTable>(view));
  owned.add(places.entry(kChangeTableArc), change_columns(), std::make_unique<Shared>(changes));
  return owned;
}

std::vector<Region> all_regions(const OwnedRegions& own, const StandardTables& standard) {
  std::vector<Region> all = own.regions;
  all.insert(all.end(), standard.regions().begin(), standard.regions().end());
  return all;
}

}  // namespace

ObjectTree::ObjectTree(const Places& places, const AlarmView& view, const ChangeTable& changes,
                       const ClearedAlarms& cleared, const Facts& facts,
                       const StandardTables::LastChanged& last_changed)
    : owned_(own_regions(places, view, changes, facts)),
      standard_(places, view, cleared, last_changed),
      tree_(all_regions(owned_, standard_)) {}

}  // namespace polaiga::snmp
