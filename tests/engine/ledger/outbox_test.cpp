#include "ledger/outbox.h"

#include <gtest/gtest.h>

#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

constexpr Retention kAll{.events = 0, .days = 0};

class OutboxTest : public testing::Test {
 protected:
  OutboxTest() : path_(dir_.file("ledger.db")), ledger_(path_, kAll, 0) { ledger_.use_tables({}); }

  void report(std::uint32_t code, std::uint32_t clear_code = 0, std::int32_t state = 1) {
    test::write(ledger_, faults_, {.record = {.dn = "sys/a", .code = code, .clear_code = clear_code, .state = state}});
  }

  static std::vector<std::string> shown(const std::vector<OutboxItem>& items) {
    std::vector<std::string> texts;
    for (const OutboxItem& item : items) {
      texts.push_back(std::to_string(item.sequence) + " " + item.change + " " + item.fault_dn);
    }
    return texts;
  }

  test::TempDir dir_;
  const std::string path_;
  Ledger ledger_;
  ActiveFaults faults_;
};

using Texts = std::vector<std::string>;

TEST_F(OutboxTest, EveryChangeInItsOrder) {
  Outbox outbox(path_, "test");
  report(395);
  report(395);
  report(396, 395);
  report(395, 395, 0);  // it is over already: no change
  report(396, 396, 0);
  report(371);
  test::write(ledger_, faults_, {.reported = false, .withdrawn = {"sys/a/fault-F0371"}});
  EXPECT_EQ(shown(outbox.next(100)),
            (Texts{"1 raised sys/a/fault-F0395", "2 refreshed sys/a/fault-F0395", "3 superseded sys/a/fault-F0395",
                   "3 raised sys/a/fault-F0396", "5 cleared sys/a/fault-F0396", "6 raised sys/a/fault-F0371",
                   "7 withdrawn sys/a/fault-F0371"}));
}

TEST_F(OutboxTest, GoesOnWhereItWas) {
  report(395);
  Outbox outbox(path_, "test");  // what was before is not its own
  EXPECT_TRUE(outbox.next(100).empty());
  report(396, 395);
  report(396);
  report(396, 396, 0);
  // An event's changes come together.
  EXPECT_EQ(shown(outbox.next(1)), (Texts{"2 superseded sys/a/fault-F0395", "2 raised sys/a/fault-F0396"}));
  EXPECT_EQ(outbox.next(1).size(), 2U);  // until they are published
  outbox.published(2);
  EXPECT_EQ(shown(Outbox(path_, "test").next(1)), (Texts{"3 refreshed sys/a/fault-F0396"}));
  outbox.published(1);  // never back
  EXPECT_EQ(shown(outbox.next(1)), (Texts{"3 refreshed sys/a/fault-F0396"}));
  outbox.published(4);
  EXPECT_TRUE(outbox.next(1).empty());
}

TEST_F(OutboxTest, EachOutputHasItsOwnCursor) {
  Outbox one(path_, "one");
  Outbox other(path_, "other");
  report(395);
  one.published(1);
  EXPECT_TRUE(one.next(1).empty());
  EXPECT_EQ(other.next(1).size(), 1U);
  EXPECT_EQ(test::numbers(path_, "SELECT seq FROM output ORDER BY name"), (std::vector<std::int64_t>{1, 0}));
  other.forget();
  EXPECT_EQ(test::numbers(path_, "SELECT seq FROM output"), std::vector<std::int64_t>{1});
}

}  // namespace
}  // namespace polaiga::engine
