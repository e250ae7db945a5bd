// The ledger: every accepted input and what came of it, durable. One engine writes
// to it. Questions (reader.h) and publishers (change_feed.h) read it meanwhile, in
// other processes.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alarms/alarms.h"
#include "filter/host_tables.h"
#include "filter/library_build.h"
#include "ledger/batch.h"
#include "ledger/ledger_file.h"
#include "ledger/retention.h"

namespace polaiga::engine {

// What an engine goes on with after a start.
struct Restored {
  // An event that the library must be given again, in the order of the list.
  struct Step {
    Sequence sequence;
    SensorEvent event;
    std::int64_t tables;  // key in `tables`: the host tables it was handled under
  };
  std::vector<Step> steps;
  std::map<std::int64_t, HostTables> tables;
  std::map<Slot, std::vector<Sequence>> filter_state;
  std::vector<ActiveFault> faults;  // in the order in which they were raised
};

// For the status of the engine.
struct LedgerSize {
  std::int64_t file_bytes = 0;
  std::int64_t log_bytes = 0;
  Sequence oldest_event = 0;
  ChangeNumber oldest_change = 0;  // 0: there is none
  bool is_too_full = false;        // what must be kept alone takes more than the limit
  bool is_held = false;            // the log passes its limit, because a reader keeps it from beginning anew
};

// How far a publisher has come: it needs no change up to `through` again.
struct PublisherCursor {
  std::string publisher;
  ChangeNumber through = 0;
  Moment updated = 0;  // when it said so
};

class Ledger {
 public:
  // Opens the ledger or begins one. Throws LedgerError.
  Ledger(const std::string& path, const Retention& retention, Moment now);
  ~Ledger();
  Ledger(Ledger&& other) noexcept;
  Ledger& operator=(Ledger&& other) noexcept;

  // 32 hexadecimal digits, made at random with the ledger.
  const std::string& id() const { return id_; }

  // Where a damaged ledger was moved to, in whose place this one was begun; else empty.
  const std::string& set_aside() const { return set_aside_; }

  Sequence last_sequence() const;
  ChangeNumber last_change() const;
  // Of the last input; 0 when there is none.
  Moment last_arrived() const;
  std::int64_t last_age() const;

  // The number of the input that came with this id. Throws SqlError.
  std::optional<Sequence> find(const std::string& id);

  // Throws LedgerError when what an engine needs is not there as a whole.
  Restored restore() const;

  // Under what inputs are handled from now on. It is written with the next batch.
  void use(const HostTables& tables, const LibraryBuild& build);

  // In one transaction, durable when it returns; the numbers of the inputs and the
  // changes follow the last ones. Throws SqlError, and then the ledger is as it
  // was: the same batch may be written later.
  void write(const Batch& batch);

  // How many inputs a batch may have, so that it fits the limit of bytes. Larger
  // ones are written, too.
  std::size_t most_inputs_in_batch() const;

  // A new name begins a cursor. Throws SqlError.
  void set_cursor(const std::string& publisher, ChangeNumber through, Moment now);
  // Ends a cursor; answers whether there was one. Throws SqlError.
  bool forget_cursor(const std::string& publisher);

  // Of all publishers, by name. Throws SqlError.
  std::vector<PublisherCursor> cursors() const;

  // How long each access waits for another program that has locked the file, before
  // it fails with SQLITE_BUSY. It is 5 s at first.
  void set_patience(std::chrono::milliseconds patience);

  // Goes on with taking out what is past the retention, when there is nothing to
  // write; answers whether there is more of it. Throws SqlError.
  bool tidy();

  LedgerSize size() const;

 private:
  class Writer;
  std::unique_ptr<Writer> writer_;
  std::string id_;
  std::string set_aside_;
};

}  // namespace polaiga::engine
