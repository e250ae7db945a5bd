// Nothing that a terminal obeys or hides comes out of any command, whatever events,
// tables, ledgers, files and arguments say.
#include <gtest/gtest.h>
#include <polaiga/tables.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ledger/ledger.h"
#include "ledger/sqlite.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace terminal_safety_test {

using nlohmann::json;

// As bytes, so that the test knows them without the program's help. LF ends a line, so
// it is looked for where a line begins.
const std::vector<std::string> kHostile{
    "\x1b[31m",          // ESC: colours, and worse
    "\x07",              // bell
    "\b",                // backspace
    "\r",                // carriage return
    "\n",                // LF
    "\x0b",              // vertical tab
    "\x7f",              // delete
    "\xC2\x85",          // U+0085 next line
    "\xC2\x9B",          // U+009B ESC [
    "\xC2\xAD",          // U+00AD soft hyphen
    "\xD8\x9C",          // U+061C Arabic letter mark
    "\xE1\xA0\x8E",      // U+180E Mongolian vowel separator
    "\xE2\x80\x8B",      // U+200B space without width
    "\xE2\x80\x8D",      // U+200D joiner
    "\xE2\x80\x8E",      // U+200E left to right
    "\xE2\x80\x8F",      // U+200F right to left
    "\xE2\x80\xA8",      // U+2028 line separator
    "\xE2\x80\xA9",      // U+2029 paragraph separator
    "\xE2\x80\xAA",      // U+202A embeddings and overrides
    "\xE2\x80\xAB",      // U+202B
    "\xE2\x80\xAC",      // U+202C
    "\xE2\x80\xAD",      // U+202D
    "\xE2\x80\xAE",      // U+202E
    "\xE2\x81\xA0",      // U+2060 word joiner
    "\xE2\x81\xA6",      // U+2066 isolates
    "\xE2\x81\xA7",      // U+2067
    "\xE2\x81\xA8",      // U+2068
    "\xE2\x81\xA9",      // U+2069
    "\xEF\xBB\xBF",      // U+FEFF byte order mark
    "\xF3\xA0\x81\x81",  // U+E0041 tag
};

// Not UTF-8: alone, cut off, too long, half of a surrogate pair, beyond the last character.
const std::vector<std::string> kNotUtf8{"\xFF", "\xC3", "\xC0\xAF", "\xE2\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"};

std::vector<std::string> both(std::vector<std::string> some, const std::vector<std::string>& others) {
  some.insert(some.end(), others.begin(), others.end());
  return some;
}

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "|";
  return all;
}

// After the first column.
const std::string kColumns =
    "\tentity_id\tsubtype\tsensor_class\tbase_code\tlower_critical\t"
    "lower_non_recoverable\tupper_non_critical\tupper_critical\tupper_non_recoverable\tcause_id\t"
    "fault_name\tcause\tdn\trn\tdescr_format\n";

std::string shown_bytes(const std::string& text) {
  std::ostringstream shown;
  for (const char c : text) {
    if (c >= ' ' && c <= '~') {
      shown << c;
    } else {
      shown << "<" << std::hex << (static_cast<unsigned>(c) & 0xFFU) << ">";
    }
  }
  return shown.str();
}

void expect_safe(const std::string& text, const std::string& what) {
  for (const std::string& hostile : kHostile) {
    if (hostile == "\n") continue;
    EXPECT_EQ(text.find(hostile), std::string::npos)
        << what << " printed " << shown_bytes(hostile) << ": " << shown_bytes(text);
  }
  for (const char c : text) {
    ASSERT_FALSE((c >= 0 && c < ' ' && c != '\n') || c == 0x7F) << what << ": " << shown_bytes(text);
  }
  EXPECT_NO_THROW(json(text).dump()) << what << " printed what is not UTF-8: " << shown_bytes(text);
}

