// What the commands print with --json is what docs/schemas describes.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ledger/sqlite.h"
#include "support/client.h"
#include "support/ledger_of.h"
#include "support/program.h"

namespace polaiga::engine::test {
namespace schemas_test {

using nlohmann::json;
using Lines = std::vector<std::string>;

// Calls `visit` with every object in a value, the value itself included. Of a list it
// takes the first element: the others are of the same kind.
template <class Visit>
void for_each_object(json& value, const Visit& visit) {
  if (value.is_array()) {
    if (!value.empty()) for_each_object(value.front(), visit);
  } else if (value.is_object()) {
    visit(value);
    for (json& part : value) for_each_object(part, visit);
  }
}

// The line with one thing wrong: an object with a member that is not known, or a
// member that holds what it never may. As many lines as there are such places.
Lines spoiled(const std::string& line) {
  Lines all;
  json value = json::parse(line);
  for_each_object(value, [&](json& object) {
    object["Unknown"] = 1;
    all.push_back(value.dump());
    object.erase("Unknown");
    for (auto& member : object) {
      const json before = std::exchange(member, {{"Unknown", 1}});
      all.push_back(value.dump());
      member = before;
    }
  });
  return all;
}

class SchemasTest : public ::testing::Test {
 protected:
  // What the validator says of each line.
  Lines verdicts(const std::string& schema, const Lines& lines) const {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    const Ended got = shell_.run("python3 '" POLAIGA_SOURCE_DIR "/tests/engine/support/validate_json.py' '" +
                                     directory_ + "/" + schema + ".schema.json'",
                                 text);
    EXPECT_EQ(got.status, 0) << got.err;
    return lines_of(got.out);
  }

  // All lines are as described, and the first and the last would not be if anything were wrong with them.
  void expect_described(const std::string& schema, const std::string& command, const std::string& input = "") const {
    const Lines lines = lines_of(shell_.run(command, input).out);
    ASSERT_FALSE(lines.empty()) << command;
    expect_described(schema, lines, {lines.front(), lines.back()});
  }

  // The same, and none of the lines would be if anything were wrong with it.
  void expect_each_described(const std::string& schema, const std::string& command) const {
    const Lines lines = lines_of(shell_.run(command).out);
    ASSERT_FALSE(lines.empty()) << command;
    expect_described(schema, lines, lines);
  }

  Shell shell_;
  std::string directory_ = POLAIGA_SOURCE_DIR "/docs/schemas";

 private:
  void expect_described(const std::string& schema, const Lines& lines, const Lines& to_spoil) const {
    Lines all = lines;
    for (const std::string& line : to_spoil) std::ranges::move(spoiled(line), std::back_inserter(all));
    ASSERT_GT(all.size(), lines.size());
    const Lines told = verdicts(schema, all);
    ASSERT_EQ(told.size(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::string want = i < lines.size() ? "accepted" : "refused: ";
      EXPECT_EQ(told[i].substr(0, want.size()), want) << all[i] << "\n" << told[i];
    }
  }
};

TEST_F(SchemasTest, Event) { expect_described("event", "cat '" POLAIGA_DAY "'"); }

TEST_F(SchemasTest, Replay) { expect_described("replay", "$POLAIGA replay --json '" POLAIGA_DAY "'"); }

TEST_F(SchemasTest, Catalog) { expect_described("catalog", "$POLAIGA catalog --json"); }

const std::string kSitesWords =
    "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n"
    "F0395\t**\tmajor\tno\t4h\tIt gets hot.\tLook.\n"
    "*\t**\tminor\tyes\t90s\tIt stops.\tCall.\n";

TEST_F(SchemasTest, TheSitesWords) {
  shell_.dir().write("alarms.tsv", kSitesWords);
  const std::string tables = shell_.dir().file("tables");
  ASSERT_EQ(shell_
                .run("cp -r '" POLAIGA_TABLES_DIR "' '" + tables + "' && cp '" + shell_.dir().file("alarms.tsv") +
                     "' '" + tables + "'")
                .status,
            0);
  expect_described("replay", "$POLAIGA replay --json --tables '" + tables + "' '" POLAIGA_DAY "'");
  expect_described("catalog", "$POLAIGA catalog --json --tables '" + tables + "'");
}

TEST_F(SchemasTest, Diff) {
  const std::string predicted = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":9,"state":1})";
  const std::string builds = "'" POLAIGA_LIBRARY "' '" POLAIGA_CHANGED "' -";
  expect_described("diff", "$POLAIGA diff --json " + builds, predicted + "\n");
  const std::string crashing = R"({"entity":"fan","sensor":"FAN8_TACH1","instance":8,"offset":3,"state":1})";
  expect_described("diff", "$POLAIGA diff --json '" POLAIGA_LIBRARY "' '" POLAIGA_CRASHING "' -", crashing + "\n");
}

// A ledger with all that an alarm may go through: reporters that come and go, levels,
// a related alarm, a merged one, and one that is over.
class LedgerSchemasTest : public SchemasTest {
 protected:
  void SetUp() override {
    std::vector<EventAt> events = kStory;
    const auto riser = [&events](int number, int offset, int state) {
      const Moment at = events.back().received + 10;
      events.push_back({at, R"({"entity":"sys_board","sensor":"RISER)" + std::to_string(number) +
                                R"(_INLET_TMP","offset":)" + std::to_string(offset) + R"(,"state":)" +
                                std::to_string(state) + R"(,"id":"at )" + std::to_string(at) + R"(","time":)" +
                                std::to_string(kNewYear + at - 1) + "}"});
    };
    riser(1, 117, 4);
    riser(2, 117, 4);
    riser(1, 118, 5);
    riser(2, 118, 5);
    write_ledger(ledger_, events);
  }

