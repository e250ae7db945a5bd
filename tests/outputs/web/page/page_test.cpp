// The page beside an engine: what comes without scripts, and what the scripts are given.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "page/files.h"
#include "support/patience.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace page_test {

using engine::test::comes_true;
using nlohmann::json;

constexpr char kFanIsSlow[] = R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":3,"state":1})"
                              "\n";

class PageTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    get_until("/", [](const Answer& got) { return got.status == 200; });  // the ledger was read
  }

  void act(const std::string& request) const {
    Client client(control());
    client.send(request + "\n");
    EXPECT_NE(client.answer().find("\"seq\""), std::string::npos) << request;
  }

  Answer page_with(const std::string& target, const std::string& text) const {
    return get_until(target, [&](const Answer& got) { return got.body.find(text) != std::string::npos; });
  }
};

void expect_text(const Answer& answer, const std::string& text) {
  EXPECT_NE(answer.body.find(text), std::string::npos) << text << " in\n" << answer.body;
}

void expect_no_text(const Answer& answer, const std::string& text) {
  EXPECT_EQ(answer.body.find(text), std::string::npos) << text << " in\n" << answer.body;
}

TEST_F(PageTest, TheFirstPaintListsWhatIsActive) {
  expect_text(page_with("/", "No alarm is active."), "<b>0</b> critical");
  feed(kFanIsSlow);
  const Answer page = page_with("/", "FAN1_TACH1");
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.header("content-type"), "text/html; charset=utf-8");
  EXPECT_EQ(page.header("cache-control"), "no-cache");
  EXPECT_NE(page.header("content-security-policy").find("script-src 'self'; style-src 'self'"), std::string::npos);
  expect_text(page, "<b>1</b> minor");
  expect_text(page, "<b>1</b> new");
  expect_text(page, "href=\"/alarm/1\"");
  expect_text(page, "title=\"sys/rack-unit-1/fan-module-1-1/fan-1\"");
  expect_text(page, "1 of 1 shown");
  expect_text(get("/?severity=critical"), "No active alarm fits the filter.");
  expect_text(get("/?text=tach1&state=new"), "1 of 1 shown");
  expect_text(get("/alarm/1"), "F0395 fltEquipmentFanPerfThresholdNonCritical");
  EXPECT_EQ(get("/alarm/99").status, 404);
  expect_text(get("/missed"), "No alarm was missed.");
  expect_text(get("/history"), "href=\"/alarm/1\"");
  expect_text(get("/maintenance"), "No object is out of service.");
}

TEST_F(PageTest, SilencedAlarmsAreNotTakenForNone) {
  feed(kFanIsSlow);
  page_with("/", "FAN1_TACH1");
  act(R"({"do":"shelve","alarms":"1","comment":"noise","for":3600})");
  expect_no_text(page_with("/", "<b>1</b> shelved"), "No alarm is active.<");
  expect_text(get("/"), "No alarm is active, but for those that are silenced.");
  expect_text(get("/?state=shelved"), "href=\"/alarm/1\"");
  expect_text(get("/?severity=critical"), "No active alarm fits the filter.");
}

TEST_F(PageTest, AnAddressBeyondTheEndShowsTheFirstAlarms) {
  feed(kFanIsSlow);
  expect_text(page_with("/?skip=200", "FAN1_TACH1"), "href=\"/alarm/1\"");
}

TEST_F(PageTest, WhatIsOverIsMissedAndInTheHistory) {
  feed(kFanIsSlow);
  feed(R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":3,"state":0})"
       "\n");
  expect_text(page_with("/missed", "Missed <b>1</b>"), "/alarm/1");
  expect_text(get("/history"), ">cleared<");
  expect_text(get("/alarm/1"), "<dt>Ended</dt>");
  expect_text(get("/alarm/1"), "<dt>State</dt><dd>not acknowledged</dd>");
}

TEST_F(PageTest, ANameIsTextInEveryView) {
  feed(R"({"entity":"fan","sensor":"FAN\"><script>x","instance":1,"offset":3,"state":1})"
       "\n");
  feed("{\"entity\":\"fan\",\"sensor\":\"FAN\xE2\x80\xAE<b>\",\"instance\":2,\"offset\":3,\"state\":1}\n");
  get_until("/page/active", [&](const Answer& got) { return got.json().at("rows").size() == 2; });
  for (const char* target : {"/", "/?text=%3Cscript%3E", "/?under=%22%3E%3Cscript%3Ex", "/alarm/1", "/alarm/2",
                             "/history", "/missed", "/maintenance", "/?severity=%22%3E%3Cscript%3E"}) {
    const Answer page = get(target);
    EXPECT_EQ(page.status, 200) << target;
    expect_no_text(page, "<script>x");
    expect_no_text(page, "\xE2\x80\xAE");
  }
  expect_text(get("/alarm/1"), "FAN&quot;&gt;&lt;script&gt;x");
  expect_text(get("/alarm/2"), "FAN[U+202E]&lt;b&gt;");
}

