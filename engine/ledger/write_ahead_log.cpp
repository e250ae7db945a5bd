#include "ledger/write_ahead_log.h"

#include <sqlite3.h>

#include <limits>
#include <utility>

namespace polaiga::engine {
namespace {

constexpr std::int64_t kFrameHead = 24;

sqlite3_file* log_file(const Database& db) {
  sqlite3_file* file = nullptr;
  const int code = sqlite3_file_control(db.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, static_cast<void*>(&file));
  if (code != SQLITE_OK || file == nullptr || file->pMethods == nullptr) {
    throw SqlError(SQLITE_ERROR, "the database has no write-ahead log");
  }
  return file;
}

}  // namespace

// The methods of the log's file as SQLite calls them, with a write that knows the
// limit. SQLite has no limit of its own for a log: with one that was noticed only
// after the commit, the log would have been too long already.
struct WriteAheadLog::Limit {
  sqlite3_io_methods methods;  // first: SQLite knows this structure by it
  const sqlite3_io_methods* original;
  std::int64_t most;
  bool is_lifted = false;
  bool has_refused = false;

  static int write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    auto* const limit = reinterpret_cast<Limit*>(const_cast<sqlite3_io_methods*>(file->pMethods));
    if (!limit->is_lifted && offset + size > limit->most) {
      limit->has_refused = true;
      return SQLITE_FULL;
    }
    return limit->original->xWrite(file, data, size, offset);
  }
};

WriteAheadLog::WriteAheadLog(Database& db, std::int64_t most_bytes) : db_(db), limit_(std::make_unique<Limit>()) {
  Statement page_size(db, "PRAGMA page_size");
  page_size.step();
  frame_bytes_ = page_size.integer(0) + kFrameHead;
  // In the place of SQLite's own hook, which would bring the log in after each commit beyond a thousand pages.
  sqlite3_wal_hook(db.get(), &WriteAheadLog::committed, this);
  file_ = log_file(db);
  limit_->methods = *file_->pMethods;
  limit_->methods.xWrite = &Limit::write;
  limit_->original = file_->pMethods;
  limit_->most = most_bytes > 0 ? most_bytes : std::numeric_limits<std::int64_t>::max();
  file_->pMethods = &limit_->methods;
}

WriteAheadLog::~WriteAheadLog() {
  sqlite3_wal_hook(db_.get(), nullptr, nullptr);
  file_->pMethods = limit_->original;
}

int WriteAheadLog::committed(void* self, sqlite3* /*db*/, const char* /*name*/, int frames) {
  static_cast<WriteAheadLog*>(self)->frames_ = frames;
  return SQLITE_OK;
}

std::int64_t WriteAheadLog::bytes() const {
  sqlite3_int64 size = 0;
  if (file_->pMethods->xFileSize(file_, &size) != SQLITE_OK) throw SqlError(SQLITE_IOERR, "cannot tell the log's size");
  return size;
}

bool WriteAheadLog::checkpoint(int mode) {
  int frames = 0;
  int brought_in = 0;
  const int code = sqlite3_wal_checkpoint_v2(db_.get(), "main", mode, &frames, &brought_in);
  if (code == SQLITE_BUSY) return false;
  if (code != SQLITE_OK) throw SqlError(code & 0xFF, sqlite3_errmsg(db_.get()));
  return frames == brought_in;
}

void WriteAheadLog::bring_in() { checkpoint(SQLITE_CHECKPOINT_PASSIVE); }

bool WriteAheadLog::empty(std::chrono::milliseconds patience) {
  const int before = db_.set_patience(static_cast<int>(patience.count()));
  const bool all = checkpoint(SQLITE_CHECKPOINT_TRUNCATE);
  db_.set_patience(before);
  if (all) frames_ = 0;
  return all;
}

bool WriteAheadLog::take_refused() { return std::exchange(limit_->has_refused, false); }

void WriteAheadLog::lift(bool lifted) { limit_->is_lifted = lifted; }

}  // namespace polaiga::engine