  std::string command(const std::string& arguments) const {
    return "POLAIGA_LEDGER='" + ledger_ + "' $POLAIGA " + arguments;
  }

  std::string ledger_ = shell_.dir().file("ledger.db");
};

TEST_F(LedgerSchemasTest, Active) {
  expect_described("active", command("active --json"));
  expect_described("active", command("active --json --at 2025-01-01T00:04:00Z"));
}

TEST_F(LedgerSchemasTest, History) {
  expect_described("history", command("history --json"));
  expect_described("history", command("history --json " + kSlow));
}

TEST_F(LedgerSchemasTest, TheSitesWords) {
  Ledger(ledger_, {}, kNewYear).set_profile(kSitesWords);
  expect_described("active", command("active --json"));
  expect_described("history", command("history --json"));
  expect_described("explain", command("explain --json " + kSlow));
}

TEST_F(LedgerSchemasTest, Explain) {
  for (const std::string& fault : {kSlow, kSlower, kSupply, std::string("sys/rack-unit-1/board/fault-F0409")}) {
    expect_described("explain", command("explain --json " + fault));
  }
}

TEST_F(LedgerSchemasTest, Tail) { expect_described("tail", command("tail --json --no-follow -n 100")); }

// A fault that chatters, settles and chatters again.
TEST_F(LedgerSchemasTest, Chattering) {
  std::vector<EventAt> events;
  for (const Moment begin : {10'000, 20'000}) {
    for (Moment at = 0; at < 9; ++at) {
      events.push_back({begin + at, R"({"entity":"ps","sensor":"PS3_STATUS","instance":3,"offset":30,"state":)" +
                                        std::to_string(1 - at % 2) + "}"});
    }
  }
  write_ledger(ledger_, events, {}, ChatteringLimit{.times = 2, .within = 60});
  for (const char* kind : {R"("change":"chattering")", R"("change":"settled")", R"("folded":true)"}) {
    expect_described("tail", command("tail --json --no-follow -n 22") + " | grep -m 1 '" + kind + "'");
  }
  EXPECT_NE(shell_.run(command("tail --json --no-follow -n 22")).out.find(R"("in_place_of":)"), std::string::npos);
  // The first event of the second time only refreshes the fault, and the last one makes it chatter.
  const std::string active = shell_.run(command("active --json --under sys/rack-unit-1/psu-3")).out;
  EXPECT_NE(active.find(R"("chattering":{"since":"2025-01-01T05:33:28Z","raises":4})"), std::string::npos) << active;
  expect_described("active", command("active --json --under sys/rack-unit-1/psu-3"));
  expect_described("explain", command("explain --json sys/rack-unit-1/psu-3/fault-F0378"));
}

// With a flood of today, a chattering fault and a stale one; the story is long ago.
TEST_F(LedgerSchemasTest, Stats) {
  const Moment begin = std::time(nullptr) - 60 - kNewYear;
  std::vector<EventAt> events;
  for (Moment at = 0; at < 24; ++at) {
    events.push_back({begin + at, R"({"entity":"ps","sensor":"PS3_STATUS","instance":3,"offset":30,"state":)" +
                                      std::to_string(1 - at % 2) + "}"});
  }
  write_ledger(ledger_, events);
  const json answer = json::parse(shell_.run(command("stats --json")).out);
  for (const char* list : {"floods", "chattering", "stale", "worst_offenders"}) {
    EXPECT_FALSE(answer.at(list).empty()) << list;
  }
  expect_described("stats", command("stats --json"));
  expect_described("stats", command("stats --json --under sys/rack-unit-1 --newer-than 1h"));
}

// The same with all that operators do, themselves and through a gateway, and with what ends by itself.
class OperatorSchemasTest : public LedgerSchemasTest {
 protected:
  void SetUp() override {
    LedgerSchemasTest::SetUp();
    TempDir dir;
    const std::string control = dir.file("control.sock");
    const std::string events = dir.file("events.sock");
    Child engine("$POLAIGA run --ledger '" + ledger_ + "' --control '" + control + "' --socket '" + events +
                     "' --renew-acknowledgements --gateway " + std::to_string(::geteuid()),
                 dir);
    ASSERT_TRUE(engine.has_complained("ready: "));
    const auto act = [&](const std::string& arguments) {
      const Ended got = shell_.run(command(arguments + " --control '" + control + "'"));
      EXPECT_EQ(got.status, 0) << arguments << ": " << got.err;
    };
    Client client(events);
    client.send(kStory[0].line + "\n");
    EXPECT_NE(number_in(client.answer()), 0);
    act("ack --all --comment seen --id a-1 --on-behalf-of anna");
    client.send(kStory[4].line + "\n");  // the fan gets worse, and nobody has seen that yet
    EXPECT_NE(number_in(client.answer()), 0);
    act("comment " + kSlower + " --comment 'ticket 4711'");
    act("shelve " + kTenth + " --for 1h --comment noise");
    act("shelve " + kHot + " --for 1h --comment noise");
    act("unshelve " + kHot);
    act(std::string("close --under ") + kBoard + " --yes --comment replaced");
    act("maintain sys/rack-unit-1/psu-10 --for 1h --comment swap --on-behalf-of anna");
    act("maintain " + kFan + " --for 1h --comment swap");
    act("maintain --end " + kFan);
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }

