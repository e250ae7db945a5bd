#include "ledger/ledger_query.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "model/record_text.h"

namespace polaiga::engine {
namespace {

constexpr const char* kEpisodeColumns =
    "record.fault_dn, episode.raised_seq, raised_at, last_seq, updated_at, reports, ended_seq, ended_at, ending, "
    "(SELECT code_text FROM record AS last_record WHERE last_record.seq = ended_seq)";

constexpr int kAtOnce = 1000;  // records of a read transaction

Database open(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !error) {
    throw LedgerError(path + ": there is no such ledger; `polaiga run` begins one, --ledger names another");
  }
  return read_ledger(path);
}

// What is read meanwhile is of one moment.
class Snapshot {
 public:
  explicit Snapshot(Database& db) : db_(db) { db_.exec("BEGIN"); }
  ~Snapshot() {
    if (!db_.in_transaction()) return;
    try {
      db_.exec("ROLLBACK");
    } catch (const SqlError&) {  // the next BEGIN will tell
    }
  }
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

 private:
  Database& db_;
};

std::string select(std::initializer_list<const char*> columns, const std::string& from) {
  std::string text;
  for (const char* one : columns) text += (text.empty() ? "SELECT " : ", ") + std::string(one);
  return text + " FROM " + from;
}

Episode read_episode(const Statement& row, int column) {
  Episode episode;
  episode.fault_dn = row.text(column);
  episode.raised = row.integer(column + 1);
  episode.raised_at = row.integer(column + 2);
  episode.last = row.integer(column + 3);
  episode.updated_at = row.integer(column + 4);
  episode.reports = row.number<std::uint64_t>(column + 5);
  if (!row.is_null(column + 6)) episode.ended = row.integer(column + 6);
  episode.ended_at = row.integer(column + 7);
  episode.ending = row.text(column + 8);
  episode.end_code = row.text(column + 9);
  return episode;
}

// A record that only clears counts as the fault that it clears.
Severity fault_severity(const StoredRecord& stored) {
  const auto severity = find_severity(stored.severity);
  if (severity && *severity != Severity::kCleared) return *severity;
  fe_fault_record raised = stored.record;
  raised.event.event_state = FE_STATE_ASSERTED;
  return severity_of(raised);
}

bool has(const Selection& selection, const StoredRecord& stored) {
  return (selection.under.empty() || is_under(field_text(stored.record.fault_dn), selection.under)) &&
         (selection.entity == nullptr || selection.entity == stored.event.line.entity) &&
         fault_severity(stored) >= selection.least;
}

bool has(const Selection& selection, const Episode& episode) {
  return (!selection.raised_by || episode.raised_at <= *selection.raised_by) &&
         (!selection.raised_after || episode.raised_at > *selection.raised_after);
}

}  // namespace

std::optional<Severity> find_severity(std::string_view word) {
  for (auto severity : {Severity::kCleared, Severity::kIndeterminate, Severity::kWarning, Severity::kMinor,
                        Severity::kMajor, Severity::kCritical}) {
    if (severity_word(severity) == word) return severity;
  }
  return std::nullopt;
}

bool is_under(std::string_view dn, std::string_view root) {
  while (root.ends_with('/')) root.remove_suffix(1);
  if (!dn.starts_with(root)) return false;
  return dn.size() == root.size() || dn[root.size()] == '/';
}

LedgerReader::LedgerReader(std::string path) : path_(std::move(path)), db_(open(path_)) {}

template <class Question>
auto LedgerReader::ask(Question question) {
  try {
    const Snapshot snapshot(db_);
    return question();
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot read the ledger: " + error.what());
  } catch (const LedgerError& error) {
    throw LedgerError(path_ + ": " + error.what());
  }
}

// Of the events of up to a time, the last.
Sequence LedgerReader::last_until(Moment at) {
  Statement horizon(db_, "SELECT through_seq, through_at FROM horizon");
  if (!horizon.step()) throw LedgerError("the ledger has no horizon");
  const Sequence gone = horizon.integer(0);
  if (gone > 0 && horizon.integer(1) > at) {
    throw LedgerError("the ledger reaches back to " + format_moment(horizon.integer(1)) +
                      "; what was before is no longer kept");
  }
  Statement last(db_, "SELECT seq FROM event WHERE coalesce(time, received) <= ? ORDER BY seq DESC LIMIT 1");
  return last.with(at).step() ? std::max(last.integer(0), gone) : gone;
}

