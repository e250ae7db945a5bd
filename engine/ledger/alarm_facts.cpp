#include "ledger/alarm_facts.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace polaiga::engine {
namespace {

// What a fault is called, by its record.
struct Names {
  std::string fault_dn;
  std::string dn;
  std::uint32_t code = 0;
  std::string name;
  std::optional<CauseStandard> cause;
};

class AlarmFacts {
 public:
  AlarmFacts(const Database& db, StoredRows& rows, std::string_view under)
      : rows_(rows),
        under_(under),
        // The alarm, its fault with the event that raised it, and the change that ended it with its event.
        alarms_(db, "SELECT " + columns_sql<AlarmRow, FaultRow>() + ", " + columns_sql_of<EventRow>("raising") + ", " +
                        columns_sql_of<ChangeRow>("ending") + ", " + columns_sql_of<EventRow>("ending_event") +
                        " FROM alarm LEFT JOIN fault ON fault.number = alarm.fault "
                        "LEFT JOIN event AS raising ON raising.seq = fault.raised_seq "
                        "LEFT JOIN change AS ending ON ending.number = coalesce(alarm.merged, fault.ended) "
                        "LEFT JOIN event AS ending_event ON ending_event.seq = ending.seq ORDER BY alarm.number"),
        levels_(db, "SELECT " + columns_sql<FaultRow>() + ", " + columns_sql_of<EventRow>("raising") +
                        " FROM fault LEFT JOIN event AS raising ON raising.seq = fault.raised_seq "
                        "WHERE fault.number IN (SELECT ?1 UNION ALL SELECT fault FROM step WHERE alarm = ?1) "
                        "ORDER BY fault.number"),
        reports_(db, "SELECT " + columns_sql<ReportRow>() + " FROM report WHERE fault = ?"),
        forms_(db, "SELECT " + columns_sql<FormRow>() + " FROM form WHERE seq = ?") {}

  bool step() { return alarms_.step(); }

  // Of the row at hand; nothing when it was not asked for.
  std::optional<AlarmFact> fact() {
    constexpr int kFault = kWidth<AlarmRow>;
    const auto alarm = read_row<AlarmRow>(alarms_);
    if (alarms_.is_null(kFault)) throw LedgerError(gone("fault", alarm.fault));
    const auto fault = read_row<FaultRow>(alarms_, kFault);
    AlarmFact fact{.number = alarm.number,
                   .dn = {},
                   .code = 0,
                   .name = {},
                   .severity = alarm.severity,
                   .created = alarm.created,
                   .ended = {},
                   .is_merged = alarm.merged.has_value(),
                   .reported = 0,
                   .acknowledged = {},
                   .latest_state = {},
                   .cause = {},
                   .raises = {}};
    is_asked_for_ = under_.empty();
    is_named_ = false;
    if (alarm.fault == alarm.number) {  // it never went to another level
      add_level(fact, fault, alarms_, kFault + kWidth<FaultRow>);
    } else {
      add_levels(fact);
    }
    if (!is_asked_for_) return std::nullopt;
    if (alarm.operated != 0) add_actions(fact);
    fact.state = alarm.standing.state();
    if (alarm.merged || fault.ended) {
      add_end(fact, alarm.merged ? *alarm.merged : *fault.ended);
    } else {
      fact.reported = latest_report(fault);
    }
    return fact;
  }

 private:
  void add_levels(AlarmFact& fact) {
    levels_.with(fact.number);
    while (levels_.step()) add_level(fact, read_row<FaultRow>(levels_), levels_, kWidth<FaultRow>);
    if (!is_named_) throw LedgerError(gone("fault", fact.number));
  }

