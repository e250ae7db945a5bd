// The server over its real sockets: what it does with requests that are wrong, slow, many or large.
#include <sys/resource.h>

#include <csignal>
#include <memory>
#include <vector>

#include "support/web.h"

namespace polaiga::web::test {
namespace server_test {

class ServerTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
    wait_for_ledger();
  }

  void wait_for_ledger() const {
    get_until("/api/v1/alarms", [](const Answer& got) { return got.status == 200; });
  }
};

TEST_F(ServerTest, AConnectionServesManyRequests) {
  Connection connection(address());
  for (int i = 0; i < 3; ++i) {
    const Answer answer = connection.ask("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "application/json");
  }
  connection.send("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\nGET /api/v1/nothing HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(connection.receive().status, 200);
  EXPECT_EQ(connection.receive().status, 404);
}

TEST_F(ServerTest, WhatIsNoRequestIsRefused) {
  const struct {
    const char* what;
    std::string request;
    int status;
  } kRows[] = {
      {"a path with dots", "GET /../etc/passwd HTTP/1.1\r\nHost: x\r\n\r\n", 400},
      {"a bad escape", "GET /%zz HTTP/1.1\r\nHost: x\r\n\r\n", 400},
      {"no host", "GET / HTTP/1.1\r\n\r\n", 400},
      {"headers too long", "GET / HTTP/1.1\r\nHost: x\r\nX: " + std::string(100'000, 'x') + "\r\n\r\n", 431},
      {"a body too long", "POST /api/v1/actions HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\n", 413},
      {"a length that is none", "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999999999999999\r\n\r\n", 413},
      {"an empty host", "GET / HTTP/1.1\r\nHost:\r\n\r\n", 400},
      {"a host that is none", "GET / HTTP/1.1\r\nHost: a b\r\n\r\n", 400},
      {"two hosts", "GET / HTTP/1.1\r\nHost: x\r\nHost: x\r\n\r\n", 400},
      {"two hosts, one of them empty", "GET / HTTP/1.1\r\nHost:\r\nhost: x\r\n\r\n", 400},
      {"two lengths", "POST /api/v1/actions HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabc",
       400},
      {"a length and chunks",
       "POST /api/v1/actions HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n", 400},
      {"an unknown address", "GET /api/v1/nothing HTTP/1.1\r\nHost: x\r\n\r\n", 404},
  };
  for (const auto& [what, request, status] : kRows) {
    Connection connection(address());
    EXPECT_EQ(connection.ask(request).status, status) << what;
  }
  EXPECT_EQ(get("/api/v1/alarms").status, 200);
}

TEST_F(ServerTest, OnlyRequestsForThisMachineAreAnswered) {
  const std::string port = address().substr(address().rfind(':'));
  for (const char* host : {"localhost", "127.0.0.1", "[::1]", "test"}) {
    Connection connection(address());
    EXPECT_EQ(connection.ask(std::string("GET /api/v1/alarms HTTP/1.1\r\nHost: ") + host + port + "\r\n\r\n").status,
              200)
        << host;
  }
  // As a browser sends it for a page of another site whose name leads to 127.0.0.1.
  const std::pair<const char*, const char*> kForms[] = {{"/", "application/problem+json"},
                                                        {"/api/v1/alarms", "application/problem+json"},
                                                        {"/redfish/v1/", "application/json"},
                                                        {"/metrics", "application/problem+json"},
                                                        {"/login", "application/problem+json"}};
  for (const auto& [target, type] : kForms) {
    Connection connection(address());
    const Answer answer =
        connection.ask("GET " + std::string(target) + " HTTP/1.1\r\nHost: evil.example" + port + "\r\n\r\n");
    EXPECT_EQ(answer.status, 421) << target;
    EXPECT_EQ(answer.header("content-type"), type) << target;
    EXPECT_NE(answer.body.find("--host evil.example"), std::string::npos) << answer.body;
  }
}

TEST_F(ServerTest, EachResponseHasTheHeadersThatProtectBrowsers) {
  for (const char* target : {"/api/v1/alarms", "/nothing", "/%zz"}) {
    const Answer answer = get(target);
    EXPECT_NE(answer.header("content-security-policy").find("default-src 'none'"), std::string::npos) << target;
    EXPECT_EQ(answer.header("x-content-type-options"), "nosniff") << target;
    EXPECT_EQ(answer.header("referrer-policy"), "no-referrer") << target;
  }
}

TEST_F(ServerTest, WhoHasTheAnswerAlreadyIsToldSo) {
  const Answer first = get("/api/v1/alarms");
  const std::string etag = first.header("etag");
  ASSERT_FALSE(etag.empty());
  EXPECT_EQ(get("/api/v1/alarms", "If-None-Match: " + etag + "\r\n").status, 304);
  EXPECT_EQ(get("/api/v1/alarms", "If-None-Match: \"a\", W/" + etag + "\r\n").status, 304);
  EXPECT_EQ(get("/api/v1/alarms", "If-None-Match: \"a\"\r\n").status, 200);
}

TEST_F(ServerTest, AFewOpenFilesAreEnough) {
  stop_web(SIGTERM);
  start_web("", "sh -c 'ulimit -n 250 && exec \"$@\"' sh ");
  EXPECT_NE(web_dir_.read("err").find("Only 26 connections are taken in place of 1100"), std::string::npos)
      << web_dir_.read("err");
  std::vector<std::unique_ptr<Connection>> idle;
  for (int i = 0; i < 60; ++i) idle.push_back(std::make_unique<Connection>(address()));
  EXPECT_EQ(get("/api/v1/history").status, 200);
}

TEST_F(ServerTest, FewConnectionsNeedNoMoreFilesThanThereAre) {
  stop_web(SIGTERM);
  start_web("--connections 5", "sh -c 'ulimit -n 200 && exec \"$@\"' sh ");
  EXPECT_EQ(web_dir_.read("err").find("connections are taken"), std::string::npos) << web_dir_.read("err");
  EXPECT_EQ(get("/api/v1/history").status, 200);
}

TEST_F(ServerTest, StreamsLeaveOneConnectionInElevenFree) {
  stop_web(SIGTERM);
  start_web("--connections 22");
  wait_for_ledger();
  std::vector<std::unique_ptr<Connection>> pages;
  for (int i = 0; i < 22; ++i) {
    pages.push_back(std::make_unique<Connection>(address()));
    const Answer answer =
        pages.back()->ask("GET /api/v1/changes HTTP/1.1\r\nHost: x\r\nAccept: text/event-stream\r\n\r\n");
    EXPECT_EQ(answer.status, i < 20 ? 200 : 503) << i;
  }
  EXPECT_EQ(get("/api/v1/alarms").status, 200);
}

TEST_F(ServerTest, HeadersThatAreTooLargeAreNoShortageOfMemory) {
  std::string many;
  for (int i = 0; i < 1500; ++i) many += "X-" + std::to_string(i) + ": x\r\n";
  const std::string kRows[] = {many, "Cookie: a=" + std::string(9000, 'x') + "\r\n"};
  for (const std::string& headers : kRows) {
    EXPECT_GE(Connection(address()).ask("GET / HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n").status, 400);
  }
  EXPECT_EQ(web_dir_.read("err").find("No further connections"), std::string::npos) << web_dir_.read("err");
}

TEST_F(ServerTest, NoFileDescriptorsLeftIsToldAndPassesBy) {
  Connection held(address());
  ASSERT_EQ(held.ask("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n").status, 200);
  const auto limit_files = [this](rlim_t most) {
    rlimit limit = {};
    ASSERT_EQ(::prlimit(web_->pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = most;
    ASSERT_EQ(::prlimit(web_->pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
  };
  limit_files(5);
  Connection late(address());
  late.send("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_TRUE(engine::test::comes_true([this] {
    return web_dir_.read("err").find("No further connections can be taken at the moment") != std::string::npos;
  })) << web_dir_.read("err");
  EXPECT_EQ(held.ask("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n").status, 200) << "it goes on meanwhile";
  limit_files(1000);
  held.send("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_TRUE(held.is_ended());
  EXPECT_EQ(late.receive().status, 200);
}

TEST_F(ServerTest, ATermSignalEndsIt) { stop_web(SIGTERM); }

}  // namespace server_test
}  // namespace polaiga::web::test