std::vector<ActiveEpisode> LedgerReader::active(const Selection& selection, std::optional<Moment> at) {
  return ask([&] {
    const Sequence now = at ? last_until(*at) : std::numeric_limits<Sequence>::max();
    Statement rows(db_, select({kEventColumns, kRecordColumns, kEpisodeColumns},
                               "episode JOIN event ON event.seq = iif(last_seq <= ?1, last_seq, episode.raised_seq) "
                               "JOIN record ON record.seq = event.seq "
                               "WHERE episode.raised_seq <= ?1 AND (ended_seq IS NULL") +
                            (at ? " OR ended_seq > ?1)" : ")") + " ORDER BY episode.raised_seq");
    std::vector<ActiveEpisode> found;
    rows.with(now);
    while (rows.step()) {
      ActiveEpisode one{
          .episode = read_episode(rows, kEventWidth + kRecordWidth), .record = read_record(rows), .is_latest = true};
      one.is_latest = one.episode.last <= now;
      if (has(selection, one.record) && has(selection, one.episode)) found.push_back(std::move(one));
    }
    return found;
  });
}

std::vector<Episode> LedgerReader::history(const std::string& fault_dn, std::int64_t limit) {
  return ask([&] {
    Statement rows(db_, select({kEpisodeColumns}, "episode JOIN record ON record.seq = episode.raised_seq") +
                            (fault_dn.empty() ? " WHERE ?1 = ''" : " WHERE fault_dn = ?1") +
                            " ORDER BY episode.raised_seq DESC LIMIT ?2");
    std::vector<Episode> found;
    rows.with(fault_dn, limit > 0 ? limit : -1);
    while (rows.step()) found.push_back(read_episode(rows, 0));
    std::ranges::reverse(found);
    return found;
  });
}

std::optional<Explanation> LedgerReader::explain(const std::string& fault_dn) {
  return ask([&]() -> std::optional<Explanation> {
    Statement row(db_, select({kEventColumns, kRecordColumns, kEpisodeColumns, "nm", "cmc", "drive_bp"},
                              "episode JOIN event ON event.seq = episode.raised_seq "
                              "JOIN record ON record.seq = episode.raised_seq "
                              "JOIN tables ON tables.id = event.tables WHERE record.fault_dn = ? "
                              "ORDER BY episode.raised_seq DESC LIMIT 1"));
    if (!row.with(fault_dn).step()) return std::nullopt;
    constexpr int kTables = kEventWidth + kRecordWidth + 10;
    Explanation found{
        .episode = read_episode(row, kEventWidth + kRecordWidth),
        .raise = read_record(row),
        .tables = {std::string(row.text(kTables)), std::string(row.text(kTables + 1)),
                   std::string(row.text(kTables + 2))},
        .superseded = {},
    };
    Statement others(db_,
                     "SELECT fault_dn FROM episode JOIN record ON record.seq = episode.raised_seq "
                     "WHERE ended_seq = ? AND ending = 'superseded'");
    others.with(found.episode.raised);
    while (others.step()) found.superseded.emplace_back(others.text(0));
    return found;
  });
}

RecordsRead LedgerReader::latest(const Selection& selection, std::size_t count) {
  return ask([&] {
    RecordsRead read;
    Statement last(db_, "SELECT coalesce(max(seq), 0) FROM record");
    if (last.step()) read.through = last.integer(0);
    Statement rows(db_, select({kEventColumns, kRecordColumns}, "record JOIN event USING (seq) ORDER BY seq DESC"));
    while (read.records.size() < count && rows.step()) {
      StoredRecord one = read_record(rows);
      if (has(selection, one)) read.records.push_back(std::move(one));
    }
    std::ranges::reverse(read.records);
    return read;
  });
}

RecordsRead LedgerReader::after(const Selection& selection, Sequence sequence) {
  return ask([&] {
    RecordsRead read;
    read.through = sequence;
    Statement rows(db_, select({kEventColumns, kRecordColumns},
                               "record JOIN event USING (seq) WHERE seq > ? ORDER BY seq LIMIT ?"));
    rows.with(sequence, kAtOnce);
    while (rows.step()) {
      StoredRecord one = read_record(rows);
      read.through = one.event.sequence;
      if (has(selection, one)) read.records.push_back(std::move(one));
    }
    return read;
  });
}

bool LedgerReader::has_changed() {
  try {
    Statement version(db_, "PRAGMA data_version");
    return version.step() && std::exchange(version_, version.integer(0)) != version.integer(0);
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot read the ledger: " + error.what());
  }
}

}  // namespace polaiga::engine
