#include "ledger/connection.h"

#include <sys/stat.h>

#include <filesystem>
#include <utility>

namespace polaiga::engine {
namespace {

ReadLedger open(const std::string& path) {
  const std::string file = resolve_ledger(path);
  std::error_code error;
  if (!std::filesystem::exists(file, error) && !error) {
    throw LedgerError(path + ": there is no such ledger; `polaiga run` begins one, --ledger names another");
  }
  return read_ledger(path);
}

// When the file was written to last, and how large it is.
LedgerConnection::FileState state_of_file(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return {};
  return {status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

LedgerConnection::State state_of(const std::string& path) {
  const std::string file = resolve_ledger(path);
  return {state_of_file(file), state_of_file(file + "-wal")};
}

}  // namespace

LedgerConnection::LedgerConnection(std::string path)
    : path_(std::move(path)),
      state_(state_of(path_)),
      ledger_(open(path_)),
      identity_(identity_of(resolve_ledger(path_))) {}

// Who may not write beside the ledger had to open it as a file that rests. An engine that begins to use it makes a
// write-ahead log, or empties the one that is there.
void LedgerConnection::wake_up() {
  if (!ledger_.is_resting || is_replaced()) return;
  const State now = state_of(path_);
  if (now == state_) return;
  ledger_ = open(path_);
  state_ = now;
  is_reopened_ = true;
}

bool LedgerConnection::is_replaced() const {
  try {
    return identity_of(resolve_ledger(path_)) != identity_;
  } catch (const LedgerError&) {
    return true;
  }
}

LedgerConnection::Snapshot::~Snapshot() {
  if (!db_.in_transaction()) return;
  try {
    db_.exec("ROLLBACK");
  } catch (const std::exception&) {  // the next BEGIN will tell
  }
}

bool LedgerConnection::has_changed() {
  try {
    wake_up();
    if (std::exchange(is_reopened_, false)) return true;
    Statement version(ledger_.db, "PRAGMA data_version");
    return version.step() && std::exchange(version_, version.integer(0)) != version.integer(0);
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot read the ledger: " + error.what());
  }
}

}  // namespace polaiga::engine
