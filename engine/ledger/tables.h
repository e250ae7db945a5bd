// The tables of the ledger: their rows, and the list of columns of each.
//
// Inputs have numbers of their own (seq), and so have changes. A fault is named by
// the change that raised it, an alarm by the change that raised it first.
//
// Inputs are divided into eras of some thousand inputs each; what was active when an
// era began is stored with it. Events say the same things of the same subjects again
// and again, and so do records. What they say is stored once in an epoch, which is
// one era or several; the row is named by the first input of the epoch that says it.
// So when an epoch is gone, all that belongs to it can go, but for what those of its
// events that are still needed use.
//
// All times are seconds since 1970 in UTC.
#pragma once

#include <polaiga/records.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "alarms/chattering.h"
#include "ledger/columns.h"
#include "model/change.h"
#include "model/dictionary.h"
#include "model/entities.h"
#include "model/fields.h"
#include "model/moment.h"
#include "model/operator_action.h"

namespace polaiga::engine {

// The ledger itself: one row.
struct LedgerRow {
  std::string id;  // 32 hexadecimal digits, made at random
  Moment created = 0;
  Sequence watermark_seq = 0;         // up to here only what is still needed is left of the inputs
  ChangeNumber watermark_change = 0;  // up to here the changes are gone
  Moment watermark_at = 0;            // the latest time of an input that is gone
  ChangeNumber missed_through = 0;    // somebody has seen the missed alarms that ended up to here
};

template <>
struct Table<LedgerRow> {
  static constexpr std::string_view kName = "ledger";
  static constexpr std::tuple kColumns{
      Column<&LedgerRow::id>{"id"},
      Column<&LedgerRow::created>{"created", {}, kLastMoment},
      Column<&LedgerRow::watermark_seq>{"watermark_seq"},
      Column<&LedgerRow::watermark_change>{"watermark_change"},
      Column<&LedgerRow::watermark_at>{"watermark_at", {}, kLastMoment},
      Column<&LedgerRow::missed_through>{"missed_through"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// A build of the library.
struct BuildRow {
  std::int64_t id = 0;
  std::string build_id;
  std::string version;
};

template <>
struct Table<BuildRow> {
  static constexpr std::string_view kName = "build";
  static constexpr std::tuple kColumns{
      Column<&BuildRow::id>{"id", "PRIMARY KEY"},
      Column<&BuildRow::build_id>{"build_id"},
      Column<&BuildRow::version>{"version"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// The three host tables, as their files are.
struct TablesRow {
  std::int64_t id = 0;
  std::string nm;
  std::string cmc;
  std::string drive_bp;
};

template <>
struct Table<TablesRow> {
  static constexpr std::string_view kName = "tables";
  static constexpr std::tuple kColumns{
      Column<&TablesRow::id>{"id", "PRIMARY KEY"},
      Column<&TablesRow::nm>{"nm"},
      Column<&TablesRow::cmc>{"cmc"},
      Column<&TablesRow::drive_bp>{"drive_bp"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// Under what inputs are handled. A later input never has an earlier setting.
struct SettingRow {
  std::int64_t id = 0;
  std::int64_t build = 0;
  std::int64_t tables = 0;
};

template <>
struct Table<SettingRow> {
  static constexpr std::string_view kName = "setting";
  static constexpr std::tuple kColumns{
      Column<&SettingRow::id>{"id", "PRIMARY KEY"},
      Column<&SettingRow::build>{"build"},
      Column<&SettingRow::tables>{"tables"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// A run of inputs up to the next era.
struct EraRow {
  Sequence seq = 0;               // its first input
  Sequence epoch = 0;             // the first input of its epoch
  Moment least_at = 0;            // the earliest time of its inputs
  ChangeNumber first_change = 0;  // the number of its first change, or of the next one to come
};

template <>
struct Table<EraRow> {
  static constexpr std::string_view kName = "era";
  static constexpr std::tuple kColumns{
      Column<&EraRow::seq>{"seq", "PRIMARY KEY"},
      Column<&EraRow::epoch>{"epoch"},
      Column<&EraRow::least_at>{"least_at", {}, kLastMoment},
      Column<&EraRow::first_change>{"first_change"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// What events say of themselves again and again.
struct SubjectRow {
  Sequence seq = 0;
  const Entity* entity = nullptr;
  fe_sensor_event event = {};
};

template <>
struct Table<SubjectRow> {
  static constexpr std::string_view kName = "subject";
  static constexpr auto kColumns =
      std::tuple_cat(std::tuple{Column<&SubjectRow::seq>{"seq", "PRIMARY KEY"}, Column<&SubjectRow::entity>{"entity"}},
                     columns_of<&SubjectRow::event>(kEventSubject));
  static constexpr std::string_view kMore = ") STRICT";
};

// What records say again and again: all but their stamp. A filter may change four
// fields in the record's copy of the event; the rest of that copy is the event's.
struct FormRow {
  Sequence seq = 0;
  fe_fault_record record = {};
};

template <>
struct Table<FormRow> {
  static constexpr std::string_view kName = "form";
  static constexpr auto kColumns = std::tuple_cat(
      std::tuple{
          Column<&FormRow::seq>{"seq", "PRIMARY KEY"},
          Column<&FormRow::record, &fe_fault_record::event, &fe_sensor_event::entity_id>{"event_entity_id"},
          Column<&FormRow::record, &fe_fault_record::event, &fe_sensor_event::entity_subtype>{"event_entity_subtype"},
          Column<&FormRow::record, &fe_fault_record::event, &fe_sensor_event::entity_instance>{"event_instance"},
          Column<&FormRow::record, &fe_fault_record::event, &fe_sensor_event::event_state>{"event_state"},
      },
      columns_of<&FormRow::record>(kRecordContent));
  static constexpr std::string_view kMore = ") STRICT";
};

// An input: a sensor event, or an operator's action, of which the table `action` tells more. What can be told from the
// rest of the row is left out: a year of events is a good deal smaller for it.
struct EventRow {
  Sequence seq = 0;
  std::optional<std::string> id;  // the source's own; no other event has it, or no other action
  Moment received = 0;
  std::optional<Moment> arrived;    // null: the same as `received`
  std::optional<std::int64_t> age;  // null: what has passed from the ledger's beginning to `arrived`
  std::optional<Moment> time;       // the event's own; null: it brought none
  std::optional<Moment> at;         // null: the same as `time` or, without one, as `arrived`
  std::int64_t setting = 0;
  std::optional<Sequence> subject;  // null: the input is an action
  fe_sensor_event event = {};
  std::optional<Sequence> form;  // null: no record is reported; so are all below
  std::optional<Outcome> outcome;
  std::optional<ChangeNumber> fault;  // that the record raised or refreshed
  std::optional<std::uint32_t> created_time;
  std::optional<std::int32_t> zone;    // the record's local time is so many seconds ahead of UTC; null: see `created`
  std::optional<std::string> created;  // the record's local time, when it is not that of created_time and zone
  std::optional<Seal> seal;            // of the batch (seal.h); only the last input of a batch has it

  Moment arrival() const { return arrived.value_or(received); }
  std::int64_t age_in(Moment ledger_created) const { return age ? *age : arrival() - ledger_created; }
  Moment moment() const { return at ? *at : time ? *time : arrival(); }
};

template <>
struct Table<EventRow> {
  static constexpr std::string_view kName = "event";
  static constexpr auto kColumns = std::tuple_cat(
      std::tuple{Column<&EventRow::seq>{"seq", "PRIMARY KEY"}, Column<&EventRow::id>{"id"},
                 Column<&EventRow::received>{"received", {}, kLastMoment},
                 Column<&EventRow::arrived>{"arrived", {}, kLastMoment}, Column<&EventRow::age>{"age"},
                 Column<&EventRow::time>{"time", {}, kLastMoment}, Column<&EventRow::at>{"at", {}, kLastMoment},
                 Column<&EventRow::setting>{"setting"}, Column<&EventRow::subject>{"subject"}},
      columns_of<&EventRow::event>(kEventValues),
      std::tuple{Column<&EventRow::form>{"form"}, Column<&EventRow::outcome>{"outcome"},
                 Column<&EventRow::fault>{"fault"}, Column<&EventRow::created_time>{"created_time"},
                 Column<&EventRow::zone>{"zone"}, Column<&EventRow::created>{"created"},
                 Column<&EventRow::seal>{"seal"}});
  static constexpr std::string_view kMore = ") STRICT";
};

// What an operator did. It outlives its input as long as an alarm or maintenance tells of it.
struct ActionRow {
  Sequence seq = 0;
  ActionKind kind = ActionKind::kComment;
  std::string person;  // empty: the engine itself
  std::optional<std::string> on_behalf_of;
  std::optional<std::string> comment;
  std::string dn;                         // of the object; empty: it is about alarms
  std::optional<Moment> until;            // of a shelf or of maintenance
  std::optional<std::int64_t> until_age;  // the same as an age of the ledger
};

template <>
struct Table<ActionRow> {
  static constexpr std::string_view kName = "action";
  static constexpr std::tuple kColumns{
      Column<&ActionRow::seq>{"seq", "PRIMARY KEY"},
      Column<&ActionRow::kind>{"kind"},
      Column<&ActionRow::person>{"person"},
      Column<&ActionRow::on_behalf_of>{"on_behalf_of"},
      Column<&ActionRow::comment>{"comment"},
      Column<&ActionRow::dn>{"dn"},
      Column<&ActionRow::until>{"until", {}, kLastMoment},
      Column<&ActionRow::until_age>{"until_age"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// A change of an alarm that an operator made, or that asks for an operator. It is kept as long as its alarm, while
// changes and inputs may go before.
struct AlarmActionRow {
  ChangeNumber change = 0;
  ChangeNumber alarm = 0;
  Sequence seq = 0;  // the input; when it is no action, an escalation took the acknowledgement back
  ChangeKind kind = ChangeKind::kCommented;
  Moment at = 0;
};

template <>
struct Table<AlarmActionRow> {
  static constexpr std::string_view kName = "alarm_action";
  static constexpr std::tuple kColumns{
      Column<&AlarmActionRow::change>{"change", "PRIMARY KEY"},
      Column<&AlarmActionRow::alarm>{"alarm"},
      Column<&AlarmActionRow::seq>{"seq"},
      Column<&AlarmActionRow::kind>{"kind"},
      Column<&AlarmActionRow::at>{"at", {}, kLastMoment},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// An object that is out of service now.
struct MaintenanceRow {
  std::string dn;
  Sequence seq = 0;  // the action that began it
  Moment since_at = 0;
  Moment until = 0;
  std::int64_t until_age = 0;
};

template <>
struct Table<MaintenanceRow> {
  static constexpr std::string_view kName = "maintenance";
  static constexpr std::tuple kColumns{
      Column<&MaintenanceRow::dn>{"dn", "PRIMARY KEY"},
      Column<&MaintenanceRow::seq>{"seq"},
      Column<&MaintenanceRow::since_at>{"since_at", {}, kLastMoment},
      Column<&MaintenanceRow::until>{"until", {}, kLastMoment},
      Column<&MaintenanceRow::until_age>{"until_age"},
  };
  static constexpr std::string_view kMore = ") STRICT, WITHOUT ROWID";
};

// A fault that is chattering now.
struct ChatteringRow {
  std::string fault_dn;
  ChangeNumber change = 0;  // that says so
  Moment since_at = 0;
  std::uint64_t raises = 0;
  std::int64_t last_age = 0;
  ChangeNumber alarm = 0;
  ChangeNumber shown_alarm = 0;
  Severity shown_severity = Severity::kCleared;
  bool was_told = false;
};

ChatteringRow chattering_row(const ChatteringFault& fault);
ChatteringFault chattering_fault(const ChatteringRow& row);

template <>
struct Table<ChatteringRow> {
  static constexpr std::string_view kName = "chattering";
  static constexpr std::tuple kColumns{
      Column<&ChatteringRow::fault_dn>{"fault_dn", "PRIMARY KEY"},
      Column<&ChatteringRow::change>{"change"},
      Column<&ChatteringRow::since_at>{"since_at", {}, kLastMoment},
      Column<&ChatteringRow::raises>{"raises"},
      Column<&ChatteringRow::last_age>{"last_age"},
      Column<&ChatteringRow::alarm>{"alarm"},
      Column<&ChatteringRow::shown_alarm>{"shown_alarm"},
      Column<&ChatteringRow::shown_severity>{"shown_severity"},
      Column<&ChatteringRow::was_told>{"was_told"},
  };
  static constexpr std::string_view kMore = ") STRICT, WITHOUT ROWID";
};

// A change of an alarm, or of an object, whose change has no fault and no alarm. That a fault has settled has no fault,
// because the ledger may not have it any more; its DN is told by the action. When it was is told by its input.
struct ChangeRow {
  ChangeNumber number = 0;
  Sequence seq = 0;
  ChangeKind kind = ChangeKind::kRaised;
  ChangeNumber fault = 0;
  ChangeNumber alarm = 0;
  Severity before = Severity::kCleared;
  Severity after = Severity::kCleared;
  ChangeNumber other = 0;
  Sequence shown = 0;
  std::uint32_t reporters = 0;
  ChangeNumber previous = 0;  // the alarm's change before this one; 0: there is none
  std::int64_t of_alarm = 0;  // which of the alarm's changes this is, from 1
  std::uint64_t raises = 0;
  bool is_quiet = false;
  bool is_folded = false;
};

template <>
struct Table<ChangeRow> {
  static constexpr std::string_view kName = "change";
  static constexpr std::tuple kColumns{
      Column<&ChangeRow::number>{"number", "PRIMARY KEY"},
      Column<&ChangeRow::seq>{"seq"},
      Column<&ChangeRow::kind>{"kind"},
      Column<&ChangeRow::fault>{"fault"},
      Column<&ChangeRow::alarm>{"alarm"},
      Column<&ChangeRow::before>{"before"},
      Column<&ChangeRow::after>{"after"},
      Column<&ChangeRow::other>{"other"},
      Column<&ChangeRow::shown>{"shown"},
      Column<&ChangeRow::reporters>{"reporters"},
      Column<&ChangeRow::previous>{"previous"},
      Column<&ChangeRow::of_alarm>{"of_alarm"},
      Column<&ChangeRow::raises>{"raises"},
      Column<&ChangeRow::is_quiet>{"is_quiet"},
      Column<&ChangeRow::is_folded>{"is_folded"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// An alarm. Its object is that of its fault, and it ends with its fault, unless it
// is merged into another one.
struct AlarmRow {
  ChangeNumber number = 0;
  Moment created = 0;
  Severity severity = Severity::kIndeterminate;  // now, or the last one
  Severity worst = Severity::kIndeterminate;
  ChangeNumber fault = 0;              // now, or the last one
  std::optional<ChangeNumber> merged;  // the change that merged it; null: none
  ChangeNumber merged_into = 0;
  ChangeNumber related = 0;
  AlarmStanding standing = {};
  ChangeNumber operated = 0;  // its latest change by an operator, or that says that its fault has settled
};

template <>
struct Table<AlarmRow> {
  static constexpr std::string_view kName = "alarm";
  static constexpr std::tuple kColumns{
      Column<&AlarmRow::number>{"number", "PRIMARY KEY"},
      Column<&AlarmRow::created>{"created", {}, kLastMoment},
      Column<&AlarmRow::severity>{"severity"},
      Column<&AlarmRow::worst>{"worst"},
      Column<&AlarmRow::fault>{"fault"},
      Column<&AlarmRow::merged>{"merged"},
      Column<&AlarmRow::merged_into>{"merged_into"},
      Column<&AlarmRow::related>{"related"},
      Column<&AlarmRow::standing, &AlarmStanding::acknowledged>{"acknowledged"},
      Column<&AlarmRow::standing, &AlarmStanding::closed>{"closed"},
      Column<&AlarmRow::standing, &AlarmStanding::shelved>{"shelved"},
      Column<&AlarmRow::standing, &AlarmStanding::shelved_until>{"shelved_until", {}, kLastMoment},
      Column<&AlarmRow::standing, &AlarmStanding::shelved_until_age>{"shelved_until_age"},
      Column<&AlarmRow::standing, &AlarmStanding::was_unshelved>{"was_unshelved"},
      Column<&AlarmRow::standing, &AlarmStanding::was_told>{"was_told"},
      Column<&AlarmRow::operated>{"operated"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// A fault from its raise to its end. What it is called is told by the record that
// raised it, and how it ended by the change that ended it. As long as it is active
// its row says nothing of the reports that are in force, so that a refresh need not
// touch it; what they say is added when they are taken back.
struct FaultRow {
  ChangeNumber number = 0;
  std::int64_t name = 0;                    // see fault_name_hash()
  ChangeNumber alarm = 0;                   // that it was raised for
  std::optional<ChangeNumber> later_alarm;  // that it belongs to since its own was merged into that
  Severity severity = Severity::kIndeterminate;
  Sequence raised_seq = 0;
  Sequence shown_seq = 0;    // when it is over: the record that it showed last
  Sequence updated_seq = 0;  // the latest of the reports that were taken back
  Moment updated_at = 0;
  std::uint64_t count = 0;  // records of the reports that were taken back
  ChangeNumber change = 0;  // the latest that was no raise and no refresh
  std::optional<ChangeNumber> ended;
};

template <>
struct Table<FaultRow> {
  static constexpr std::string_view kName = "fault";
  static constexpr std::tuple kColumns{
      Column<&FaultRow::number>{"number", "PRIMARY KEY"},
      Column<&FaultRow::name>{"name"},
      Column<&FaultRow::alarm>{"alarm"},
      Column<&FaultRow::later_alarm>{"later_alarm"},
      Column<&FaultRow::severity>{"severity"},
      Column<&FaultRow::raised_seq>{"raised_seq"},
      Column<&FaultRow::shown_seq>{"shown_seq"},
      Column<&FaultRow::updated_seq>{"updated_seq"},
      Column<&FaultRow::updated_at>{"updated_at", {}, kLastMoment},
      Column<&FaultRow::count>{"count"},
      Column<&FaultRow::change>{"change"},
      Column<&FaultRow::ended>{"ended"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// Faults are found by a number made of their DN, which takes less space than the
// DN; that it is the right one is seen in the record. Names come in no order. For a
// new one not to change a page anywhere in the index of a long ledger, the index has
// a part for each block of so many numbers of changes, and a search looks into each.
std::int64_t fault_name_hash(std::string_view fault_dn);
inline constexpr int kFaultBlockBits = 14;

// A fault that was a later level of an alarm. The first level is the fault that
// has the alarm's number.
struct StepRow {
  ChangeNumber alarm = 0;
  ChangeNumber fault = 0;
};

template <>
struct Table<StepRow> {
  static constexpr std::string_view kName = "step";
  static constexpr std::tuple kColumns{
      Column<&StepRow::alarm>{"alarm"},
      Column<&StepRow::fault>{"fault"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (alarm, fault)) STRICT, WITHOUT ROWID";
};

// What a reporter says of a fault. Every active fault has one at least, and no
// other fault has any.
struct ReportRow {
  ChangeNumber fault = 0;
  const Entity* entity = nullptr;
  std::string sensor;
  std::int32_t instance = 0;
  Sequence since_seq = 0;
  Moment since_at = 0;
  Sequence last_seq = 0;
  Moment last_at = 0;
  std::uint64_t count = 0;
  ChangeNumber change = 0;  // that the latest record made
};

template <>
struct Table<ReportRow> {
  static constexpr std::string_view kName = "report";
  static constexpr std::tuple kColumns{
      Column<&ReportRow::fault>{"fault"},         Column<&ReportRow::entity>{"entity"},
      Column<&ReportRow::sensor>{"sensor"},       Column<&ReportRow::instance>{"instance"},
      Column<&ReportRow::since_seq>{"since_seq"}, Column<&ReportRow::since_at>{"since_at", {}, kLastMoment},
      Column<&ReportRow::last_seq>{"last_seq"},   Column<&ReportRow::last_at>{"last_at", {}, kLastMoment},
      Column<&ReportRow::count>{"count"},         Column<&ReportRow::change>{"change"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (fault, entity, sensor, instance)) STRICT, WITHOUT ROWID";
};

// A record that a fault showed again when a later one was taken back.
struct ShownAgainRow {
  Sequence seq = 0;
  ChangeNumber change = 0;
};

template <>
struct Table<ShownAgainRow> {
  static constexpr std::string_view kName = "shown_again";
  static constexpr std::tuple kColumns{
      Column<&ShownAgainRow::seq>{"seq"},
      Column<&ShownAgainRow::change>{"change"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (seq, change)) STRICT, WITHOUT ROWID";
};

// A fault that was active when an era began; of the oldest era, as it was when the
// oldest input that is kept came.
struct StandingRow {
  Sequence era = 0;
  ChangeNumber fault = 0;
  ChangeNumber alarm = 0;
  Severity severity = Severity::kIndeterminate;
  Sequence shown = 0;
  std::uint32_t reporters = 0;
  Moment updated_at = 0;
  std::uint64_t count = 0;
};

template <>
struct Table<StandingRow> {
  static constexpr std::string_view kName = "standing";
  static constexpr std::tuple kColumns{
      Column<&StandingRow::era>{"era"},
      Column<&StandingRow::fault>{"fault"},
      Column<&StandingRow::alarm>{"alarm"},
      Column<&StandingRow::severity>{"severity"},
      Column<&StandingRow::shown>{"shown"},
      Column<&StandingRow::reporters>{"reporters"},
      Column<&StandingRow::updated_at>{"updated_at", {}, kLastMoment},
      Column<&StandingRow::count>{"count"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (era, fault)) STRICT, WITHOUT ROWID";
};

// What a change does to such a fault; `standing` is empty as long as it is not
// active. `at` is when the input of the change happened.
void apply(std::optional<StandingRow>& standing, const ChangeRow& change, Sequence era, Moment at);

// Stores what is active now as what was active when the era ?1 began.
std::string insert_standing_sql();

// An event that shaped what the library remembers.
struct FilterStateRow {
  std::string slot;
  Sequence seq = 0;
};

template <>
struct Table<FilterStateRow> {
  static constexpr std::string_view kName = "filter_state";
  static constexpr std::tuple kColumns{
      Column<&FilterStateRow::slot>{"slot"},
      Column<&FilterStateRow::seq>{"seq"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (slot, seq)) STRICT, WITHOUT ROWID";
};

// Inputs and changes that had been acknowledged and were not in the ledger any more
// when an engine began. Their numbers are not given again.
struct GapRow {
  Sequence seq = 0;
  Sequence last_seq = 0;
  ChangeNumber change = 0;
  ChangeNumber last_change = 0;  // less than `change` when no change was lost
  Moment found = 0;
};

template <>
struct Table<GapRow> {
  static constexpr std::string_view kName = "gap";
  static constexpr std::tuple kColumns{
      Column<&GapRow::seq>{"seq", "PRIMARY KEY"},
      Column<&GapRow::last_seq>{"last_seq"},
      Column<&GapRow::change>{"change"},
      Column<&GapRow::last_change>{"last_change"},
      Column<&GapRow::found>{"found", {}, kLastMoment},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// An id that came with an input of the ledger before, which was damaged.
struct FormerIdRow {
  std::string id;
  bool is_action = false;
  Sequence seq = 0;
};

template <>
struct Table<FormerIdRow> {
  static constexpr std::string_view kName = "former_id";
  static constexpr std::tuple kColumns{
      Column<&FormerIdRow::id>{"id"},
      Column<&FormerIdRow::is_action>{"is_action"},
      Column<&FormerIdRow::seq>{"seq"},
  };
  static constexpr std::string_view kMore = ", PRIMARY KEY (id, is_action)) STRICT, WITHOUT ROWID";
};

// The alarm profile that the engine uses, as its file is: one row, or none when the
// engine never had one.
struct AlarmProfileRow {
  std::int64_t id = kOnly;
  std::string text;  // empty: there is no file

  static constexpr std::int64_t kOnly = 1;
};

template <>
struct Table<AlarmProfileRow> {
  static constexpr std::string_view kName = "profile";
  static constexpr std::tuple kColumns{
      Column<&AlarmProfileRow::id>{"id", "PRIMARY KEY"},
      Column<&AlarmProfileRow::text>{"text"},
  };
  static constexpr std::string_view kMore = ") STRICT";
};

// How far a publisher has come.
struct CursorRow {
  std::string name;
  ChangeNumber change = 0;
  Moment updated = 0;
};

template <>
struct Table<CursorRow> {
  static constexpr std::string_view kName = "publisher_cursor";
  static constexpr std::tuple kColumns{
      Column<&CursorRow::name>{"name", "PRIMARY KEY"},
      Column<&CursorRow::change>{"change"},
      Column<&CursorRow::updated>{"updated", {}, kLastMoment},
  };
  static constexpr std::string_view kMore = ") STRICT, WITHOUT ROWID";
};

// The ledger's own row. Throws LedgerError and SqlError.
LedgerRow ledger_row(const Database& db);

// All tables and their indexes.
std::string schema();

}  // namespace polaiga::engine
