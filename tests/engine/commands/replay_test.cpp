#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "intake/event_parser.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace replay_test {

using nlohmann::json;

const std::string kSlow = R"({"time":"2024-01-31T23:59:59Z","entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"
                          "\n";
const std::string kSlowText =
    "2024-01-31T23:59:59Z  minor     F0395  sys/rack-unit-1/fan-module-1-1/fan-1  "
    "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Check the air intake to the server";
const std::string kWell = R"({"time":"2024-02-01T00:01:00Z","entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":0})"
                          "\n";
const std::string kOfNoInterest = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":0,"state":1})"
                                  "\n";
const std::string kNothingActive =
    "\nNo faults are active.\n\n"
    "0 events: 0 raised, 0 refreshed, 0 partly cleared, 0 cleared, 0 superseded, 0 withdrawn, 0 merged\n"
    "0 already clear, 0 not tracked, 0 of no interest, 0 bad lines\n";

std::string last_line(const std::string& text) {
  const std::size_t end = text.size() - 1;
  return text.substr(text.rfind('\n', end - 1) + 1);
}

class ReplayTest : public ::testing::Test {
 protected:
  Ended run(const std::string& command, const std::string& input = "") const { return shell_.run(command, input); }
  std::string file(const std::string& name, const std::string& content) const {
    return shell_.dir().write(name, content);
  }

  Shell shell_;
};

TEST_F(ReplayTest, RaiseAndClear) {
  const Ended got = run("$POLAIGA replay -", kSlow + kWell + kOfNoInterest);
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(got.out, kSlowText +
                         "  (raised)\n"
                         "2024-02-01T00:01:00Z  cleared   F0395  sys/rack-unit-1/fan-module-1-1/fan-1  "
                         "FAN1_TACH1: Fan speed for fan-1 is lower non critical : Cleared  (cleared)\n"
                         "\nNo faults are active.\n\n"
                         "3 events: 1 raised, 0 refreshed, 0 partly cleared, 1 cleared, 0 superseded, 0 withdrawn, "
                         "0 merged\n"
                         "0 already clear, 0 not tracked, 1 of no interest, 0 bad lines\n");
}

TEST_F(ReplayTest, EmptyInputAndEmptyLines) {
  for (const char* input : {"", "\n", "\r\n \t\n"}) {
    const Ended got = run("$POLAIGA replay -", input);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.out, kNothingActive);
    EXPECT_EQ(got.err, "");
  }
}

TEST_F(ReplayTest, SeveralFilesAreOneReplay) {
  const std::string first = file("a.jsonl", kSlow);
  const std::string second = file("b.jsonl", kWell.substr(0, kWell.size() - 1));  // no newline at its end
  const Ended got = run("$POLAIGA replay '" + first + "' '" + second + "' - ", kSlow);
  EXPECT_EQ(got.status, 0);
  EXPECT_NE(got.out.find("(cleared)"), std::string::npos);
  EXPECT_NE(got.out.find("3 events: 2 raised, 0 refreshed, 0 partly cleared, 1 cleared"), std::string::npos);
}

TEST_F(ReplayTest, Json) {
  const Ended got = run("$POLAIGA replay --json -", kSlow + kOfNoInterest);
  EXPECT_EQ(got.status, 0);
  std::istringstream lines(got.out);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  const json input = json::parse(line);
  EXPECT_EQ(input["seq"], 1);
  EXPECT_EQ(input["event"]["sensor"], "FAN1_TACH1");
  EXPECT_EQ(input["event"]["time"], "2024-01-31T23:59:59Z");
  EXPECT_EQ(input["change"], "raised");
  EXPECT_EQ(input["changes"].size(), 1U);
  const json& record = input["record"];
  EXPECT_EQ(record["fault_dn"], "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395");
  EXPECT_EQ(record["oid"], "1.3.6.1.4.1.32473.5.100.1.15.12.1");
  EXPECT_EQ(record["event"]["entity_id"], 29);
  EXPECT_EQ(record["severity"], "minor");
  EXPECT_NE(record["created_time"], 1706745599);  // the event's time is not the record's
  ASSERT_TRUE(std::getline(lines, line));
  const json summary = json::parse(line);
  EXPECT_EQ(summary["active"].size(), 1U);
  EXPECT_EQ(summary["active"][0]["since"], "2024-01-31T23:59:59Z");
  EXPECT_EQ(summary["counts"]["events"], 2);
  EXPECT_EQ(summary["counts"]["of_no_interest"], 1);
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(ReplayTest, BadLinesAreNamedAndPassedOver) {
  const std::string path = file("x.jsonl", "nonsense\n" + kSlow + "\n" + R"({"entity":"fan","sensor":"S","offset":3})" +
                                               "\n" + std::string(70000, ' ') + "\n" + kWell);
  const Ended got = run("$POLAIGA replay '" + path + "'");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.err, path + ":1: not JSON: a word without quotation marks is none of true, false and null\n" + path +
                         ":4: member 'state' is missing\n" + path + ":5: the line is over 64 KiB long\n");
  EXPECT_NE(got.out.find("2 events: 1 raised, 0 refreshed, 0 partly cleared, 1 cleared, 0 superseded, 0 withdrawn, "
                         "0 merged\n"
                         "0 already clear, 0 not tracked, 0 of no interest, 3 bad lines\n"),
            std::string::npos);
}

