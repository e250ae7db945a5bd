#include "ledger/ledger_file.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <functional>

#include "ledger/outbox.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

constexpr Moment kNow = 1700000000;

std::string complaint(const std::function<void()>& work) {
  try {
    work();
  } catch (const LedgerError& error) {
    return error.what();
  }
  return "none";
}

class LedgerFile : public testing::Test {
 protected:
  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
};

TEST_F(LedgerFile, ANewOneIsMade) {
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, "");
  EXPECT_EQ(test::numbers(path_, "PRAGMA user_version"), std::vector<std::int64_t>{ledger_version()});
  EXPECT_EQ(test::text(path_, "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, "");
}

// What the first version left is all there, and has what came later.
TEST_F(LedgerFile, AnOlderOneIsMigrated) {
  {
    Database db(path_, Access::kReadWriteCreate);
    migrate_ledger(db, 0, 1);
    db.exec(
        "INSERT INTO tables VALUES (1, 'a', 'b', 'c');"
        "INSERT INTO event VALUES (1, NULL, 5, NULL, 1, 'fan', 'FAN1_TACH1', 3, 1, 1, 0, 29, 0, 1);"
        "INSERT INTO record VALUES (1, 'raised', 1, 0, 'minor', 29, 0, 1, 1, 0, 'sys/a', 'sys/a/fault-F0395', 'a', "
        "'F0395', "
        "'', 0, '', '', 5, 0, 0, 0, '', '', 395, 0, '');"
        "INSERT INTO episode VALUES (1, 5, 1, 5, 1, 1, 6, 'withdrawn')");
  }
  EXPECT_EQ(complaint([&] { read_ledger(path_); }),
            path_ + ": this ledger is of version 1, and this program reads 2; `polaiga run` brings it up to date");
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, "");
  EXPECT_EQ(test::numbers(path_, "PRAGMA user_version"), std::vector<std::int64_t>{2});
  EXPECT_EQ(test::text(path_, "SELECT sensor FROM event"), "FAN1_TACH1");
  EXPECT_EQ(
      test::text(path_, "SELECT group_concat(change || fault_dn, ' ') FROM (SELECT * FROM outbox ORDER BY seq, step)"),
      "withdrawnsys/a/fault-F0395 raisedsys/a/fault-F0395");
  EXPECT_TRUE(Outbox(path_, "test").next(1).empty());
}

TEST_F(LedgerFile, ALaterOneIsLeftAlone) {
  open_ledger(path_, kNow);
  Database(path_, Access::kReadWrite).exec("PRAGMA user_version = 99");
  EXPECT_EQ(complaint([&] { open_ledger(path_, kNow); }),
            path_ + ": this ledger is of version 99, of a later program; this one knows versions up to 2");
  EXPECT_EQ(test::numbers(path_, "PRAGMA user_version"), std::vector<std::int64_t>{99});
}

TEST_F(LedgerFile, AnotherDatabaseIsLeftAlone) {
  Database(path_, Access::kReadWriteCreate).exec("CREATE TABLE mine (a)");
  EXPECT_EQ(complaint([&] { open_ledger(path_, kNow); }), path_ + ": this is no ledger, but another database");
  EXPECT_EQ(complaint([&] { read_ledger(path_); }), path_ + ": this is no ledger");
  EXPECT_EQ(test::numbers(path_, "SELECT count(*) FROM mine"), std::vector<std::int64_t>{0});
}

TEST_F(LedgerFile, ADamagedOneIsSetAside) {
  const std::string kGarbage(10'000, 'x');
  dir_.write("ledger.db", kGarbage);
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, path_ + ".damaged-20231114T221320Z");
  EXPECT_EQ(dir_.read("ledger.db.damaged-20231114T221320Z"), kGarbage);
  std::filesystem::remove(path_);
  dir_.write("ledger.db", kGarbage);
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, path_ + ".damaged-20231114T221320Z-2");
}

// Of an index, too, which no question would have noticed.
TEST_F(LedgerFile, DamageIsFoundWhereverItIs) {
  {
    Ledger ledger(path_, {}, kNow);
    ledger.use_tables({});
    ActiveFaults faults;
    for (int i = 0; i < 2000; ++i) {
      test::write(ledger, faults, {.record = {.dn = ("sys/unit-" + std::to_string(i)).c_str(), .code = 395}});
    }
  }
  const std::string sound = dir_.read("ledger.db");
  constexpr std::size_t kPage = 4096;
  ASSERT_GT(sound.size(), 40 * kPage);
  int found = 0;
  for (std::size_t page = 1; page < sound.size() / kPage; page += 7) {
    std::string damaged = sound;
    for (std::size_t i = 0; i < kPage; ++i)
      damaged[page * kPage + i] = static_cast<char>(damaged[page * kPage + i] ^ 0x5A);
    dir_.write("ledger.db", damaged);
    std::filesystem::remove(path_ + "-wal");
    std::filesystem::remove(path_ + "-shm");
    found += open_ledger(path_, kNow + static_cast<Moment>(page)).set_aside.empty() ? 0 : 1;
  }
  EXPECT_EQ(static_cast<std::size_t>(found), (sound.size() / kPage - 2) / 7 + 1);
}

TEST_F(LedgerFile, OneEngineAtATime) {
  {
    const LedgerLock lock(path_);
    EXPECT_EQ(complaint([&] { const LedgerLock second(path_); }),
              path_ + ": another engine is using this ledger: process " + std::to_string(::getpid()));
  }
  EXPECT_EQ(complaint([&] { const LedgerLock second(path_); }), "none");
  EXPECT_EQ(complaint([&] { const LedgerLock none(dir_.file("no/where.db")); }),
            dir_.file("no/where.db") +
                "-lock: cannot open: No such file or directory; is there a directory, and may "
                "this user write to it and to the file?");
}

TEST_F(LedgerFile, QuestionsNeedALedger) {
  EXPECT_EQ(complaint([&] { read_ledger(path_); }),
            path_ +
                ": cannot open the ledger: unable to open database file; is there a ledger, and may this user read "
                "it?");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

}  // namespace
}  // namespace polaiga::engine
