// The recorder: the only way from an input to the alarms and to the ledger.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "alarms/alarms.h"
#include "base/clock.h"
#include "core/arrival.h"
#include "core/input_counts.h"
#include "filter/filter_runner.h"
#include "filter/filter_state.h"
#include "filter/host_tables.h"
#include "ledger/batch.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

// What a source is told about an input.
struct Receipt {
  Sequence sequence = 0;
  bool duplicate = false;                // an input with the same id was taken before, under this number
  const RecordedInput* input = nullptr;  // null for a duplicate; lasts until the next call
};

// Takes inputs one by one: gives each to its filter, the record to the alarms, and
// gathers what came of it in a batch. commit() writes the batch to the ledger. The
// library cannot take an event back, so a batch that could not be written is kept,
// and commit() may be called again.
class Recorder {
 public:
  struct Options {
    std::int32_t platform = 0;
    Log log = Log::kOff;
    std::size_t most_reports = Alarms::kMostReports;  // see Alarms
    std::size_t most_in_batch = 4096;
    std::size_t most_changes_in_batch = 20'000;      // an action may make as many in one input; then it is the last one
    bool renew_acknowledgements = false;             // take an acknowledgement back when the alarm gets worse
    std::optional<ChatteringLimit> chattering = {};  // when a fault is chattering; nothing: none is
  };

  // Without a ledger: numbers begin at 1, nothing is kept.
  Recorder(const Options& options, const Clock& clock);

  // Goes on with what the ledger holds: its active alarms and its numbers. The
  // library is given the events again that it must remember. The ledger must
  // outlive the recorder. Throws LedgerError when the ledger contradicts itself.
  Recorder(const Options& options, const Clock& clock, Ledger& ledger);

  // Installs the host's tables for the inputs that follow. `directory` is what
  // complaints name. Throws TableError, and then the tables stay as they were;
  // throws SqlError when the ledger cannot be read.
  void use_tables(const HostTables& tables, const std::string& directory);

  // Installs the alarm profile for the inputs that follow. Throws SqlError when it cannot
  // be written to the ledger, from where questions have it; then it holds all the same,
  // and the call may be repeated.
  void use_profile(AlarmProfile profile);

  // Takes an event. Throws SqlError when the ledger cannot be asked for its id;
  // then nothing was taken, and the event is as it was. Throws std::bad_alloc; then
  // the library may remember an event that is in no batch, and nothing more may be
  // committed: the ledger has what a new recorder needs to go on.
  Receipt record(SensorEvent&& event);

  // Takes an action of an operator. Throws ActionRefused with the reason, such as that another action had its id; then
  // nothing of it was done. Otherwise as record().
  Receipt act(OperatorAction&& action);

  // Ends the shelves and the maintenance whose time is over, and settles faults that are chattering no more, each as an
  // input of the engine's own. Answers whether there were any; of many faults, the others come with the next calls.
  bool end_what_is_over();

  // In how many seconds there is something for end_what_is_over() to do; nothing: there is nothing to wait for.
  std::optional<std::int64_t> until_next_end();

  // Whether there is something to commit, and whether the batch takes no more.
  bool has_batch() const { return !batch_.inputs.empty(); }
  bool is_full() const { return batch_.inputs.size() >= most_in_batch_ || changes_ >= most_changes_in_batch_; }
  const Batch& batch() const { return batch_; }

  // Writes the batch and begins a new one. Durable when it returns. Throws
  // SqlError, and then the batch is still there. After std::bad_alloc nobody knows
  // whether it was written.
  void commit();

  const Alarms& alarms() const { return alarms_; }
  Sequence last_sequence() const { return last_sequence_; }

  // Since this was made.
  const InputCounts& counts() const { return counts_; }

  // What of the ledger could not be gone on with; sentences for people.
  const std::vector<std::string>& news() const { return news_; }

  // The clock's jump back, in seconds, that the last input showed; 0: none.
  std::int64_t clock_went_back() const { return went_back_; }

 private:
  Recorder(const Options& options, const Clock& clock, Ledger* ledger);

  void rebuild(const Restored& restored);
  std::optional<Sequence> find(const std::optional<std::string>& id, InputKind kind) const;
  void must_be_as(Sequence former, const OperatorAction& action) const;
  void rebuild_chattering(const Restored& restored, const std::optional<ChatteringLimit>& limit);
  RecordedInput new_input(const Arrival& arrival) const;
  void must_have_room(const OperatorAction& action) const;
  Receipt take(RecordedInput&& input);
  Receipt take_again(Sequence former);

  Ledger* ledger_;  // null: none
  std::size_t most_in_batch_;
  std::size_t most_changes_in_batch_;
  FilterRunner filters_;
  FilterState filter_state_;
  Alarms alarms_;
  Arrivals arrivals_;
  Sequence last_sequence_;
  Batch batch_;
  InputCounts counts_;
  std::size_t changes_ = 0;                                             // of the batch
  std::map<InputKind, std::unordered_map<std::string, Sequence>> ids_;  // of the batch
  Moment last_received_ = 0;
  std::int64_t went_back_ = 0;
  std::vector<std::string> news_;
};

}  // namespace polaiga::engine