TEST_F(ReplayTest, StandardInputHasAName) {
  const Ended got = run("$POLAIGA replay -", "[]\n");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.err, "<stdin>:1: not an object\n");
}

TEST_F(ReplayTest, StrictStopsAtTheFirst) {
  const Ended got = run("$POLAIGA replay --strict --json -", kSlow + "[]\n" + kWell + "[]\n");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.err, "<stdin>:2: not an object\n");
  const json summary = json::parse(last_line(got.out));
  EXPECT_EQ(summary["counts"]["events"], 1);
  EXPECT_EQ(summary["counts"]["bad_lines"], 1);
  EXPECT_EQ(summary["active"].size(), 1U);
}

TEST_F(ReplayTest, StrictStopsAtALineTooLong) {
  const Ended got = run("$POLAIGA replay --strict -", std::string(70000, 'x') + "\n" + kSlow);
  EXPECT_EQ(got.status, 1);
  EXPECT_NE(got.out.find("\n0 events:"), std::string::npos);
}

TEST_F(ReplayTest, FilesAreCheckedBeforeAnythingIsReplayed) {
  const std::string good = file("good.jsonl", kSlow);
  const std::string dir = shell_.dir().path().string();
  const std::pair<std::string, std::string> kRows[] = {
      {dir + "/none", "cannot open: No such file or directory"},
      {dir, "cannot read: Is a directory"},
      {good + "/none", "cannot open: Not a directory"},
  };
  for (const auto& [path, what] : kRows) {
    const Ended got = run("$POLAIGA replay '" + good + "' '" + path + "'");
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err, "polaiga: " + path + ": " + what + "\n");
  }
}

TEST_F(ReplayTest, UnreadableFile) {
  const std::string path = file("secret", kSlow);
  const std::string replay = as_plain_user() + "$POLAIGA replay '" + path + "'";
  ASSERT_EQ(run("chmod 755 '" + shell_.dir().path().string() + "' && chmod 644 '" + path + "'").status, 0);
  EXPECT_EQ(run(replay).status, 0);
  ASSERT_EQ(run("chmod 0 '" + path + "'").status, 0);
  const Ended got = run(replay);
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "polaiga: " + path + ": cannot open: Permission denied\n");
}

TEST_F(ReplayTest, HelpAndVersion) {
  EXPECT_EQ(run("$POLAIGA --version").out, "polaiga " POLAIGA_VERSION "\n");
  const Ended help = run("$POLAIGA --help");
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("replay"), std::string::npos);
  EXPECT_EQ(help.err, "");
  const Ended replay_help = run("$POLAIGA replay --help");
  EXPECT_EQ(replay_help.status, 0);
  for (const char* word : {"--json", "--strict", "--color", "--platform", "--tables", "--log", "Example:", "chassis"}) {
    EXPECT_NE(replay_help.out.find(word), std::string::npos) << word;
  }
}

// The example in the help does what it says.
TEST_F(ReplayTest, TheExampleWorks) {
  const std::string help = run("$POLAIGA --help").out;
  const std::size_t begin = help.find("echo ");
  const std::size_t end = help.find("polaiga replay -", begin);
  ASSERT_NE(end, std::string::npos);
  const Ended got = run(help.substr(begin, end - begin) + "$POLAIGA replay -");
  EXPECT_EQ(got.status, 0);
  EXPECT_NE(got.out.find("1 active fault:"), std::string::npos);
}

