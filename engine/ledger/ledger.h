// The ledger: every accepted input and what came of it, durable. One engine writes
// to it. Questions (reader.h) and publishers (change_feed.h) read it meanwhile, in
// other processes.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alarms/alarms.h"
#include "base/histogram.h"
#include "filter/host_tables.h"
#include "filter/library_build.h"
#include "ledger/batch.h"
#include "ledger/checker.h"
#include "ledger/ledger_file.h"
#include "ledger/mark.h"
#include "ledger/restore.h"
#include "ledger/retention.h"

namespace polaiga::engine {

// For the status of the engine.
struct LedgerSize {
  std::int64_t file_bytes = 0;
  std::int64_t log_bytes = 0;
  Sequence oldest_event = 0;
  ChangeNumber oldest_change = 0;  // 0: there is none
  bool is_too_full = false;        // what must be kept alone takes more than the limit
  bool is_held = false;            // the log passes its limit, because a reader keeps it from beginning anew
};

// How long the ledger took to be written since it was opened.
struct WriteTimes {
  Histogram batches;  // from what was gathered in memory to what is durable; of those that could be written
  Histogram syncs;    // the part of it for which the disk was waited for, and the same when the log was brought in
};

// How far a publisher has come: it needs no change up to `through` again.
struct PublisherCursor {
  std::string publisher;
  ChangeNumber through = 0;
  Moment updated = 0;  // when it said so
};

class Ledger {
 public:
  // Opens the ledger or begins one; no other engine can use it as long as this lives. A ledger in which
  // something is damaged that the engine goes on with is replaced by a new one, into
  // which everything goes that proves right. Throws LedgerError.
  Ledger(const std::string& path, const Retention& retention, Moment now);
  ~Ledger();
  Ledger(Ledger&& other) noexcept;
  Ledger& operator=(Ledger&& other) noexcept;

  // 32 hexadecimal digits, made at random with the ledger.
  const std::string& id() const { return id_; }

  // Where a damaged ledger was moved to, in whose place this one was begun; else empty.
  const std::string& set_aside() const { return set_aside_; }

  // What was found wrong when it was opened, and what was done about it; sentences for people.
  const std::vector<std::string>& news() const { return news_; }

  Sequence last_sequence() const;
  ChangeNumber last_change() const;
  // Of the last input; 0 when there is none.
  Moment last_arrived() const;
  std::int64_t last_age() const;

  // The number of the event, or of the action, that came with this id. Throws SqlError.
  std::optional<Sequence> find(const std::string& id, InputKind kind);

  // What the action did that has this number, without its alarms and its end; nothing: the ledger does not know it any
  // more. Throws SqlError.
  std::optional<OperatorAction> action(Sequence sequence);

  // How many actions of operators it keeps of an alarm. Throws SqlError.
  std::size_t count_actions(ChangeNumber alarm);

  // Throws LedgerError when what an engine needs is not there as a whole.
  Restored restore();

  // The raises of faults since this age, in their order, as far as they can be read; of the latest changes only, so
  // that a start takes no longer the more there are. Throws SqlError.
  std::vector<RecentRaise> recent_raises(std::int64_t age) const;

  // Under what inputs are handled from now on. It is written with the next batch.
  void use(const HostTables& tables, const LibraryBuild& build);

  // In one transaction, durable when it returns; the numbers of the inputs and the
  // changes follow the last ones. Throws SqlError, and then the ledger is as it
  // was: the same batch may be written later. Throws LedgerError when the ledger is
  // damaged, or when its file is not in its place any more: then nothing of the batch
  // may be acknowledged, and this ledger is not to be used again.
  void write(const Batch& batch);

  // How many inputs a batch may have, so that it fits the limit of bytes. Larger
  // ones are written, too.
  std::size_t most_inputs_in_batch() const;

  // The text of the alarm profile, for questions and publishers. It is written unless
  // the ledger has it. Throws SqlError.
  void set_profile(const std::string& text);

  // A new name begins a cursor. Throws SqlError.
  void set_cursor(const std::string& publisher, ChangeNumber through, Moment now);
  // Ends a cursor; answers whether there was one. Throws SqlError.
  bool forget_cursor(const std::string& publisher);

  // Of all publishers, by name. Throws SqlError.
  std::vector<PublisherCursor> cursors() const;

  // Goes on with taking out what is past the retention, when there is nothing to
  // write; answers whether there is more of it. Throws SqlError.
  bool tidy();

  LedgerSize size() const;

  WriteTimes write_times() const;

  // How far the ledger has been checked since it was opened.
  struct CheckProgress {
    int percent = 0;
    bool is_done = false;
    std::uint64_t found = 0;  // things that are not as they were written
  };
  CheckProgress check_progress() const;

  // Goes on with checking all that was not checked at the start: about so many rows.
  // Answers what was found in them, a sentence each. Whatever it is, the engine can go
  // on: it rests on none of it. After the end it begins anew. Throws SqlError.
  std::vector<std::string> check_some(std::size_t rows);

 private:
  class Writer;

  void check_last_batches();

  std::string open(const Beginning& beginning, const std::optional<Mark>& mark);
  void begin(Database&& db);
  void replace(const std::string& reason, const Beginning& beginning);
  void go_on_after(const Mark& mark, Moment now);
  void mark(bool is_damaged);
  void must_be_in_place();
  template <class Work>
  auto noting_damage(Work work);

  std::string path_;  // resolved
  Retention retention_;
  std::optional<LedgerLock> lock_;  // before the writer: it must outlive the database
  std::optional<MarkFile> mark_file_;
  std::unique_ptr<Writer> writer_;
  std::optional<FileIdentity> log_file_;
  std::optional<Restored> restored_;  // until it is asked for
  std::string id_;
  std::string set_aside_;
  std::vector<std::string> news_;
  Histogram batch_times_;
  std::unique_ptr<Checker> checker_;  // after the writer, whose database it reads
  CheckProgress checked_;
};

}  // namespace polaiga::engine
