// A ledger that is open for questions while an engine may be writing to it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ledger/ledger_file.h"
#include "ledger/sqlite.h"

namespace polaiga::engine {

class LedgerConnection {
 public:
  // Throws LedgerError, as all that follows.
  explicit LedgerConnection(std::string path);

  const std::string& path() const { return path_; }
  Database& db() { return ledger_.db; }

  // Calls `question`, for which the ledger stays as it is meanwhile.
  template <class Question>
  auto ask(Question question) {
    try {
      wake_up();
      const Snapshot snapshot(ledger_.db);
      return question();
    } catch (const SqlError& error) {
      throw LedgerError(path_ + ": cannot read the ledger: " + error.what());
    } catch (const LedgerError& error) {
      throw LedgerError(path_ + ": " + error.what());
    }
  }

  // Whether something was written since the last call.
  bool has_changed();

  // Whether another file, or none, is where the ledger was.
  bool is_replaced() const;

  // Differs when the file was written to.
  struct FileState {
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    std::int64_t size = -1;  // there is no file
    bool operator==(const FileState&) const = default;
  };
  struct State {
    FileState file;
    FileState log;
    bool operator==(const State&) const = default;
  };

 private:
  class Snapshot {
   public:
    explicit Snapshot(Database& db) : db_(db) { db_.exec("BEGIN"); }
    ~Snapshot();
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

   private:
    Database& db_;
  };

  // Opens a resting ledger again when an engine uses it now.
  void wake_up();

  std::string path_;
  State state_;  // as it was before the ledger was opened
  ReadLedger ledger_;
  std::optional<FileIdentity> identity_;
  bool is_reopened_ = false;
  std::int64_t version_ = 0;
};

}  // namespace polaiga::engine