TEST_F(ReplayTest, NoColourInAPipe) {
  EXPECT_EQ(run("$POLAIGA replay - | cat", kSlow).out.find('\x1b'), std::string::npos);
  EXPECT_NE(run("$POLAIGA replay --color=always - | cat", kSlow).out.find("\x1b[33mminor   \x1b[0m"),
            std::string::npos);
}

TEST_F(ReplayTest, ColourOnATerminal) {
  const std::string path = file("x.jsonl", kSlow);
  const std::pair<std::string, bool> kRows[] = {
      {"$POLAIGA replay '" + path + "'", true},
      {"NO_COLOR= $POLAIGA replay '" + path + "'", true},
      {"NO_COLOR=1 $POLAIGA replay '" + path + "'", false},
      {"NO_COLOR=1 $POLAIGA replay --color=always '" + path + "'", true},
      {"TERM=dumb $POLAIGA replay '" + path + "'", false},
      {"$POLAIGA replay --color=never '" + path + "'", false},
      {"$POLAIGA replay --json '" + path + "'", false},
  };
  for (const auto& [command, coloured] : kRows) {
    const Ended got = shell_.run_on_terminal(command);
    EXPECT_EQ(got.status, 0) << command;
    EXPECT_NE(got.out.find("F0395"), std::string::npos) << command;
    EXPECT_EQ(got.out.find('\x1b') != std::string::npos, coloured) << command;
  }
}

// The reader of the output takes little at a time until the terminal has shown how far the replay is, which it does
// after a second. All of it would take the reader a quarter of a minute.
class ReplayProgress : public ReplayTest {
 protected:
  ReplayProgress() {
    std::string content;
    for (int i = 0; i < 3000; ++i) content += kSlow;
    path_ = file("x.jsonl", content + "[]\n");
  }

  Ended replay_on_terminal() const {
    const auto watch = [this](const std::string& sent) {
      if (sent.find("events/s") != std::string::npos) shell_.dir().write("shown", "");
    };
    return shell_.watch_on_terminal(
        "$POLAIGA replay '" + path_ + "' | { n=0; until [ -e '" + shell_.dir().file("shown") +
            "' ] || [ $n = 600 ]; do head -c 1000; sleep 0.05; n=$((n + 1)); done; cat; } > '" + lines() + "'",
        watch);
  }

  std::string lines() const { return shell_.dir().file("lines"); }

  std::string path_;
};

TEST_F(ReplayProgress, OnATerminal) {
  const Ended got = replay_on_terminal();
  EXPECT_EQ(got.out.substr(0, 6), "\r\x1b[K[#");
  EXPECT_NE(got.out.find("events/s"), std::string::npos);
  // It gives way to bad lines, and goes at the end.
  EXPECT_NE(got.out.find("\r\x1b[K" + path_ + ":3001: not an object\r\n"), std::string::npos);
  EXPECT_EQ(got.out.find("events/s", got.out.find("not an object")), std::string::npos);
  EXPECT_NE(shell_.dir().read("lines").find("3000 events: 1 raised, 2999 refreshed"), std::string::npos);
}

// Nobody sees it, or nobody knows how much there is to come.
TEST_F(ReplayProgress, NotElsewhere) {
  const std::string slowly = " | { sleep 1.3; cat > '" + lines() + "'; }";
  const std::string complaint = ":3001: not an object";
  EXPECT_EQ(run("$POLAIGA replay '" + path_ + "'" + slowly).err, path_ + complaint + "\n");
  EXPECT_EQ(shell_.run_on_terminal("cat '" + path_ + "' | $POLAIGA replay -" + slowly).out,
            "<stdin>" + complaint + "\r\n");
}

TEST_F(ReplayTest, InterruptPrintsTheSummarySoFar) {
  Child child("\"$POLAIGA\" replay -", shell_.dir());
  child.send(kSlow);
  ASSERT_TRUE(child.has_printed(kSlowText));  // before the input ends
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 130);
  EXPECT_EQ(got.err, "");
  EXPECT_NE(got.out.find("1 active fault:"), std::string::npos);
  EXPECT_NE(got.out.find("1 event: 1 raised"), std::string::npos);
}

TEST_F(ReplayTest, InterruptAmidALineDropsIt) {
  Child child("\"$POLAIGA\" replay --json -", shell_.dir());
  child.send(kSlow + "{\"entity\":");
  ASSERT_TRUE(child.has_printed("F0395"));
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 130);
  const json summary = json::parse(last_line(got.out));
  EXPECT_EQ(summary["counts"]["events"], 1);
  EXPECT_EQ(summary["counts"]["bad_lines"], 0);
}

