// What the program says of arguments that are not right: what was typed, what is
// allowed, and what to type.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "support/program.h"

namespace polaiga::engine::test {
namespace arguments_test {

const std::string kCommands =
    "replay, run, active, history, explain, tail, stats, missed, ack, unack, close, comment, shelve, unshelve, "
    "maintain, "
    "maintenance, outputs, verify, catalog, diff";

// How the complaint goes on with the programs that were built beside this one, such as polaiga-web.
std::string programs_beside() {
  const std::filesystem::path program = POLAIGA_PROGRAM;
  const std::string prefix = program.filename().string() + "-";
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(program.parent_path())) {
    const std::string file = entry.path().filename().string();
    if (file.starts_with(prefix)) names.insert(file.substr(prefix.size()));
  }
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? ", and as programs of their own " : ", ") + name;
  return text;
}

const std::string kPrograms = programs_beside();

class Arguments : public ::testing::Test {
 protected:
  // PATH is empty, so that no program of this machine is listed.
  Ended run(const std::string& arguments) const {
    return shell_.run("cd '" + shell_.dir().path().string() + "' && PATH= \"$POLAIGA\" " + arguments);
  }

  // The complaint about a command, and where to read more. Nothing else happens.
  void expect_complaint(const std::string& arguments, const std::string& name, const std::string& complaint) const {
    const Ended got = run(arguments);
    EXPECT_EQ(got.status, 2) << arguments;
    EXPECT_EQ(got.out, "") << arguments;
    EXPECT_EQ(got.err, name + ": " + complaint + "\nAll about it: " + name + " --help\n") << arguments;
  }

  Shell shell_;
};

TEST_F(Arguments, Commands) {
  const std::pair<const char*, std::string> kRows[] = {
      {"", "a command is missing; the commands are " + kCommands + kPrograms},
      {"bogus", "there is no command 'bogus'; the commands are " + kCommands + kPrograms},
      {"bogus active", "there is no command 'bogus'; the commands are " + kCommands + kPrograms},
      {"''", "there is no command ''; the commands are " + kCommands + kPrograms},
      {"--bogus", "there is no option '--bogus'; give a command first: " + kCommands},
  };
  for (const auto& [arguments, complaint] : kRows) {
    expect_complaint(arguments, "polaiga", complaint);
  }
  expect_complaint("-x active", "polaiga active", "there is no option '-x'; give a command first: " + kCommands);
}

TEST_F(Arguments, OptionsThatAreNone) {
  const std::string of_history = "; the options are --help, --ledger, --json, --rfc8632, --limit";
  expect_complaint("history --bogus", "polaiga history", "there is no option '--bogus'" + of_history);
  expect_complaint("history --bogus=5", "polaiga history", "there is no option '--bogus=5'" + of_history);
  expect_complaint("history --lim 5", "polaiga history", "there is no option '--lim'" + of_history);
  expect_complaint("history -x", "polaiga history", "there is no option '-x'" + of_history);
  expect_complaint("explain --bogus", "polaiga explain",
                   "there is no option '--bogus'; the options are --help, --ledger, --json, --tables");
  expect_complaint("diff --strict a.so b.so -", "polaiga diff",
                   "there is no option '--strict'; the options are --help, --json, --platform, --tables");
}

