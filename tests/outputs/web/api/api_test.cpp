// /api/v1 beside an engine: what it tells is what the commands tell.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "http/target.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace api_test {

using nlohmann::json;

class ApiTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    feed(engine::test::slow(1) + engine::test::slow(2) + engine::test::well(2));
    get_until("/api/v1/alarms", [](const Answer& answer) { return answer.json().value("change", 0) >= 3; });
  }

  // What a command prints of the same ledger, a JSON object a line.
  std::vector<json> told(const std::string& command) const {
    std::vector<json> lines;
    std::istringstream text(
        engine::test::Shell().run("$POLAIGA " + command + " --json --ledger '" + ledger() + "'").out);
    for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
    return lines;
  }

  json at(const std::string& what) const {
    const Answer answer = get("/api/v1/" + what);
    EXPECT_EQ(answer.status, 200) << what << ": " << answer.body;
    EXPECT_EQ(answer.header("content-type"), "application/json") << what;
    return answer.json();
  }
};

TEST_F(ApiTest, AlarmsAreToldAsTheCommandsTellThem) {
  EXPECT_EQ(at("alarms").at("alarms"), told("active"));
  EXPECT_EQ(at("history").at("alarms"), told("history"));
  EXPECT_EQ(at("missed").at("alarms"), told("missed"));
  const json missed = at("missed");
  EXPECT_EQ(missed.at("missed"), 1);
  EXPECT_EQ(missed.at("through"), 3);
  const std::string fault = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395";
  EXPECT_EQ(at("explain?fault_dn=" + percent_encoded(fault)), told("explain " + fault).at(0));
  EXPECT_EQ(at("history?fault_dn=" + percent_encoded(fault)).at("alarms"), told("history " + fault));
  EXPECT_EQ(at("changes?after=0").at("changes"), told("tail --no-follow --after 0"));
  const std::string catalog = engine::test::Shell().run("$POLAIGA catalog --json").out;
  const auto faults = static_cast<std::size_t>(std::ranges::count(catalog, '\n'));
  EXPECT_EQ(at("catalog").at("faults").size(), faults);
}

TEST_F(ApiTest, AnAlarmHasAnAddress) {
  const json alarm = told("history").at(1);
  const std::string id = alarm.at("alarm");
  EXPECT_EQ(at("alarms/2"), alarm);
  EXPECT_EQ(at("alarms/" + id), alarm);
  for (const char* none : {"0", "9", "x", "-1", "99999999999999999999", "00000000000000000000000000000000-2"}) {
    EXPECT_EQ(get(std::string("/api/v1/alarms/") + none).status, 404) << none;
  }
}

TEST_F(ApiTest, HistoryIsReadPageByPage) {
  const json last = at("history?limit=1");
  EXPECT_EQ(last.at("alarms").at(0), told("history").at(1));
  const json first = get(last.at("next")).json();
  EXPECT_EQ(first.at("alarms").at(0), told("history").at(0));
  const json none = get(first.at("next")).json();
  EXPECT_TRUE(none.at("alarms").empty());
  EXPECT_FALSE(none.contains("next"));
}

TEST_F(ApiTest, MeasuresAreThoseOfTheCommand) {
  json here = at("stats?newer_than=1h");
  json there = told("stats --newer-than 1h").at(0);
  for (json* const one : {&here, &there}) {  // each was asked at its own second
    one->erase("at");
    one->erase("since");
  }
  EXPECT_EQ(here.at("new").at("whole_time"), 2);
  EXPECT_EQ(here, there);
}

TEST_F(ApiTest, WhatWasActiveIsToldToo) {
  EXPECT_EQ(at("alarms?at=1970-01-02T00:00:00Z").at("found"), 0);
  EXPECT_EQ(get("/api/v1/alarms?at=soon").status, 400);
}

TEST_F(ApiTest, StatusTellsOfTheEngineAndOfTheLedger) {
  const json running = get_until("/api/v1/status", [](const Answer& got) {
                         const json body = got.json();
                         return body.at("engine").value("last_number", 0) == 3;
                       }).json();
  EXPECT_EQ(running.at("engine").at("last_number"), 3);
  EXPECT_EQ(running.at("ledger").at("change"), 3);
  EXPECT_EQ(running.at("ledger").at("path"), ledger());
  stop_engine(SIGTERM);
  const Answer stopped =
      get_until("/api/v1/status", [](const Answer& got) { return got.json().at("engine").is_null(); });
  EXPECT_NE(stopped.json().at("silence").get<std::string>().find("no engine listens here"), std::string::npos);
  EXPECT_EQ(at("alarms").at("found"), 1) << "what the ledger has is told all the same";
}

TEST_F(ApiTest, NobodyActsWhoHasNotLoggedIn) {
  EXPECT_EQ(at("me"), json::parse(R"({"name":"","role":"viewer"})"));
  Connection connection(address());
  const Answer refused = connection.ask(
      "POST /api/v1/actions HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\nContent-Length: 33\r\n\r\n"
      R"({"do":"acknowledge","alarms":"1"})");
  EXPECT_EQ(refused.status, 403);
  EXPECT_EQ(count("action"), 0);
}

TEST_F(ApiTest, OtherMethodsAreRefused) {
  const std::pair<const char*, const char*> kRows[] = {
      {"DELETE /api/v1/alarms", "GET, HEAD"}, {"POST /api/v1/history", "GET, HEAD"}, {"GET /api/v1/actions", "POST"}};
  for (const auto& [request, allowed] : kRows) {
    Connection connection(address());
    const Answer answer = connection.ask(std::string(request) + " HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(answer.status, 405) << request;
    EXPECT_EQ(answer.header("allow"), allowed) << request;
  }
}

TEST_F(ApiTest, UnknownParametersAreRefused) {
  for (const char* target : {"history?x=1", "missed?x=1", "explain?x=1", "explain", "stats?x=1", "catalog?x=1",
                             "status?x=1", "maintenance?x=1", "me?x=1", "changes?x=1", "changes", "alarms/1?x=1"}) {
    EXPECT_EQ(get(std::string("/api/v1/") + target).status, 400) << target;
  }
}

}  // namespace api_test
}  // namespace polaiga::web::test