void expect_safe(const Ended& ended, const std::string& what) {
  expect_safe(ended.out, what + " (output)");
  expect_safe(ended.err, what + " (errors)");
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Raises a fault of the fan of that number. As short as a sensor's name has to be.
std::string event_of(const std::string& sensor, int instance) {
  const json event{{"entity", "fan"}, {"sensor", sensor}, {"instance", instance},
                   {"offset", 9},     {"state", 1},       {"id", "id " + std::to_string(instance) + sensor}};
  return event.dump() + "\n";
}

class TerminalSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    for (std::size_t i = 0; i < kHostile.size(); ++i) {
      events_ += event_of("A" + kHostile[i] + "B", static_cast<int>(i) + 1);
    }
    shell_.dir().write("day.jsonl", events_);
  }

  Ended run(const std::string& arguments, const std::string& input = "") const {
    return shell_.run("cd '" + shell_.dir().path().string() + "' && \"$POLAIGA\" " + arguments, input);
  }

  // A ledger of all the events, as the engine writes it.
  void write_ledger(const std::string& more = "") const {
    const Ended written = run("run --ledger ledger.db " + more, events_);
    ASSERT_EQ(written.status, 0) << written.err;
    expect_safe(written, "run");
  }

  Ended expect_safe_of(const std::string& arguments, int status = 0, const std::string& input = "") const {
    Ended ended = run(arguments, input);
    EXPECT_EQ(ended.status, status) << arguments << ": " << ended.err;
    expect_safe(ended, arguments);
    return ended;
  }

  std::string events_;
  Shell shell_;
};

TEST_F(TerminalSafety, Replay) {
  const Ended text = expect_safe_of("replay day.jsonl");
  EXPECT_EQ(lines_of(text.out).size(), 2 * kHostile.size() + 5);  // records, faults, headings and counts
  EXPECT_NE(text.out.find("  A?B: Fan"), std::string::npos) << text.out;
}

// A program gets the texts as they are.
TEST_F(TerminalSafety, ReplayAsJson) {
  const auto lines = lines_of(expect_safe_of("replay --json day.jsonl").out);
  ASSERT_EQ(lines.size(), kHostile.size() + 1);
  for (std::size_t i = 0; i < kHostile.size(); ++i) {
    EXPECT_EQ(json::parse(lines[i])["event"]["sensor"], "A" + kHostile[i] + "B");
  }
  EXPECT_NE(lines[0].find(R"("A\u001b[31mB")"), std::string::npos) << lines[0];
  EXPECT_NE(lines[6].find(R"("A\u007fB")"), std::string::npos) << lines[6];
  EXPECT_NE(lines[22].find(R"("A\u202eB")"), std::string::npos) << lines[22];
  EXPECT_NE(lines.at(29).find(R"("A\udb40\udc41B")"), std::string::npos) << lines[29];
}

TEST_F(TerminalSafety, BadLines) {
  std::string lines;
  for (const std::string& text : both(kHostile, kNotUtf8)) {
    if (text != "\n") lines += R"({"entity":"fan","sensor":"A","offset":3,"state":1,"x)" + text + "\":1}\n";
  }
  for (const std::string& hostile : kHostile) {
    lines += json{{"entity", "x" + hostile}, {"sensor", "A"}, {"offset", 3}, {"state", 1}}.dump() + "\n";
    lines += json{{"x" + hostile, "A"}}.dump() + "\n";
  }
  const std::size_t count = lines_of(lines).size();
  EXPECT_EQ(lines_of(expect_safe_of("replay -", 1, lines).err).size(), count);
  const Ended taken = expect_safe_of("run --ledger bad.db", 1, lines);
  EXPECT_EQ(lines_of(taken.out).size(), count);
  EXPECT_GE(lines_of(taken.err).size(), count);
}