TEST_F(Arguments, TooManyOrTooFew) {
  const std::tuple<const char*, const char*, const char*> kRows[] = {
      {"active extra", "active", "'extra' is one argument too many; type: polaiga active"},
      {"active history", "active", "'history' is one argument too many; type: polaiga active"},
      {"explain a b", "explain", "'b' is one argument too many; type: polaiga explain FAULT_DN"},
      {"explain", "explain", "FAULT_DN is missing; type: polaiga explain FAULT_DN"},
      {"replay", "replay", "FILE is missing; type: polaiga replay FILE"},
      {"diff", "diff", "A.so is missing; type: polaiga diff A.so B.so FILE"},
      {"diff a.so", "diff", "B.so is missing; type: polaiga diff A.so B.so FILE"},
      {"diff a.so b.so", "diff", "FILE is missing; type: polaiga diff A.so B.so FILE"},
      {"outputs extra", "outputs", "'extra' is one argument too many; type: polaiga outputs"},
      {"history --limit 1 --limit 2", "history", "--limit is given twice; give it once"},
      {"active --ledger a --ledger b", "active", "--ledger is given twice; give it once"},
      {"active --severity major --severity minor", "active", "--severity is given twice; give it once"},
      {"tail --after 1 -n 1", "tail", "--lines and --after do not go together; leave one of them out"},
      {"active --rfc8632 --json", "active", "--json and --rfc8632 do not go together; leave one of them out"},
      {"active --rfc8632 --at 5", "active", "--rfc8632 and --at do not go together; leave one of them out"},
      {"outputs --forget a --json", "outputs", "--json and --forget do not go together; leave one of them out"},
      {"history --rfc8632 --json", "history", "--json and --rfc8632 do not go together; leave one of them out"},
      {"stats --rfc8632 --json", "stats", "--json and --rfc8632 do not go together; leave one of them out"},
      {"stats --rfc8632 --newer-than 1h", "stats",
       "--rfc8632 and --newer-than do not go together; leave one of them out"},
      {"catalog --json --markdown", "catalog", "--markdown and --json do not go together; leave one of them out"},
  };
  for (const auto& [arguments, command, complaint] : kRows) {
    expect_complaint(arguments, std::string("polaiga ") + command, complaint);
  }
}

TEST_F(Arguments, ValuesThatAreMissingOrEmpty) {
  const std::tuple<const char*, const char*, const char*> kRows[] = {
      {"history --limit", "history",
       "--limit has no value; type --limit N: At most the last N alarms; 0 lists all (default 100)"},
      {"history --limit= --json", "history",
       "--limit has no value; type --limit N: At most the last N alarms; 0 lists all (default 100)"},
      {"tail -n", "tail", "-n has no value; type -n N: Begin with the last N changes (default 10)"},
      {"history --limit --json", "history",
       "--limit is '--json'; give a whole number from 0 to 1000000000, as in: --limit 100"},
      {"history --json=5", "history", "--json takes no value; type it alone"},
      {"history --json=", "history", "--json takes no value; type it alone"},
      {"replay --strict=false -", "replay", "--strict takes no value; type it alone"},
      {"tail --no-follow=no", "tail", "--no-follow takes no value; type it alone"},
      {"active --ledger --json", "active",
       "--ledger is followed by '--json', which is no name; a name that begins with -- is typed with ./ before it"},
      {"active --ledger ''", "active", "--ledger is empty; give a name, as in: --ledger ledger.db"},
      {"run --socket ''", "run", "--socket is empty; give a name, as in: --socket events.sock"},
      {"outputs --forget ''", "outputs", "--forget is empty; give a name, as in: --forget snmp"},
      {"outputs --control ''", "outputs", "--control is empty; give a name, as in: --control control.sock"},
      {"run --publisher ''", "run",
       "--publisher is empty; give the name or the number of a user of this machine, as in: --publisher polaiga-snmp"},
      {"run --publisher 0 --publisher -1", "run",
       "--publisher is '-1'; give the name or the number of a user of this machine, as in: --publisher polaiga-snmp"},
      {"run --control ''", "run", "--control is empty; give a name, as in: --control control.sock"},
      {"catalog --tables ''", "catalog", "--tables is empty; give a name, as in: --tables /usr/share/polaiga/tables"},
      {"history --limit ''", "history",
       "--limit is empty; give a whole number from 0 to 1000000000, as in: --limit 100"},
      {"history ''", "history", "FAULT_DN is empty; give a name"},
      {"explain ''", "explain", "FAULT_DN is empty; give a name"},
      {"replay ''", "replay", "FILE is empty; give a name"},
      {"replay a ''", "replay", "FILE is empty; give a name"},
      {"diff '' b.so -", "diff", "A.so is empty; give a name"},
      {"diff a.so '' -", "diff", "B.so is empty; give a name"},
      {"diff a.so b.so ''", "diff", "FILE is empty; give a name"},
  };
  for (const auto& [arguments, command, complaint] : kRows) {
    expect_complaint(arguments, std::string("polaiga ") + command, complaint);
  }
}

