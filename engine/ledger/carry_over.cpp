#include "ledger/carry_over.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "ledger/tables.h"

namespace polaiga::engine {
namespace {

// Ids of the latest inputs; a sender that sends again does so soon.
constexpr std::size_t kMostIds = 65'536;

constexpr std::size_t kMostLostTold = 5;

// The damaged ledger, as far as it can be read.
class Wreck {
 public:
  // Throws SqlError when it is no database any more.
  explicit Wreck(const std::string& path) : db_(path, Access::kRead) {
    db_.exec("BEGIN; SELECT count(*) FROM sqlite_schema");
  }

  // The row with this key. Nothing when it is not there, cannot be read or does not prove right.
  template <class Row>
  std::optional<Row> one(std::int64_t key) {
    const std::string first(std::get<0>(Table<Row>::kColumns).name);
    try {
      Statement row(db_, select_sql<Row>() + " WHERE " + first + " = ?");
      if (row.with(key).step()) return read_row<Row>(row);
    } catch (const SqlError&) {  // told by who wanted the row
    } catch (const LedgerError&) {
    }
    return std::nullopt;
  }

  // Gives all rows that can be read to `take`, until it answers false. A page that
  // cannot be read ends the way through a table, so the table is read from its other end, too.
  // Answers how many rows did not prove right, and whether there was such a page.
  template <class Row, class Take>
  std::pair<std::size_t, bool> all(const std::string& where, Take take) {
    std::size_t bad = 0;
    bool is_broken = false;
    const std::string first(std::get<0>(Table<Row>::kColumns).name);
    for (const char* direction : {" DESC", " ASC"}) {
      try {
        std::string sql = select_sql<Row>();
        sql.append(where).append(" ORDER BY ").append(first).append(direction);
        Statement rows(db_, sql);
        while (rows.step()) {
          try {
            if (!take(read_row<Row>(rows))) return {bad, is_broken};
          } catch (const LedgerError&) {
            ++bad;
          }
        }
        return {bad, is_broken};
      } catch (const SqlError&) {
        is_broken = true;
      }
    }
    return {bad, is_broken};
  }

  std::int64_t highest(const std::string& table, const std::string& column) {
    try {
      Statement row(db_, "SELECT coalesce(max(" + column + "), 0) FROM " + table);
      return row.step() ? std::max<std::int64_t>(row.integer(0), 0) : 0;
    } catch (const SqlError&) {
      return 0;
    }
  }

  std::optional<LedgerRow> own() {
    try {
      return ledger_row(db_);
    } catch (const SqlError&) {
    } catch (const LedgerError&) {
    }
    return std::nullopt;
  }

 private:
  Database db_;
};

// An input with the rows that it refers to.
struct WholeInput {
  EventRow event;
  std::optional<SubjectRow> subject;
  std::optional<FormRow> form;
};

class CarryOver {
 public:
  explicit CarryOver(CarriedOver& carried) : carried_(carried) {}

  // Nothing is collected of a file that is no database any more.
  void collect(const std::string& damaged) {
    try {
      if (std::filesystem::exists(damaged) && std::filesystem::file_size(damaged) > 0) wreck_.emplace(damaged);
    } catch (const SqlError&) {  // told with what was lost
    }
    if (!wreck_) {
      lose("the whole file");
      return;
    }
    if (const auto own = wreck_->own()) {
      carried_.last_sequence = own->watermark_seq;
      carried_.last_change = own->watermark_change;
      watermark_at_ = own->watermark_at;
      missed_through_ = own->missed_through;
      created_ = own->created;
    } else {
      lose("its own row with its id");
    }
    carried_.last_sequence = std::max(carried_.last_sequence, wreck_->highest("event", "seq"));
    carried_.last_change = std::max(carried_.last_change, wreck_->highest("change", "number"));
    collect_gaps();
    need(carried_.last_sequence);  // the times of the next inputs go on from it
    collect_faults();
    collect_maintenance();
    collect_chattering();
    collect_filter_state();
    collect_ids();
    profile_ = wreck_->one<AlarmProfileRow>(AlarmProfileRow::kOnly);  // the engine knows it anyway
  }

  std::optional<Moment> created() const { return created_; }

