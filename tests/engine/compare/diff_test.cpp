#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "intake/event_parser.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace diff_test {

using nlohmann::json;

// Events of fans. The changed build has another code and text for a predicted
// failure, and takes no offset 9 for its end.
std::string fan(int offset, int state, int instance = 1) {
  return R"({"entity":"fan","sensor":"FAN)" + std::to_string(instance) + R"(_TACH1","instance":)" +
         std::to_string(instance) + R"(,"offset":)" + std::to_string(offset) + R"(,"state":)" + std::to_string(state) +
         "}\n";
}
const std::string kSame = fan(3, 1);
const std::string kPredicted = fan(9, 1);
const std::string kNoMore = fan(9, 0);
const std::string kPredictedFields =
    "  fault_dn: 'sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0371' -> "
    "'sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0372'\n"
    "  code_text: 'F0371' -> 'F0372'\n"
    "  descr: 'FAN1_TACH1: Fan 1 has asserted a predictive failure: reseat or replace fan 1' -> "
    "'FAN1_TACH1: Fan 1 predicts its failure: reseat or replace fan 1'\n"
    "  code: 371 -> 372\n";

// The crashing build does not survive events of these fans.
const std::string kExits = fan(3, 1, 8);
const std::string kAborts = fan(3, 1, 9);

const std::string kLibrary = POLAIGA_LIBRARY;

class DiffTest : public ::testing::Test {
 protected:
  Ended run(const std::string& a, const std::string& b, const std::string& more, const std::string& input = "") const {
    return shell_.run("\"$POLAIGA\" diff '" + a + "' '" + b + "' " + more, input);
  }
  std::string file(const std::string& name, const std::string& content) const {
    return shell_.dir().write(name, content);
  }

  Shell shell_;
};

TEST_F(DiffTest, TheSameBuild) {
  const Ended got = run(kLibrary, kLibrary, "'" POLAIGA_DAY "'");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "550 events, 0 differ\n");
  EXPECT_EQ(got.err, "");
  const Ended changed = run(POLAIGA_CHANGED, POLAIGA_CHANGED, "-", kPredicted);
  EXPECT_EQ(changed.status, 0);
  EXPECT_EQ(changed.out, "1 event, 0 differ\n");
}

TEST_F(DiffTest, EmptyInputAndEmptyLines) {
  for (const char* input : {"", "\n", "\r\n \t\n"}) {
    const Ended got = run(kLibrary, kLibrary, "-", input);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.out, "0 events, 0 differ\n");
    EXPECT_EQ(got.err, "");
  }
}

TEST_F(DiffTest, FieldByField) {
  const std::string path = file("x.jsonl", kSame + kPredicted + "\n" + kSame + kNoMore);
  const Ended got = run(kLibrary, POLAIGA_CHANGED, "'" + path + "'");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(got.out, path + ":2 fan FAN1_TACH1 offset 9 state 1\n" + kPredictedFields + path +
                         ":5 fan FAN1_TACH1 offset 9 state 0\n"
                         "  result: 0 -> -1\n"
                         "4 events, 2 differ\n");
  const Ended reverse = run(POLAIGA_CHANGED, kLibrary, "'" + path + "'");
  EXPECT_EQ(reverse.status, 1);
  EXPECT_NE(reverse.out.find("\n  result: -1 -> 0\n"), std::string::npos);
  EXPECT_NE(reverse.out.find("\n  code: 372 -> 371\n"), std::string::npos);
}

TEST_F(DiffTest, Json) {
  const Ended got = run(kLibrary, POLAIGA_CHANGED, "--json -", kSame + kNoMore + "[]\n");
  EXPECT_EQ(got.status, 2);
  std::istringstream lines(got.out);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  const json event = json::parse(line);
  EXPECT_EQ(event["file"], "<stdin>");
  EXPECT_EQ(event["line"], 2);
  EXPECT_EQ(event["event"]["sensor"], "FAN1_TACH1");
  EXPECT_EQ(event["event"]["offset"], 9);
  EXPECT_EQ(event["fields"], json::parse(R"({"result":[0,-1]})"));
  ASSERT_TRUE(std::getline(lines, line));
  const json want = {{"a", kLibrary}, {"b", POLAIGA_CHANGED}, {"events", 2}, {"differ", 1}, {"bad_lines", 1}};
  EXPECT_EQ(json::parse(line), want);
  EXPECT_FALSE(std::getline(lines, line));
}

