#include "ledger/views.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ledger/sqlite.h"
#include "support/ledger_of.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace views_test {

using Rows = std::vector<std::string>;

// The story of tests/engine/support/ledger_of.h, told by the views.
class ViewsTest : public ::testing::Test {
 protected:
  void SetUp() override { test::write_ledger(dir_.file("ledger.db"), test::kStory); }

  Rows ask(const std::string& sql) const {
    const Database db(dir_.file("ledger.db"), Access::kRead);
    Statement statement(db, sql);
    Rows rows;
    while (statement.step()) rows.emplace_back(statement.text(0));
    return rows;
  }

  test::TempDir dir_;
};

TEST_F(ViewsTest, Inputs) {
  EXPECT_EQ(
      ask("SELECT seq || ' ' || entity || ' ' || sensor || ' ' || instance || ' ' || \"offset\" || ' ' || \"state\" "
          "|| ' ' || coalesce(id, '-') || ' ' || coalesce(change, '-') FROM inputs ORDER BY seq"),
      Rows({"1 fan FAN1_TACH1 1 3 1 - raised", "2 ps PS1_STATUS 1 30 1 ps-1-out raised",
            "3 ps PS10_STATUS 10 30 1 - raised", "4 fan FAN1_TACH1 1 3 1 - refreshed",
            "5 fan FAN1_TACH1 1 4 5 - raised", "6 front_panel FP_TEMP 1 107 6 - raised",
            "7 ps PS1_STATUS 1 30 0 - cleared", "8 fan FAN1_TACH1 1 0 1 - -"}));
}

TEST_F(ViewsTest, Records) {
  EXPECT_EQ(ask("SELECT seq || ' ' || fault_dn || ' ' || code || ' ' || clear_code || ' ' || change FROM records "
                "WHERE seq IN (1, 5, 7) ORDER BY seq"),
            Rows({"1 " + test::kSlow + " 395 0 raised", "5 " + test::kSlower + " 396 395 raised",
                  "7 " + test::kSupply + " 378 378 cleared"}));
}

TEST_F(ViewsTest, Changes) {
  EXPECT_EQ(
      ask("SELECT number || ' ' || seq || ' ' || change || ' ' || fault_dn || ' ' || alarm || ' ' || before || ' ' || "
          "after || ' ' || shown_seq || ' ' || reporters FROM changes ORDER BY number"),
      Rows({"1 1 raised " + test::kSlow + " 1 cleared minor 1 1",
            "2 2 raised " + test::kSupply + " 2 cleared warning 2 1",
            "3 3 raised " + test::kTenth + " 3 cleared warning 3 1",
            "4 4 refreshed " + test::kSlow + " 1 minor minor 4 1",
            "5 5 superseded " + test::kSlow + " 1 minor minor 4 0",
            "6 5 raised " + test::kSlower + " 1 minor major 5 1",
            "7 6 raised " + test::kHot + " 7 cleared critical 6 1",
            "8 7 cleared " + test::kSupply + " 2 warning cleared 2 0"}));
}

TEST_F(ViewsTest, Faults) {
  EXPECT_EQ(ask("SELECT number || ' ' || fault_dn || ' ' || severity || ' ' || alarm || ' ' || raised_seq || ' ' || "
                "coalesce(ended, '-') || ' ' || coalesce(ending, '-') FROM faults ORDER BY number"),
            Rows({"1 " + test::kSlow + " minor 1 1 5 superseded", "2 " + test::kSupply + " warning 2 2 8 cleared",
                  "3 " + test::kTenth + " warning 3 3 - -", "6 " + test::kSlower + " major 1 5 - -",
                  "7 " + test::kHot + " critical 7 6 - -"}));
}

TEST_F(ViewsTest, Alarms) {
  EXPECT_EQ(ask("SELECT number || ' ' || fault_dn || ' ' || severity || ' ' || worst || ' ' || is_active FROM alarms "
                "ORDER BY number"),
            Rows({"1 " + test::kSlower + " major major 1", "2 " + test::kSupply + " warning warning 0",
                  "3 " + test::kTenth + " warning warning 1", "7 " + test::kHot + " critical critical 1"}));
}

}  // namespace views_test
}  // namespace polaiga::engine
