// polaiga active, on ledgers that an engine has written.
#include <nlohmann/json.hpp>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace active_command_test {

using nlohmann::json;

const std::string kHeader = "SINCE                 SEVERITY  CODE   REPORTERS  OBJECT";
const std::string kTenthText = "PS10_STATUS: Power Supply 10 missing: reseat or replace PS 10";

// A line of `active`: when, how severe, the code, how many report it; then the object.
std::string active_line(const std::string& start, const std::string& object, std::size_t width,
                        const std::string& description) {
  return start + object + std::string(width - object.size(), ' ') + "  " + description + "\n";
}
const std::string kTenthStart = "2025-01-01T00:02:00Z  warning   F0378  1          ";
const std::string kSlowerStart = "2025-01-01T00:04:00Z  major     F0396  1          ";
const std::string kHotStart = "2025-01-01T00:05:00Z  critical  F0155  1          ";

TEST_F(Queries, Active) {
  const std::size_t width = kFan.size();
  expect_answer("active", kHeader + "                                DESCRIPTION\n" +
                              active_line(kTenthStart, "sys/rack-unit-1/psu-10", width, kTenthText) +
                              active_line(kSlowerStart, kFan, width, kSlowerText) +
                              active_line(kHotStart, "sys/rack-unit-1", width, kHotText));
}

TEST_F(Queries, ActiveAtATime) {
  const std::string one =
      kHeader + "                                DESCRIPTION\n" +
      active_line("2025-01-01T00:00:00Z  minor     F0395  1          ", kFan, kFan.size(),
                  "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server");
  expect_answer("active --at 2025-01-01T00:00:59Z", one);
  expect_answer("active --at 2025-01-01T01:00:59+01:00", one);
  expect_answer("active --at 1735689659", one);
  expect_answer("active --at 2024-12-31T23:59:59Z", "No faults are active.\n");
}

TEST_F(Queries, ActiveOfASelection) {
  const std::string hot =
      kHeader + "           DESCRIPTION\n" + active_line(kHotStart, "sys/rack-unit-1", 15, kHotText);
  const std::string tenth =
      kHeader + "                  DESCRIPTION\n" + active_line(kTenthStart, "sys/rack-unit-1/psu-10", 22, kTenthText);
  expect_answer("active --severity critical", hot);
  expect_answer("active --entity front_panel", hot);
  expect_answer("active --under sys/rack-unit-1/psu-10/", tenth);
  expect_answer("active --under sys/rack-unit-1/psu-1", "No faults are active.\n");
  expect_answer("active --under sys/rack-unit-1/psu_10", "No faults are active.\n");
  expect_answer("active --under 'sys/%'", "No faults are active.\n");
  // The story is long ago.
  expect_answer("active --newer-than 1d", "No faults are active.\n");
  expect_answer("active --older-than 30d --entity ps", tenth);
  // Ages of 360, 240 and 180 seconds.
  const std::string at = "active --at 2025-01-01T00:08:00Z ";
  expect_answer(at + "--older-than 6m", tenth);
  expect_answer(at + "--older-than 361s", "No faults are active.\n");
  expect_answer(at + "--newer-than 181s", hot);
  expect_answer(at + "--newer-than 3m", "No faults are active.\n");
  expect_answer(at + "--older-than 3m --newer-than 4m", hot);
}

TEST_F(Queries, ActiveAsJson) {
  const json tenth = json::parse(ask("active --json --entity ps").out);
  EXPECT_EQ(tenth["alarm"], ledger_id() + "-3");
  EXPECT_EQ(tenth["fault"], 3);
  EXPECT_EQ(tenth["fault_dn"], kTenth);
  EXPECT_EQ(tenth["dn"], "sys/rack-unit-1/psu-10");
  EXPECT_EQ(tenth["code"], 378);
  EXPECT_EQ(tenth["name"], "fltEquipmentPsuMissing");
  EXPECT_EQ(tenth["severity"], "warning");
  EXPECT_EQ(tenth["since"], "2025-01-01T00:02:00Z");
  EXPECT_EQ(tenth["created"], "2025-01-01T00:02:00Z");
  EXPECT_EQ(tenth["raised_seq"], 3);
  EXPECT_EQ(tenth["shown_seq"], 3);
  EXPECT_EQ(tenth["count"], 1);
  EXPECT_EQ(tenth["reporters"], 1);
  EXPECT_FALSE(tenth.contains("ended"));
  EXPECT_EQ(tenth["event"]["sensor"], "PS10_STATUS");
  EXPECT_EQ(tenth["record"]["descr"], "PS10_STATUS: Power Supply 10 missing: reseat or replace PS 10");
  expect_answer("active --json --entity cpu", "");

  // The fan's alarm has gone on from one fault to the next.
  const json slower = json::parse(ask("active --json --entity fan").out);
  EXPECT_EQ(slower["alarm"], ledger_id() + "-1");
  EXPECT_EQ(slower["fault"], 6);
  EXPECT_EQ(slower["created"], "2025-01-01T00:00:00Z");
  EXPECT_EQ(slower["since"], "2025-01-01T00:04:00Z");
}

