// Inputs and their changes as rows of the ledger.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "filter/host_tables.h"
#include "filter/library_build.h"
#include "ledger/batch.h"
#include "ledger/known_rows.h"
#include "ledger/seal.h"
#include "ledger/tables.h"

namespace polaiga::engine {

class EntryWriter {
 public:
  // An era ends after so many inputs; an epoch does when what its events and records
  // repeat takes so many bytes, or after so many inputs.
  struct Limits {
    std::int64_t era_inputs;
    std::int64_t epoch_inputs;
    std::int64_t epoch_bytes;
  };

  // Reads where the ledger ends. Throws SqlError and LedgerError.
  EntryWriter(Database& db, const Limits& limits);

  Sequence last_sequence() const { return last_sequence_; }
  ChangeNumber last_change() const { return last_change_; }
  Moment last_arrived() const { return last_arrived_; }
  std::int64_t last_age() const { return last_age_; }

  void use(const HostTables& tables, const LibraryBuild& build);

  // Within a transaction. When it fails, or the transaction does, load() must follow
  // before the next. Throws SqlError.
  void write(const Batch& batch);

  // Forgets all that the ledger may not have, and reads where it ends.
  void load();

 private:
  struct Setting {
    HostTables tables;
    LibraryBuild build;
    Seal digest = {};
    bool is_known = false;
    std::int64_t id = 0;  // 0: it is not in the ledger yet
  };

  // The latest change of an alarm, and which of its changes that is.
  struct Head {
    ChangeNumber change = 0;
    std::int64_t count = 0;
  };

  struct Statements {
    explicit Statements(const Database& db);
    Insert<EventRow> event;
    Statement seal;
    Insert<SubjectRow> subject;
    Insert<FormRow> form;
    Insert<ChangeRow> change;
    Insert<AlarmRow> alarm;
    Insert<FaultRow> fault;
    Insert<StepRow> step;
    Insert<ReportRow> report;
    Insert<ShownAgainRow> shown_again;
    Insert<EraRow> era;
    Insert<FilterStateRow> filter_state;
    Statement forget_slot;
    Statement least_at;
    Statement standing;
    Statement alarm_goes_on;
    Statement later_alarm;
    Statement fault_severity;
    Statement merge_alarm;
    Statement end_fault;
    Statement all_reports;
    Statement forget_reports;
    Statement one_report;
    Statement forget_report;
    Statement take_back;
    Insert<ActionRow> action;
    Insert<AlarmActionRow> alarm_action;
    Insert<MaintenanceRow> maintenance;
    Statement end_maintenance;
    Insert<ChatteringRow> chattering;
    Statement settled;
    Statement fault_change;
    Statement alarm_told;
    Statement missed_through;
    Statement operate;
    Statement head;
    Statement change_count;
  };

  void write_setting();
  void write(const RecordedInput& input);
  bool is_epoch_over(const RecordedInput& input) const;
  void begin_era(const RecordedInput& input);
  Sequence subject_of(const RecordedInput& input);
  Sequence form_of(const RecordedInput& input);
  void stamp(EventRow& row, const fe_fault_record& record);
  void write(const Change& change, const RecordedInput& input);
  void note(const Change& change);
  Head& head_of(ChangeNumber alarm);
  void raise(const Change& change, const RecordedInput& input);
  void refresh(const Change& change, const RecordedInput& input);
  void report(const Change& change, const RecordedInput& input);
  void take_back(const Change& change, const RecordedInput& input);
  void end_fault(const Change& change);
  void merge_alarm(const Change& change);
  void write(const OperatorAction& action, const RecordedInput& input);
  void settle(const Change& change);
  void operate(const Change& change, const RecordedInput& input);
  void must_change_one(const char* what, ChangeNumber number) const;

  template <class Row>
  void warm(KnownRows& known);
  template <class Row>
  Sequence find(KnownRows& known, const Row& row);
  template <class Row>
  void remember(KnownRows& known, const Row& row);

  Database& db_;
  Limits limits_;
  Statements sql_;
  Sequence last_sequence_ = 0;
  ChangeNumber last_change_ = 0;
  Moment last_arrived_ = 0;
  std::int64_t last_age_ = 0;
  Moment created_ = 0;  // the ledger
  std::string ledger_id_;
  Seal seal_ = {};                   // of the last batch
  std::optional<BatchSeal> sealed_;  // of the batch that is being written
  Setting setting_;
  EraRow era_;  // none has begun as long as its seq is 0
  std::int64_t epoch_bytes_ = 0;
  std::int64_t era_standing_ = 0;  // faults that were active when it began
  KnownRows subjects_;             // of this epoch
  KnownRows forms_;
  std::unordered_map<ChangeNumber, Head> heads_;  // of alarms that are active
  std::string key_;                               // of what is looked up
  std::string stamp_;                             // the last stamp, and the zone that it was found to have
  std::uint32_t stamp_time_ = 0;
  std::optional<std::int32_t> stamp_zone_;
};

}  // namespace polaiga::engine
