#include "ledger/ledger_file.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <functional>

#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

using Rows = std::vector<std::string>;

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
  EXPECT_EQ(test::rows(path_, "PRAGMA user_version"), Rows{"1"});
  EXPECT_EQ(test::rows(path_, "PRAGMA journal_mode"), Rows{"wal"});
  EXPECT_EQ(open_ledger(path_, kNow).set_aside, "");
}

TEST_F(LedgerFile, ALaterOneIsLeftAlone) {
  open_ledger(path_, kNow);
  Database(path_, Access::kReadWrite).exec("PRAGMA user_version = 99");
  EXPECT_EQ(complaint([&] { open_ledger(path_, kNow); }),
            path_ + ": this ledger is of version 99, of a later program; this one knows versions up to 1");
  EXPECT_EQ(test::rows(path_, "PRAGMA user_version"), Rows{"99"});
}

TEST_F(LedgerFile, AnotherDatabaseIsLeftAlone) {
  Database(path_, Access::kReadWriteCreate).exec("CREATE TABLE mine (a)");
  EXPECT_EQ(complaint([&] { open_ledger(path_, kNow); }), path_ + ": this is no ledger, but another database");
  EXPECT_EQ(complaint([&] { read_ledger(path_); }), path_ + ": this is no ledger");
  EXPECT_EQ(test::rows(path_, "SELECT count(*) FROM mine"), Rows{"0"});
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
    test::LedgerWithAlarms engine(path_);
    for (int i = 0; i < 1000; ++i) {
      engine.add({.record = {.dn = ("sys/unit-" + std::to_string(i)).c_str(), .code = 395}, .id = std::to_string(i)});
    }
    engine.write();
  }
  const std::string sound = dir_.read("ledger.db");
  constexpr std::size_t kPage = 1024;
  ASSERT_GT(sound.size(), 300 * kPage);
  std::size_t tried = 0;
  std::size_t found = 0;
  for (std::size_t page = 2; page < sound.size() / kPage; page += 17) {
    std::string damaged = sound;
    for (std::size_t i = 0; i < kPage; ++i) {
      damaged[page * kPage + i] = static_cast<char>(damaged[page * kPage + i] ^ 0x5A);
    }
    dir_.write("ledger.db", damaged);
    std::filesystem::remove(path_ + "-wal");
    std::filesystem::remove(path_ + "-shm");
    found += open_ledger(path_, kNow + static_cast<Moment>(page)).set_aside.empty() ? 0 : 1;
    ++tried;
  }
  EXPECT_EQ(found, tried);
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
