// Checks that a ledger is what its engine wrote: every row's checksum, the chain of the
// batches' digests, the numbers, and what rows say of one another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ledger/sqlite.h"
#include "model/change.h"

namespace polaiga::engine {

// Something that is not as it was written.
struct Finding {
  std::string what;    // a sentence that names the row or the rows
  Sequence first = 0;  // the inputs that it concerns; 0: no input in particular
  Sequence last = 0;
};

// Works in small steps, each with a read transaction of its own, so that it can be done
// while an engine goes on writing: nothing waits long for it, and the log can begin anew between steps.
class Checker {
 public:
  // `db` must outlive it. Throws SqlError and LedgerError.
  explicit Checker(const Database& db);
  ~Checker();
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  // Begins the check of the inputs with the batch before the last `batches` ones instead of the oldest, and
  // checks nothing else.
  void only_last(int batches);

  // Checks about so many rows; answers whether there is more to check.
  bool step(std::size_t rows);

  // The structure of the file, its indexes, and whether what is active now is what the
  // changes say. It takes long, and reads all in one transaction.
  void check_as_a_whole();

  // So far. At most kMostFindings are kept; others are only counted.
  static constexpr std::size_t kMostFindings = 100;
  const std::vector<Finding>& findings() const { return findings_; }
  std::uint64_t found() const { return found_; }

  // Inputs and changes that were lost earlier, which the ledger knows; a sentence each.
  const std::vector<std::string>& known_gaps() const { return known_gaps_; }

  std::uint64_t checked_inputs() const { return checked_inputs_; }
  std::uint64_t checked_changes() const { return checked_changes_; }
  std::uint64_t checked_rows() const { return checked_rows_; }  // of all tables

  // Of the way through the ledger, in hundredths; what is written meanwhile is not foreseen.
  int percent() const;

 private:
  class Inputs;
  class Tables;

  void check_chattering();
  void find(std::string what, Sequence first = 0, Sequence last = 0);

  const Database& db_;
  std::vector<Finding> findings_;
  std::uint64_t found_ = 0;
  std::vector<std::string> known_gaps_;
  std::uint64_t checked_inputs_ = 0;
  std::uint64_t checked_changes_ = 0;
  std::uint64_t checked_rows_ = 0;
  bool only_last_ = false;
  std::unique_ptr<Inputs> inputs_;
  std::unique_ptr<Tables> tables_;
};

}  // namespace polaiga::engine
