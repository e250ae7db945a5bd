// The alarms by RESTCONF, beside an engine.
#include <sys/stat.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "support/web.h"

namespace polaiga::web::test {
namespace restconf_test {

using nlohmann::json;

constexpr const char* kAlarms = "/restconf/data/ietf-alarms:alarms";

// Those that come with yanglint's library.
const std::string kKnownModules = "/usr/share/yang/modules/libyang";

class RestconfTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    feed(engine::test::slow(1) + engine::test::slow(2));
    get_until("/api/v1/alarms", [](const Answer& answer) { return answer.json().value("change", 0) >= 2; });
  }
};

TEST_F(RestconfTest, AlarmsAreThoseOfTheCommand) {
  const Answer answer = get(kAlarms);
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.header("content-type"), "application/yang-data+json");
  EXPECT_EQ(answer.body, engine::test::Shell().run("$POLAIGA active --rfc8632 --ledger '" + ledger() + "'").out);
  const json alarms = answer.json();
  const json& list = alarms.at("ietf-alarms:alarms").at("alarm-list");
  EXPECT_EQ(list.at("number-of-alarms"), 2);
  EXPECT_EQ(list.at("alarm").size(), 2U);
  EXPECT_EQ(get(kAlarms, "If-None-Match: " + answer.header("etag") + "\r\n").status, 304);
}

TEST_F(RestconfTest, AContainerCanBeReadAlone) {
  const json list = get(std::string(kAlarms) + "/alarm-list").json();
  EXPECT_EQ(list.size(), 1U);
  EXPECT_EQ(list.at("ietf-alarms:alarm-list").at("number-of-alarms"), 2);
  EXPECT_EQ(get(std::string(kAlarms) + "/ietf-alarms:alarm-list").json(), list);
  EXPECT_EQ(get(std::string(kAlarms) + "/nothing").status, 404);
}

TEST_F(RestconfTest, WhatChangesIsSeen) {
  feed(engine::test::well(1));
  const Answer answer = get_until(std::string(kAlarms) + "/alarm-list", [](const Answer& got) {
    const json body = got.json();
    return body.at("ietf-alarms:alarm-list").at("alarm").size() == 1;
  });
  EXPECT_EQ(answer.json().at("ietf-alarms:alarm-list").at("number-of-alarms"), 1);
}

// What RFC 8040 asks of each server: the datastore, its capabilities, and its modules.
TEST_F(RestconfTest, TheServerTellsWhatItHas) {
  const json all = get("/restconf/data").json();
  const json& data = all.at("ietf-restconf:data");
  EXPECT_EQ(data.at("ietf-alarms:alarms"), get(kAlarms).json().at("ietf-alarms:alarms"));
  const json capabilities = get("/restconf/data/ietf-restconf-monitoring:restconf-state/capabilities").json();
  EXPECT_EQ(capabilities, json::parse(R"({"ietf-restconf-monitoring:capabilities":{"capability":[)"
                                      R"("urn:ietf:params:restconf:capability:defaults:1.0?basic-mode=explicit"]}})"));
  const json library = get("/restconf/data/ietf-yang-library:yang-library").json();
  EXPECT_EQ(data.at("ietf-yang-library:yang-library"), library.at("ietf-yang-library:yang-library"));
  EXPECT_EQ(get("/restconf/operations").body, "{\"ietf-restconf:operations\":{}}\n");
  EXPECT_EQ(get("/restconf/yang-library-version").body, "{\"ietf-restconf:yang-library-version\":\"2019-01-04\"}\n");
}

