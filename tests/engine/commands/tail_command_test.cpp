// polaiga tail, on ledgers that an engine has written.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/ledger_entries.h"
#include "support/queries.h"

namespace polaiga::engine::test {
namespace tail_command_test {

using nlohmann::json;

// The last two changes of the story.
const std::string kRaised =
    "     7  2025-01-01T00:05:00Z  critical  F0155  sys/rack-unit-1  " + kHotText + "  (raised)\n";
const std::string kCleared =
    "     8  2025-01-01T00:06:00Z  cleared   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: Cleared"
    "  (cleared)\n";
const std::string kMissing =
    "     2  2025-01-01T00:01:00Z  warning   F0378  sys/rack-unit-1/psu-1  PS1_STATUS: Power Supply 1 missing: reseat "
    "or "
    "replace PS 1  (raised)\n";

class TailCommand : public Queries {
 protected:
  // Moves the ledger away with all that belongs to it.
  void set_aside() const {
    for (const char* part : {"", "-wal", "-shm", "-mark"}) {
      if (std::filesystem::exists(path_ + part)) std::filesystem::rename(path_ + part, path_ + ".aside" + part);
    }
  }

  std::string command(const std::string& options = "") const {
    return "\"$POLAIGA\" tail --ledger '" + path_ + "' " + options;
  }

  // A link that is lost at a second.
  static EventAt lost(int at) { return {at, R"({"entity":"ne","sensor":"LINK","offset":126,"state":1})"}; }

