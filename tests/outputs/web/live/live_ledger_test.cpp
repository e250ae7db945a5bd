// What is followed when the ledger is taken away, damaged, or put back as it was before.
#include "live/live_ledger.h"

#include <atomic>
#include <filesystem>
#include <fstream>

#include "support/ledger_of.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::web {
namespace live_ledger_test {

using engine::test::comes_true;
using engine::test::EventAt;
using engine::test::write_ledger;

std::vector<EventAt> slow_fans(int first, int last) {
  std::vector<EventAt> events;
  for (int fan = first; fan <= last; ++fan) {
    events.push_back({fan, R"({"entity":"fan","sensor":"FAN1_TACH1","instance":)" + std::to_string(fan) +
                               R"(,"offset":3,"state":1})"});
  }
  return events;
}

class LiveLedgerTest : public ::testing::Test {
 protected:
  std::string path() const { return dir_.file("ledger.db"); }

  // All files of the ledger become those of the copy, as when a disk is restored.
  void put_back(const std::string& copy) const {
    for (const char* part : {"-wal", "-shm", "-mark"}) std::filesystem::remove(path() + part);
    std::filesystem::copy_file(copy, path() + ".new");
    std::filesystem::rename(path() + ".new", path());
  }

  static bool is_at(LiveLedger& live, engine::ChangeNumber number) {
    return comes_true([&] {
      const auto view = live.view();
      return view && view->of.number == number && !live.problem();
    });
  }

  static std::function<void(const std::string&)> nobody() {
    return [](const std::string&) {};
  }

  engine::test::TempDir dir_;
};

TEST_F(LiveLedgerTest, ALedgerThatWasPutBackIsFollowedFromThereOn) {
  write_ledger(path(), slow_fans(1, 3));
  std::filesystem::copy_file(path(), dir_.file("copy.db"));
  write_ledger(path(), slow_fans(4, 9));
  LiveLedger live(path(), nobody());
  ASSERT_TRUE(is_at(live, 9));
  EXPECT_EQ(live.after(5, 100).changes.size(), 4U);

  put_back(dir_.file("copy.db"));
  ASSERT_TRUE(is_at(live, 3));
  const LiveChanges ahead = live.after(9, 100);
  ASSERT_TRUE(ahead.gap) << "whoever was ahead has to begin anew";
  EXPECT_EQ(ahead.gap->first, 4);
  EXPECT_TRUE(live.after(3, 100).changes.empty());

  write_ledger(path(), slow_fans(11, 12));
  ASSERT_TRUE(is_at(live, 5));
  ASSERT_TRUE(comes_true([&] { return live.after(3, 100).changes.size() == 2; }));
  EXPECT_NE(live.after(3, 100).changes.at(0).json->find("\"instance\":11"), std::string::npos)
      << *live.after(3, 100).changes.at(0).json;
}

TEST_F(LiveLedgerTest, ADamagedLedgerIsToldAndWhatWasKnownStays) {
  write_ledger(path(), slow_fans(1, 3));
  std::mutex mutex;
  std::vector<std::string> told;
  LiveLedger live(path(), [&](const std::string& text) {
    const std::lock_guard lock(mutex);
    told.push_back(text);
  });
  ASSERT_TRUE(is_at(live, 3));
  std::filesystem::copy_file(path(), dir_.file("good.db"));
  dir_.write("garbage.db", std::string(20'000, 'x'));
  put_back(dir_.file("garbage.db"));
  ASSERT_TRUE(comes_true([&] { return live.problem().has_value(); }));
  EXPECT_EQ(live.view()->of.active.size(), 3U) << "the page says that it is not live, and shows what was known";
  EXPECT_THROW(live.after(0, 100), engine::LedgerError);
  std::atomic<bool> was_notified = false;
  live.on_change([&] { was_notified = was_notified || !live.problem(); });
  put_back(dir_.file("good.db"));
  ASSERT_TRUE(is_at(live, 3));
  EXPECT_TRUE(comes_true([&] { return was_notified.load(); })) << "who shows the ledger learns that it can be read";
  EXPECT_EQ(live.after(0, 100).changes.size(), 3U);
  const std::lock_guard lock(mutex);
  ASSERT_GE(told.size(), 2U);
  EXPECT_NE(told.front().find("ledger.db"), std::string::npos) << told.front();
  EXPECT_EQ(told.back(), "The ledger can be read again.");
}

TEST_F(LiveLedgerTest, ALedgerThatComesLaterIsFollowed) {
  LiveLedger live(path(), nobody());
  ASSERT_TRUE(comes_true([&] { return live.problem().has_value(); }));
  EXPECT_EQ(live.view(), nullptr);
  write_ledger(path(), slow_fans(1, 1));
  EXPECT_TRUE(is_at(live, 1));
}

}  // namespace live_ledger_test
}  // namespace polaiga::web
