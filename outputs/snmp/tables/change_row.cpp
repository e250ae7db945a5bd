#include "tables/change_row.h"

#include <charconv>
#include <string_view>
#include <utility>

#include "model/record_text.h"

namespace polaiga::snmp {
namespace {

using engine::ChangeKind;
using engine::Severity;

Oid arcs_of(std::string_view dotted) {
  Oid arcs;
  const char* at = dotted.data();
  const char* const end = at + dotted.size();
  while (at < end) {
    std::uint32_t arc = 0;
    const auto read = std::from_chars(at, end, arc);
    if (read.ec != std::errc()) break;
    arcs.push_back(arc);
    at = read.ptr < end ? read.ptr + 1 : end;
  }
  return arcs;
}

// The DN of a fault is that of its object, "/fault-F" and its code.
void split_fault_dn(ChangeRow& row) {
  constexpr std::string_view kMark = "/fault-F";
  const std::size_t mark = row.fault_dn.rfind(kMark);
  if (mark == std::string::npos) {
    row.dn = row.fault_dn;
    return;
  }
  row.dn = row.fault_dn.substr(0, mark);
  const char* const begin = row.fault_dn.data() + mark + kMark.size();
  std::from_chars(begin, row.fault_dn.data() + row.fault_dn.size(), row.code);
  row.name = engine::fault_name(row.code);
}

void take_record(ChangeRow& row, const engine::StoredRecord& stored) {
  const fe_fault_record& record = stored.record;
  row.sensor = engine::field_text(stored.event.event.event.sensor_name);
  row.description = engine::field_text(record.descr);
  row.cause = engine::field_text(record.cause);
  row.oid = arcs_of(engine::dotted_oid(record));
  row.standard = engine::cause_standard(record);
}

constexpr ChangeColumn kTold[] = {
    kChangeAlarm,    kChangeKind,     kChangeTime,      kChangeBefore,        kChangeFaultDn,
    kChangeObjectDn, kChangeCode,     kChangeName,      kChangeSensor,        kChangeDescription,
    kChangeCause,    kChangeFaultOid, kChangeEventType, kChangeProbableCause, kChangeReporters,
    kChangeRaises,   kChangeOther,    kChangePerson,    kChangeComment,
};

}  // namespace

ChangeRow change_row(const engine::StoredChange& stored) {
  const engine::Change& change = stored.change;
  ChangeRow row{.number = change.number,
                .alarm = change.alarm,
                .fault = change.fault,
                .kind = change.kind,
                .at = change.at,
                .before = change.before,
                .after = change.after,
                .fault_dn = change.fault_dn,
                .reporters = change.reporters,
                .raises = change.raises,
                .other = change.other,
                .is_quiet = change.is_quiet};
  if (change.alarm == 0) {
    row.dn = std::exchange(row.fault_dn, {});
  } else {
    split_fault_dn(row);
  }
  if (stored.shown) {
    take_record(row, *stored.shown);
  } else if (stored.record) {
    take_record(row, *stored.record);
  }
  if (stored.action) {
    row.person = stored.action->on_behalf_of.value_or(stored.action->person);
    row.comment = stored.action->comment.value_or("");
  }
  return row;
}

Value change_cell(std::uint32_t column, const ChangeRow& row) {
  switch (column) {
    case kChangeAlarm:
      return unsigned_number(static_cast<std::uint64_t>(row.alarm));
    case kChangeKind:
      return integer(kind_number(row.kind));
    case kChangeTime:
      return time_value(row.at);
    case kChangeBefore:
      return integer(severity_number(row.before));
    case kChangeAfter:
      return integer(severity_number(row.after));
    case kChangeFaultDn:
      return text(row.fault_dn);
    case kChangeObjectDn:
      return text(row.dn);
    case kChangeCode:
      return unsigned_number(row.code);
    case kChangeName:
      return text(row.name);
    case kChangeSensor:
      return text(row.sensor);
    case kChangeDescription:
      return text(row.description);
    case kChangeCause:
      return text(row.cause);
    case kChangeFaultOid:
      return oid_value(row.oid);
    case kChangeEventType:
      return integer(event_type_number(row.standard));
    case kChangeProbableCause:
      return unsigned_number(row.standard ? row.standard->probable_cause_number : 0);
    case kChangeReporters:
      return unsigned_number(row.reporters);
    case kChangeRaises:
      return unsigned_number(row.raises);
    case kChangeOther:
      return unsigned_number(static_cast<std::uint64_t>(row.other));
    case kChangePerson:
      return text(row.person);
    case kChangeComment:
      return text(row.comment);
    case kChangeQuiet:
      return integer(truth_number(row.is_quiet));
    default:
      return {};
  }
}

BriefRow brief_row(const ChangeRow& row) {
  return {.number = static_cast<std::uint32_t>(row.number),
          .alarm = static_cast<std::uint32_t>(row.alarm),
          .other = static_cast<std::uint32_t>(row.other),
          .code = row.code,
          .reporters = row.reporters,
          .kind = row.kind,
          .before = row.before,
          .after = row.after,
          .is_quiet = row.is_quiet};
}

std::optional<Value> brief_cell(std::uint32_t column, const BriefRow& row) {
  switch (column) {
    case kChangeAlarm:
      return unsigned_number(row.alarm);
    case kChangeKind:
      return integer(kind_number(row.kind));
    case kChangeBefore:
      return integer(severity_number(row.before));
    case kChangeAfter:
      return integer(severity_number(row.after));
    case kChangeCode:
      return unsigned_number(row.code);
    case kChangeReporters:
      return unsigned_number(row.reporters);
    case kChangeOther:
      return unsigned_number(row.other);
    case kChangeQuiet:
      return integer(truth_number(row.is_quiet));
    default:
      return std::nullopt;
  }
}

NotificationType notification_of(const ChangeRow& row) {
  if (row.is_end()) return NotificationType::kCleared;
  if (row.kind == ChangeKind::kRaised && row.before == Severity::kCleared) return NotificationType::kRaised;
  return NotificationType::kChanged;
}

std::vector<Variable> change_variables(const Places& places, const std::string& ledger_id, const ChangeRow& row,
                                       engine::ChangeNumber previous, Severity worst) {
  const auto number = static_cast<std::uint32_t>(row.number);
  std::vector<Variable> all;
  all.push_back({places.scalar(kLedgerArc, kLedgerId), text(ledger_id)});
  all.push_back({places.scalar(kLedgerArc, kNumber), unsigned_number(number)});
  all.push_back({places.scalar(kLedgerArc, kPrevious), unsigned_number(static_cast<std::uint64_t>(previous))});
  all.push_back({places.change_column(kChangeAfter, number), change_cell(kChangeAfter, row)});
  all.push_back({places.object_column(kObjectSeverity, row.dn), integer(severity_number(worst))});
  for (const ChangeColumn column : kTold) {
    all.push_back({places.change_column(column, number), change_cell(column, row)});
  }
  return all;
}

bool is_cut(const ChangeRow& row) {
  return row.comment.size() > kMostTextBytes || row.person.size() > kMostTextBytes ||
         row.fault_dn.size() > kMostTextBytes || row.dn.size() > kMostTextBytes;
}

}  // namespace polaiga::snmp
