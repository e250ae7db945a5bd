// What --rfc8632 prints is data of the public YANG module, whatever the ledger holds.
#include <nlohmann/json.hpp>

#include <functional>
#include <set>

#include "support/queries.h"

namespace polaiga::engine::test {
namespace yang_test {

using nlohmann::json;

const std::string kModules = POLAIGA_SOURCE_DIR "/tests/yang";
const std::string kTypes = POLAIGA_SOURCE_DIR "/packaging/yang";

class Yang : public ::testing::Test {
 protected:
  // What the validator says of a document, with all features of the module.
  Ended validate(const std::string& document) const {
    shell_.dir().write("document.json", document);
    return shell_.run("cd '" + shell_.dir().path().string() + "' && yanglint '" + kModules +
                      "/ietf-alarms@2019-09-11.yang' '" + kTypes + "/polaiga-alarm-types.yang' document.json");
  }

  Ended ask(const std::string& question) const {
    return shell_.run("POLAIGA_LEDGER='" + path_ + "' $POLAIGA " + question + " --rfc8632");
  }

  // The answer when all is well.
  json answer(const std::string& question) const {
    const Ended got = ask(question);
    EXPECT_EQ(got.status, 0) << question;
    EXPECT_EQ(got.err, "") << question;
    return read(question, got);
  }

  // A document, which is valid, and whose inventory has the type of each alarm.
  json read(const std::string& question, const Ended& got) const {
    const Ended verdict = validate(got.out);
    EXPECT_EQ(verdict.status, 0) << question << ": " << verdict.out << verdict.err << "\n" << got.out;
    const json alarms = json::parse(got.out).at("ietf-alarms:alarms");
    std::set<std::pair<std::string, std::string>> types;
    for (const json& type : alarms.at("alarm-inventory").at("alarm-type")) types.insert(type_of(type));
    for (const json& alarm : list_of(alarms)) EXPECT_TRUE(types.contains(type_of(alarm))) << alarm;
    return alarms;
  }

  static std::pair<std::string, std::string> type_of(const json& object) {
    return {object.at("alarm-type-id"), object.at("alarm-type-qualifier")};
  }

  static json list_of(const json& alarms) { return alarms.at("alarm-list").value("alarm", json::array()); }

  // Resource, type, severity and whether it is cleared, of each.
  static std::vector<std::string> brief(const json& alarms) {
    std::vector<std::string> lines;
    for (const json& alarm : list_of(alarms)) {
      lines.push_back(alarm.at("resource").get<std::string>() + " " + alarm.at("alarm-type-id").get<std::string>() +
                      " " + alarm.at("alarm-type-qualifier").get<std::string>() + " " +
                      alarm.at("perceived-severity").get<std::string>() +
                      (alarm.at("is-cleared").get<bool>() ? " cleared" : ""));
    }
    return lines;
  }

