// Questions to a ledger, while an engine may be writing to it.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "filter/host_tables.h"
#include "ledger/ledger_file.h"
#include "ledger/ledger_rows.h"
#include "model/dictionary.h"

namespace polaiga::engine {

// Of which faults; by default, of all.
struct Selection {
  std::string under = {};                          // a DN: this one and all below it; empty: any
  Severity least = Severity::kCleared;             // this one and worse
  const Entity* entity = nullptr;                  // null: any
  std::optional<Moment> raised_by = std::nullopt;  // at this time, or before it
  std::optional<Moment> raised_after = std::nullopt;
};

// A fault from its raise to its end.
struct Episode {
  std::string fault_dn;
  Sequence raised = 0;
  Moment raised_at = 0;
  Sequence last = 0;  // the latest that raised or refreshed it
  Moment updated_at = 0;
  std::uint64_t reports = 0;      // records that raised or refreshed it
  std::optional<Sequence> ended;  // none: it is active
  Moment ended_at = 0;
  std::string ending;    // cleared, superseded, withdrawn
  std::string end_code;  // of the record that ended it; empty: none did
};

// A fault that is active, or was at the time that was asked for.
struct ActiveEpisode {
  Episode episode;
  StoredRecord record;
  bool is_latest;  // else later records than this one are counted in the episode
};

struct Explanation {
  Episode episode;
  StoredRecord raise;
  HostTables tables;                    // that it was raised under
  std::vector<std::string> superseded;  // faults in whose place it came
};

// Records in their order, and how far the ledger was read for them.
struct RecordsRead {
  std::vector<StoredRecord> records;
  Sequence through = 0;
};

// The severity of this name; nothing when there is none.
std::optional<Severity> find_severity(std::string_view word);

// Whether a DN is this one or lies below it.
bool is_under(std::string_view dn, std::string_view root);

// Each question is answered of one moment. All throw LedgerError.
class LedgerReader {
 public:
  explicit LedgerReader(std::string path);

  const std::string& path() const { return path_; }

  // In the order in which they were raised; of now, or of a time that retention
  // has not taken.
  std::vector<ActiveEpisode> active(const Selection& selection, std::optional<Moment> at);

  // The oldest first: of one fault, or of all for the empty DN; the last `limit`,
  // or all for 0.
  std::vector<Episode> history(const std::string& fault_dn, std::int64_t limit);

  // The latest episode of a fault; nothing when there is none.
  std::optional<Explanation> explain(const std::string& fault_dn);

  // The last records, and those behind a sequence number.
  RecordsRead latest(const Selection& selection, std::size_t count);
  RecordsRead after(const Selection& selection, Sequence sequence);

  // Whether something was written since the last call.
  bool has_changed();

 private:
  template <class Question>
  auto ask(Question question);

  Sequence last_until(Moment at);

  std::string path_;
  Database db_;
  std::int64_t version_ = 0;
};

}  // namespace polaiga::engine
