// /api/v1/changes beside an engine: what comes, when it comes, and what is told to whoever lost something.
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/web.h"

namespace polaiga::web::test {
namespace changes_test {

using nlohmann::json;

struct Event {
  std::string id;
  std::string event;
  json data;
};

class ChangesTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    feed(engine::test::slow(1));
    get_until("/api/v1/alarms", [](const Answer& answer) { return answer.json().value("change", 0) >= 1; });
    ledger_id_ = ask("SELECT id FROM ledger").at(0);
  }

  static void follow(Connection& connection, const std::string& headers = "", const std::string& query = "") {
    const Answer head = connection.ask("GET /api/v1/changes" + query +
                                       " HTTP/1.1\r\nHost: x\r\nAccept: text/event-stream\r\n" + headers + "\r\n");
    ASSERT_EQ(head.status, 200);
    EXPECT_EQ(head.header("content-type"), "text/event-stream");
  }

  // The next event of this kind; those of other kinds are passed over.
  static Event next(Connection& connection, const std::string& kind) {
    for (;;) {
      const std::string text = connection.next_event();
      if (text.empty()) return {};
      Event event;
      for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (line.starts_with("id: ")) event.id = line.substr(4);
        if (line.starts_with("event: ")) event.event = line.substr(7);
        if (line.starts_with("data: ")) event.data = json::parse(line.substr(6));
        begin = end + 1;
      }
      if (event.event == kind) return event;
    }
  }

  std::string id(int number) const { return ledger_id_ + "-" + std::to_string(number); }

  std::string ledger_id_;
};

TEST_F(ChangesTest, EachChangeIsAnEvent) {
  Connection connection(address());
  follow(connection);
  EXPECT_EQ(next(connection, "engine").data, json::parse(R"({"is_running":true})"));
  EXPECT_EQ(next(connection, "view").data.at("change"), 1);
  feed(engine::test::slow(2));
  const Event raised = next(connection, "change");
  EXPECT_EQ(raised.id, id(2));
  EXPECT_EQ(raised.data.at("change"), "raised");
  EXPECT_EQ(raised.data.at("number"), 2);
  EXPECT_EQ(next(connection, "view").data.at("change"), 2);
}

TEST_F(ChangesTest, WhoComesBackGoesOnWhereHeWas) {
  feed(engine::test::slow(2) + engine::test::well(1));
  for (const std::string& headers : {"Last-Event-ID: " + id(1) + "\r\n", std::string()}) {
    Connection connection(address());
    follow(connection, headers, headers.empty() ? "?after=1" : "");
    EXPECT_EQ(next(connection, "change").id, id(2));
    EXPECT_EQ(next(connection, "change").id, id(3));
  }
}

TEST_F(ChangesTest, AServerThatIsKilledLosesNothing) {
  stop_web(SIGKILL);
  feed(engine::test::slow(2));
  start_web();
  Connection connection(address());
  follow(connection, "Last-Event-ID: " + id(1) + "\r\n");
  EXPECT_EQ(next(connection, "change").id, id(2));
}

TEST_F(ChangesTest, AnotherLedgerIsAGap) {
  Connection old(address());
  follow(old, "Last-Event-ID: 00000000000000000000000000000000-7\r\n");
  EXPECT_EQ(next(old, "gap").data.at("ledger_id"), ledger_id_);

  stop_engine(SIGTERM);
  for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(ledger() + part);
  start_engine();
  feed(engine::test::slow(3));
  const std::string fresh = ask("SELECT id FROM ledger").at(0);
  ASSERT_NE(fresh, ledger_id_);
  EXPECT_EQ(next(old, "gap").data.at("ledger_id"), fresh);
}

TEST_F(ChangesTest, ThatTheEngineStopsIsTold) {
  Connection connection(address());
  follow(connection);
  EXPECT_EQ(next(connection, "engine").data.at("is_running"), true);
  stop_engine(SIGKILL);
  EXPECT_EQ(next(connection, "engine").data.at("is_running"), false);
  start_engine();
  EXPECT_EQ(next(connection, "engine").data.at("is_running"), true);
}