  // `created` is when the new ledger begins.
  void write(Database& db, Moment created) {
    if (!created_) count_anew(created);
    Transaction transaction(db);
    write_rows<BuildRow>(db, builds_);
    write_rows<TablesRow>(db, tables_);
    write_rows<SettingRow>(db, settings_);
    write_inputs(db);
    write_faults(db);
    write_rows<ActionRow>(db, actions_);
    write_rows<AlarmActionRow>(db, alarm_actions_);
    Insert<MaintenanceRow> maintenance(db);
    for (const auto& [dn, row] : maintenance_) maintenance(row);
    Insert<ChatteringRow> chattering(db);
    for (const auto& [fault_dn, row] : chattering_) chattering(row);
    Insert<FilterStateRow> slots(db);
    for (const FilterStateRow& row : filter_state_) slots(row);
    Insert<FormerIdRow> ids(db, " ON CONFLICT DO NOTHING");
    for (const auto& [id, seq] : ids_) ids({id.first, id.second, seq});
    if (profile_) Insert<AlarmProfileRow>{db}(*profile_);
    if (!inputs_.empty()) {
      // One era of what is needed; the first new input goes on in it, or begins the next.
      Insert<EraRow>{db}({.seq = 1, .epoch = 1, .least_at = least_at_, .first_change = carried_.last_change + 1});
      Statement(db, insert_standing_sql()).with(1).run();
    }
    Statement(db, "UPDATE ledger SET watermark_seq = ?, watermark_change = ?, watermark_at = ?, missed_through = ?")
        .with(carried_.last_sequence, carried_.last_change, watermark_at_, missed_through_)
        .run();
    transaction.commit();
  }

 private:
  void lose(const std::string& what) { carried_.lost.push_back(what); }

  // Ages count from a beginning that is not known any more. What ends by itself ends at the time that people were told.
  void count_anew(Moment created) {
    const auto age_of = [created](Moment until) {
      return std::clamp<std::int64_t>(until - created, 0, kMostSilence) + 1;
    };
    for (auto& [seq, action] : actions_) {
      if (action.until_age) action.until_age = age_of(action.until.value_or(created));
    }
    for (auto& [dn, row] : maintenance_) row.until_age = age_of(row.until);
    for (ActiveOne& one : faults_) {
      AlarmStanding& standing = one.alarm.standing;
      if (standing.shelved != 0) standing.shelved_until_age = age_of(standing.shelved_until);
    }
    for (auto& [fault_dn, row] : chattering_) row.last_age = 0;
  }

  void collect_gaps() {
    wreck_->all<GapRow>("", [&](const GapRow& row) {
      carried_.last_sequence = std::max(carried_.last_sequence, row.last_seq);
      carried_.last_change = std::max(carried_.last_change, row.last_change);
      return true;
    });
  }

  // Whether the input is there with all that it refers to.
  bool need(Sequence seq) {
    if (inputs_.contains(seq)) return true;
    const auto event = wreck_->one<EventRow>(seq);
    if (!event) return false;
    const auto subject = event->subject ? wreck_->one<SubjectRow>(*event->subject) : std::nullopt;
    const auto form = event->form ? wreck_->one<FormRow>(*event->form) : std::nullopt;
    if ((event->subject && !subject) || (event->form && !form) || !need_setting(event->setting)) return false;
    if (!event->subject && !need_action(seq)) return false;
    inputs_[seq] = {*event, subject, form};
    watermark_at_ = std::max(watermark_at_, std::min(event->moment(), event->arrival()));
    return true;
  }

  bool need_record(Sequence seq) { return need(seq) && inputs_.at(seq).form; }

  bool need_action(Sequence seq) {
    if (actions_.contains(seq)) return true;
    const auto action = wreck_->one<ActionRow>(seq);
    if (action) actions_.emplace(seq, *action);
    return action.has_value();
  }

  // What operators did to the alarms that are carried over. One of which nothing is known any more keeps its state.
  void collect_actions_of(const std::set<ChangeNumber>& alarms) {
    const auto [bad, is_broken] = wreck_->all<AlarmActionRow>("", [&](const AlarmActionRow& row) {
      if (!alarms.contains(row.alarm)) return true;
      alarm_actions_.emplace(row.change, row);
      need_action(row.seq);
      return true;
    });
    if (bad > 0 || is_broken) lose("a part of what operators did to active alarms, but not the state of the alarms");
  }

  void collect_maintenance() {
    const auto [bad, is_broken] = wreck_->all<MaintenanceRow>("", [&](const MaintenanceRow& row) {
      maintenance_.emplace(row.dn, row);
      need_action(row.seq);
      return true;
    });
    if (bad > 0 || is_broken) lose("a part of the list of objects that are out of service");
  }

