// The alarm profile of the running engine: what it does to severities, and what
// questions tell of it.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ledger/sqlite.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace run_profile_test {

using Answers = std::vector<std::string>;
using nlohmann::json;

const std::string kHeader = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n";
const std::string kFan = "sys/rack-unit-1/fan-module-1-1/fan-1";
const std::string kSlow = kFan + "/fault-F0395";  // minor by itself

// F0396, which supersedes F0395 and is major by itself.
const std::string kSlower = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":4,"state":5})"
                            "\n";

// F0395 again, which supersedes F0396.
const std::string kLessSlow = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":4,"state":4})"
                              "\n";

class RunProfileTest : public RunTest {
 protected:
  RunProfileTest() {
    std::filesystem::create_directory(tables_);
    for (const char* table : {"nm.tsv", "cmc.tsv", "drive_bp.tsv"}) {
      std::filesystem::copy(std::filesystem::path(POLAIGA_TABLES_DIR) / table, tables_);
    }
  }

  void write(const std::string& rows) const { dir_.write("tables/alarms.tsv", kHeader + rows); }
  std::string engine() const { return command("", "--tables '" + tables_ + "'"); }

  void load_anew(const Child& engine) {
    dir_.write("err", "");
    engine.kill(SIGHUP);
    EXPECT_TRUE(engine.has_complained("The tables were loaded again.")) << dir_.read("err");
  }

  void take(const std::string& event) const {
    Client client(socket());
    client.send(event);
    EXPECT_TRUE(client.answer().starts_with("{\"seq\":"));
  }

  Ended question(const std::string& arguments) const {
    return Shell().run("POLAIGA_LEDGER='" + ledger() + "' $POLAIGA " + arguments);
  }

  std::vector<json> lines(const std::string& arguments) const {
    const Ended got = question(arguments);
    EXPECT_EQ(got.status, 0) << got.err;
    std::vector<json> found;
    std::istringstream stream(got.out);
    for (std::string line; std::getline(stream, line);) found.push_back(json::parse(line));
    return found;
  }

  // Severity of the fault, of its alarm, and the worst one; of the record, too.
  std::string severities() const {
    const json fault = lines("active --json").at(0);
    const json alarm = lines("history --json").at(0);
    return fault["severity"].get<std::string>() + " " + alarm["severity"].get<std::string>() + " " +
           alarm["worst"].get<std::string>() + " " + fault["record"]["severity"].get<std::string>();
  }

  Answers changes() const { return ask("SELECT change || ' ' || before || '>' || after FROM changes ORDER BY number"); }

  std::string tables_ = dir_.file("tables");
};

// "What the site says of a fault" is told wherever an alarm is told.
TEST_F(RunProfileTest, EveryListHasTheWordsOfTheSite) {
  write("F0395\t*\t-\tno\t4h\tcooling is reduced\treplace the fan\n");
  Child engine(this->engine(), dir_);
  take(slow());
  const auto words = [this](const std::string& arguments) {
    json alarm = lines(arguments).at(0);
    if (alarm.contains("steps")) alarm = alarm["steps"].at(0);
    return alarm.value("advice", "none") + ", " + alarm.value("consequence", "none") + ", " +
           std::to_string(alarm.value("respond_within", 0)) + (alarm.value("notify", true) ? "" : ", quiet");
  };
  const std::string want = "replace the fan, cooling is reduced, 14400, quiet";
  EXPECT_EQ(words("active --json"), want);
  take(well());
  EXPECT_EQ(words("history --json"), want);
  EXPECT_EQ(words("missed --json"), want);
}