TEST_F(Queries, ActiveAsJsonAtATime) {
  const json refreshed = json::parse(ask("active --json --at 1735689780 --entity fan").out);  // 180
  EXPECT_EQ(refreshed["fault"], 1);
  EXPECT_EQ(refreshed["count"], 2);
  EXPECT_EQ(refreshed["shown_seq"], 4);
  EXPECT_EQ(refreshed["updated"], "2025-01-01T00:03:00Z");
  const json before = json::parse(ask("active --json --at 1735689779 --entity fan").out);
  EXPECT_EQ(before["raised_seq"], 1);
  EXPECT_EQ(before["shown_seq"], 1);
  EXPECT_EQ(before["event"]["seq"], 1);
}

std::string board_line(int reporters, int shown) {
  return kHeader + "                 DESCRIPTION\n2025-01-01T00:00:10Z  minor     F0410  " + std::to_string(reporters) +
         "          " + kBoard + "  " + warm_text(shown) + "\n";
}

// The fault is over when the last sensor says so, not the first.
TEST_F(RiserQueries, AFaultIsActiveUntilItsLastReporterRecovers) {
  write_ledger(path_, {riser(10, 1, 117, 4), riser(20, 2, 117, 4)});
  expect_answer("active", board_line(2, 2));
  write_ledger(path_, {riser(30, 2, 117, 0)});
  expect_answer("active", board_line(1, 1));
  expect_answer("active --at 2025-01-01T00:00:25Z", board_line(2, 2));
  write_ledger(path_, {riser(40, 1, 117, 0)});
  expect_answer("active", "No faults are active.\n");
  expect_answer("tail --no-follow",
                "     1  2025-01-01T00:00:10Z  minor     F0410  " + kBoard + "  " + warm_text(1) +
                    "  (raised)\n     2  2025-01-01T00:00:20Z  minor     F0410  " + kBoard + "  " + warm_text(2) +
                    "  (refreshed, 2 report it)\n     3  2025-01-01T00:00:30Z  minor     F0410  " + kBoard +
                    "  RISER2_INLET_TMP:  Riser 2 inlet temperature has crossed upper non critical threshold: Cleared"
                    "  (partly cleared, 1 still reports it)\n     4  2025-01-01T00:00:40Z  cleared   F0410  " +
                    kBoard +
                    "  RISER1_INLET_TMP:  Riser 1 inlet temperature has crossed upper non critical threshold: Cleared"
                    "  (cleared)\n");
}

TEST_F(Queries, ActiveInColour) {
  const std::string coloured = "2025-01-01T00:04:00Z  \x1b[31mmajor   \x1b[0m  F0396  1          " + kFan + "  ";
  EXPECT_TRUE(contains(ask("active --color always --entity fan").out, "\n" + coloured));
  const std::string command = "$POLAIGA active --entity fan --ledger '" + path_ + "'";
  EXPECT_TRUE(contains(shell_.run_on_terminal(command).out, coloured));
  EXPECT_FALSE(contains(shell_.run_on_terminal(command + " --color never").out, "\x1b"));
}

TEST_F(Queries, BeforeWhatIsKept) {
  const std::string path = shell_.dir().file("short.db");
  write_short_ledger(path);
  expect_failure("active --ledger '" + path + "' --at 2025-01-01T00:04:59Z",
                 "polaiga: " + path + ": the ledger reaches back to 2025-01-01T00:");
}

}  // namespace active_command_test
}  // namespace polaiga::engine::test