TEST_F(ReplayTest, InputThatEndsIsNoInterrupt) {
  Child child("\"$POLAIGA\" replay -", shell_.dir());
  child.send(kSlow);
  child.close_input();
  EXPECT_EQ(child.wait().status, 0);
}

TEST_F(ReplayTest, AClosedPipeEndsItQuietly) {
  std::string content;
  for (int i = 0; i < 3000; ++i) content += kSlow;
  const std::string path = file("x.jsonl", content);
  const Ended got = run("{ $POLAIGA replay '" + path + "'; echo status $? >&2; } | head -n 1");
  EXPECT_EQ(got.out, kSlowText + "  (raised)\n");
  EXPECT_EQ(got.err, "status 0\n");
}

TEST_F(ReplayTest, OutputThatCannotBeWritten) {
  const std::string path = file("x.jsonl", kSlow);
  for (const std::string& command : {"replay '" + path + "'", "replay --json '" + path + "'", std::string("--help")}) {
    const Ended full = run("$POLAIGA " + command + " > /dev/full");
    EXPECT_EQ(full.status, 2) << command;
    EXPECT_EQ(full.err, "polaiga: cannot write to standard output: No space left on device\n") << command;
    const Ended closed = run("$POLAIGA " + command + " >&-");
    EXPECT_EQ(closed.status, 2) << command;
    EXPECT_EQ(closed.err, "polaiga: cannot write to standard output: Bad file descriptor\n") << command;
  }
}

TEST_F(ReplayTest, InputThatIsClosed) {
  const Ended got = run("$POLAIGA replay - <&-");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.err, "polaiga: <stdin>: cannot open: Bad file descriptor\n");
}

TEST_F(ReplayTest, TablesOfTheUser) {
  const std::string tables = shell_.dir().file("tables");
  ASSERT_EQ(run("cp -r '" POLAIGA_TABLES_DIR "' '" + tables + "'").status, 0);
  EXPECT_EQ(run("$POLAIGA replay --tables '" + tables + "' -").out, kNothingActive);
  file("tables/cmc.tsv", "sensor\n");
  const Ended wrong = run("$POLAIGA replay --tables '" + tables + "' -", kSlow);
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.out, "");
  EXPECT_EQ(wrong.err, "polaiga: " + tables + "/cmc.tsv:1:7: entity_id: the line has 1 of 16 columns\n");
  const Ended missing = run("$POLAIGA replay --tables '" + tables + "/none' -", kSlow);
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err, "polaiga: " + tables + "/none/nm.tsv: cannot open: No such file or directory\n");
}

// One filter prints as it goes, straight to standard output.
TEST_F(ReplayTest, TheAlarmProfile) {
  const std::string tables = shell_.dir().file("profiled");
  const std::string text =
      "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"
      "F0395\t**/fan-1\tcritical\tno\t4h\tIt gets hot.\t-\n";
  shell_.dir().write("alarms.tsv", text);
  const std::string event = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})";
  const std::string command = "cp -rT '" POLAIGA_TABLES_DIR "' '" + tables + "' && cp '" +
                              shell_.dir().file("alarms.tsv") + "' '" + tables + "' && $POLAIGA replay --tables '" +
                              tables + "' - ";
  const Ended shown = shell_.run(command, event);
  EXPECT_EQ(shown.status, 0) << shown.err;
  // The line of the record, and that of the active fault.
  const std::size_t first = shown.out.find("  critical  F0395  ");
  ASSERT_NE(first, std::string::npos) << shown.out;
  EXPECT_NE(shown.out.find("  critical  F0395  ", first + 1), std::string::npos) << shown.out;
  const Ended forms = shell_.run(command + "--json", event);
  const json input = json::parse(forms.out.substr(0, forms.out.find('\n')));
  EXPECT_EQ(input["record"]["severity"], "minor") << "the record is as it was made";
  EXPECT_EQ(input["changes"][0]["after"], "critical");
  const json fault = json::parse(forms.out.substr(forms.out.find('\n')))["active"][0];
  EXPECT_EQ(fault["severity"], "critical");
  EXPECT_EQ(fault["notify"], false);
  EXPECT_EQ(fault["respond_within"], 14'400);
  EXPECT_EQ(fault["consequence"], "It gets hot.");
  EXPECT_FALSE(fault.contains("advice"));
}