// The lines of predicted failures; while its fan is missing, one is of no interest.
TEST_F(DiffTest, TheDay) {
  const Ended got = run(kLibrary, POLAIGA_CHANGED, "'" POLAIGA_DAY "'");
  EXPECT_EQ(got.status, 1);
  std::vector<std::string> places;
  std::istringstream lines(got.out);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(POLAIGA_DAY ":")) places.push_back(line.substr(sizeof POLAIGA_DAY));
  }
  EXPECT_EQ(places, std::vector<std::string>({
                        "80 fan FAN2_TACH1 offset 9 state 1",
                        "81 fan FAN2_TACH1 offset 9 state 0",
                        "315 fan FAN5_TACH2 offset 9 state 1",
                        "400 fan FAN5_TACH2 offset 9 state 1",
                        "448 fan FAN5_TACH2 offset 9 state 1",
                        "490 fan FAN5_TACH2 offset 9 state 1",
                        "526 fan FAN5_TACH2 offset 9 state 1",
                    }));
  EXPECT_NE(got.out.find("\n550 events, 7 differ\n"), std::string::npos);
}

// A record that is rejected may still be filled, and a fault withdrawn.
TEST_F(DiffTest, RejectionsAreCompared) {
  const std::string over = R"({"entity":"fw_bios_post","sensor":"POST","offset":103,"state":0})"
                           "\n";
  const Ended got = run(kLibrary, POLAIGA_REWORDED, "-", over);
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out,
            "<stdin>:1 fw_bios_post POST offset 103 state 0\n"
            "  descr: 'POST: Bios Post Failed:: Cleared' -> 'POST: Bios Post Failed: Cleared'\n"
            "  withdrawn: 'sys/rack-unit-1/fault-F0517' -> ''\n"
            "1 event, 1 differs\n");
}

// Filters trace to standard output by themselves.
TEST_F(DiffTest, TracesOfFiltersStayOutOfTheOutput) {
  const Ended got = run(kLibrary, kLibrary, "-", R"({"entity":"storage","sensor":"CTLR","offset":11,"state":1})");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "1 event, 0 differ\n");
  EXPECT_EQ(got.err, "");
}

TEST_F(DiffTest, BadLinesAreNamedAndPassedOver) {
  const std::string path = file("x.jsonl", "nonsense\n" + kSame + std::string(70000, ' ') + "\n" + kPredicted);
  const Ended got = run(kLibrary, POLAIGA_CHANGED, "'" + path + "'");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.err, path + ":1: not JSON: a word without quotation marks is none of true, false and null\n" + path +
                         ":3: the line is over 64 KiB long\n");
  EXPECT_EQ(got.out, path + ":4 fan FAN1_TACH1 offset 9 state 1\n" + kPredictedFields + "2 events, 1 differs\n");
  EXPECT_EQ(run(kLibrary, kLibrary, "'" + path + "'").status, 2);
}

TEST_F(DiffTest, SeveralFilesAreOneComparison) {
  const std::string first = file("a.jsonl", kSame + fan(1, 1, 7));
  // The fan is remembered as missing, so its predicted failure is of no interest.
  const std::string second = file("b.jsonl", fan(9, 1, 7) + kPredicted);
  const Ended got = run(kLibrary, POLAIGA_CHANGED, "'" + first + "' '" + second + "' -", kNoMore);
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out, second + ":2 fan FAN1_TACH1 offset 9 state 1\n" + kPredictedFields +
                         "<stdin>:1 fan FAN1_TACH1 offset 9 state 0\n"
                         "  result: 0 -> -1\n"
                         "5 events, 2 differ\n");
}

TEST_F(DiffTest, ACrashIsTheLastDifference) {
  std::string before = "\n";
  for (int i = 0; i < 1500; ++i) before += kSame;
  const std::string path = file("x.jsonl", before + "[]\n" + kAborts + kPredicted);
  const std::string crashing = POLAIGA_CRASHING;
  const Ended got = run(kLibrary, crashing, "'" + path + "'");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out, crashing + " ended by signal 6 (Aborted) at " + path + ":1503\n1501 events, 1 differs\n");
  const Ended reverse = run(crashing, kLibrary, "--json '" + path + "'");
  EXPECT_EQ(reverse.status, 1);
  const json ended = json::parse(reverse.out.substr(0, reverse.out.find('\n')));
  EXPECT_EQ(ended["line"], 1503);
  EXPECT_EQ(ended["event"]["sensor"], "FAN9_TACH1");
  EXPECT_EQ(ended["ended"], json::parse(R"([{"signal":6},null])"));
}

TEST_F(DiffTest, AnExitIsACrash) {
  const std::string crashing = POLAIGA_CRASHING;
  const Ended got = run(kLibrary, crashing, "-", kSame + kExits + kSame);
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out, crashing + " ended with status 0 at <stdin>:2\n2 events, 1 differs\n");
  const Ended both = run(crashing, crashing, "-", kExits);
  EXPECT_EQ(both.status, 1);
  EXPECT_EQ(both.out, crashing + " ended with status 0 at <stdin>:1\n" + crashing +
                          " ended with status 0 at <stdin>:1\n1 event, 1 differs\n");
}

