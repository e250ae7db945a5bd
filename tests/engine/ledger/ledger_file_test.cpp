#include "ledger/ledger_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "ledger/mark.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace ledger_file_test {

using Rows = std::vector<std::string>;

constexpr Moment kNow = 1700000000;

class LedgerFile : public testing::Test {
 protected:
  // Opens it and lets go of it again.
  void open(bool was_ledger = false) const {
    const LedgerLock lock(path_);
    open_ledger(path_, lock, {.created = kNow}, was_ledger);
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
};

TEST_F(LedgerFile, ANewOneIsMade) {
  open();
  EXPECT_EQ(test::rows(path_, "PRAGMA user_version"), Rows{"1"});
  EXPECT_EQ(test::rows(path_, "PRAGMA journal_mode"), Rows{"wal"});
  EXPECT_EQ(test::rows(path_, "SELECT created, watermark_seq FROM ledger"), Rows{"1700000000 0"});
  const Rows id = test::rows(path_, "SELECT id FROM ledger");
  open();
  EXPECT_EQ(test::rows(path_, "SELECT id FROM ledger"), id);
}

TEST_F(LedgerFile, ALaterOneIsLeftAlone) {
  open();
  Database(path_, Access::kReadWrite).exec("PRAGMA user_version = 99");
  for (const bool was_ledger : {false, true}) {
    EXPECT_EQ(test::complaint_of([&] { open(was_ledger); }),
              path_ + ": this ledger is of version 99, of a later program; this one knows versions up to 1");
  }
  EXPECT_EQ(test::rows(path_, "PRAGMA user_version"), Rows{"99"});
}

TEST_F(LedgerFile, WhatWasNeverALedgerIsLeftAlone) {
  Database(path_, Access::kReadWriteCreate).exec("CREATE TABLE mine (a)");
  EXPECT_EQ(test::complaint_of([&] { open(); }),
            path_ + ": this is no ledger, but another database; it is left as it is. Name another file");
  EXPECT_EQ(test::complaint_of([&] { read_ledger(path_); }), path_ + ": this is no ledger");
  EXPECT_EQ(test::rows(path_, "SELECT count(*) FROM mine"), Rows{"0"});
  for (const std::string& text : {std::string("milk, bread\n"), std::string(10'000, 'x')}) {
    dir_.write("ledger.db", text);
    EXPECT_EQ(test::complaint_of([&] { open(); }),
              path_ + ": this is no ledger; it is left as it is. Name another file");
    EXPECT_EQ(dir_.read("ledger.db"), text);
  }
}

TEST_F(LedgerFile, DamageIsTold) {
  open();
  const std::string sound = dir_.read("ledger.db");
  const auto damage = [&](bool was_ledger, const std::string& content) -> std::string {
    for (const char* part : {"-wal", "-shm"}) std::filesystem::remove(path_ + part);
    dir_.write("ledger.db", content);
    try {
      open(was_ledger);
    } catch (const DamagedLedger& error) {
      return error.what();
    }
    return "none";
  };
  std::string changed = sound;
  changed[3] = 'x';  // of "SQLite format 3"
  EXPECT_EQ(damage(false, changed), "file is not a database");
  changed = sound;
  changed[70] = 'x';  // of the application id
  EXPECT_EQ(damage(true, changed), "its header is not that of a ledger");
  EXPECT_EQ(damage(true, ""), "the file is empty");
  EXPECT_EQ(damage(true, "milk, bread\n"), "file is not a database");
  EXPECT_EQ(damage(true, sound), "none");
}

TEST_F(LedgerFile, ADamagedOneIsReplaced) {
  const auto replace = [&](const std::string& content) {
    dir_.write("ledger.db", content);
    make_ledger(path_ + "-new", {.created = kNow, .after_input = 7, .after_change = 8});
    return replace_ledger(path_, kNow);
  };
  dir_.write("ledger.db-wal", "log");
  EXPECT_EQ(replace("first"), path_ + ".damaged-20231114T221320Z");
  EXPECT_EQ(dir_.read("ledger.db.damaged-20231114T221320Z"), "first");
  EXPECT_EQ(dir_.read("ledger.db.damaged-20231114T221320Z-wal"), "log");
  EXPECT_EQ(test::rows(path_, "SELECT watermark_seq, watermark_change FROM ledger"), Rows{"7 8"});
  EXPECT_FALSE(std::filesystem::exists(path_ + "-new"));
  EXPECT_EQ(replace("second"), path_ + ".damaged-20231114T221320Z-2");
  std::filesystem::remove(path_ + "-wal");
  EXPECT_EQ(replace(""), "");
}

// As an engine leaves the files that was killed before the new ledger was in its place, and after that.
TEST_F(LedgerFile, AReplacementThatWasKilledIsSettled) {
  const auto files = [&] {
    std::string names;
    for (const char* part : {"", "-wal", "-shm", "-wal-gone", "-new"}) {
      if (std::filesystem::exists(path_ + part))
        names += std::string(part) + "=" + dir_.read("ledger.db" + std::string(part)) + ";";
    }
    return names;
  };
  settle_replacement(path_);
  EXPECT_EQ(files(), "");
  dir_.write("ledger.db", "old");
  dir_.write("ledger.db-new", "new");
  settle_replacement(path_);
  EXPECT_EQ(files(), "=old;-new=new;");
  dir_.write("ledger.db-wal-gone", "log");
  dir_.write("ledger.db-shm", "shared");
  dir_.write("ledger.db-wal", "");  // a reader made it meanwhile
  settle_replacement(path_);
  EXPECT_EQ(files(), "=old;-wal=log;-new=new;");

  std::filesystem::remove(path_ + "-wal");
  std::filesystem::rename(path_ + "-new", path_);
  dir_.write("ledger.db-wal-gone", "log");
  settle_replacement(path_);
  EXPECT_EQ(files(), "=new;");
  settle_replacement(path_);
  EXPECT_EQ(files(), "=new;");

  std::filesystem::create_directory(path_ + "-wal-gone");
  dir_.write("ledger.db-wal-gone/file", "");
  EXPECT_EQ(
      test::complaint_of([&] { settle_replacement(path_); }),
      path_ + ": the log " + path_ + "-wal-gone, which a killed engine left, cannot be moved: Directory not empty");
}

TEST_F(LedgerFile, OneEngineAtATime) {
  const std::string link = dir_.file("link.db");
  {
    const LedgerLock lock(path_);
    std::filesystem::create_symlink(path_, link);
    const std::string refused = path_ + ": another engine is using this ledger";
    EXPECT_EQ(test::complaint_of([&] { const LedgerLock second(path_); }), refused);
    EXPECT_EQ(test::complaint_of([&] { const LedgerLock second(resolve_ledger(link)); }), refused);
    MarkFile(path_).write({.ledger_id = std::string(32, '0'), .process = 4711});
    EXPECT_EQ(test::complaint_of([&] { const LedgerLock second(path_); }), refused + ": process 4711");
    EXPECT_TRUE(lock.is_in_place(path_));
    std::filesystem::rename(path_, dir_.file("elsewhere.db"));
    EXPECT_FALSE(lock.is_in_place(path_));
    EXPECT_EQ(test::complaint_of([&] { const LedgerLock second(dir_.file("elsewhere.db")); }),
              dir_.file("elsewhere.db") + ": another engine is using this ledger");
    dir_.write("ledger.db", "");
    EXPECT_FALSE(lock.is_in_place(path_));
  }
  EXPECT_EQ(test::complaint_of([&] { const LedgerLock second(path_); }), "none");
  EXPECT_EQ(test::complaint_of([&] { const LedgerLock none(dir_.file("no/where.db")); }),
            dir_.file("no/where.db") +
                ": cannot open the ledger: No such file or directory; is there a directory, and may "
                "this user write to it and to the file?");
}

TEST_F(LedgerFile, NamesLeadToOneFile) {
  const std::string file = std::filesystem::canonical(dir_.path()) / "ledger.db";
  EXPECT_EQ(resolve_ledger(path_), file);
  std::filesystem::create_symlink(path_, dir_.file("link.db"));
  EXPECT_EQ(
      test::complaint_of([&] { resolve_ledger(dir_.file("link.db")); }),
      dir_.file("link.db") +
          ": cannot be followed to a file: No such file or directory; if it is a symbolic link, it must lead to a "
          "file");
  dir_.write("ledger.db", "");
  EXPECT_EQ(resolve_ledger(dir_.file("link.db")), file);
  EXPECT_EQ(resolve_ledger(dir_.path() / "." / "ledger.db"), file);
  EXPECT_EQ(test::complaint_of([] { resolve_ledger(""); }), "the name of the ledger is empty; --ledger names a file");
  for (const char* name : {":memory:", "file:ledger.db", "file:/tmp/x?mode=memory"}) {
    EXPECT_EQ(test::complaint_of([&] { resolve_ledger(name); }),
              "'" + std::string(name) +
                  "' is no name of a file, and a ledger must be one; to mean a file of that name, put ./ before it");
  }
  EXPECT_EQ(test::complaint_of([&] { resolve_ledger(dir_.path()); }),
            dir_.path().string() + ": this is a directory; --ledger names a file");
  EXPECT_EQ(test::complaint_of([&] { const LedgerLock device("/dev/null"); }),
            "/dev/null: this is no regular file; --ledger names a file");
}

TEST_F(LedgerFile, QuestionsNeedALedger) {
  EXPECT_EQ(test::complaint_of([&] { read_ledger(path_); }),
            path_ +
                ": cannot open the ledger: unable to open database file; is there a ledger, and may this user read "
                "it?");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

}  // namespace ledger_file_test
}  // namespace polaiga::engine