  static constexpr const char* kBoard = "sys/rack-unit-1/board";
};

TEST_F(OperatorSchemasTest, Active) { expect_each_described("active", command("active --json --all")); }

TEST_F(OperatorSchemasTest, History) { expect_each_described("history", command("history --json")); }

TEST_F(OperatorSchemasTest, Missed) { expect_each_described("missed", command("missed --json")); }

TEST_F(OperatorSchemasTest, Maintenance) { expect_each_described("maintenance", command("maintenance --json")); }

TEST_F(OperatorSchemasTest, Explain) {
  for (const std::string& fault : {kSlower, kTenth, kHot}) {
    expect_described("explain", command("explain --json " + fault));
  }
}

TEST_F(OperatorSchemasTest, Tail) { expect_each_described("tail", command("tail --json --no-follow --after 8")); }

TEST_F(LedgerSchemasTest, Verify) {
  expect_described("verify", command("verify --json"));
  Database(ledger_, Access::kReadWrite).exec("UPDATE event SET received = 1 WHERE seq = 3");
  expect_described("verify", command("verify --json"));
}

TEST_F(SchemasTest, Outputs) {
  TempDir dir;
  const std::string control = dir.file("control.sock");
  const Child engine("$POLAIGA run --ledger '" + dir.file("ledger.db") + "' --control '" + control + "'", dir);
  ASSERT_TRUE(engine.has_complained("ready: "));
  Client client(control);
  client.send(R"({"do":"cursor","publisher":"a","through":0,"peer":"b","connected":true,"told":1,"lost":0,"cut":0,)"
              R"("last_success":"2027-01-15T08:00:00Z","last_error":"c","last_error_at":"2027-01-15T08:00:00Z"})"
              "\n"
              R"({"do":"cursor","publisher":"b","through":0})"
              "\n");
  ASSERT_EQ(client.answers(2).back(), R"({"ok":true})");
  expect_each_described("outputs", "$POLAIGA outputs --json --control '" + control + "'");
}

// The validator itself: a schema that lets unknown members pass is not taken.
TEST_F(SchemasTest, ASchemaThatIsOpenIsRefused) {
  const std::string copy = shell_.dir().file("schemas");
  const Ended got = shell_.run(
      "cp -r '" + directory_ + "' '" + copy + "' && sed -i '/additionalProperties/d' '" + copy +
      "/active.schema.json' && echo '{}' | python3 '" POLAIGA_SOURCE_DIR "/tests/engine/support/validate_json.py' '" +
      copy + "/active.schema.json'");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "active.schema.json: additionalProperties is not false\n");
}

}  // namespace schemas_test
}  // namespace polaiga::engine::test
