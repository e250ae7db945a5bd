// The write-ahead log of a database: how long it is, when it is brought into the
// database's file, and that it becomes no longer than it may.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "base/histogram.h"
#include "ledger/sqlite.h"

struct sqlite3_file;

namespace polaiga::engine {

class WriteAheadLog {
 public:
  // As long as it lives, pages are gathered until the commit synchronises them, which takes far fewer calls of the
  // system. Only for a transaction that is synchronised (PRAGMA synchronous = FULL): a reader must not be told of a
  // page that is not in the file yet.
  class Gathering {
   public:
    explicit Gathering(WriteAheadLog& log) : log_(log) { log_.gather(true); }
    ~Gathering() { log_.gather(false); }
    Gathering(const Gathering&) = delete;
    Gathering& operator=(const Gathering&) = delete;

   private:
    WriteAheadLog& log_;
  };

  // `most_bytes` is the most that the log's file may have; 0 sets no limit. A
  // transaction that would pass it fails with SQLITE_FULL. The database must be in
  // write-ahead mode, and must outlive this. Throws SqlError, as all that follows.
  WriteAheadLog(Database& db, std::int64_t most_bytes);
  ~WriteAheadLog();
  WriteAheadLog(const WriteAheadLog&) = delete;
  WriteAheadLog& operator=(const WriteAheadLog&) = delete;

  // Of its file.
  std::int64_t bytes() const;

  // Of what is in it since it began anew.
  std::int64_t used() const { return frames_ * frame_bytes_; }

  // Brings the log into the file, as far as readers allow at once. When that is all
  // and no reader needs it any more, the next transaction begins the log anew.
  void bring_in();

  // Brings all of it in and makes its file empty; answers whether it could. Waits for readers at most so long; whoever
  // begins to read after that does not need the log any more.
  bool empty(std::chrono::milliseconds patience);

  // Whether the limit was the reason that a transaction failed since the last call.
  bool take_refused();

  // How long the disk took to make the log durable, each time.
  const Histogram& sync_times() const;

  // Sets the limit aside, or in force again.
  void lift(bool lifted);

 private:
  struct Methods;

  void gather(bool gathers);
  bool checkpoint(int mode);
  static int committed(void* self, sqlite3* db, const char* name, int frames);

  Database& db_;
  std::int64_t frame_bytes_ = 0;
  std::int64_t frames_ = 0;
  sqlite3_file* file_ = nullptr;
  std::unique_ptr<Methods> methods_;
};

}  // namespace polaiga::engine