// The file of the site's words is refused, and so is a ledger's copy that no engine wrote.
TEST_F(TerminalSafety, AlarmProfiles) {
  write_ledger();
  const Ended copied = run("--version && cp -r '" POLAIGA_TABLES_DIR "' tables");
  ASSERT_EQ(copied.status, 0) << copied.err;
  const std::string header = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n";
  std::size_t turn = 0;
  for (const std::string& text : both(kHostile, kNotUtf8)) {
    const std::array<std::string, 4> rows{"*\t**\t-\tyes\t-\tA" + text + "B\t-\n",
                                          "*\tA" + text + "B\t-\tyes\t-\t-\t-\n", "# A" + text + "B\n",
                                          "A" + text + "B\t**\t-\tyes\t-\t-\t-\n"};
    const std::string content = header + rows[turn++ % (text == "\n" ? 2 : rows.size())];
    shell_.dir().write("tables/alarms.tsv", content);
    const Ended refused = expect_safe_of("replay --tables tables day.jsonl", 2);
    EXPECT_NE(refused.err.find("tables/alarms.tsv:2:"), std::string::npos) << refused.err;
    Ledger(shell_.dir().file("ledger.db"), {}, 0).set_profile(content);
    const Ended told = expect_safe_of("active --ledger ledger.db", 1);
    EXPECT_NE(told.err.find("this program does not take the alarm profile"), std::string::npos) << told.err;
  }
}