TEST_F(Arguments, Words) {
  const std::string severities =
      "; give one of indeterminate, warning, minor, major or critical, as in: --severity indeterminate";
  const std::tuple<const char*, const char*, std::string> kRows[] = {
      {"active --severity bad", "active", "--severity is 'bad'" + severities},
      {"active --severity cleared", "active", "--severity is 'cleared'" + severities},
      {"tail --severity Major", "tail", "--severity is 'Major'" + severities},
      {"active --severity ''", "active", "--severity is empty" + severities},
      {"active --entity fans", "active",
       "--entity is 'fans'; give one of sys_board, fan, ps, cpu, mem, fw_bios_post, pci, add_in, caddora, storage, "
       "drive_bp, chassis, front_panel, nm, ne or cmc, as in: --entity sys_board"},
      {"active --color red", "active", "--color is 'red'; give one of auto, always or never, as in: --color auto"},
      {"tail --color red", "tail", "--color is 'red'; give one of auto, always or never, as in: --color auto"},
      {"replay --color=purple -", "replay",
       "--color is 'purple'; give one of auto, always or never, as in: --color auto"},
      {"replay --log loud -", "replay", "--log is 'loud'; give one of debug or off, as in: --log debug"},
      {"run --chattering 5", "run",
       "--chattering is '5'; give a number from 1 to 100, a / and a time from 1s to 24h, with s, m or h behind it; or "
       "0, as in: --chattering 5/10m"},
      {"stats --chattering 0", "stats",
       "--chattering is '0'; give a number from 1 to 100, a / and a time from 1s to 24h, with s, m or h behind it, as "
       "in: --chattering 5/10m"},
      {"run --log loud", "run", "--log is 'loud'; give one of debug or off, as in: --log debug"},
      {"active --under ''", "active", "--under is empty; give a DN, as in: --under sys/rack-unit-1/psu-1"},
      {"active --under //", "active", "--under is '//'; give a DN, as in: --under sys/rack-unit-1/psu-1"},
      {"tail --under --json", "tail", "--under is '--json'; give a DN, as in: --under sys/rack-unit-1/psu-1"},
  };
  for (const auto& [arguments, command, complaint] : kRows) {
    expect_complaint(arguments, std::string("polaiga ") + command, complaint);
  }
}

// Every option whose value is a number, with what is allowed and an example. What is
// typed beside them only makes the command complete.
struct Numeric {
  const char* command;
  const char* option;
  const char* allowed;
  const char* example;
  std::vector<std::string> wrong;  // beside what is wrong with any number
};

const char* const kAge = "a whole number with s, m, h or d";
const char* const kTime = "an RFC 3339 time or seconds since 1970";
const std::vector<std::string> kWrongAges{"5", "h", "5w", "-5h", "1.5h", "99999999999999999999d", "9999999999d", "5mm"};
const std::vector<std::string> kWrongSpans{"5", "h", "5w", "-5h", "1.5h", "0s", "0d", "31d", "721h", "2592001s"};
const std::vector<std::string> kWrongTimes{"yesterday", "2025-02-30T00:00:00Z", "2025-01-01", "1735689600"};
const char* const kPlatform = "a whole number from 0 to 17";