  void collect_chattering() {
    const auto [bad, is_broken] = wreck_->all<ChatteringRow>("", [&](const ChatteringRow& row) {
      chattering_.emplace(row.fault_dn, row);
      return true;
    });
    if (bad > 0 || is_broken) lose("a part of the list of faults that are chattering");
  }

  bool need_setting(std::int64_t id) {
    if (settings_.contains(id)) return true;
    const auto setting = wreck_->one<SettingRow>(id);
    const auto build = setting ? wreck_->one<BuildRow>(setting->build) : std::nullopt;
    const auto tables = setting ? wreck_->one<TablesRow>(setting->tables) : std::nullopt;
    if (!build || !tables) return false;
    settings_.emplace(id, *setting);
    builds_.emplace(build->id, *build);
    tables_.emplace(tables->id, *tables);
    return true;
  }

  void collect_faults() {
    using Key = std::tuple<std::string, std::string, std::int32_t>;
    std::map<ChangeNumber, std::map<Key, ReportRow>> reports;
    const auto [bad, is_broken] = wreck_->all<ReportRow>("", [&](const ReportRow& row) {
      reports[row.fault].insert_or_assign(Key{row.entity->name, row.sensor, row.instance}, row);
      return true;
    });
    if (bad > 0) lose(std::to_string(bad) + " reports of active faults");
    if (is_broken) lose("those reports of active faults that are on unreadable pages");
    for (auto& [number, rows] : reports) {
      const auto fault = wreck_->one<FaultRow>(number);
      const auto alarm = fault ? wreck_->one<AlarmRow>(fault->later_alarm.value_or(fault->alarm)) : std::nullopt;
      const bool is_active = fault && !fault->ended && alarm && !alarm->merged && alarm->fault == number;
      if (!is_active || !need_record(fault->raised_seq)) {
        lose("fault " + name_of(number, fault));
        continue;
      }
      std::vector<ReportRow> kept;
      for (auto& [reporter, row] : rows) {
        if (need_record(row.since_seq) && need_record(row.last_seq)) {
          kept.push_back(row);
        } else {
          lose("what " + row.sensor + " reports of fault " + name_of(number, fault));
        }
      }
      if (kept.empty()) continue;
      faults_.push_back({*fault, *alarm, std::move(kept)});
      ++carried_.faults;
    }
    std::set<ChangeNumber> alarms;
    for (const ActiveOne& one : faults_) alarms.insert(one.alarm.number);
    collect_actions_of(alarms);
  }

  std::string name_of(ChangeNumber number, const std::optional<FaultRow>& fault) {
    if (fault && need_record(fault->raised_seq)) {
      return std::string(field_text(inputs_.at(fault->raised_seq).form->record.fault_dn));
    }
    return std::to_string(number) + ", whose name cannot be read";
  }

  void collect_filter_state() {
    std::map<std::string, std::vector<FilterStateRow>> slots;
    const auto [bad, is_broken] = wreck_->all<FilterStateRow>("", [&](const FilterStateRow& row) {
      slots[row.slot].push_back(row);
      return true;
    });
    if (bad > 0 || is_broken) lose("a part of what the filters remember");
    for (auto& [slot, rows] : slots) {
      if (std::ranges::all_of(rows, [this](const FilterStateRow& row) { return need(row.seq); })) {
        filter_state_.insert(rows.begin(), rows.end());
        ++carried_.slots;
      } else {
        lose("what the filters remember of " + slot);
      }
    }
  }

  void collect_ids() {
    const auto [bad, is_broken] = wreck_->all<EventRow>(" WHERE id IS NOT NULL", [&](const EventRow& row) {
      ids_.emplace(std::pair(*row.id, !row.subject), row.seq);
      return ids_.size() < kMostIds;
    });
    wreck_->all<FormerIdRow>("", [&](const FormerIdRow& row) {
      if (ids_.size() < kMostIds) ids_.emplace(std::pair(row.id, row.is_action), row.seq);
      return true;
    });
    if (bad > 0) lose("the ids of " + std::to_string(bad) + " inputs");
    if (is_broken) lose("the ids of those inputs that are on unreadable pages");
    carried_.ids = ids_.size();
  }

  template <class Row>
  static void write_rows(Database& db, const std::map<std::int64_t, Row>& rows) {
    Insert<Row> insert(db);
    for (const auto& [key, row] : rows) insert(row);
  }