TEST_F(DiffTest, ACrashAfterTheLastEvent) {
  const std::string leaving = POLAIGA_LEAVING;
  const Ended got = run(leaving, kLibrary, "-", kSame);
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out, leaving + " ended with status 4 after the last event\n1 event, 0 differ\n");
}

TEST_F(DiffTest, BuildsThatCannotBeUsed) {
  const std::string dir = shell_.dir().path();
  const std::string text = file("text.so", std::string(100, 'x'));
  const std::string empty = file("empty.so", "");
  std::ifstream input(kLibrary, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(input), {}};
  ASSERT_GT(bytes.size(), 1000U);
  const std::string cut = file("cut.so", bytes.substr(0, 100));
  bytes[18] = static_cast<char>(~bytes[18]);  // the machine
  const std::string foreign = file("foreign.so", bytes);
  const std::pair<std::string, std::string> kRows[] = {
      {dir + "/none.so", "cannot open: No such file or directory"},
      {dir, "is not a regular file"},
      {text, "is not a shared library"},
      {empty, "is not a shared library"},
      {foreign, "is built for another machine"},
      {cut, "cannot be loaded: error while loading shared libraries: "},
      {POLAIGA_INCOMPLETE, "cannot be loaded: symbol lookup error: polaiga: undefined symbol: process_chassis_fault"},
  };
  for (const auto& [path, what] : kRows) {
    const std::string complaint = "polaiga: " + path + ": " + what;
    const Ended as_b = run(kLibrary, path, "-", kSame);
    EXPECT_EQ(as_b.status, 2) << path;
    EXPECT_EQ(as_b.out, "") << path;
    EXPECT_EQ(as_b.err.substr(0, complaint.size()), complaint);
    EXPECT_EQ(as_b.err.find('\n'), as_b.err.size() - 1) << as_b.err;
    const Ended as_a = run(path, kLibrary, "-", kSame);
    EXPECT_EQ(as_a.status, 2) << path;
    EXPECT_EQ(as_a.err.substr(0, complaint.size()), complaint);
  }
}

// A worker that was given another library than it runs with does not begin.
TEST_F(DiffTest, ABuildIsNeverTakenForAnother) {
  const Ended own = shell_.run("$POLAIGA diff-worker -- 2 '" + kLibrary + "'");
  EXPECT_EQ(own.status, 0);
  EXPECT_EQ(own.out, "!");
  const Ended other = shell_.run("$POLAIGA diff-worker -- 2 '" POLAIGA_CHANGED "'");
  EXPECT_EQ(other.status, 2);
  EXPECT_EQ(other.out, "");
  EXPECT_NE(other.err.find("libpolaiga.so.1 was loaded in its place\n"), std::string::npos) << other.err;
}

TEST_F(DiffTest, FilesAreCheckedBeforeAnythingIsCompared) {
  const std::string none = shell_.dir().file("none");
  const Ended got = run(kLibrary, kLibrary, "- '" + none + "'", kSame);
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "polaiga: " + none + ": cannot open: No such file or directory\n");
}

TEST_F(DiffTest, PathsWithBlanksAndColons) {
  const std::string dir = shell_.dir().file("a b:c$d");
  std::filesystem::create_directories(dir + "/temporary");
  const std::string library = dir + "/new build;1.so";
  std::filesystem::copy_file(POLAIGA_CHANGED, library);
  const std::string path = file("a b:c$d/x:y z.jsonl", kPredicted);
  const std::string want =
      "x:y z.jsonl:1 fan FAN1_TACH1 offset 9 state 1\n" + kPredictedFields + "1 event, 1 differs\n";
  const Ended got = shell_.run("cd '" + dir + "' && TMPDIR=\"$PWD/temporary\" \"$POLAIGA\" diff '" + kLibrary +
                               "' 'new build;1.so' 'x:y z.jsonl'");
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out, want);
  EXPECT_EQ(got.err, "");
}