const Numeric kNumerics[] = {
    {"history", "--limit", "a whole number from 0 to 1000000000", "100", {"1000000001"}},
    {"missed", "--limit", "a whole number from 0 to 1000000000", "100", {"1000000001"}},
    {"tail", "--lines", "a whole number from 0 to 1000000000", "10", {"1000000001"}},
    {"tail", "--after", "a whole number from 0 to 9223372036854775807", "17", {"9223372036854775808"}},
    {"replay", "--platform", kPlatform, "0", {"18", "4294967296"}},
    {"run", "--platform", kPlatform, "0", {"18", "4294967296"}},
    {"diff", "--platform", kPlatform, "0", {"18", "4294967296"}},
    {"run", "--max-active", "a whole number from 1 to 1000000", "20000", {"0", "1000001"}},
    {"run", "--keep-events", "a whole number from 0 to 1000000000000", "1000000", {"1000000000001"}},
    {"run", "--keep-days", "a whole number from 0 to 36500", "365", {"36501"}},
    {"run",
     "--keep-bytes",
     "a size from 0 to 1PiB, with KiB, MiB, GiB or TiB behind the number",
     "64MiB",
     {"8x", "-8MiB", "1.5MiB", "MiB", "2PiB", "1125899906842625"}},
    {"run",
     "--commit-within",
     "a time from 0ms to 10s, with ms or s behind the number",
     "50ms",
     {"5", "0", "-5ms", "1.5s", "10001ms", "11s", "5m", "ms"}},
    {"run",
     "--idle-within",
     "a time from 1ms to 3600s, with ms or s behind the number",
     "30s",
     {"0ms", "3601s", "30", "1m", "-1s"}},
    {"active", "--older-than", kAge, "2h", kWrongAges},
    {"active", "--newer-than", kAge, "2h", kWrongAges},
    {"stats", "--newer-than", kAge, "2h", kWrongAges},
    {"ack", "--older-than", kAge, "2h", kWrongAges},
    {"ack", "--newer-than", kAge, "2h", kWrongAges},
    {"unack", "--older-than", kAge, "2h", kWrongAges},
    {"unack", "--newer-than", kAge, "2h", kWrongAges},
    {"close", "--older-than", kAge, "2h", kWrongAges},
    {"close", "--newer-than", kAge, "2h", kWrongAges},
    {"comment", "--older-than", kAge, "2h", kWrongAges},
    {"comment", "--newer-than", kAge, "2h", kWrongAges},
    {"shelve", "--older-than", kAge, "2h", kWrongAges},
    {"shelve", "--newer-than", kAge, "2h", kWrongAges},
    {"unshelve", "--older-than", kAge, "2h", kWrongAges},
    {"unshelve", "--newer-than", kAge, "2h", kWrongAges},
    {"shelve", "--for", "a time from 1s to 30d, with s, m, h or d behind the number", "2h", kWrongSpans},
    {"shelve", "--until", "an RFC 3339 time", "2025-03-12T09:12:20Z", kWrongTimes},
    {"maintain", "--for", "a time from 1s to 30d, with s, m, h or d behind the number", "2h", kWrongSpans},
    {"maintain", "--until", "an RFC 3339 time", "2025-03-12T09:12:20Z", kWrongTimes},
    {"active",
     "--at",
     kTime,
     "2025-03-12T09:12:20Z",
     {"yesterday", "2025-02-30T00:00:00Z", "2025-01-01", "253402300800", "2025-01-01T00:00:00"}},
};

TEST_F(Arguments, Numbers) {
  for (const Numeric& one : kNumerics) {
    std::vector<std::string> wrong{"-1", "12345678901234567890123", "12x", "x12", "1.5", "1e3", "0x10", "+5", " 5x",
                                   "1'0"};
    wrong.insert(wrong.end(), one.wrong.begin(), one.wrong.end());
    for (const std::string& value : wrong) {
      const std::string complaint = std::string(one.option) + " is '" + value + "'; give " + one.allowed +
                                    ", as in: " + one.option + " " + one.example;
      std::string quoted = value;
      for (std::size_t at = quoted.find('\''); at != std::string::npos; at = quoted.find('\'', at + 4)) {
        quoted.replace(at, 1, "'\\''");
      }
      expect_complaint(std::string(one.command) + " " + one.option + " '" + quoted + "'",
                       std::string("polaiga ") + one.command, complaint);
    }
  }
}

// What the help of each command tells of its options, beside those above.
TEST_F(Arguments, NoOptionIsForgotten) {
  const std::set<std::string> kTexts{"--ledger",  "--tables",    "--socket", "--control",      "--under",
                                     "--log",     "--color",     "--entity", "--severity",     "--control-group",
                                     "--gateway", "--comment",   "--id",     "--on-behalf-of", "--state",
                                     "--end",     "--publisher", "--forget"};
  std::set<std::pair<std::string, std::string>> numerics;
  for (const Numeric& one : kNumerics) numerics.emplace(one.command, one.option);
  std::istringstream commands(std::regex_replace(kCommands, std::regex(","), ""));
  int count = 0;
  for (std::string command; commands >> command;) {
    std::istringstream help(run(command + " --help").out);
    const std::regex option("^  (?:-\\w,)?(--[a-z-]+) [A-Z]+ .*");
    for (std::string line; std::getline(help, line);) {
      std::smatch found;
      if (!std::regex_match(line, found, option) || kTexts.contains(found[1])) continue;
      ++count;
      EXPECT_TRUE(numerics.contains({command, found[1]})) << command << " " << found[1] << " has no row";
    }
  }
  EXPECT_EQ(count, static_cast<int>(std::size(kNumerics)));
}