  void write_inputs(Database& db) {
    Insert<SubjectRow> subjects(db, " ON CONFLICT DO NOTHING");
    Insert<FormRow> forms(db, " ON CONFLICT DO NOTHING");
    Insert<EventRow> events(db);
    for (auto& [seq, input] : inputs_) {
      least_at_ = std::min(least_at_, input.event.moment());
      input.event.seal.reset();  // the new ledger's seals begin with its own first batch
      if (input.event.id) {
        ids_.emplace(std::pair(*input.event.id, !input.event.subject), seq);  // found there, for as long as it is kept
        input.event.id.reset();
      }
      if (input.subject) subjects(*input.subject);
      if (input.form) forms(*input.form);
      events(input.event);
    }
  }

  void write_faults(Database& db) {
    Insert<AlarmRow> alarms(db);
    Insert<FaultRow> faults(db);
    Insert<StepRow> steps(db);
    Insert<ReportRow> reports(db);
    for (const ActiveOne& one : faults_) {
      alarms(one.alarm);
      faults(one.fault);
      if (one.fault.number != one.alarm.number) steps({one.alarm.number, one.fault.number});
      for (const ReportRow& report : one.reports) reports(report);
    }
  }

  struct ActiveOne {
    FaultRow fault;
    AlarmRow alarm;
    std::vector<ReportRow> reports;
  };

  struct BySlot {
    bool operator()(const FilterStateRow& a, const FilterStateRow& b) const {
      return std::tie(a.slot, a.seq) < std::tie(b.slot, b.seq);
    }
  };

  std::optional<Wreck> wreck_;
  CarriedOver& carried_;
  std::optional<Moment> created_;
  Moment watermark_at_ = 0;
  Moment least_at_ = kLastMoment;
  std::map<Sequence, WholeInput> inputs_;
  std::map<std::int64_t, SettingRow> settings_;
  std::map<std::int64_t, BuildRow> builds_;
  std::map<std::int64_t, TablesRow> tables_;
  std::vector<ActiveOne> faults_;
  std::set<FilterStateRow, BySlot> filter_state_;
  std::map<std::pair<std::string, bool>, Sequence> ids_;  // and whether it is an action's
  std::map<std::int64_t, ActionRow> actions_;
  std::map<std::int64_t, AlarmActionRow> alarm_actions_;
  std::map<std::string, MaintenanceRow> maintenance_;
  std::map<std::string, ChatteringRow> chattering_;
  ChangeNumber missed_through_ = 0;
  std::optional<AlarmProfileRow> profile_;
};

}  // namespace

std::string CarriedOver::text() const {
  std::string text = "Carried over: " + std::to_string(faults) + " active faults with their reporters, " +
                     std::to_string(slots) + " parts of what the filters remember, " + std::to_string(ids) +
                     " ids of inputs. The next input is number " + std::to_string(last_sequence + 1) + ".";
  text +=
      " What operators made of these faults and of objects is kept with them; what is over, missed alarms too, is "
      "only in the old file.";
  if (lost.empty()) return text + " Nothing of this was lost.";
  text += " Not carried over, because it cannot be read or does not prove right: ";
  for (std::size_t i = 0; i < std::min(lost.size(), kMostLostTold); ++i) text += (i > 0 ? "; " : "") + lost[i];
  if (lost.size() > kMostLostTold) text += "; and " + std::to_string(lost.size() - kMostLostTold) + " more";
  return text + ".";
}

CarriedOver carry_over(const std::string& damaged, const std::string& fresh, const Beginning& beginning) {
  CarriedOver carried;
  CarryOver rows(carried);
  rows.collect(damaged);
  carried.last_sequence = std::max(carried.last_sequence, beginning.after_input);
  carried.last_change = std::max(carried.last_change, beginning.after_change);
  for (const char* part : {"", "-wal", "-shm"}) std::filesystem::remove(fresh + part);
  const Moment created = rows.created().value_or(beginning.created);
  Database db = make_ledger(
      fresh, {.created = created, .after_input = carried.last_sequence, .after_change = carried.last_change});
  try {
    rows.write(db, created);
    // The file is renamed while nothing of it is in a log.
    db.exec("PRAGMA wal_checkpoint(TRUNCATE); PRAGMA journal_mode = DELETE");
  } catch (const SqlError& error) {
    throw LedgerError(fresh + ": cannot write the new ledger: " + error.what());
  }
  return carried;
}

}  // namespace polaiga::engine