TEST_F(ReplayTest, TracesOfFiltersStayOutOfTheOutput) {
  const std::string event = R"({"time":0,"entity":"storage","sensor":"CTLR","offset":11,"state":1,"instance":2})"
                            "\n";
  const std::string text =
      "1970-01-01T00:00:00Z  critical  F1004  sys/rack-unit-1/board/storage-SAS-SLOT-2  "
      "Storage controller SLOT-2 inoperable: reseat or replace the storage controller SLOT-2  (raised)\n";
  const Ended quiet = run("$POLAIGA replay -", event);
  EXPECT_EQ(quiet.out.substr(0, text.size() + 1), text + "\n");
  EXPECT_EQ(quiet.err, "");
  const Ended debug = run("$POLAIGA replay --log debug -", event);
  EXPECT_EQ(debug.out, quiet.out);
  EXPECT_EQ(debug.err.substr(0, 22), "process_storage_fault\n");
  EXPECT_NE(debug.err.find("FaultName: "), std::string::npos);
}

TEST_F(ReplayTest, Platform) {
  const std::string event = R"({"entity":"storage","sensor":"CTLR","offset":11,"state":1,"instance":11})";
  EXPECT_NE(run("$POLAIGA replay -", event).out.find("Storage controller SLOT-11 inoperable"), std::string::npos);
  EXPECT_NE(run("$POLAIGA replay --platform 6 -", event).out.find("Storage controller SLOT-11 "), std::string::npos);
  EXPECT_NE(run("$POLAIGA replay --platform 4 -", event).out.find("Storage controller SLOT-SAS "), std::string::npos);
}

// The tables that the program brings are those that the filters see.
TEST_F(ReplayTest, HostTables) {
  const Ended got =
      run("$POLAIGA replay -", R"({"time":0,"entity":"drive_bp","sensor":"SB_NVME1_TEMP","offset":118,"state":5})"
                               "\n"
                               R"({"time":1,"entity":"cmc","sensor":"CHASSIS_POWER","offset":117,"state":4})"
                               "\n"
                               R"({"time":2,"entity":"nm","sensor":"","offset":203,"state":1})"
                               "\n");
  EXPECT_EQ(got.out.substr(0, got.out.find("\n\n")),
            "1970-01-01T00:00:00Z  major     F1311  sys/rack-unit-1/drive-backplane-2  "
            "SB_NVME1_TEMP: Drive backplane temperature is upper critical: Check server cooling  (raised)\n"
            "1970-01-01T00:00:01Z  minor     F1323  sys/rack-unit-1/chassis-power  "
            "CHASSIS_POWER: Chassis power draw is upper non-critical: Check the chassis power budget  (raised)\n"
            "1970-01-01T00:00:02Z  warning   F1303  sys/rack-unit-1/node-manager-1  "
            "Inlet temperature readings are missing: Check the front panel cable  (raised)");
}

TEST_F(ReplayTest, Day) {
  const Ended text = run("$POLAIGA replay '" POLAIGA_DAY "'");
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.err, "");
  EXPECT_NE(text.out.find("\n4 active faults:\n"), std::string::npos);

  const Ended got = run("$POLAIGA replay --json '" POLAIGA_DAY "'");
  EXPECT_EQ(got.status, 0);
  // Told off by hand, from the stories of the day.
  const json want = {{"events", 550},        {"raised", 171},    {"refreshed", 40},      {"partly_cleared", 0},
                     {"cleared", 119},       {"superseded", 48}, {"withdrawn", 0},       {"merged", 0},
                     {"already_clear", 173}, {"not_tracked", 0}, {"of_no_interest", 47}, {"bad_lines", 0}};
  const json summary = json::parse(last_line(got.out));
  EXPECT_EQ(summary["counts"], want);
  std::vector<std::string> active;
  for (const auto& fault : summary["active"]) active.push_back(fault["fault_dn"]);
  EXPECT_EQ(active, std::vector<std::string>({"sys/rack-unit-1/board/fault-F0424",
                                              "sys/rack-unit-1/fan-module-1-5/fan-2/fault-F0371",
                                              "sys/rack-unit-1/board/memarray-1/mem-5/fault-F0184",
                                              "sys/rack-unit-1/fan-module-1-6/fan-1/fault-F0395"}));
}

