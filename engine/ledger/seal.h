// The digests that chain the batches of a ledger to one another: a change to anything
// that was recorded, a row that is gone and a row that was added are all found.
#pragma once

#include <nettle/sha2.h>

#include <string>
#include <string_view>

#include "filter/host_tables.h"
#include "filter/library_build.h"
#include "ledger/columns.h"
#include "ledger/tables.h"
#include "model/change.h"

namespace polaiga::engine {

// The host tables and the build under which the inputs of a batch were handled.
Seal setting_digest(const HostTables& tables, const LibraryBuild& build);

// The digest of one batch, made while its rows are written or read again:
// SHA-256 over the ledger's id, the digest of the batch before, the setting, every
// row of every input in the order of writing (its subject and its form if it is the
// first to say them, the event, its changes), and the numbers of inputs and changes
// that the batch covers.
class BatchSeal {
 public:
  BatchSeal(std::string_view ledger_id, const Seal& previous, const Seal& setting);

  template <class Row>
  void add(const Row& row) {
    content_.clear();
    content_.append(Table<Row>::kName).push_back('\0');
    append_content(content_, row);
    add_bytes(content_);
  }

  // The last event of a batch has the seal in its row, which is therefore left out here.
  void add(EventRow row);

  // `first` to `last` are the inputs, and the changes are those after `changes_before` up to `changes_through`.
  Seal close(Sequence first, Sequence last, ChangeNumber changes_before, ChangeNumber changes_through);

 private:
  void add_bytes(std::string_view bytes);

  sha256_ctx sha_;
  std::string content_;
};

}  // namespace polaiga::engine