  bool has_told(const std::string& text) const {
    return test::comes_true([&] { return contains(shell_.dir().read("err"), text); });
  }
};

TEST_F(TailCommand, TheLast) {
  expect_answer("tail --no-follow -n 1", kCleared);
  expect_answer("tail --no-follow -n 0", "");
  expect_answer("tail --no-follow --under sys/rack-unit-1/psu-1", kMissing + kCleared);
  expect_answer("tail --no-follow -n 2 --severity warning", kRaised + kCleared);
  expect_answer("tail --no-follow --severity critical", kRaised);
  const std::string slow =
      "  F0395  " + kFan +
      "  FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server";
  expect_answer("tail --no-follow --under " + kFan, "     1  2025-01-01T00:00:00Z  minor   " + slow +
                                                        "  (raised)\n"
                                                        "     4  2025-01-01T00:03:00Z  minor   " +
                                                        slow +
                                                        "  (refreshed)\n"
                                                        "     5  2025-01-01T00:04:00Z  minor     F0395  " +
                                                        kFan +
                                                        "  (superseded)\n"
                                                        "     6  2025-01-01T00:04:00Z  major     F0396  " +
                                                        kFan + "  " + kSlowerText + "  (raised, alarm 1 goes on)\n");
}

TEST_F(TailCommand, AsJson) {
  const json last = json::parse(ask("tail --no-follow --json -n 1").out);
  EXPECT_EQ(last["ledger_id"].get<std::string>().size(), 32U);
  EXPECT_EQ(last["number"], 8);
  EXPECT_EQ(last["change"], "cleared");
  EXPECT_EQ(last["at"], "2025-01-01T00:06:00Z");
  EXPECT_EQ(last["seq"], 7);
  EXPECT_EQ(last["alarm"], last["ledger_id"].get<std::string>() + "-2");
  EXPECT_EQ(last["fault"], 2);
  EXPECT_EQ(last["fault_dn"], kSupply);
  EXPECT_EQ(last["before"], "warning");
  EXPECT_EQ(last["after"], "cleared");
  EXPECT_EQ(last["reporters"], 0);
  EXPECT_EQ(last["event"]["seq"], 7);
  EXPECT_EQ(last["record"]["code"], 378);
}

// A reader goes on where it stopped.
TEST_F(TailCommand, AfterANumber) {
  expect_answer("tail --no-follow --after 6", kRaised + kCleared);
  expect_answer("tail --no-follow --after 8", "");
  EXPECT_EQ(ask("tail --no-follow --after 0").out, ask("tail --no-follow -n 8").out);
  expect_answer("tail --no-follow --after 1 --under sys/rack-unit-1/psu-1", kMissing + kCleared);
  expect_failure("tail --after 9",
                 "polaiga: " + path_ + ": there is no change 9; the last one is 8. Has another ledger ");
  expect_failure("tail --after 1 -n 1", "--after");

  Child child(command("--after 7"), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  write_ledger(path_, {lost(480)});
  ASSERT_TRUE(child.has_printed("     9  2025-01-01T00:08:00Z  warning   F0717"));
  child.interrupt();
  EXPECT_EQ(child.wait().out.find(kRaised), std::string::npos);
}

TEST_F(TailCommand, AfterANumberThatIsNoLongerKept) {
  const std::string path = shell_.dir().file("short.db");
  write_short_ledger(path);
  const Ended got = ask("tail --no-follow --after 0 --ledger '" + path + "'");
  EXPECT_EQ(got.status, 0);
  EXPECT_TRUE(contains(got.err, "polaiga: " + path + ": changes 1 to ")) << got.err;
  EXPECT_TRUE(contains(got.err, " are no longer kept\n")) << got.err;
}

TEST_F(TailCommand, Follows) {
  Child child(command("-n 1"), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  write_ledger(path_, {lost(480), {500, kStory[1].line.substr(0, kStory[1].line.find(",\"id\"")) + "}"}});
  ASSERT_TRUE(child.has_printed("     9  2025-01-01T00:08:00Z  warning   F0717  sys/rack-unit-1/mgmt/if-1  "));
  ASSERT_TRUE(child.has_printed("    10  2025-01-01T00:08:20Z  warning   F0378  sys/rack-unit-1/psu-1  "));
  write_ledger(path_, {lost(540)});
  ASSERT_TRUE(child.has_printed("    11  2025-01-01T00:09:00Z  warning   F0717"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(std::count(got.out.begin(), got.out.end(), '\n'), 4);
}

TEST_F(TailCommand, FollowsASelection) {
  write_ledger(path_, {lost(470)});
  Child child(command("-n 1 --json --under sys/rack-unit-1/mgmt"), shell_.dir());
  ASSERT_TRUE(child.has_printed("2025-01-01T00:07:50Z"));
  write_ledger(path_, {{480, kStory[2].line}, lost(490)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:08:10Z"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  std::istringstream lines(got.out);
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_EQ(json::parse(line)["fault_dn"], "sys/rack-unit-1/mgmt/if-1/fault-F0717");
  }
  EXPECT_EQ(count, 2);
}

TEST_F(TailCommand, AnotherLedgerTakesItsPlace) {
  Child child(command(), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  set_aside();
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": the ledger is gone; waiting for a new one\n"));
  write_ledger(path_, {lost(600)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:10:00Z  warning   F0717"));
  write_ledger(path_, {lost(660)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:11:00Z  warning   F0717"));

  // This time there is no moment without a ledger that would be seen for sure.
  const std::string other = shell_.dir().file("other.db");
  write_ledger(other, {lost(720)});
  set_aside();
  std::filesystem::rename(other, path_);
  ASSERT_TRUE(child.has_printed("2025-01-01T00:12:00Z  warning   F0717"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 0);
  const std::string told = got.err.substr(got.err.find('\n') + 1);
  EXPECT_TRUE(told == "polaiga: " + path_ + ": the ledger was replaced; the new one follows, from its beginning\n" ||
              told == "polaiga: " + path_ + ": the ledger is gone; waiting for a new one\n")
      << got.err;
}

TEST_F(TailCommand, SaysWhyANewLedgerCannotBeRead) {
  Child child(command(), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  set_aside();
  shell_.dir().write("ledger.db", std::string(4096, 'x'));
  ASSERT_TRUE(has_told("polaiga: " + path_ + ": cannot open the ledger: "));
  child.interrupt();
  EXPECT_EQ(child.wait().status, 0);
}

TEST_F(TailCommand, AReaderThatGoesEndsIt) {
  const Ended got = shell_.run("(timeout 120 " + command() + "; echo status $? >&2) | head -n 1");
  EXPECT_EQ(got.out.substr(0, 28), "     1  2025-01-01T00:00:00Z");
  EXPECT_EQ(got.err, "status 0\n");
}

// A user without write permission can only read the file itself while no engine runs. An
// engine that starts later is seen, whether it is still there or has ended again.
TEST_F(TailCommand, AUserWhoMayNotWriteSeesAnEngineThatStartsLater) {
  ASSERT_EQ(::geteuid(), 0U) << "this test needs root, to become another user";
  const std::string user = test::as_plain_user();
  ASSERT_EQ(::chmod(path_.c_str(), 0644), 0);
  ASSERT_EQ(::chmod(shell_.dir().path().c_str(), 0755), 0);
  Child child(user + command(), shell_.dir());
  ASSERT_TRUE(child.has_printed(kCleared));
  write_ledger(path_, {lost(600)});
  ASSERT_TRUE(child.has_printed("2025-01-01T00:10:00Z  warning   F0717"));
  {
    LedgerWithAlarms engine(path_);
    engine.write(raises("A", "sys/later", 395, kNewYear + 700));
    ASSERT_TRUE(child.has_printed("sys/later"));
    engine.write(raises("A", "sys/latest", 395, kNewYear + 800));
    ASSERT_TRUE(child.has_printed("sys/latest"));
  }
  child.interrupt();
  EXPECT_EQ(child.wait().status, 0);
}

// What is left of a killed engine, or a copy of a ledger that was in use: a log without its index, beside which the
// user may not write.
TEST_F(TailCommand, AUserWhoMayNotWriteReadsALogWithoutItsIndex) {
  ASSERT_EQ(::geteuid(), 0U) << "this test needs root, to become another user";
  const std::string user = test::as_plain_user();
  const std::string copy = shell_.dir().file("copy.db");
  {
    LedgerWithAlarms engine(path_);
    engine.write(raises("A", "sys/in-the-log", 395, kNewYear + 700));
    for (const char* part : {"", "-wal"}) std::filesystem::copy_file(path_ + part, copy + part);
  }
  ASSERT_EQ(::chmod(copy.c_str(), 0644), 0);
  ASSERT_EQ(::chmod((copy + "-wal").c_str(), 0644), 0);
  ASSERT_EQ(::chmod(shell_.dir().path().c_str(), 0755), 0);
  Child child(user + "\"$POLAIGA\" tail --ledger '" + copy + "'", shell_.dir());
  ASSERT_TRUE(child.has_printed("sys/in-the-log"));
  LedgerWithAlarms engine(copy);
  EXPECT_EQ(engine.ledger.news(), std::vector<std::string>{});
  engine.write(raises("A", "sys/later", 395, kNewYear + 800));
  ASSERT_TRUE(child.has_printed("sys/later"));
  child.interrupt();
  EXPECT_EQ(child.wait().status, 0);
}

// What an engine has not brought into the file yet is seen through any name.
TEST_F(TailCommand, ThroughALink) {
  const std::string link = shell_.dir().file("link.db");
  std::filesystem::create_symlink(path_, link);
  LedgerWithAlarms engine(path_);
  engine.write(raises("A", "sys/later", 395, kNewYear + 700));
  const Ended got = shell_.run("$POLAIGA tail --no-follow --ledger '" + link + "' -n 1");
  EXPECT_EQ(got.err, "");
  EXPECT_TRUE(contains(got.out, "sys/later")) << got.out;
}

}  // namespace tail_command_test
}  // namespace polaiga::engine::test