  // The event that raised the fault is at column `raising` of the statement. A fault of an alarm that was merged into
  // this one is no raise of this one.
  void add_level(AlarmFact& fact, const FaultRow& fault, const Statement& statement, int raising) {
    if (statement.is_null(raising)) throw LedgerError(gone("event", fault.raised_seq));
    const auto event = read_row<EventRow>(statement, raising);
    if (!event.form) throw LedgerError("the record of event " + std::to_string(event.seq) + " is gone");
    const Names& names = names_of(*event.form);
    is_asked_for_ = is_asked_for_ || is_under(names.fault_dn, under_);
    if (!is_named_) {  // the first level that the ledger still has
      is_named_ = true;
      fact.dn = names.dn;
      fact.code = names.code;
      fact.name = names.name;
      fact.cause = names.cause;
    }
    if (fault.alarm == fact.number) {
      fact.raises.push_back({.code = names.code, .name = names.name, .at = event.moment()});
    }
  }

  const Names& names_of(Sequence form) {
    constexpr std::size_t kMost = 16'384;  // forms that are remembered
    const auto known = names_.find(form);
    if (known != names_.end()) return known->second;
    if (!forms_.with(form).step()) throw LedgerError(gone("form", form));
    const fe_fault_record record = read_row<FormRow>(forms_).record;
    if (names_.size() == kMost) names_.clear();
    return names_[form] = {.fault_dn = std::string(field_text(record.fault_dn)),
                           .dn = std::string(field_text(record.dn)),
                           .code = record.code,
                           .name = std::string(field_text(record.name)),
                           .cause = cause_standard(record)};
  }

  void add_actions(AlarmFact& fact) {
    AlarmStanding standing;
    for (const AlarmAction& action : rows_.actions_of(fact.number, std::numeric_limits<ChangeNumber>::max())) {
      // An alarm that was closed was seen, too.
      const bool is_seen = action.kind == ChangeKind::kAcknowledged || action.kind == ChangeKind::kClosed;
      if (is_seen && !fact.acknowledged) fact.acknowledged = action.at;
      if (action.kind == ChangeKind::kOutOfService || action.kind == ChangeKind::kBackInService) continue;
      apply(standing, action);
      fact.latest_state = {action.number, standing.state()};
    }
  }

  void add_end(AlarmFact& fact, ChangeNumber number) const {
    constexpr int kEnding = kWidth<AlarmRow> + kWidth<FaultRow> + kWidth<EventRow>;
    constexpr int kEvent = kEnding + kWidth<ChangeRow>;
    if (alarms_.is_null(kEnding)) throw LedgerError(gone("change", number));
    const auto ending = read_row<ChangeRow>(alarms_, kEnding);
    if (alarms_.is_null(kEvent)) throw LedgerError(gone("event", ending.seq));
    fact.ended = read_row<EventRow>(alarms_, kEvent).moment();
    fact.ended_by = number;
    fact.ended_seq = ending.seq;
  }

  // Of those that are in force and those that were taken back. A fault is active exactly when it is reported.
  Moment latest_report(const FaultRow& fault) {
    Sequence latest = fault.updated_seq;
    Moment at = fault.updated_at;
    bool is_reported = false;
    reports_.with(fault.number);
    while (reports_.step()) {
      rows_.leave_out_damage([&] {
        const auto report = read_row<ReportRow>(reports_);
        is_reported = true;
        if (report.last_seq <= latest) return;
        latest = report.last_seq;
        at = report.last_at;
      });
    }
    if (!is_reported)
      throw LedgerError("fault " + std::to_string(fault.number) + " is active, though nobody reports it");
    return at;
  }

  StoredRows& rows_;
  std::string_view under_;
  Statement alarms_;
  Statement levels_;
  Statement reports_;
  Statement forms_;
  std::unordered_map<Sequence, Names> names_;
  // Of the row at hand.
  bool is_asked_for_ = false;
  bool is_named_ = false;
};

}  // namespace

void for_each_alarm(const Database& db, StoredRows& rows, const std::string& under,
                    const std::function<void(const AlarmFact& fact)>& take) {
  AlarmFacts facts(db, rows, under);
  rows.leave_out_damage([&] {
    while (facts.step()) {
      rows.leave_out_damage([&] {
        if (const auto fact = facts.fact()) take(*fact);
      });
    }
  });
}

}  // namespace polaiga::engine