// The first and the last value that is allowed.
TEST_F(Arguments, NumbersThatAreRight) {
  const std::string ledger = shell_.dir().file("ledger.db");
  ASSERT_EQ(run("run --ledger ledger.db </dev/null").status, 0);
  for (const char* arguments :
       {"history --limit 0", "history --limit 1000000000", "history --limit=007", "missed --limit 0",
        "missed --limit 1000000000", "tail --no-follow -n 0", "tail --no-follow -n5",
        "tail --no-follow --lines 1000000000", "tail --no-follow --after 0", "active --at 0",
        "active --at 253402300799", "active --at 2025-03-12T09:12:20Z", "active --older-than 0s",
        "active --newer-than '5 D'"}) {
    const Ended got = run(std::string(arguments) + " --ledger ledger.db");
    EXPECT_EQ(got.status, 0) << arguments << ": " << got.err;
    EXPECT_EQ(got.err, "") << arguments;
  }
  for (const char* arguments :
       {"--max-active 1", "--max-active 1000000", "--keep-events 0", "--keep-events 1000000000000", "--keep-days 0",
        "--keep-days 36500", "--keep-bytes 0", "--keep-bytes 1PiB", "--keep-bytes '8 MiB'", "--keep-bytes 8mb",
        "--keep-bytes 8388608", "--keep-bytes 8192k", "--commit-within 0ms", "--commit-within 10s", "--platform 17"}) {
    const Ended got = run("run --ledger ledger.db </dev/null " + std::string(arguments));
    EXPECT_EQ(got.status, 0) << arguments << ": " << got.err;
  }
}

TEST_F(Arguments, WhenAFaultIsChattering) {
  for (const char* wrong : {"''", "5/", "/10m", "0/10m", "101/10m", "5/0s", "5/25h", "5/86401s", "5/10", "5/10d",
                            "-1/10m", "5/-1m", "5.5/10m", "5/10m/3", "00"}) {
    for (const char* command : {"run --ledger ledger.db </dev/null", "stats --ledger ledger.db"}) {
      const Ended got = run(std::string(command) + " --chattering " + wrong);
      EXPECT_EQ(got.status, 2) << command << wrong;
      EXPECT_NE(got.err.find("as in: --chattering 5/10m"), std::string::npos) << got.err;
    }
  }
  for (const char* right : {"0", "1/1s", "100/24h", "5/86400s"}) {
    EXPECT_EQ(run(std::string("run --ledger ledger.db </dev/null --chattering ") + right).status, 0) << right;
  }
  EXPECT_EQ(run("stats --ledger ledger.db --chattering 1/1s").status, 0);
}

// Names in brackets are no lists, and those after -- no options.
TEST_F(Arguments, NamesOfFiles) {
  for (const char* name : {"[day]", "[a,b]", "-day", "--day", "a=b"}) {
    shell_.dir().write(name, "{\"entity\":\"fan\",\"sensor\":\"A\",\"offset\":3,\"state\":1}\n");
    const Ended got = run(std::string("replay -- '") + name + "'");
    EXPECT_EQ(got.status, 0) << name << ": " << got.err;
    EXPECT_NE(got.out.find("1 event: 1 raised"), std::string::npos) << name;
  }
}

TEST_F(Arguments, TheEnvironment) {
  const Ended got = shell_.run("POLAIGA_LEDGER=--x \"$POLAIGA\" active");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.err,
            "polaiga active: --ledger is followed by '--x', which is no name; a name that begins with -- is typed with "
            "./ before it\nAll about it: polaiga active --help\n");
}

TEST_F(Arguments, HelpNeedsNothingElse) {
  for (const char* arguments : {"--help", "-h", "explain --help", "replay -h", "diff --help", "tail --help"}) {
    const Ended got = run(arguments);
    EXPECT_EQ(got.status, 0) << arguments;
    EXPECT_EQ(got.err, "") << arguments;
    EXPECT_NE(got.out.find("Usage: polaiga"), std::string::npos) << arguments;
  }
}

}  // namespace arguments_test
}  // namespace polaiga::engine::test
