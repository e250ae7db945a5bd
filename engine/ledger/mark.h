// The mark: a small file beside the ledger that tells what was acknowledged last. It
// is written after each batch and outlives the process, so that a ledger that lost
// its end is found out and no number is given twice.
#pragma once

#include <optional>
#include <string>

#include "base/descriptor.h"
#include "model/change.h"

namespace polaiga::engine {

struct Mark {
  std::string ledger_id;
  Sequence last_sequence = 0;
  ChangeNumber last_change = 0;
  bool is_damaged = false;  // the engine found the ledger damaged and ended; the next one begins a new ledger
  int process = 0;          // of the engine that wrote it
};

// Where the mark of a ledger is.
std::string mark_path(const std::string& ledger);

// Nothing when there is no mark, or when what is there is none. Throws LedgerError when
// it cannot be read.
std::optional<Mark> read_mark(const std::string& ledger);

class MarkFile {
 public:
  // Throws LedgerError, also when there is a link in the place of the file: through a
  // link the engine would write to a file of somebody else.
  explicit MarkFile(const std::string& ledger);

  // It is not waited for until the disk has it: what a power failure takes is only
  // that which the ledger has, too. Throws LedgerError.
  void write(const Mark& mark);

 private:
  std::string path_;
  Descriptor file_;
};

}  // namespace polaiga::engine
