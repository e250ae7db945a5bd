// The server over its real sockets: what it does with requests that are wrong, slow, many or large.
#include <csignal>

#include "support/web.h"

namespace polaiga::web::test {
namespace {

class ServerTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    start_web();
  }
};

TEST_F(ServerTest, AConnectionServesManyRequests) {
  Connection connection(address());
  for (int i = 0; i < 3; ++i) {
    const Answer answer = connection.ask("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.header("content-type"), "application/json");
  }
  connection.send("GET /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\nHEAD /api/v1/alarms HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(connection.receive().status, 200);
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
      {"an unknown address", "GET /api/v1/nothing HTTP/1.1\r\nHost: x\r\n\r\n", 404},
  };
  for (const auto& [what, request, status] : kRows) {
    Connection connection(address());
    EXPECT_EQ(connection.ask(request).status, status) << what;
  }
  EXPECT_EQ(get("/api/v1/alarms").status, 200);
}

TEST_F(ServerTest, EachResponseHasTheHeadersThatProtectBrowsers) {
  for (const char* target : {"/api/v1/alarms", "/nothing"}) {
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

TEST_F(ServerTest, ATermSignalEndsIt) { stop_web(SIGTERM); }

}  // namespace
}  // namespace polaiga::web::test
