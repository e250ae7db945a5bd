#include "ledger/connection.h"

#include <filesystem>
#include <utility>

namespace polaiga::engine {
namespace {

Database open(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !error) {
    throw LedgerError(path + ": there is no such ledger; `polaiga run` begins one, --ledger names another");
  }
  return read_ledger(path);
}

}  // namespace

LedgerConnection::LedgerConnection(std::string path) : path_(std::move(path)), db_(open(path_)) {}

LedgerConnection::Snapshot::~Snapshot() {
  if (!db_.in_transaction()) return;
  try {
    db_.exec("ROLLBACK");
  } catch (const std::exception&) {  // the next BEGIN will tell
  }
}

bool LedgerConnection::has_changed() {
  try {
    Statement version(db_, "PRAGMA data_version");
    return version.step() && std::exchange(version_, version.integer(0)) != version.integer(0);
  } catch (const SqlError& error) {
    throw LedgerError(path_ + ": cannot read the ledger: " + error.what());
  }
}

}  // namespace polaiga::engine