// yanglint holds the data against the modules, with the features that the server says it has and with no others.
TEST_F(RestconfTest, TheDataIsThatOfTheModules) {
  {
    Client client(control());
    for (const char* action :
         {R"({"do":"acknowledge","alarms":"1"})", R"({"do":"shelve","alarms":"2","comment":"noise","for":7200})"}) {
      EXPECT_NE(answer(client, action).find("seq"), std::string::npos);
    }
  }
  const std::string whole =
      get_until(kAlarms, [](const Answer& got) { return got.body.find("shelved-alarm\"") != std::string::npos; }).body;
  const json library = get("/restconf/data/ietf-yang-library:yang-library").json();
  const json& set = library.at("ietf-yang-library:yang-library").at("module-set").at(0);
  ASSERT_EQ(set.at("module").at(0).at("name"), "ietf-alarms");
  const std::vector<std::string> features = set.at("module").at(0).at("feature");
  const Shell shell;
  const std::string modules = POLAIGA_SOURCE_DIR "/tests/yang";
  const auto complaints = [&](const std::string& document, const std::string& more) {
    shell.dir().write("document.json", document);
    const auto checked =
        shell.run("cd '" + shell.dir().path().string() + "' && yanglint " + more + " document.json 2>&1");
    return checked.status == 0 ? checked.out : "status " + std::to_string(checked.status) + ": " + checked.out;
  };
  // How yanglint is to look at alarms, with all features but one.
  const auto without = [&](const std::string& left_out) {
    std::string names;
    for (const std::string& feature : features) {
      if (feature != left_out) names += (names.empty() ? "" : ",") + feature;
    }
    return "-F 'ietf-alarms:" + names + "' '" + modules +
           "/ietf-alarms@2019-09-11.yang' '" POLAIGA_SOURCE_DIR "/packaging/yang/polaiga-alarm-types.yang'";
  };
  EXPECT_EQ(complaints(whole, without("")), "");
  for (const std::string& feature : features) EXPECT_NE(complaints(whole, without(feature)), "") << feature;
  json spoiled = json::parse(whole);
  spoiled["ietf-alarms:alarms"]["alarm-list"]["number-of-alarms"] = "many";
  EXPECT_NE(complaints(spoiled.dump(), without("")), "") << "yanglint finds nothing at all";
  // It is asked alone, without what is deprecated.
  const std::string of_library = "-t get '" + kKnownModules + "/ietf-yang-library@2019-01-04.yang' '" + kKnownModules +
                                 "/ietf-datastores@2018-02-14.yang'";
  EXPECT_EQ(complaints(library.dump(), of_library), "");
  // Each module is there in the revision that is told.
  for (const char* kind : {"module", "import-only-module"}) {
    for (const json& module : set.at(kind)) {
      const std::string name = module.at("name");
      if (name == "ietf-restconf-monitoring") continue;  // has no file here
      const std::string directory = name == "ietf-alarms" ? modules : kKnownModules;
      const std::string file = name == "polaiga-alarm-types"
                                   ? POLAIGA_SOURCE_DIR "/packaging/yang/polaiga-alarm-types.yang"
                                   : directory + "/" + name + "@" + module.at("revision").get<std::string>() + ".yang";
      const auto found = shell.run("cat '" + file + "'").out;
      EXPECT_NE(found.find("\"" + module.at("namespace").get<std::string>() + "\""), std::string::npos) << name;
      EXPECT_NE(found.find("revision " + module.at("revision").get<std::string>()), std::string::npos) << name;
    }
  }
}

TEST_F(RestconfTest, LeavesAndListsCanBeReadToo) {
  const std::string list = std::string(kAlarms) + "/alarm-list";
  EXPECT_EQ(get(list + "/number-of-alarms").json(), json::parse(R"({"ietf-alarms:number-of-alarms":2})"));
  const json alarms = get(list + "/alarm").json();
  EXPECT_EQ(alarms.at("ietf-alarms:alarm"), get(list).json().at("ietf-alarms:alarm-list").at("alarm"));
  for (const char* none : {"/alarm/0", "/other:alarm", "/number-of-alarms/x", "/", "/alarm=x"}) {
    EXPECT_EQ(get(list + none).status, 404) << none;
  }
}