TEST_F(DiffTest, NothingTemporaryIsLeft) {
  const std::string dir = shell_.dir().file("temporary");
  std::filesystem::create_directory(dir);
  const std::pair<std::string, int> kBuilds[] = {
      {kLibrary, 0}, {POLAIGA_CHANGED, 1}, {POLAIGA_CRASHING, 1}, {POLAIGA_INCOMPLETE, 2}};
  for (const auto& [build, status] : kBuilds) {
    const Ended got = shell_.run("TMPDIR='" + dir + "' \"$POLAIGA\" diff '" + kLibrary + "' '" + build + "' -",
                                 build == kLibrary ? kSame : kNoMore + kAborts);
    EXPECT_EQ(got.status, status) << build << got.err;
    EXPECT_TRUE(std::filesystem::is_empty(dir)) << build;
  }
  const Ended nowhere =
      shell_.run("TMPDIR='" + dir + "/none' \"$POLAIGA\" diff '" + kLibrary + "' '" + kLibrary + "' -");
  EXPECT_EQ(nowhere.status, 2);
  EXPECT_EQ(nowhere.err, "polaiga: no directory for temporary files: No such file or directory\n");
}

// Neither a library path of the user's nor descriptors that are closed matter.
TEST_F(DiffTest, SurroundingsDoNotMatter) {
  const std::string dir = std::filesystem::path(kLibrary).parent_path();
  const std::string path = file("x.jsonl", kNoMore);
  const std::string command = "\"$POLAIGA\" diff '" + kLibrary + "' '" POLAIGA_CHANGED "' '" + path + "'";
  for (const std::string& run : {"LD_LIBRARY_PATH='" + dir + "' " + command, command + " <&-", command + " 2>&-"}) {
    const Ended got = shell_.run(run);
    EXPECT_EQ(got.status, 1) << run;
    EXPECT_EQ(got.out, path + ":1 fan FAN1_TACH1 offset 9 state 0\n  result: 0 -> -1\n1 event, 1 differs\n") << run;
  }
}

TEST_F(DiffTest, PlatformAndTablesReachBothBuilds) {
  const std::string slot = R"({"entity":"storage","sensor":"CTLR","offset":11,"state":1,"instance":11})"
                           "\n";
  const std::string bay = R"({"entity":"drive_bp","sensor":"BAY_TEMP","offset":118,"state":5})"
                          "\n";
  const std::string tables = shell_.dir().file("tables");
  ASSERT_EQ(shell_
                .run("cp -r '" POLAIGA_TABLES_DIR "' '" + tables + "' && sed -i s/HDD_BP1_TEMP/BAY_TEMP/ '" + tables +
                     "/drive_bp.tsv'")
                .status,
            0);
  const Ended got = run(kLibrary, POLAIGA_REWORDED, "--platform 4 --tables '" + tables + "' -", slot + bay);
  EXPECT_EQ(got.status, 1);
  EXPECT_EQ(got.out,
            "<stdin>:1 storage CTLR offset 11 state 1\n"
            "  descr: 'Storage controller SLOT-SAS inoperable: reseat or replace the storage controller SLOT-SAS' -> "
            "'Storage controller SLOT-SAS is inoperable: reseat or replace the storage controller SLOT-SAS'\n"
            "<stdin>:2 drive_bp BAY_TEMP offset 118 state 5\n"
            "  descr: 'BAY_TEMP: Drive backplane temperature is upper critical: Check server cooling' -> "
            "'BAY_TEMP: Drive backplane temperature is too hot: Check server cooling'\n"
            "2 events, 2 differ\n");
  const Ended wrong = run(kLibrary, kLibrary, "--tables '" + tables + "/none' -");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.err, "polaiga: " + tables + "/none/nm.tsv: cannot open: No such file or directory\n");
}

TEST_F(DiffTest, InterruptPrintsTheSummarySoFar) {
  Child child("\"$POLAIGA\" diff '" + kLibrary + "' '" POLAIGA_CHANGED "' -", shell_.dir());
  child.send(kSame + kNoMore + "{\"entity\":");
  ASSERT_TRUE(child.has_printed("result: 0 -> -1\n"));  // before the input ends
  child.interrupt();
  const Ended got = child.wait();
  EXPECT_EQ(got.status, 130);
  EXPECT_EQ(got.err, "");
  EXPECT_NE(got.out.find("\n2 events, 1 differs\n"), std::string::npos);
}

TEST_F(DiffTest, OutputThatCannotBeWritten) {
  const Ended full = run(kLibrary, kLibrary, "- > /dev/full", kSame);
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(full.err, "polaiga: cannot write to standard output: No space left on device\n");
}

TEST_F(DiffTest, TheWorkerIsHidden) {
  for (const char* help : {"$POLAIGA --help", "$POLAIGA diff --help"}) {
    const Ended got = shell_.run(help);
    EXPECT_EQ(got.status, 0);
    EXPECT_NE(got.out.find("diff"), std::string::npos);
    EXPECT_EQ(got.out.find("worker"), std::string::npos);
  }
}

}  // namespace diff_test
}  // namespace polaiga::engine::test