TEST_F(PageTest, TheRowsOfTheScriptsAreThoseOfTheApi) {
  feed_day();
  json api;
  json rows;
  // Both are of one moment, at which all of the day has been read.
  comes_true([&] {
    api = get("/api/v1/alarms?all=true&limit=10000").json();
    rows = get("/page/active").json();
    return api.at("found") > 0 && api.at("change") == rows.at("change") &&
           get("/page/history").json().at("rows").size() == get("/api/v1/stats").json().at("new").at("whole_time");
  });
  EXPECT_EQ(api.at("change"), rows.at("change"));
  const json& columns = rows.at("columns");
  const auto column = [&](const char* name) {
    return static_cast<std::size_t>(std::find(columns.begin(), columns.end(), name) - columns.begin());
  };
  ASSERT_GT(rows.at("rows").size(), 0U);
  ASSERT_EQ(rows.at("rows").size(), api.at("alarms").size());
  EXPECT_EQ(rows.at("counts"), api.at("counts"));
  EXPECT_EQ(rows.at("missed"), api.at("missed"));
  for (std::size_t i = 0; i < rows.at("rows").size(); ++i) {
    const json& row = rows.at("rows")[i];
    const json& alarm = api.at("alarms")[i];
    ASSERT_EQ(row.size(), columns.size());
    for (const char* name : {"fault_dn", "dn", "code", "name", "severity", "reporters", "operator_state"}) {
      EXPECT_EQ(row[column(name)], alarm.at(name)) << name;
    }
    EXPECT_EQ(row[column("descr")], alarm.at("record").at("descr"));
    EXPECT_EQ(row[column("sensor")], alarm.at("event").at("sensor"));
  }
  const json history = get("/page/history").json();
  EXPECT_EQ(history.at("rows").size(), get("/api/v1/stats").json().at("new").at("whole_time"));
}

TEST_F(PageTest, WhoHasTheRowsIsToldSo) {
  feed(kFanIsSlow);
  get_until("/page/active", [&](const Answer& got) { return got.json().at("rows").size() == 1; });
  for (const char* target : {"/page/active", "/page/history", "/page/page.js", "/page/page.css", "/page/icon.svg"}) {
    const Answer first = get(target);
    EXPECT_EQ(first.status, 200) << target;
    EXPECT_EQ(first.header("cache-control"), "no-cache");
    const Answer again = get(target, "If-None-Match: " + first.header("etag") + "\r\n");
    EXPECT_EQ(again.status, 304) << target;
    EXPECT_EQ(again.body, "");
  }
}

TEST_F(PageTest, FilesHaveTheirTypes) {
  const std::pair<const char*, const char*> cases[] = {{"/page/page.js", "text/javascript; charset=utf-8"},
                                                       {"/page/page.css", "text/css; charset=utf-8"},
                                                       {"/page/icon.svg", "image/svg+xml"},
                                                       {"/favicon.ico", "image/svg+xml"}};
  for (const auto& [target, type] : cases) {
    const Answer answer = get(target);
    EXPECT_EQ(answer.status, 200) << target;
    EXPECT_EQ(answer.header("content-type"), type);
  }
}

TEST_F(PageTest, WhatIsNotThereIsNotFound) {
  for (const char* target :
       {"/page/none.js", "/page/page.html", "/none", "/alarm/x", "/alarm/0", "/page/", "/missed/x"}) {
    EXPECT_EQ(get(target).status, 404) << target;
    expect_text(get(target, "Accept: text/html\r\n"), "<h1>There is nothing at this address</h1>");
  }
  EXPECT_EQ(Connection(address()).ask("POST / HTTP/1.1\r\nHost: test\r\nContent-Length: 0\r\n\r\n").status, 405);
}

TEST_F(PageTest, APageThatSaysWhatIsWrongIsSentAgain) {
  for (const char* target : {"/none", "/alarm/99"}) {
    const Answer page = get(target, "Accept: text/html\r\nIf-None-Match: *\r\n");
    EXPECT_EQ(page.status, 404) << target;
    expect_text(page, "<h1>There is no");
    EXPECT_EQ(page.header("etag"), "");
    EXPECT_EQ(page.header("cache-control"), "no-store");
  }
}

TEST_F(PageTest, ALedgerThatCannotBeReadAnyMoreIsTold) {
  feed(kFanIsSlow);
  expect_no_text(page_with("/", "FAN1_TACH1"), "the ledger cannot be read");
  const Answer rows = get("/page/active");
  EXPECT_EQ(rows.json().at("is_readable"), true);
  stop_engine(SIGTERM);
  std::filesystem::rename(ledger(), ledger() + ".away");
  const Answer page = page_with("/", "the ledger cannot be read, this is what was read last");
  expect_text(page, "the ledger cannot be read, this is what was read last");
  expect_text(page, "FAN1_TACH1");
  const Answer kept = get("/page/active", "If-None-Match: " + rows.header("etag") + "\r\n");
  EXPECT_EQ(kept.status, 200) << "it is not the same";
  EXPECT_EQ(kept.json().at("is_readable"), false);
  EXPECT_EQ(kept.json().at("rows"), rows.json().at("rows"));
}

TEST(PageFilesTest, AllTogetherAreSmallAndAskNoOtherHost) {
  std::size_t bytes = 0;
  for (const EmbeddedFile& file : page_files()) {
    bytes += file.content.size();
    // The name of the vector format is no address that anything is fetched from.
    std::string text(file.content);
    for (std::size_t at = 0; (at = text.find("http://www.w3.org/2000/svg")) != std::string::npos;) text.erase(at, 26);
    EXPECT_EQ(text.find("://"), std::string::npos) << file.name;
    EXPECT_EQ(text.find(" style="), std::string::npos) << file.name;
    EXPECT_EQ(text.find("innerHTML"), std::string::npos) << file.name;
  }
  EXPECT_GT(bytes, 0U);
  EXPECT_LT(bytes, 150U * 1024);
}

}  // namespace page_test
}  // namespace polaiga::web::test
