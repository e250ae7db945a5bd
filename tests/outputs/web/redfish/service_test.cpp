// /redfish of polaiga-web beside an engine, without users: everybody may look, and nobody may act.
#include <deque>
#include <nlohmann/json.hpp>
#include <set>

#include "support/patience.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace service_test {

using nlohmann::json;

constexpr const char* kEntries = "/redfish/v1/Managers/polaiga/LogServices/FaultLog/Entries";
constexpr const char* kFan1 = "/redfish/v1/Chassis/sys.rack-unit-1.fan-module-1-1.fan-1";

class RedfishTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    ASSERT_EQ(get_until("/redfish/v1/Systems", [](const Answer& got) { return got.status == 200; }).status, 200);
  }

  Answer ask(const std::string& method, const std::string& target, const std::string& body = "",
             const std::string& type = "application/json") const {
    return Connection(address()).ask(method + " " + target + " HTTP/1.1\r\nHost: test\r\nContent-Type: " + type +
                                     "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }

  // The entries of the log, when there are so many.
  json entries(std::size_t count, const std::string& query = "") const {
    return get_until(kEntries + query,
                     [&](const Answer& got) { return got.json().value("Members@odata.count", 0U) == count; })
        .json();
  }
};

// All links from here on.
void find_links(const json& value, std::deque<std::string>& links) {
  if (value.is_object() && value.contains("@odata.id")) links.push_back(value.at("@odata.id"));
  if (!value.is_structured()) return;
  for (const json& part : value) find_links(part, links);
}

TEST_F(RedfishTest, EachLinkLeadsToAResourceOfThatName) {
  feed_day();
  entries(123);
  std::deque<std::string> links{"/redfish/v1/"};
  std::set<std::string> seen;
  std::set<std::string> types;
  for (; !links.empty(); links.pop_front()) {
    const std::string link = links.front();
    if (!seen.insert(link).second) continue;
    const Answer answer = get(link);
    ASSERT_EQ(answer.status, 200) << link;
    const json body = answer.json();
    EXPECT_EQ(body.at("@odata.id"), link);
    EXPECT_FALSE(body.at("Name").get<std::string>().empty()) << link;
    const std::string type = body.at("@odata.type");
    const std::string schema = type.substr(1, type.rfind('.') - 1);
    EXPECT_EQ(answer.header("link"), "<http://redfish.dmtf.org/schemas/v1/" + schema + ".json>; rel=describedby");
    EXPECT_EQ(answer.header("odata-version"), "4.0") << link;
    EXPECT_EQ(answer.header("allow").substr(0, 9), "GET, HEAD") << link;
    if (!body.contains("Members")) {
      EXPECT_EQ(body.at("Id").get<std::string>(),
                link == "/redfish/v1/" ? "RootService" : link.substr(link.rfind('/') + 1));
    }
    types.insert(schema.substr(0, schema.find('.')));
    find_links(body, links);
    if (body.contains("Members@odata.nextLink")) {
      const json next = get(body.at("Members@odata.nextLink")).json();
      find_links(next.at("Members"), links);
    }
  }
  EXPECT_GT(seen.size(), 123U + 20U);
  EXPECT_EQ(types, (std::set<std::string>{"Chassis", "ChassisCollection", "ComputerSystem", "ComputerSystemCollection",
                                          "EventDestinationCollection", "EventService", "LogEntry",
                                          "LogEntryCollection", "LogService", "LogServiceCollection", "Manager",
                                          "ManagerCollection", "MessageRegistryFile", "MessageRegistryFileCollection",
                                          "ServiceRoot", "SessionCollection", "SessionService"}));
}

TEST_F(RedfishTest, AnAlarmIsAnEntryOfTheLog) {
  feed(engine::test::slow(1) + engine::test::slow(2) + engine::test::well(1));
  const json all = get_until(kEntries, [](const Answer& got) {
                     const json body = got.json();
                     return body.at("Members").size() == 2 && body.at("Members").at(1).at("Resolved") == true;
                   }).json();
  const json entry = all.at("Members").at(1);
  EXPECT_EQ(entry.at("Id"), "1");
  EXPECT_EQ(entry.at("EntryType"), "Event");
  EXPECT_EQ(entry.at("Severity"), "Warning");
  EXPECT_EQ(entry.at("MessageId"), "Polaiga.1.0.F0395");
  EXPECT_EQ(entry.at("MessageArgs"), json::parse(R"(["sys/rack-unit-1/fan-module-1-1/fan-1",
                                                     "fltEquipmentFanPerfThresholdNonCritical"])"));
  EXPECT_EQ(entry.at("Links").at("OriginOfCondition").at("@odata.id"), kFan1);
  EXPECT_EQ(entry.at("Oem").at("Polaiga").at("Alarm").at("severity"), "minor");
  EXPECT_EQ(get(std::string(kEntries) + "/1").json(), entry);
  EXPECT_EQ(all.at("Members").at(0).at("Resolved"), false);
  EXPECT_EQ(get(kFan1).json().at("Status"), json::parse(R"({"State":"Enabled","Health":"OK","HealthRollup":"OK"})"));
  const json system = get("/redfish/v1/Systems/sys.rack-unit-1").json().at("Status");
  EXPECT_EQ(system, json::parse(R"({"State":"Enabled","Health":"OK","HealthRollup":"Warning"})"));
  const json fan = get("/redfish/v1/Chassis/sys.rack-unit-1.fan-module-1-2.fan-1").json();
  EXPECT_EQ(fan.at("Status").at("Health"), "Warning");
  EXPECT_EQ(fan.at("Status").at("Conditions").at(0).at("LogEntry").at("@odata.id"), std::string(kEntries) + "/2");
  EXPECT_EQ(fan.at("Links").at("ContainedBy").at("@odata.id"), "/redfish/v1/Chassis/sys.rack-unit-1.fan-module-1-2");
}

TEST_F(RedfishTest, CollectionsArePaged) {
  std::string events;
  for (int fan = 1; fan <= 5; ++fan) events += engine::test::slow(fan);
  feed(events);
  entries(5);
  const std::tuple<const char*, std::vector<std::string>, const char*> kRows[] = {
      {"", {"5", "4", "3", "2", "1"}, ""},
      {"?$top=2", {"5", "4"}, "?$skip=2&$top=2"},
      {"?$skip=2&$top=2", {"3", "2"}, "?$skip=4&$top=2"},
      {"?$skip=4&$top=2", {"1"}, ""},
      {"?$skip=3", {"2", "1"}, ""},
      {"?$skip=5", {}, ""},
      {"?$skip=99&$top=0", {}, ""},
      {"?$top=0", {}, ""},
      {"?unknown=1", {"5", "4", "3", "2", "1"}, ""},
  };
  for (const auto& [query, wanted, next] : kRows) {
    const json body = get(std::string(kEntries) + query).json();
    std::vector<std::string> ids;
    for (const json& one : body.at("Members")) ids.push_back(one.at("Id"));
    EXPECT_EQ(ids, wanted) << query;
    EXPECT_EQ(body.at("Members@odata.count"), 5) << query;
    EXPECT_EQ(body.value("Members@odata.nextLink", ""), *next == '\0' ? "" : std::string(kEntries) + next) << query;
  }
  EXPECT_EQ(get("/redfish/v1/Chassis?$top=1").json().at("Members@odata.nextLink"),
            "/redfish/v1/Chassis?$skip=1&$top=1");
}

TEST_F(RedfishTest, WhatCannotBeAnsweredIsRefusedInRedfishsForm) {
  const std::tuple<const char*, std::string, int, const char*> kRows[] = {
      {"GET", "/redfish/v2", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", "/redfish/v1/Nothing", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", "/redfish/v1/Chassis/sys.rack-unit-2", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", "/redfish/v1/Systems/sys.rack-unit-1.board", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", std::string(kEntries) + "/1", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", std::string(kEntries) + "/01", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", std::string(kEntries) + "/x", 404, "Base.1.18.ResourceMissingAtURI"},
      {"GET", std::string(kEntries) + "?$top=x", 400, "Base.1.18.QueryParameterOutOfRange"},
      {"GET", std::string(kEntries) + "?$skip=-1", 400, "Base.1.18.QueryParameterOutOfRange"},
      {"GET", "/redfish/v1/Systems?$expand=.", 501, "Base.1.18.QueryNotSupported"},
      {"GET", "/redfish/v1/?$top=1", 400, "Base.1.18.QueryNotSupportedOnResource"},
      {"GET", "/redfish/v1/EventService/SSE?$filter=Severity%20eq%20'OK'", 501, "Base.1.18.QueryNotSupported"},
      {"GET", "/redfish/v1/Registries/Polaiga/Polaiga.1.0.0.json?$skip=1", 400,
       "Base.1.18.QueryNotSupportedOnResource"},
      {"POST", "/redfish/v1/", 405, "Base.1.18.OperationNotAllowed"},
      {"DELETE", "/redfish", 405, "Base.1.18.OperationNotAllowed"},
      {"PATCH", "/redfish/v1/EventService", 405, "Base.1.18.OperationNotAllowed"},
      {"PUT", "/redfish/v1/Systems", 405, "Base.1.18.OperationNotAllowed"},
      {"POST", "/redfish/v1/Managers/polaiga/Actions/Manager.Reset", 404, "Base.1.18.ActionNotSupported"},
      {"POST", "/redfish/v1/Managers/polaiga/LogServices/FaultLog/Actions/LogService.ClearLog", 403,
       "Polaiga.1.0.LogIsKept"},
      {"POST", "/redfish/v1/SessionService/Sessions", 503, "Base.1.18.ServiceDisabled"},
      {"POST", "/redfish/v1/EventService/Subscriptions", 403, "Base.1.18.InsufficientPrivilege"},
      {"POST", "/redfish/v1/EventService/Actions/EventService.SubmitTestEvent", 403, "Base.1.18.InsufficientPrivilege"},
      {"DELETE", "/redfish/v1/EventService/Subscriptions/1", 403, "Base.1.18.InsufficientPrivilege"},
  };
  for (const auto& [method, target, status, id] : kRows) {
    const Answer answer = ask(method, target, std::string_view(method) == "POST" ? "{}" : "");
    EXPECT_EQ(answer.status, status) << method << ' ' << target;
    EXPECT_EQ(answer.header("odata-version"), "4.0") << target;
    const json error = answer.json().at("error");
    EXPECT_EQ(error.at("code"), id) << target;
    EXPECT_EQ(error.at("@Message.ExtendedInfo").at(0).at("MessageId"), id) << target;
    EXPECT_EQ(answer.header("allow").empty(), status != 405) << target;
  }
  EXPECT_EQ(ask("POST", "/redfish/v1/SessionService/Sessions", "a=b", "application/x-www-form-urlencoded").status, 415);
  const Answer wrong_version = get("/redfish/v1/", "OData-Version: 3.0\r\n");
  EXPECT_EQ(wrong_version.status, 412);
  EXPECT_EQ(wrong_version.json().at("error").at("@Message.ExtendedInfo").at(0).at("MessageArgs"),
            json::array({"OData-Version"}));
  EXPECT_EQ(get("/redfish/v1/", "OData-Version: 4.0\r\n").status, 200);
}

TEST_F(RedfishTest, TheDocumentsOfTheProtocolAreThere) {
  EXPECT_EQ(get("/redfish").json(), json::parse(R"({"v1":"/redfish/v1/"})"));
  EXPECT_EQ(get("/redfish/v1").body, get("/redfish/v1/").body);
  const json odata = get("/redfish/v1/odata").json();
  EXPECT_EQ(odata.at("@odata.context"), "/redfish/v1/$metadata");
  for (const json& one : odata.at("value")) EXPECT_EQ(get(one.at("url")).status, 200) << one;
  const Answer metadata = get("/redfish/v1/$metadata");
  EXPECT_EQ(metadata.header("content-type"), "application/xml");
  EXPECT_NE(metadata.body.find("Namespace=\"LogEntry.v1_21_0\""), std::string::npos);
}

TEST_F(RedfishTest, WhoHasAResourceIsNotSentItAgain) {
  const Answer first = get("/redfish/v1/EventService");
  ASSERT_FALSE(first.header("etag").empty());
  const Answer again = get("/redfish/v1/EventService", "If-None-Match: " + first.header("etag") + "\r\n");
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.body, "");
}