// What came of each event of an entity, in the order of the day: R raised, F
// refreshed, C cleared, A already clear, with + when another fault went.
TEST_F(ReplayTest, StoriesOfTheDay) {
  const std::map<std::string, std::string> kStories{
      {"ps", "AA A R R R R+ F R R R+ R R+ C R C C R+ R+ C C C R+ C AA A"},
      {"cpu", "A R A C R R+ R+ C R R R C R+ R+ C C A"},
      {"mem", "A R R R+ R+ C C R R+ R+ R+ R+ C R R+ A"},
      {"pci", "A R C R R+ R+ C A"},
      {"add_in", "A R R+ R+ R R+ C R+ C R C R C"},
      {"caddora", "A R R R C C R C C R C R C"},
      {"storage", "AA R R F R C C R C C R C R C R C R C"},
      {"drive_bp", "A R R+ R C C A"},
      {"chassis", "R C R F C"},
      {"front_panel", "A R R+ R+ R+ R+ C"},
      {"nm", "R R C C R F R C C"},
      {"ne", "R F C A R C"},
      {"cmc", "A R R R+ R+ R+ C R+ C"},
  };
  const std::map<std::string, std::string> kLetters{
      {"raised", "R"}, {"refreshed", "F"}, {"cleared", "C"}, {"already_clear", "A"}};
  std::map<std::string, std::string> got;
  std::istringstream records(run("$POLAIGA replay --json '" POLAIGA_DAY "'").out);
  for (std::string line; std::getline(records, line);) {
    const json input = json::parse(line);
    if (!input.contains("change")) continue;  // the summary, and withdrawals
    const json& changes = input["changes"];
    const bool supersedes = !changes.empty() && changes[0]["change"] == "superseded";
    got[input["event"]["entity"]] += kLetters.at(input["change"]) + (supersedes ? "+" : "");
  }
  for (const auto& [entity, story] : kStories) {
    std::string want = story;
    std::erase(want, ' ');
    EXPECT_EQ(got[entity], want) << entity;
  }
  EXPECT_FALSE(got.contains("fw_bios_post"));  // it reports nothing
}

// Four sensors share one fault of the board: it is over when the last one says so.
TEST_F(ReplayTest, AFaultWithSeveralReporters) {
  const auto riser = [](int number, int state) {
    return R"({"time":)" + std::to_string(number + 10 * state) + R"(,"entity":"sys_board","sensor":"RISER)" +
           std::to_string(number) + R"(_INLET_TMP","offset":117,"state":)" + std::to_string(state) + "}\n";
  };
  const Ended got = run("$POLAIGA replay -", riser(1, 4) + riser(2, 4) + riser(1, 0));
  const std::string board = "F0410  sys/rack-unit-1/board  ";
  const std::string hot = " inlet temperature has crossed upper non-critical threshold: Check device cooling";
  EXPECT_EQ(got.out, "1970-01-01T00:00:41Z  minor     " + board + "RISER1_INLET_TMP: Riser 1" + hot +
                         "  (raised)\n"
                         "1970-01-01T00:00:42Z  minor     " +
                         board + "RISER2_INLET_TMP: Riser 2" + hot +
                         "  (refreshed, 2 report it)\n"
                         "1970-01-01T00:00:01Z  cleared   " +
                         board +
                         "RISER1_INLET_TMP:  Riser 1 inlet temperature has crossed upper non critical threshold: "
                         "Cleared  (partly cleared, 1 still reports it)\n"
                         "\n1 active fault:\n  1970-01-01T00:00:41Z  minor     " +
                         board + "RISER2_INLET_TMP: Riser 2" + hot +
                         "\n\n3 events: 1 raised, 1 refreshed, 1 partly cleared, 0 cleared, 0 superseded, 0 withdrawn, "
                         "0 merged\n0 already clear, 0 not tracked, 0 of no interest, 0 bad lines\n");
  EXPECT_NE(run("$POLAIGA replay -", riser(1, 4) + riser(2, 4) + riser(1, 0) + riser(2, 0))
                .out.find("\nNo faults are active.\n"),
            std::string::npos);
}

TEST_F(ReplayTest, TheDayIsInOrder) {
  std::ifstream day(POLAIGA_DAY);
  std::string before;
  std::string line;
  int lines = 0;
  std::set<std::string> entities;
  for (; std::getline(day, line); ++lines) {
    const json event = json::parse(line);
    const std::string time = event["time"];
    EXPECT_LT(before, time);
    EXPECT_EQ(time.substr(0, 10), "2025-03-12");
    before = time;
    entities.insert(event["entity"]);
  }
  EXPECT_EQ(lines, 550);
  EXPECT_EQ(entities.size(), 16U);
}

}  // namespace replay_test
}  // namespace polaiga::engine::test
