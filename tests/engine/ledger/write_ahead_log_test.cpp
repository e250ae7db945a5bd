#include "ledger/write_ahead_log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace write_ahead_log_test {

// A database in write-ahead mode with a table of texts, and another connection that reads it.
class WriteAheadLogTest : public testing::Test {
 protected:
  WriteAheadLogTest() : db_(path_, Access::kReadWriteCreate) {
    db_.exec("PRAGMA page_size = 1024; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
    db_.exec("CREATE TABLE text (number INTEGER PRIMARY KEY, text TEXT)");
  }

  // Rows that take a page each.
  void add(int rows) {
    Statement insert(db_, "INSERT INTO text (text) VALUES (?)");
    for (int i = 0; i < rows; ++i) insert.with(std::string(900, 'x')).run();
  }

  static std::int64_t rows_of(const Database& db) {
    Statement count(db, "SELECT count(*) FROM text WHERE text = printf('%.*c', 900, 'x')");
    count.step();
    return count.integer(0);
  }

  std::int64_t seen_by_another() const { return rows_of(Database(path_, Access::kRead)); }

  std::int64_t file_of_log() const { return static_cast<std::int64_t>(std::filesystem::file_size(path_ + "-wal")); }

  std::string sound() const {
    Statement check(db_, "PRAGMA integrity_check");
    check.step();
    return std::string(check.text(0));
  }

  const test::TempDir dir_;
  std::string path_ = dir_.file("texts.db");
  Database db_;
};

TEST_F(WriteAheadLogTest, WhatIsCommittedIsInTheFileWhetherGatheredOrNot) {
  WriteAheadLog log(db_, 0);
  const std::int64_t before = file_of_log();
  for (const bool gathers : {false, true, false, true}) {
    const std::int64_t rows = rows_of(db_);
    std::optional<WriteAheadLog::Gathering> gathering;
    if (gathers) gathering.emplace(log);
    Transaction transaction(db_);
    add(300);  // some times what is gathered at once
    transaction.commit();
    EXPECT_EQ(seen_by_another(), rows + 300);
  }
  EXPECT_GT(file_of_log(), before + 1200 * 1024);
  EXPECT_EQ(log.bytes(), file_of_log());
}

TEST_F(WriteAheadLogTest, ACommitOfOnePageIsSeenAtOnce) {
  WriteAheadLog log(db_, 0);
  for (std::int64_t rows = 1; rows <= 20; ++rows) {
    const WriteAheadLog::Gathering gathering(log);
    add(1);
    EXPECT_EQ(seen_by_another(), rows);
  }
  add(1);  // not gathered, and not synchronised
  EXPECT_EQ(seen_by_another(), 21);
  db_.exec("PRAGMA synchronous = NORMAL");
  add(1);
  EXPECT_EQ(seen_by_another(), 22);
}

// A transaction that is larger than the page cache writes pages before it ends, and reads them again.
TEST_F(WriteAheadLogTest, PagesThatLeaveTheCacheAreReadAgain) {
  WriteAheadLog log(db_, 0);
  db_.exec("PRAGMA cache_size = 10");
  add(50);
  {
    const WriteAheadLog::Gathering gathering(log);
    const Transaction taken_back(db_);
    add(500);
    EXPECT_EQ(rows_of(db_), 550);
    EXPECT_EQ(seen_by_another(), 50);
  }
  EXPECT_EQ(rows_of(db_), 50);
  {
    const WriteAheadLog::Gathering gathering(log);
    Transaction transaction(db_);
    add(500);
    db_.exec("UPDATE text SET text = text || 'y' WHERE number % 3 = 0");
    db_.exec("UPDATE text SET text = substr(text, 1, 900)");
    EXPECT_EQ(rows_of(db_), 550);
    transaction.commit();
  }
  EXPECT_EQ(seen_by_another(), 550);
  EXPECT_EQ(sound(), "ok");
  EXPECT_TRUE(log.empty(std::chrono::milliseconds(0)));
  EXPECT_EQ(file_of_log(), 0);
  EXPECT_EQ(seen_by_another(), 550);
  EXPECT_EQ(sound(), "ok");
}

TEST_F(WriteAheadLogTest, ATransactionThatWouldPassTheLimitFails) {
  WriteAheadLog log(db_, 100'000);
  for (const bool gathers : {false, true}) {
    std::optional<WriteAheadLog::Gathering> gathering;
    if (gathers) gathering.emplace(log);
    const std::int64_t rows = rows_of(db_);
    Transaction transaction(db_);
    EXPECT_THROW(
        {
          add(200);
          transaction.commit();
        },
        SqlError);
    EXPECT_TRUE(log.take_refused());
    EXPECT_FALSE(log.take_refused());
    EXPECT_LE(file_of_log(), 100'000);
    EXPECT_EQ(seen_by_another(), rows);
  }
  log.lift(true);
  add(200);
  EXPECT_EQ(seen_by_another(), 200);
  EXPECT_GT(log.used(), 100'000);
}

}  // namespace write_ahead_log_test
}  // namespace polaiga::engine
