// polaiga stats, on ledgers that an engine has written a short while ago.
#include <ctime>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/text_width.h"
#include "ledger/sqlite.h"
#include "support/queries.h"

namespace polaiga::engine::test {
namespace stats_command_test {

using nlohmann::json;

const std::string kSecondSupply = "sys/rack-unit-1/psu-2";

EventAt supply(Moment at, int number, int state) {
  const std::string text = std::to_string(number);
  return {at, R"({"entity":"ps","sensor":"PS)" + text + R"(_STATUS","instance":)" + text + R"(,"offset":30,"state":)" +
                  std::to_string(state) + "}"};
}

EventAt slow_fan(Moment at) { return {at, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"}; }

class StatsQueries : public Queries {
 protected:
  // A supply that comes and goes, each time for ten seconds; a fan that is slow; another supply that has been out for
  // two days. Times are far enough from what counts as an hour or a day for a slow machine.
  void SetUp() override {
    std::vector<EventAt> events{supply(ago(2 * 86'400), 10, 1), slow_fan(ago(7'200))};
    for (int i = 0; i < 12; ++i) {
      events.push_back(supply(ago(300 - 20 * i), 2, 1));
      events.push_back(supply(ago(290 - 20 * i), 2, 0));
    }
    write_ledger(path_, events);
  }

  // As seconds since kNewYear.
  Moment ago(Moment seconds) const { return now_ - seconds - kNewYear; }
  std::string time_of(Moment at) const { return format_moment(kNewYear + at); }

  json answer(const std::string& arguments = "") const { return json::parse(ask("stats --json " + arguments).out); }

  std::vector<std::string> lines(const std::string& text) const {
    std::vector<std::string> found;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      std::erase(line, '\r');
      found.push_back(line);
    }
    return found;
  }

  const Moment now_ = std::time(nullptr);
};

TEST_F(StatsQueries, AsJson) {
  const json found = answer();
  EXPECT_EQ(found["ledger_id"], ledger_id());
  EXPECT_EQ(found["since"], time_of(ago(2 * 86'400)));
  EXPECT_FALSE(found.contains("under"));
  EXPECT_EQ(found["active"], json::parse(R"({"alarms":2,"severity":{"critical":0,"major":0,"minor":1,"warning":1,)"
                                         R"("indeterminate":0},"operator_state":{"none":2,"acknowledged":0,"closed":0,)"
                                         R"("shelved":0,"unshelved":0}})"));
  EXPECT_EQ(found["new"], json::parse(R"({"last_10_minutes":12,"last_hour":12,"last_day":13,"whole_time":14})"));
  EXPECT_EQ(found["mean_time_to_acknowledge"], json::parse(R"({"alarms":0})"));
  EXPECT_EQ(found["mean_time_to_clear"], json::parse(R"({"alarms":12,"seconds":10})"));
  EXPECT_EQ(found["floods"], (json{{{"began", time_of(ago(300))}, {"alarms", 12}}}));
  EXPECT_EQ(found["chattering"], (json{{{"dn", kSecondSupply},
                                        {"code", 378},
                                        {"name", "fltEquipmentPsuMissing"},
                                        {"raised_again", 11},
                                        {"raises", 12},
                                        {"last", time_of(ago(80))}}}));
  const std::string two_days_ago = time_of(ago(2 * 86'400));
  EXPECT_EQ(found["stale"], (json{{{"alarm", ledger_id() + "-1"},
                                   {"dn", "sys/rack-unit-1/psu-10"},
                                   {"code", 378},
                                   {"name", "fltEquipmentPsuMissing"},
                                   {"severity", "warning"},
                                   {"created", two_days_ago},
                                   {"reported", two_days_ago}}}));
  ASSERT_EQ(found["worst_offenders"].size(), 3U);
  EXPECT_EQ(found["worst_offenders"][0], (json{{"dn", kSecondSupply},
                                               {"code", 378},
                                               {"name", "fltEquipmentPsuMissing"},
                                               {"alarms", 12},
                                               {"share_permille", 857}}));
}

TEST_F(StatsQueries, OfASubtree) {
  const json found = answer("--under " + kFan);
  EXPECT_EQ(found["under"], kFan);
  EXPECT_EQ(found["active"]["alarms"], 1);
  EXPECT_EQ(found["new"], json::parse(R"({"last_10_minutes":0,"last_hour":0,"last_day":1,"whole_time":1})"));
  EXPECT_EQ(found["floods"], json::array());
  EXPECT_EQ(found["stale"], json::array());
  EXPECT_EQ(found["worst_offenders"].size(), 1U);
  EXPECT_EQ(answer("--under sys/rack-unit-1/psu-1")["new"]["whole_time"], 0);
}

TEST_F(StatsQueries, OfATime) {
  const json found = answer("--newer-than 1d");
  EXPECT_EQ(found["active"]["alarms"], 2);
  EXPECT_EQ(found["stale"].size(), 1U);
  EXPECT_EQ(found["new"]["whole_time"], 13);
  EXPECT_EQ(found["worst_offenders"].size(), 2U);
  // It ends when the question is asked.
  const Moment at = *parse_moment(found["at"].get<std::string>());
  EXPECT_GE(at, now_);
  EXPECT_EQ(found["since"], format_moment(at - 86'400));
  // The ledger does not reach back so far.
  EXPECT_EQ(answer("--newer-than 9999d")["since"], time_of(ago(2 * 86'400)));
}

// Events that come late bring times from before the ledger.
TEST_F(StatsQueries, OfTimesBeforeTheLedger) {
  const std::string path = shell_.dir().file("late.db");
  write_ledger(path, {{ago(60), R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1,"time":1000000})"}});
  EXPECT_EQ(answer("--ledger '" + path + "'")["since"], "1970-01-12T13:46:40Z");
  EXPECT_EQ(answer("--newer-than 1d --ledger '" + path + "'")["since"], time_of(ago(60)));
}

// An alarm that goes on from before the time that retention has left is active, but not new.
TEST_F(StatsQueries, OfWhatRetentionHasLeft) {
  const std::string path = shell_.dir().file("short.db");
  const Retention two{.events = 2, .days = 0};
  write_ledger(path, {slow_fan(ago(500))}, two);
  for (int i = 0; i < 6; ++i) write_ledger(path, {supply(ago(400 - 10 * i), 2, 1 - i % 2)}, two);
  const json found = answer("--ledger '" + path + "'");
  EXPECT_EQ(found["active"]["alarms"], 1);
  EXPECT_EQ(found["new"], json::parse(R"({"last_10_minutes":2,"last_hour":2,"last_day":2,"whole_time":1})"));
  EXPECT_EQ(found["since"], time_of(ago(370)));
  EXPECT_EQ(answer("--newer-than 355s --ledger '" + path + "'")["new"]["whole_time"], 0);
}

TEST_F(StatsQueries, AsText) {
  const Ended got = ask("stats");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  for (const char* part : {
           "\nActive alarms    2\n  critical       0\n  major          0\n  minor          1  ####################\n"
           "  warning        1  ####################\n  indeterminate  0\n",
           "\n  last 10 minutes  12      12.0       ####################\n  last hour        12      2.0        ###\n"
           "  last day         13      0.1        #\n  whole time       14      0.0\n",
           "\n  to acknowledge  unknown\n  to clear        10s (of 12 alarms)\n",
           "\nFloods: 1 (more than 10 new alarms in 10 minutes)\n",
           "  goes on  12      ####################\n",
           "\nChattering: 1 (raised again more than 5 times in 10 minutes)\n",
           "\n  11     12      ",
           "\nStale: 1 (active, and no report for over a day)\n",
           "\nWorst offenders: 3 (of 14 new alarms)\n",
           "\n  12      85.7%  ##########  F0378  sys/rack-unit-1/psu-2                 fltEquipmentPsuMissing\n",
       }) {
    EXPECT_TRUE(contains(got.out, part)) << part << "is not in:\n" << got.out;
  }
}

TEST_F(StatsQueries, FitsTheTerminal) {
  const std::size_t count = lines(ask("stats").out).size();
  for (const std::uint16_t columns : std::initializer_list<std::uint16_t>{40, 60, 80, 132}) {
    const Ended got = shell_.run_on_terminal("LC_ALL=C.UTF-8 \"$POLAIGA\" stats --ledger '" + path_ + "'", columns);
    EXPECT_EQ(got.status, 0);
    const auto found = lines(got.out);
    EXPECT_EQ(found.size(), count) << got.out;
    for (const std::string& line : found) EXPECT_LE(text_width(line), columns) << line;
  }
}

TEST_F(StatsQueries, BlocksWhereTheTerminalHasThem) {
  const std::string block = "\xE2\x96\x88";
  const std::string stats = " \"$POLAIGA\" stats --ledger '" + path_ + "'";
  const auto has_blocks = [&](const Ended& got) {
    EXPECT_EQ(got.status, 0);
    EXPECT_NE(contains(got.out, block), contains(got.out, "##"));
    return contains(got.out, block);
  };
  const std::string unset = "unset LC_ALL LC_CTYPE LANG; ";
  EXPECT_TRUE(has_blocks(shell_.run_on_terminal(unset + "LANG=en_GB.UTF-8" + stats, 80)));
  EXPECT_TRUE(has_blocks(shell_.run_on_terminal(unset + "LANG=C LC_CTYPE=C.utf8" + stats, 80)));
  EXPECT_FALSE(has_blocks(shell_.run_on_terminal(unset + "LANG=C.UTF-8 LC_ALL=C" + stats, 80)));
  EXPECT_FALSE(has_blocks(shell_.run_on_terminal(unset + stats, 80)));
  EXPECT_FALSE(has_blocks(shell_.run_on_terminal("LC_ALL=C.UTF-8 TERM=dumb" + stats, 80)));
  EXPECT_FALSE(has_blocks(shell_.run("LC_ALL=C.UTF-8" + stats)));  // no terminal
}

TEST_F(StatsQueries, DamagedRowsAreLeftOut) {
  Database(path_, Access::kReadWrite).exec("UPDATE report SET last_at = -1 WHERE fault = 1");
  const Ended text = ask("stats");
  EXPECT_EQ(text.status, 1);
  EXPECT_TRUE(contains(text.out, "\nActive alarms    1\n")) << text.out;
  EXPECT_TRUE(contains(text.err, "polaiga: left out: ")) << text.err;
  EXPECT_TRUE(contains(text.err, "fault 1 is active, though nobody reports it\n")) << text.err;
  EXPECT_TRUE(contains(text.err, ": the ledger is damaged; `polaiga verify` tells more\n")) << text.err;
  const Ended form = ask("stats --json");
  EXPECT_EQ(form.status, 1);
  EXPECT_EQ(json::parse(form.out)["active"]["alarms"], 1);
}

TEST_F(StatsQueries, ALedgerThatCannotBeRead) {
  expect_failure("stats --ledger '" + shell_.dir().file("none.db") + "'", "there is no such ledger");
  expect_failure("stats --under ''", "--under is empty; give a DN");
  expect_failure("stats --newer-than 5", "--newer-than is '5'; give a whole number with s, m, h or d");
  expect_failure("stats --newer-than -5s", "--newer-than is '-5s'");
}

}  // namespace stats_command_test
}  // namespace polaiga::engine::test