  Shell shell_;
  std::string path_ = shell_.dir().file("ledger.db");
};

using Lines = std::vector<std::string>;

const std::string kHotAlarm = "sys/rack-unit-1 polaiga-alarm-types:environmental-alarm F0153-F0154-F0155 critical";
const std::string kFanAlarm = kFan + " polaiga-alarm-types:quality-of-service-alarm F0395-F0396-F0397 major";
const std::string kTenthAlarm = "sys/rack-unit-1/psu-10 polaiga-alarm-types:equipment-alarm F0378 warning";
const std::string kSupplyAlarm = "sys/rack-unit-1/psu-1 polaiga-alarm-types:equipment-alarm F0378 warning cleared";

TEST_F(Yang, NoAlarms) {
  write_ledger(path_, {});
  EXPECT_EQ(brief(answer("active")), Lines{});
  EXPECT_EQ(brief(answer("history")), Lines{});
}

TEST_F(Yang, SeveralSeveritiesAndAnEscalation) {
  write_ledger(path_, kStory);
  const json active = answer("active");
  EXPECT_EQ(brief(active), (Lines{kHotAlarm, kFanAlarm, kTenthAlarm}));
  EXPECT_EQ(active.at("alarm-list").at("number-of-alarms"), 3);
  EXPECT_EQ(active.at("alarm-list").at("last-changed"), "2025-01-01T00:06:00Z");  // the supply came back
  const json fan = list_of(active).at(1);
  EXPECT_EQ(fan.at("time-created"), "2025-01-01T00:00:00Z");
  EXPECT_EQ(fan.at("last-changed"), "2025-01-01T00:04:00Z");
  EXPECT_EQ(fan.at("alarm-text"), kSlowerText);
  ASSERT_EQ(fan.at("status-change").size(), 2U);
  EXPECT_EQ(fan.at("status-change").at(1).at("perceived-severity"), "minor");
  EXPECT_EQ(active.at("summary").at("alarm-summary").at(3).at("not-cleared"), 1);
  EXPECT_EQ(active.at("summary").at("alarm-summary").at(3).at("total"), 1);

  const json all = answer("history");
  EXPECT_EQ(brief(all), (Lines{kHotAlarm, kFanAlarm, kSupplyAlarm, kTenthAlarm}));
  const json supply = list_of(all).at(2);
  EXPECT_EQ(supply.at("last-raised"), "2025-01-01T00:01:00Z");
  EXPECT_EQ(supply.at("last-changed"), "2025-01-01T00:06:00Z");
  EXPECT_EQ(supply.at("status-change").at(0).at("perceived-severity"), "cleared");
}

TEST_F(Yang, OfAChoice) {
  write_ledger(path_, kStory);
  EXPECT_EQ(brief(answer("active --severity major")), (Lines{kHotAlarm, kFanAlarm}));
  EXPECT_EQ(brief(answer("active --newer-than 1h")), Lines{});
  EXPECT_EQ(brief(answer("history " + kSupply)), Lines{kSupplyAlarm});
  EXPECT_EQ(brief(answer("history --limit 1")), Lines{kHotAlarm});
  const Ended unknown = ask("history sys/none/fault-F0001");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_EQ(unknown.out, "");
  EXPECT_EQ(unknown.err, "The ledger has no history of sys/none/fault-F0001.\n");
}

// It is valid by itself, and counts what history tells.
TEST_F(Yang, TheSummaryAlone) {
  const auto summary = [this](const std::string& question) {
    const Ended got = ask(question);
    EXPECT_EQ(got.status, 0) << got.err;
    const Ended verdict = validate(got.out);
    EXPECT_EQ(verdict.status, 0) << verdict.out << verdict.err << "\n" << got.out;
    const json alarms = json::parse(got.out).at("ietf-alarms:alarms");
    EXPECT_EQ(alarms.size(), 1U);
    return alarms.at("summary");
  };
  write_ledger(path_, {});
  EXPECT_EQ(summary("stats"), answer("history").at("summary"));
  write_ledger(path_, kStory);
  const json got = summary("stats");
  EXPECT_EQ(got, answer("history").at("summary"));
  EXPECT_EQ(got.at("alarm-summary").at(1), json({{"severity", "warning"},
                                                 {"total", 2},
                                                 {"not-cleared", 1},
                                                 {"cleared", 1},
                                                 {"cleared-not-closed", 1},
                                                 {"cleared-closed", 0},
                                                 {"not-cleared-closed", 0},
                                                 {"not-cleared-not-closed", 1}}));
  EXPECT_EQ(summary("stats --under sys/rack-unit-1/psu-1").at("alarm-summary").at(1).at("total"), 1);
  write_ledger(path_, {{480, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1})"}});
  EXPECT_EQ(summary("stats").at("alarm-summary").at(1).at("cleared"), 0);
  EXPECT_EQ(summary("stats"), answer("history").at("summary"));
}

const std::string kBoardAlarm = kBoard + " polaiga-alarm-types:environmental-alarm F0409-F0410-F0411 major";

// The alarms of the ledger that are related or merged have the same object and type.
TEST_F(Yang, RelatedAndMergedAlarms) {
  write_ledger(path_, {riser(10, 1, 117, 4), riser(20, 2, 117, 4), riser(30, 1, 118, 5)});
  EXPECT_EQ(brief(answer("active")), Lines{kBoardAlarm});
  write_ledger(path_, {riser(40, 2, 118, 5)});
  EXPECT_EQ(brief(answer("history")), Lines{kBoardAlarm});
}

TEST_F(Yang, ManyChangesWithinASecond) {
  std::vector<EventAt> events;
  for (int i = 0; i < 50; ++i) {
    events.push_back({0, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":)" + std::to_string(i % 2) + "}"});
  }
  events.push_back({0, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1,"time":"1970-01-01T00:00:00Z"})"});
  events.push_back({0, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":0,"time":"9999-12-31T23:59:59Z"})"});
  events.push_back({0, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1,"time":"9999-12-31T23:59:59Z"})"});
  write_ledger(path_, events);
  const json supply = list_of(answer("history")).at(0);
  EXPECT_EQ(supply.at("status-change").size(), 32U);
  EXPECT_EQ(supply.at("is-cleared"), false);
}

TEST_F(Yang, HostileTexts) {
  const std::string texts[] = {"\x01",
                               "\x1b[31m",
                               "\x7f",
                               "\"",
                               "\\",
                               "</alarms>",
                               "'",
                               "\xC2\x85",
                               "\xE2\x80\xAE",
                               "\xEF\xBF\xBE",
                               "\xEF\xB7\x90",
                               "\xF0\x9F\xBF\xBE",
                               "\xF3\xA0\x81\x81",
                               "\xC3\xA9"};
  std::vector<EventAt> events;
  for (const std::string& text : texts) {
    const int fan = static_cast<int>(events.size()) + 1;
    const json event{{"entity", "fan"}, {"sensor", "A" + text + "B"}, {"instance", fan}, {"offset", 9}, {"state", 1}};
    events.push_back({fan, event.dump()});
  }
  write_ledger(path_, events);
  EXPECT_EQ(answer("active").at("alarm-list").at("number-of-alarms"), std::size(texts));
}

TEST_F(Yang, ADay) {
  const Ended written = shell_.run("$POLAIGA run --ledger '" + path_ + "' <'" POLAIGA_DAY "'");
  ASSERT_EQ(written.status, 0) << written.err;
  const auto listed = [&](const std::string& question) {
    return shell_.run("POLAIGA_LEDGER='" + path_ + "' $POLAIGA " + question + " --json | wc -l").out;
  };
  const json active = answer("active");
  EXPECT_EQ(std::to_string(list_of(active).size()) + "\n", listed("active"));
  EXPECT_GT(list_of(active).size(), 0U);
  const json all = answer("history --limit 0");
  EXPECT_GT(list_of(all).size(), list_of(active).size());
  // Times count: alarms that came again are the same alarm.
  EXPECT_LT(list_of(all).size(), std::stoul(listed("history --limit 0")));
}

// What alarms need outlives the retention.
TEST_F(Yang, AShortLedger) {
  write_short_ledger(path_);
  EXPECT_EQ(brief(answer("active")), (Lines{kHotAlarm, kFanAlarm, kTenthAlarm}));
  EXPECT_EQ(brief(answer("history")), (Lines{kHotAlarm, kFanAlarm, kTenthAlarm}));
}

TEST_F(Yang, ADamagedLedger) {
  write_ledger(path_, kStory);
  // One letter in what is stored of the tenth power supply's sensor: in its event and in its report.
  ASSERT_EQ(shell_.run("LC_ALL=C sed -i 's/psPS10_STATUS/psPS10_STATU?/' '" + path_ + "'").status, 0);
  const auto expect_left = [&](const std::string& question, const std::string& damaged, const Lines& left) {
    const Ended got = ask(question);
    EXPECT_EQ(got.status, 1);
    EXPECT_TRUE(contains(got.err, "left out: " + damaged + ": the row is damaged: its checksum does not match\n"))
        << got.err;
    EXPECT_EQ(brief(read(question, got)), left);
  };
  expect_left("active", "report 3", {kHotAlarm, kFanAlarm});
  expect_left("history", "subject 3", {kHotAlarm, kFanAlarm, kSupplyAlarm});
}

TEST_F(Yang, ASpoiledSummaryIsRefused) {
  write_ledger(path_, kStory);
  const json good = json::parse(ask("stats").out);
  ASSERT_EQ(validate(good.dump()).status, 0);
  const std::function<void(json & list)> spoils[] = {
      [](json& list) { list.push_back(json(list[0])); },
      [](json& list) { list[0]["severity"] = "cleared"; },
      [](json& list) { list[0]["not-cleared"] = -1; },
      [](json& list) { list[0]["open"] = 1; },
  };
  for (const auto& spoil : spoils) {
    json document = good;
    json& list = document["ietf-alarms:alarms"]["summary"]["alarm-summary"];
    spoil(list);
    EXPECT_NE(validate(document.dump()).status, 0) << list;
  }
}

// The validator itself: each thing that is wrong is seen.
TEST_F(Yang, ASpoiledDocumentIsRefused) {
  write_ledger(path_, kStory);
  const json good = json::parse(ask("history").out);
  ASSERT_EQ(validate(good.dump()).status, 0);
  struct Spoil {
    const char* what;
    std::function<void(json& alarms, json& alarm)> how;
  };
  const Spoil spoils[] = {
      {"the same alarm twice", [](json& alarms, json& alarm) { alarms["alarm-list"]["alarm"].push_back(json(alarm)); }},
      {"an unknown member", [](json& alarms, json&) { alarms["alarm-list"]["alarms"] = 1; }},
      {"a number below 0", [](json& alarms, json&) { alarms["alarm-list"]["number-of-alarms"] = -1; }},
      {"a number as a text", [](json& alarms, json&) { alarms["alarm-list"]["number-of-alarms"] = "4"; }},
      {"an unknown identity", [](json&, json& alarm) { alarm["alarm-type-id"] = "polaiga-alarm-types:fan-alarm"; }},
      {"an identity of no module", [](json&, json& alarm) { alarm["alarm-type-id"] = "equipment-alarm"; }},
      {"a severity that an alarm cannot have", [](json&, json& alarm) { alarm["perceived-severity"] = "cleared"; }},
      {"a time that is none", [](json&, json& alarm) { alarm["time-created"] = "2025-01-01 00:00:00"; }},
      {"no time", [](json&, json& alarm) { alarm.erase("time-created"); }},
      {"not whether it is cleared", [](json&, json& alarm) { alarm.erase("is-cleared"); }},
      {"no resource", [](json&, json& alarm) { alarm.erase("resource"); }},
      {"no status change", [](json&, json& alarm) { alarm.erase("status-change"); }},
      {"two status changes at a time",
       [](json&, json& alarm) { alarm["status-change"].push_back(json(alarm["status-change"][0])); }},
      {"a control character", [](json&, json& alarm) { alarm["alarm-text"] = "\x01"; }},
      {"an unknown operator state",
       [](json&, json& alarm) {
         alarm["operator-state-change"] = {
             {{"time", "2025-01-01T00:00:00Z"}, {"operator", "ann"}, {"state", "acknowledged"}}};
       }},
      {"no text of a type",
       [](json& alarms, json&) { alarms["alarm-inventory"]["alarm-type"][0].erase("description"); }},
  };
  for (const Spoil& spoil : spoils) {
    json document = good;
    json& alarms = document["ietf-alarms:alarms"];
    spoil.how(alarms, alarms["alarm-list"]["alarm"][0]);
    EXPECT_NE(validate(document.dump()).status, 0) << spoil.what;
  }
}

}  // namespace yang_test
}  // namespace polaiga::engine::test