TEST_F(RestconfTest, OfTheQueryParametersThereIsContentAlone) {
  const std::string alarms = kAlarms;
  EXPECT_EQ(get(alarms + "?content=all").body, get(alarms).body);
  EXPECT_EQ(get(alarms + "/alarm-list?content=nonconfig").body, get(alarms + "/alarm-list").body);
  EXPECT_EQ(get(alarms + "?content=config").body, "{\"ietf-alarms:alarms\":{}}\n");
  EXPECT_EQ(get("/restconf/data?content=config").body, "{\"ietf-restconf:data\":{}}\n");
  EXPECT_EQ(get(alarms + "/alarm-list?content=config").status, 404);
  for (const std::string& target :
       {alarms + "?depth=1", alarms + "?fields=summary", alarms + "?with-defaults=trim", alarms + "?filter=x",
        alarms + "?content=some", alarms + "?x", std::string("/restconf?content=all"),
        std::string("/restconf/operations?content=all"), std::string("/restconf/yang-library-version?content=all")}) {
    const Answer answer = get(target);
    EXPECT_EQ(answer.status, 400) << target;
    const json body = answer.json();
    const json& error = body.at("ietf-restconf:errors").at("error").at(0);
    EXPECT_EQ(error.at("error-type"), "protocol") << target;
    EXPECT_EQ(error.at("error-tag"), "invalid-value") << target;
  }
}

TEST_F(RestconfTest, WhoWantsNoJsonIsToldSo) {
  const std::pair<const char*, int> kRows[] = {
      {"application/yang-data+json", 200},
      {"application/yang-data+xml;q=0.9, application/yang-data+json;q=0.5", 200},
      {"*/*", 200},
      {"text/html,application/xhtml+xml,*/*;q=0.8", 200},
      {"application/json", 200},
      {"application/yang-data+xml", 406},
      {"application/yang-data+json;q=0", 406},
      {"application/yang-data+json; q=0.000 , text/html", 406},
      {"application/yang-data+jsonx", 406},
      {",;,", 406},
  };
  for (const auto& [accepted, status] : kRows) {
    EXPECT_EQ(get(kAlarms, std::string("Accept: ") + accepted + "\r\n").status, status) << accepted;
  }
}

TEST_F(RestconfTest, ClientsFindTheirWayAndAreToldWhatIsWrong) {
  EXPECT_NE(get("/.well-known/host-meta").body.find("<Link rel='restconf' href='/restconf'/>"), std::string::npos);
  EXPECT_TRUE(get("/restconf").json().at("ietf-restconf:restconf").contains("data"));
  const json error = get("/restconf/data/other:thing").json();
  EXPECT_EQ(error.at("ietf-restconf:errors").at("error").at(0).at("error-tag"), "invalid-value");
  Connection connection(address());
  const Answer refused = connection.ask("DELETE " + std::string(kAlarms) + " HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(refused.status, 405);
  EXPECT_EQ(refused.header("allow"), "GET, HEAD");
}

TEST_F(RestconfTest, RefusalsHaveItsForm) {
  const auto tag_of = [](const Answer& answer) {
    const json told = answer.json();
    return told.at("ietf-restconf:errors").at("error").at(0).at("error-tag").get<std::string>();
  };
  const std::string users = web_dir_.write("users", "anna:viewer:!\n");
  ASSERT_EQ(::chmod(users.c_str(), 0600), 0);
  stop_web(SIGTERM);
  start_web("--users " + users);
  const Answer stranger = get(kAlarms);
  EXPECT_EQ(stranger.status, 401);
  EXPECT_EQ(stranger.header("content-type"), "application/yang-data+json");
  EXPECT_NE(stranger.header("www-authenticate"), "");
  EXPECT_EQ(tag_of(stranger), "access-denied");
  Connection connection(address());
  const Answer other = connection.ask("GET " + std::string(kAlarms) + " HTTP/1.1\r\nHost: another.example\r\n\r\n");
  EXPECT_EQ(other.status, 421);
  EXPECT_EQ(tag_of(other), "invalid-value");
}

}  // namespace restconf_test
}  // namespace polaiga::web::test