TEST_F(RunProfileTest, SeverityThroughRaiseRefreshSupersedeAndRestart) {
  write("F0395\t**/fan-*\tcritical\tyes\t-\t-\t-\n");
  {
    Child engine(this->engine(), dir_);
    take(slow());
    EXPECT_EQ(severities(), "critical critical critical minor");
    write("F0395\t**/fan-*\twarning\tyes\t-\t-\t-\nF0396\t*\tindeterminate\tyes\t-\t-\t-\n");
    load_anew(engine);
    EXPECT_EQ(severities(), "critical critical critical minor") << "nothing changes without a record";
    take(slow());
    EXPECT_EQ(severities(), "warning warning critical minor");
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  EXPECT_EQ(severities(), "warning warning critical minor");
  std::filesystem::remove(tables_ + "/alarms.tsv");
  Child engine(this->engine(), dir_);
  take(slow());
  EXPECT_EQ(severities(), "minor minor critical minor");
  write("F0396\t*\tindeterminate\tyes\t-\t-\t-\n");
  load_anew(engine);
  take(kSlower);
  EXPECT_EQ(severities(), "indeterminate indeterminate critical major");
  take(kLessSlow);
  take(well());
  EXPECT_EQ(changes(),
            (Answers{"raised cleared>critical", "refreshed critical>warning", "refreshed warning>minor",
                     "superseded minor>minor", "raised minor>indeterminate", "superseded indeterminate>indeterminate",
                     "raised indeterminate>minor", "cleared minor>cleared"}));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  const Ended verified = question("verify");
  EXPECT_EQ(verified.status, 0) << verified.out << verified.err;
}

TEST_F(RunProfileTest, QuestionsHaveTheSitesWords) {
  write(
      "F0395\t**/fan-1\tmajor\tno\t90m\tThe processors slow down.\tLook for a blocked intake.\n"
      "*\t*\t-\tyes\t-\t-\t-\n");
  Child engine(this->engine(), dir_);
  take(slow());
  take(kSlower);
  const json steps = lines("history --json").at(0)["steps"];
  EXPECT_EQ(steps.at(0)["notify"], false);
  EXPECT_EQ(steps.at(0)["respond_within"], 5400);
  EXPECT_EQ(steps.at(0)["consequence"], "The processors slow down.");
  EXPECT_EQ(steps.at(0)["advice"], "Look for a blocked intake.");
  EXPECT_EQ(steps.at(1)["notify"], true);
  EXPECT_FALSE(steps.at(1).contains("respond_within") || steps.at(1).contains("consequence") ||
               steps.at(1).contains("advice"));
  const json active = lines("active --json").at(0);
  EXPECT_EQ(active["notify"], true);
  const json explained = json::parse(question("explain --json " + kSlow).out);
  EXPECT_EQ(explained["notify"], false);
  EXPECT_EQ(explained["respond_within"], 5400);
  EXPECT_EQ(explained["history"]["steps"], steps);
  const std::string text = question("explain " + kSlow).out;
  EXPECT_NE(text.find("\nWhat the site says\n"
                      "  severity       major\n"
                      "  notify         no\n"
                      "  respond within 1h 30m\n"
                      "  consequence    The processors slow down.\n"
                      "  advice         Look for a blocked intake.\n"
                      "\nIts changes\n"),
            std::string::npos)
      << text;
  // Asked with other tables, it has their words.
  EXPECT_EQ(question("explain --tables '" POLAIGA_TABLES_DIR "' " + kSlow).out.find("What the site says"),
            std::string::npos);
  // What the engine loads anew is told at once, of old faults, too.
  std::filesystem::remove(tables_ + "/alarms.tsv");
  load_anew(engine);
  EXPECT_FALSE(lines("active --json").at(0).contains("notify"));
  EXPECT_EQ(question("explain " + kSlow).out.find("What the site says"), std::string::npos);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunProfileTest, ABadFileLeavesTheOldOneInForce) {
  write("F0395\t*\tcritical\tyes\t-\t-\t-\n");
  Child engine(this->engine(), dir_);
  take(slow());
  const std::string nm = dir_.read("tables/nm.tsv");
  dir_.write("tables/nm.tsv", nm.substr(0, nm.rfind('\n', nm.size() - 2) + 1));
  write("F0395\t*\tworse\tyes\t-\t-\t-\n");
  engine.kill(SIGHUP);
  EXPECT_TRUE(engine.has_complained(
      dir_.file("tables/alarms.tsv") +
      ":2:9: severity: 'worse' is none of indeterminate, warning, minor, major, critical and -; the tables stay as "
      "they were\n"))
      << dir_.read("err");
  take(slow(2));
  EXPECT_EQ(ask("SELECT severity FROM faults"), (Answers{"critical", "critical"}));
  EXPECT_EQ(ask("SELECT text FROM profile"), Answers{kHeader + "F0395\t*\tcritical\tyes\t-\t-\t-\n"});
  EXPECT_EQ(ask("SELECT count(*) FROM tables"), Answers{"1"}) << "neither did the other tables change";
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunProfileTest, AtItsStartTheFileMustBeRight) {
  write("F0395\t*\tminor\tyes\t-\t-\t-\nF0395\tsys\tminor\tyes\t-\t-\t-\n");
  const Ended got = Shell().run(without_socket() + " --tables '" + tables_ + "'");
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(got.err.find(dir_.file("tables/alarms.tsv") + ":3:1: code: this row has no effect"), std::string::npos)
      << got.err;
}

// Another program keeps the ledger from being written for a while.
TEST_F(RunProfileTest, ALedgerThatCannotBeWritten) {
  Child engine(this->engine(), dir_);
  take(slow());
  write("F0395\t*\tcritical\tyes\t-\t-\t-\n");
  {
    const Database other(ledger(), Access::kReadWrite);
    other.exec("BEGIN IMMEDIATE");
    engine.kill(SIGHUP);
    ASSERT_TRUE(engine.has_complained("cannot write: ")) << dir_.read("err");
    other.exec("ROLLBACK");
  }
  ASSERT_TRUE(engine.has_complained("The ledger can be written again.")) << dir_.read("err");
  EXPECT_EQ(ask("SELECT count(*) FROM profile"), Answers{"1"});
  take(slow());
  EXPECT_EQ(severities(), "critical critical critical minor");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

// Many rows, all of which are tried for each event.
TEST_F(RunProfileTest, TheLargestProfile) {
  std::string rows;
  for (int i = 0; i < 999; ++i) rows += "*\tsys/rack-unit-1/*/unit-" + std::to_string(i) + "\t-\tno\t-\t-\t-\n";
  write(rows + "*\t**\twarning\tyes\t-\t-\t-\n");
  Child engine(this->engine(), dir_);
  take(slow());
  EXPECT_EQ(severities(), "warning warning warning minor");
  EXPECT_EQ(lines("active --json").at(0)["notify"], true);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

}  // namespace run_profile_test
}  // namespace polaiga::engine::test