TEST_F(TerminalSafety, Questions) {
  write_ledger();
  const Ended active = expect_safe_of("active --ledger ledger.db");
  EXPECT_EQ(lines_of(active.out).size(), kHostile.size() + 1);
  for (const char* question : {"active --json", "history --limit 0", "history --limit 0 --json",
                               "tail --no-follow -n 99", "tail --no-follow -n 99 --json"}) {
    const Ended got = expect_safe_of(std::string(question) + " --ledger ledger.db");
    EXPECT_GE(lines_of(got.out).size(), kHostile.size()) << question;
  }
  for (const char* question : {"active --rfc8632", "history --limit 0 --rfc8632"}) {
    const Ended got = expect_safe_of(std::string(question) + " --ledger ledger.db");
    EXPECT_EQ(json::parse(got.out)["ietf-alarms:alarms"]["alarm-list"]["number-of-alarms"], kHostile.size());
  }
  const auto active_lines = lines_of(run("active --json --ledger ledger.db").out);
  for (std::size_t i = 1; i <= kHostile.size(); ++i) {
    const std::string fault_dn = json::parse(active_lines.at(i - 1))["fault_dn"];
    const Ended text = expect_safe_of("explain --ledger ledger.db " + fault_dn);
    EXPECT_NE(text.out.find("  sensor         A?"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("  id             id " + std::to_string(i) + "A?"), std::string::npos) << text.out;
    const Ended form = expect_safe_of("explain --json --ledger ledger.db " + fault_dn);
    EXPECT_EQ(json::parse(form.out)["raise"]["event"]["sensor"], "A" + kHostile[i - 1] + "B");
  }
}

// Two builds that word the same faults in two ways.
TEST_F(TerminalSafety, Diff) {
  for (const char* form : {"", "--json "}) {
    const Ended got = expect_safe_of(std::string("diff ") + form + POLAIGA_LIBRARY " " POLAIGA_CHANGED " day.jsonl", 1);
    EXPECT_GT(lines_of(got.out).size(), kHostile.size()) << got.out;
  }
}

// What a host's tables say: texts of faults, and names of objects.
class TerminalSafetyOfTables : public TerminalSafety {
 protected:
  void SetUp() override {
    const std::vector<std::string> texts = both(kHostile, kNotUtf8);
    std::string rows;
    std::size_t count = 0;
    for (const std::string& text : texts) {
      if (text == "\n" || count == FE_HOST_TABLE_ROWS) continue;
      const std::string number = std::to_string(++count);
      const std::string sensor = "S" + number;
      rows += sensor + "\t6\t1\t1\t1320\t1321\t1322\t1320\t1321\t1322\t215\tname" + text + "\tcause" + text +
              "\tsys/dn" + text + number + "\trn" + text + "\t%s: text " + text + " is %s: Check it\n";
      events_ += R"({"entity":"cmc","sensor":")" + sensor + R"(","offset":119,"state":5})" + "\n";
    }
    rows_ = count;
    shell_.dir().write("day.jsonl", events_);
    const std::string tables = POLAIGA_TABLES_DIR;
    ASSERT_EQ(shell_
                  .run("mkdir '" + shell_.dir().file("tables") + "' && cp '" + tables + "'/* '" +
                       shell_.dir().file("tables") + "'")
                  .status,
              0);
    shell_.dir().write("tables/cmc.tsv", "sensor_name" + kColumns + rows);
  }

  std::size_t rows_ = 0;
};

TEST_F(TerminalSafetyOfTables, Catalog) {
  for (const char* form : {"", " --json", " --markdown"}) {
    const Ended got = expect_safe_of("catalog --tables tables" + std::string(form));
    EXPECT_NE(got.out.find("sys/dn"), std::string::npos);
  }
}

TEST_F(TerminalSafetyOfTables, ReplayAndQuestions) {
  const Ended replayed = expect_safe_of("replay --tables tables day.jsonl");
  EXPECT_NE(replayed.out.find(std::to_string(rows_) + " active faults"), std::string::npos) << replayed.out;
  expect_safe_of("replay --json --tables tables day.jsonl");
  write_ledger("--tables tables");
  for (const char* question : {"active", "active --json", "history", "history --json", "tail --no-follow -n 99",
                               "tail --no-follow -n 99 --json"}) {
    const Ended got = expect_safe_of(std::string(question) + " --ledger ledger.db");
    EXPECT_GE(lines_of(got.out).size(), rows_) << question;
  }
  // Of each fault, since `stats` lists only the worst.
  std::size_t named = 0;
  for (const std::string& line : lines_of(run("active --json --ledger ledger.db").out)) {
    const json fault = json::parse(line);
    const std::string name = fault["fault_dn"];
    if (!name.starts_with("sys/dn")) continue;
    const Ended text = expect_safe_of("stats --ledger ledger.db --under '" + name + "'");
    const Ended form = expect_safe_of("stats --json --ledger ledger.db --under '" + name + "'");
    if (name.find("\xEF\xBF\xBD") != std::string::npos) continue;  // JSON cannot say a DN that is not UTF-8
    ++named;
    EXPECT_NE(text.out.find("  1       100.0%  ##########  F" + fault["code"].dump() + "  sys/dn"), std::string::npos)
        << text.out;
    EXPECT_EQ(json::parse(form.out)["worst_offenders"].at(0)["dn"], fault["dn"]);
  }
  EXPECT_EQ(named, std::min(rows_, kHostile.size() - 1));  // all but LF, as many as a table has room for
  expect_safe_of("stats --ledger ledger.db");
}

// A table that is not right, in a directory of any name.
TEST_F(TerminalSafety, ErrorsOfTables) {
  for (const std::string& hostile : kHostile) {
    if (hostile == "\n") continue;
    const std::string directory = shell_.dir().file("t" + hostile);
    ASSERT_EQ(shell_.run("cp -r '" POLAIGA_TABLES_DIR "' '" + directory + "'").status, 0);
    shell_.dir().write("t" + hostile + "/cmc.tsv", "x" + hostile + kColumns);
    const Ended got = expect_safe_of("catalog --tables '" + directory + "'", 2);
    EXPECT_NE(got.err.find("/cmc.tsv:1:1: sensor_name: the header names this column 'x?"), std::string::npos)
        << got.err;
  }
}

// What is typed comes back in messages.
TEST_F(TerminalSafety, Arguments) {
  const std::array<const char*, 32> kCommands{
      "@",
      "--@",
      "-@",
      "--@=1",
      "active @",
      "active --@",
      "active --@=@",
      "active --ledger @",
      "active --ledger=@",
      "active --under @ --ledger @",
      "active --severity @",
      "active --entity @",
      "active --older-than @",
      "active --at @",
      "active --color @",
      "history --limit @",
      "tail -n @",
      "tail --after @",
      "stats --under @ --ledger @",
      "stats --newer-than @",
      "catalog --tables @",
      "replay @",
      "replay --log @ x",
      "replay --platform @ x",
      "diff @ @ @",
      "diff " POLAIGA_LIBRARY " " POLAIGA_LIBRARY " @",
      "run --ledger ledger.db --socket @/@",
      "run --max-active @",
      "run --keep-bytes @",
      "run --keep-days @",
      "run --commit-within @",
      "run --ledger @/@",
  };
  for (const std::string& text : {joined(kHostile), joined(kNotUtf8)}) {
    for (const std::string command : kCommands) {
      std::string line = command;
      for (std::size_t at = line.find('@'); at != std::string::npos; at = line.find('@')) {
        line.replace(at, 1, "'x" + text + "'");
      }
      expect_safe_of(line, 2);
    }
  }
}

// The engine takes only texts that can be shown, so another program stands in for it.
TEST_F(TerminalSafety, Outputs) {
  json outputs = json::array();
  for (const std::string& hostile : kHostile) {
    const std::string text = "A" + hostile + "B";
    outputs.push_back({{"publisher", text},
                       {"through", 0},
                       {"behind", 0},
                       {"updated", "2027-01-15T08:00:00Z"},
                       {"peer", text},
                       {"last_error", text}});
  }
  shell_.dir().write("answer", json{{"publishers", outputs}}.dump() + "\n");
  constexpr const char* kEngine =
      "python3 -c 'import os, socket, sys; os.chdir(sys.argv[1]); s = socket.socket(socket.AF_UNIX); s.bind(\"new\"); "
      "s.listen(); os.rename(\"new\", \"control\")\n"
      "for _ in range(2): c = s.accept()[0]; c.recv(99); c.sendall(open(\"answer\", \"rb\").read()); c.recv(99)' '";
  const TempDir dir;  // for what the program says
  const Child engine(kEngine + shell_.dir().path().string() + "'", dir);
  ASSERT_TRUE(comes_true([&] { return run("--version && [ -S control ]").status == 0; })) << dir.read("err");
  const Ended table = expect_safe_of("outputs --control control");
  EXPECT_EQ(lines_of(table.out).size(), kHostile.size() + 1) << table.out;
  EXPECT_NE(table.out.find("A?B"), std::string::npos) << table.out;
  const auto lines = lines_of(expect_safe_of("outputs --json --control control").out);
  ASSERT_EQ(lines.size(), kHostile.size());
  for (std::size_t i = 0; i < kHostile.size(); ++i) {
    EXPECT_EQ(json::parse(lines[i])["peer"], "A" + kHostile[i] + "B");
  }
}

// What is wrong with a ledger names what its rows say.
TEST_F(TerminalSafety, Verify) {
  const std::string name = "ledger " + joined(kHostile) + joined(kNotUtf8) + ".db";
  ASSERT_EQ(run("run --ledger 'L'", events_).status, 0);
  ASSERT_EQ(
      shell_
          .run("cd '" + shell_.dir().path().string() + "' && for f in L*; do mv \"$f\" '" + name + "'\"${f#L}\"; done")
          .status,
      0);
  expect_safe_of("verify --ledger '" + name + "'");
  expect_safe_of("verify --json --ledger '" + name + "'");
  Database(shell_.dir().file(name), Access::kReadWrite)
      .exec("UPDATE subject SET sensor = sensor || char(27, 7, 155, 8238) || x'ff'");
  expect_safe_of("verify --ledger '" + name + "'", 1);
  expect_safe_of("verify --json --ledger '" + name + "'", 1);
}

TEST_F(TerminalSafety, UnknownFaults) {
  write_ledger();
  for (const std::string& text : {joined(kHostile), joined(kNotUtf8)}) {
    expect_safe_of("history --ledger ledger.db 'x" + text + "'", 1);
    expect_safe_of("explain --ledger ledger.db 'x" + text + "'", 1);
  }
}

}  // namespace terminal_safety_test
}  // namespace polaiga::engine::test
