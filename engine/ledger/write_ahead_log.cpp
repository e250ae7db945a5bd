#include "ledger/write_ahead_log.h"

#include <sqlite3.h>

#include <limits>
#include <utility>
#include <vector>

namespace polaiga::engine {
namespace {

constexpr int kFrameHead = 24;
constexpr std::size_t kMostGathered = std::size_t{64} * 1024;

sqlite3_file* log_file(const Database& db) {
  sqlite3_file* file = nullptr;
  const int code = sqlite3_file_control(db.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, static_cast<void*>(&file));
  if (code != SQLITE_OK || file == nullptr || file->pMethods == nullptr) {
    throw SqlError(SQLITE_ERROR, "the database has no write-ahead log");
  }
  return file;
}

}  // namespace

// The methods of the log's file as SQLite calls them, with two differences. A write knows the limit: SQLite has no
// limit of its own for a log, and with one that was noticed only after the commit, the log would have been too long
// already. And writes that follow each other in the file are gathered, since SQLite writes each page on its own, and
// its head apart from it. What was gathered is written before anything else is done with the file.
//
// Another process may read a page as soon as SQLite says so in the log's index. When a commit is synchronised, that is
// after xSync. When it is not (PRAGMA synchronous = NORMAL), nothing tells when it is; then a page is written at once,
// together with its head.
struct WriteAheadLog::Methods {
  sqlite3_io_methods methods;  // first: SQLite knows this structure by it
  const sqlite3_io_methods* original;
  std::int64_t most;
  bool is_lifted = false;
  bool has_refused = false;
  bool gathers = false;
  sqlite3_int64 begin = 0;  // where in the file the first gathered byte belongs
  std::vector<char> gathered;
  Histogram sync_times;

  static Methods& of(sqlite3_file* file) {
    return *reinterpret_cast<Methods*>(const_cast<sqlite3_io_methods*>(file->pMethods));
  }

  // What could not be written is forgotten: SQLite takes the transaction back.
  int flush(sqlite3_file* file) {
    if (gathered.empty()) return SQLITE_OK;
    const int code = original->xWrite(file, gathered.data(), static_cast<int>(gathered.size()), begin);
    gathered.clear();
    return code;
  }

  int take(sqlite3_file* file, const char* data, int size, sqlite3_int64 offset) {
    if (!is_lifted && offset + size > most) {
      has_refused = true;
      return SQLITE_FULL;
    }
    const auto follows = begin + static_cast<sqlite3_int64>(gathered.size());
    if (offset != follows || gathered.size() + static_cast<std::size_t>(size) > kMostGathered) {
      if (const int code = flush(file); code != SQLITE_OK) return code;
      begin = offset;
    }
    gathered.insert(gathered.end(), data, data + size);
    return gathers || size == kFrameHead ? SQLITE_OK : flush(file);
  }

  static int write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    return of(file).take(file, static_cast<const char*>(data), size, offset);
  }

  static int read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
    const int code = of(file).flush(file);
    return code != SQLITE_OK ? code : of(file).original->xRead(file, data, size, offset);
  }

  static int truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int code = of(file).flush(file);
    return code != SQLITE_OK ? code : of(file).original->xTruncate(file, size);
  }

  static int sync(sqlite3_file* file, int flags) {
    if (const int code = of(file).flush(file); code != SQLITE_OK) return code;
    const auto begun = std::chrono::steady_clock::now();
    const int code = of(file).original->xSync(file, flags);
    of(file).sync_times.add(std::chrono::steady_clock::now() - begun);
    return code;
  }

  static int file_size(sqlite3_file* file, sqlite3_int64* size) {
    const int code = of(file).flush(file);
    return code != SQLITE_OK ? code : of(file).original->xFileSize(file, size);
  }
};

WriteAheadLog::WriteAheadLog(Database& db, std::int64_t most_bytes) : db_(db), methods_(std::make_unique<Methods>()) {
  Statement page_size(db, "PRAGMA page_size");
  page_size.step();
  frame_bytes_ = page_size.integer(0) + kFrameHead;
  // In the place of SQLite's own hook, which would bring the log in after each commit beyond a thousand pages.
  sqlite3_wal_hook(db.get(), &WriteAheadLog::committed, this);
  file_ = log_file(db);
  methods_->methods = *file_->pMethods;
  methods_->methods.xWrite = &Methods::write;
  methods_->methods.xRead = &Methods::read;
  methods_->methods.xTruncate = &Methods::truncate;
  methods_->methods.xSync = &Methods::sync;
  methods_->methods.xFileSize = &Methods::file_size;
  methods_->original = file_->pMethods;
  methods_->most = most_bytes > 0 ? most_bytes : std::numeric_limits<std::int64_t>::max();
  methods_->gathered.reserve(kMostGathered);
  file_->pMethods = &methods_->methods;
}

WriteAheadLog::~WriteAheadLog() {
  sqlite3_wal_hook(db_.get(), nullptr, nullptr);
  file_->pMethods = methods_->original;
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

bool WriteAheadLog::take_refused() { return std::exchange(methods_->has_refused, false); }

void WriteAheadLog::gather(bool gathers) { methods_->gathers = gathers; }

const Histogram& WriteAheadLog::sync_times() const { return methods_->sync_times; }

void WriteAheadLog::lift(bool lifted) { methods_->is_lifted = lifted; }

}  // namespace polaiga::engine