TEST_F(ChangesTest, ThatTheLedgerCannotBeReadIsToldAsAView) {
  Connection connection(address());
  follow(connection);
  json version = next(connection, "view").data.at("version");
  stop_engine(SIGTERM);
  std::filesystem::rename(ledger(), ledger() + ".away");
  for (;;) {
    const Event view = next(connection, "view");
    ASSERT_EQ(view.event, "view");
    if (view.data.at("version") == version) break;  // it is the same view, of which something else has changed
    version = view.data.at("version");
  }
}

TEST_F(ChangesTest, AHeadGetsNoStreamAndDoesNotWait) {
  stop_web(SIGTERM);
  start_web("--streams 0");
  get_until("/api/v1/changes?after=1", [](const Answer& answer) { return answer.status == 200; });
  const std::string head = "curl -sS -I -H 'Host: x' http://" + address() + "/api/v1/changes";
  for (const std::string& how : {head + "?after=1\\&wait=60", head + " -H 'Accept: text/event-stream'"}) {
    const std::string answer = Shell().run(how).out;
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 ")) << how << "\n" << answer;
  }
}

TEST_F(ChangesTest, ALongPollWaitsForTheNextChange) {
  EXPECT_EQ(get("/api/v1/changes?after=1").json().at("changes").size(), 0U);
  Connection connection(address());
  connection.send("GET /api/v1/changes?after=1&wait=60 HTTP/1.1\r\nHost: x\r\n\r\n");
  feed(engine::test::slow(2));
  const Answer answer = connection.receive();
  EXPECT_EQ(answer.status, 200);
  const json body = answer.json();
  EXPECT_EQ(body.at("changes").at(0).at("number"), 2);
  EXPECT_EQ(body.at("through"), 2);
  EXPECT_EQ(get("/api/v1/changes?after=9").status, 200);
}

// Also for a stream, which does not need them.
TEST_F(ChangesTest, ParametersThatAreNotRightAreRefused) {
  for (const char* query : {"?wait=61", "?limit=0", "?after=x", "?limit=x&after=1"}) {
    for (const char* accepted : {"application/json", "text/event-stream"}) {
      EXPECT_EQ(get(std::string("/api/v1/changes") + query, std::string("Accept: ") + accepted + "\r\n").status, 400)
          << query << " " << accepted;
    }
  }
}

// Old changes are on the disk alone, and the disk has them no more. Whoever waits is told so, too.
TEST_F(ChangesTest, ChangesOfALedgerThatIsGoneAreUnavailable) {
  feed(engine::test::slow(2));
  stop_web(SIGTERM);
  start_web();
  get_until("/api/v1/alarms", [](const Answer& answer) { return answer.status == 200; });
  EXPECT_EQ(get("/api/v1/changes?after=0").json().at("changes").size(), 2U);
  stop_engine(SIGTERM);
  for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(ledger() + part);
  for (const char* query : {"?after=0", "?after=0&wait=60"}) {
    const Answer answer = get(std::string("/api/v1/changes") + query);
    EXPECT_EQ(answer.status, 503) << query << ": " << answer.body;
  }
}

TEST_F(ChangesTest, ManyFollowAtOnce) {
  constexpr int kFollowers = 50;
  std::vector<std::unique_ptr<Connection>> all;
  for (int i = 0; i < kFollowers; ++i) {
    all.push_back(std::make_unique<Connection>(address()));
    follow(*all.back());
  }
  feed(engine::test::slow(2));
  for (const auto& one : all) EXPECT_EQ(next(*one, "change").id, id(2));
  stop_web(SIGTERM);
  for (const auto& one : all) EXPECT_TRUE(one->is_ended());
}

}  // namespace changes_test
}  // namespace polaiga::web::test
