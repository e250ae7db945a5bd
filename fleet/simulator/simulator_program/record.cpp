#include "simulator_program/record.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "report/json_object.h"

namespace polaiga::fleet {
namespace {

using engine::ChangeNumber;
using engine::JsonArray;
using engine::JsonObject;

JsonArray changes_of(const SimulatedLedger& ledger) {
  JsonArray changes;
  for (ChangeNumber first = ledger.told_after(0); first != 0;) {
    ChangeNumber last = first;
    while (last < ledger.number() && ledger.is_told(last + 1)) ++last;
    changes.add(JsonObject().add("first", first).add("last", last));
    first = ledger.told_after(last);
  }
  return changes;
}

JsonArray alarms_of(const SimulatedLedger& ledger) {
  JsonArray alarms;
  for (const auto& [alarm, last] : ledger.active()) {
    const RecordedChange& change = ledger.last_change_of(alarm);
    alarms.add(JsonObject()
                   .add("number", alarm)
                   .add("last_change", last)
                   .add("fault_dn", change.fault_dn)
                   .add("severity", change.severity));
  }
  return alarms;
}

}  // namespace

void write_record(const std::string& path, const SimulatedFleet& fleet) {
  std::ofstream file(path);
  for (std::size_t i = 0; i < fleet.size(); ++i) {
    const SimulatedTeller& teller = fleet.teller(i);
    file << JsonObject()
                .add("site", teller.name().site)
                .add("controller", teller.name().controller)
                .add("ledger_id", teller.ledger().id())
                .add("changes", changes_of(teller.ledger()))
                .add("alarms", alarms_of(teller.ledger()))
                .line();
  }
  if (!file.flush()) throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace polaiga::fleet