TEST_F(RedfishTest, TheRegistryExplainsWhatEventsSay) {
  const json file = get("/redfish/v1/Registries/Polaiga").json();
  const std::string registry = get(file.at("Location").at(0).at("Uri")).body;
  const json messages = json::parse(registry).at("Messages");
  EXPECT_EQ(messages.at("F0395").at("Severity"), "Warning");
  EXPECT_NE(messages.at("F0395").at("LongDescription").get<std::string>().find("Fan speed"), std::string::npos);
  EXPECT_EQ(messages.at("F0395Over").at("ClearingLogic").at("ClearsMessage"), json::array({"F0395"}));
}

// The events of a stream, each as what its lines say.
json event_in(const std::string& text) { return json::parse(text.substr(text.find("data: ") + 6)); }

TEST_F(RedfishTest, ChangesAreStreamed) {
  feed(engine::test::slow(1));
  entries(1);
  Connection stream(address());
  const std::string request = "GET /redfish/v1/EventService/SSE HTTP/1.1\r\nHost: test\r\n";
  stream.send(request + "\r\n");
  const Answer head = stream.receive();
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.header("content-type"), "text/event-stream");
  EXPECT_EQ(stream.next_event(), ": changes of alarms");
  const json open = get("/redfish/v1/EventService/Subscriptions").json();
  ASSERT_EQ(open.at("Members@odata.count"), 1);
  const json one = get(open.at("Members").at(0).at("@odata.id")).json();
  EXPECT_EQ(one.at("SubscriptionType"), "SSE");
  feed(engine::test::slow(2));
  const std::string second = stream.next_event();
  const json event = event_in(second);
  EXPECT_EQ(event.at("@odata.type"), "#Event.v1_13_0.Event");
  EXPECT_EQ(event.at("Events").at(0).at("MessageId"), "Polaiga.1.0.F0395");
  const std::string id = event.at("Id");
  EXPECT_EQ(second.substr(0, second.find('\n')), "id: " + id);
  EXPECT_EQ(id.substr(id.rfind('-')), "-2");

  // Somebody who lost the connection goes on after what he has.
  Connection later(address());
  later.send(request + "Last-Event-ID: " + id.substr(0, id.rfind('-')) + "-1\r\n\r\n");
  later.receive();
  EXPECT_EQ(later.next_event(), ": changes of alarms");
  EXPECT_EQ(event_in(later.next_event()).at("Id"), id);

  // One who followed another ledger learns that.
  Connection lost(address());
  lost.send(request + "Last-Event-ID: 0123-1\r\n\r\n");
  lost.receive();
  EXPECT_EQ(lost.next_event(), ": changes of alarms");
  EXPECT_EQ(event_in(lost.next_event()).at("Events").at(0).at("MessageId"), "Polaiga.1.0.LedgerReplaced");

  // One who is ahead of the ledger, which was put back, learns that, too, and then gets what follows.
  Connection ahead(address());
  ahead.send(request + "Last-Event-ID: " + id.substr(0, id.rfind('-')) + "-99\r\n\r\n");
  ahead.receive();
  EXPECT_EQ(ahead.next_event(), ": changes of alarms");
  EXPECT_EQ(event_in(ahead.next_event()).at("Events").at(0).at("MessageId"), "Polaiga.1.0.ChangesLost");
  feed(engine::test::slow(3));
  const std::string third = event_in(ahead.next_event()).at("Id");
  EXPECT_EQ(third.substr(third.rfind('-')), "-3");
}

TEST_F(RedfishTest, WithoutALedgerItSaysSo) {
  stop_web(SIGTERM);
  stop_engine(SIGTERM);
  const TempDir other;
  web_dir_.write("err", "");
  web_ = std::make_unique<Child>(POLAIGA_WEB " --ledger '" + other.file("none.db") + "' --control '" + control() +
                                     "' --listen unix:" + other.file("web.sock"),
                                 web_dir_);
  Answer answer;
  EXPECT_TRUE(engine::test::comes_true([&] {
    try {
      answer = Connection(other.file("web.sock")).ask("GET /redfish/v1/Systems HTTP/1.1\r\nHost: test\r\n\r\n");
    } catch (const std::runtime_error&) {
      return false;  // it does not listen yet
    }
    return answer.status == 503;
  }));
  EXPECT_EQ(answer.json().at("error").at("code"), "Base.1.18.ServiceTemporarilyUnavailable");
  EXPECT_EQ(answer.header("retry-after"), "5");
}

}  // namespace service_test
}  // namespace polaiga::web::test
