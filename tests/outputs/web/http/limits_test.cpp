// The server against clients that are slow, many, or gone, with limits that a test can wait for.
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "http/server.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace limits_test {

using engine::test::comes_true;
using std::chrono::milliseconds;

// One event, and then nothing.
class QuietStream final : public Stream {
 public:
  std::string next() override { return std::exchange(text_, ""); }
  bool is_over() const override { return false; }

 private:
  std::string text_ = "data: begun\n\n";
};

// One event, and then a failure.
class FailingStream final : public Stream {
 public:
  std::string next() override {
    if (std::exchange(has_begun_, true)) throw std::runtime_error("there is no more");
    return "data: begun\n\n";
  }
  bool is_over() const override { return false; }

 private:
  bool has_begun_ = false;
};

class EndlessStream final : public Stream {
 public:
  std::string next() override { return std::string(65536, 'x'); }
  bool is_over() const override { return false; }
};

class Answers final : public Handler {
 public:
  Response answer(const Request& request) override {
    Response response{.headers = {{"Content-Type", "text/event-stream"}}};
    if (request.target.path.front() == "quiet") {
      response.stream = std::make_unique<QuietStream>();
    } else if (request.target.path.front() == "failing") {
      response.stream = std::make_unique<FailingStream>();
    } else if (request.target.path.front() == "wrong") {
      throw std::runtime_error("it went wrong");
    } else if (request.target.path.front() == "endless") {
      response.stream = std::make_unique<EndlessStream>();
    } else if (request.target.path.front() == "large") {
      response.body = std::make_shared<const std::string>(std::size_t{64} * 1024 * 1024, 'x');
    } else {
      response.body = std::make_shared<const std::string>("here");
    }
    return response;
  }
};

std::string question(const std::string& target) { return "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n"; }

// A socket of the machine's, from an address of loopback's that the test chooses.
class Caller {
 public:
  Caller(std::uint16_t port, const std::string& from) {
    sockaddr_in at = {};
    at.sin_family = AF_INET;
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::inet_pton(AF_INET, from.c_str(), &at.sin_addr);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0) throw std::runtime_error("bind " + from);
    ::inet_pton(AF_INET, "127.0.0.1", &at.sin_addr);
    at.sin_port = htons(port);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0) throw std::runtime_error("connect");
  }
  ~Caller() { ::close(fd_); }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  void send(const std::string& text) const { ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL); }

  // Whether the server has ended the connection.
  bool is_ended() const {
    std::array<char, 4096> part{};
    for (;;) {
      const ssize_t size = ::recv(fd_, part.data(), part.size(), MSG_DONTWAIT);
      if (size == 0 || (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK)) return true;
      if (size < 0) return false;
    }
  }

 private:
  int fd_ = -1;
};

class LimitsTest : public ::testing::Test {
 protected:
  void start(const ServerLimits& limits) {
    listener_.emplace(*parse_listen_address("127.0.0.1:0"));
    server_.emplace(*listener_, answers_, limits, std::nullopt, [this](const std::string& text) {
      const std::lock_guard lock(mutex_);
      told_.push_back(text);
    });
  }

  std::vector<std::string> told() {
    const std::lock_guard lock(mutex_);
    return told_;
  }

  std::uint16_t port() const { return listener_->address().port; }
  std::string address() const { return "127.0.0.1:" + std::to_string(port()); }

  // The status that one who asks plainly gets.
  int plain() const { return Connection(address()).ask(question("/")).status; }

  // Opens a stream and reads its first event.
  static Answer follow(Connection& connection) {
    Answer answer = connection.ask(question("/quiet"));
    if (answer.status == 200) {
      EXPECT_EQ(connection.next_event(), "data: begun");
    }
    return answer;
  }

  Answers answers_;
  std::mutex mutex_;
  std::vector<std::string> told_;
  std::optional<Listener> listener_;
  std::optional<Server> server_;
};

// What a slow client has sent after some steps, and how it goes on.
constexpr const char* kKinds[] = {"nothing", "a head byte by byte", "a body byte by byte",
                                  "a whole request, and no more"};

std::string sent_at(std::size_t kind, std::size_t step) {
  const std::string head = "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n";
  switch (kind) {
    case 1:
      return step == 0 ? "GET / HTTP/1.1\r\nX: " : "x";
    case 2:
      return step == 0 ? head + "\r\n" : "x";
    case 3:
      return step == 0 ? question("/") : "";
    default:
      return "";
  }
}

TEST_F(LimitsTest, HalfRequestsOfOneAddressKeepNobodyElseOut) {
  constexpr std::size_t kCallers = 400;
  start({.request_within = milliseconds(3000), .idle = milliseconds(3000), .refusal_within = milliseconds(500)});
  std::vector<std::unique_ptr<Caller>> callers;
  for (std::size_t i = 0; i < kCallers; ++i) callers.push_back(std::make_unique<Caller>(port(), "127.0.0.2"));
  std::size_t step = 0;
  std::size_t left = kCallers;
  EXPECT_TRUE(comes_true([&] {
    for (std::size_t i = 0; i < kCallers; ++i) callers[i]->send(sent_at(i % std::size(kKinds), step));
    ++step;
    EXPECT_EQ(plain(), 200) << "of another address, while " << left << " are there";
    left = static_cast<std::size_t>(std::ranges::count_if(callers, [](const auto& one) { return !one->is_ended(); }));
    return left == 0;
  })) << left
      << " connections are left";
  EXPECT_TRUE(comes_true([&] { return server_->connections() == 0; }));
}

TEST_F(LimitsTest, HalfRequestsOfManyAddressesKeepNobodyElseOut) {
  constexpr std::size_t kAddresses = 100;
  constexpr std::size_t kCallers = 400;
  start({.connections = 200, .request_within = milliseconds(3000), .idle = milliseconds(3000)});
  std::vector<std::unique_ptr<Caller>> callers;
  for (std::size_t i = 0; i < kCallers; ++i) {
    callers.push_back(std::make_unique<Caller>(port(), "127.0.1." + std::to_string(1 + i % kAddresses)));
    callers.back()->send(sent_at(i % std::size(kKinds), 0));
    if (i % 50 == 0) {
      EXPECT_EQ(plain(), 200) << "after " << i;
    }
  }
  std::size_t step = 0;
  std::size_t left = kCallers;
  EXPECT_TRUE(comes_true([&] {
    ++step;
    for (std::size_t i = 0; i < kCallers; ++i) callers[i]->send(sent_at(i % std::size(kKinds), step));
    EXPECT_EQ(plain(), 200) << "while " << left << " are there";
    left = static_cast<std::size_t>(std::ranges::count_if(callers, [](const auto& one) { return !one->is_ended(); }));
    return left == 0;
  })) << left
      << " connections are left";
}

TEST_F(LimitsTest, EachKindOfSlowClientIsEndedInTime) {
  start({.request_within = milliseconds(1000), .idle = milliseconds(1000)});
  for (std::size_t kind = 0; kind < std::size(kKinds); ++kind) {
    const Caller caller(port(), "127.0.0.1");
    std::size_t step = 0;
    EXPECT_TRUE(comes_true([&] {
      caller.send(sent_at(kind, step++));
      return caller.is_ended();
    })) << kKinds[kind];
  }
}

TEST_F(LimitsTest, WhoReadsNothingIsDropped) {
  start({.response_within = milliseconds(1000)});
  const Caller large(port(), "127.0.0.1");
  large.send(question("/large"));
  const Caller endless(port(), "127.0.0.1");
  endless.send(question("/endless"));
  EXPECT_TRUE(comes_true([&] { return server_->responses().at(1) == 2; })) << "both are being answered";
  EXPECT_TRUE(comes_true([&] { return server_->connections() == 0; }));
  EXPECT_EQ(server_->streams(), 0U);
}

TEST_F(LimitsTest, WhoReadsAStreamMayTakeHisTime) {
  start({.response_within = milliseconds(500)});
  Connection reader(address());
  ASSERT_EQ(follow(reader).status, 200);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(comes_true([&] { return std::chrono::steady_clock::now() - begin > milliseconds(2000); }));
  EXPECT_EQ(server_->streams(), 1U) << "nothing was to be read in that time";
}

TEST_F(LimitsTest, StreamsThatAreClosedTakeNoPlace) {
  start({.per_address = 64});
  for (int i = 0; i < 200; ++i) {
    Connection page(address());
    ASSERT_EQ(follow(page).status, 200) << "the page was loaded for the " << i << "th time";
  }
  EXPECT_TRUE(comes_true([&] { return server_->streams() == 0 && server_->connections() == 0; }));
}

TEST_F(LimitsTest, AStreamEndsSoonAfterItsReaderWentAway) {
  start({});
  {
    Connection page(address());
    ASSERT_EQ(follow(page).status, 200);
    EXPECT_EQ(server_->streams(), 1U);
  }
  EXPECT_TRUE(comes_true([&] { return server_->streams() == 0 && server_->connections() == 0; }));
}

TEST_F(LimitsTest, AnAddressHasItsShareAndOthersHaveTheirs) {
  start({.per_address = 3});
  std::vector<std::unique_ptr<Connection>> pages;
  for (int i = 0; i < 3; ++i) {
    pages.push_back(std::make_unique<Connection>(address()));
    EXPECT_EQ(follow(*pages.back()).status, 200);
  }
  Connection one_more(address());
  const Answer refused = one_more.ask(question("/"));
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.header("content-type"), "application/problem+json");
  EXPECT_FALSE(refused.header("retry-after").empty());
  EXPECT_TRUE(one_more.is_ended());
  Caller elsewhere(port(), "127.0.0.9");
  elsewhere.send(question("/quiet"));
  EXPECT_TRUE(comes_true([&] { return server_->streams() == 4; }));
  pages.pop_back();
  EXPECT_TRUE(comes_true([this] { return plain() == 200; })) << "a place is free again";
}

TEST_F(LimitsTest, AProxyIsNotHeldToTheShareOfOneUser) {
  const engine::test::TempDir dir;
  for (const bool is_proxy : {false, true}) {
    server_.reset();
    listener_.reset();
    listener_.emplace(*parse_listen_address("unix:" + dir.file("web.sock")));
    ServerLimits limits{.per_address = 2};
    if (is_proxy) limits.proxy = ::getuid();
    server_.emplace(*listener_, answers_, limits, std::nullopt, [](const std::string&) {});
    std::vector<std::unique_ptr<Connection>> all;
    for (int i = 0; i < 3; ++i) {
      all.push_back(std::make_unique<Connection>(dir.file("web.sock")));
      EXPECT_EQ(follow(*all.back()).status, i < 2 || is_proxy ? 200 : 503) << i;
    }
  }
}

TEST_F(LimitsTest, AProxyIsToldThatAllPlacesAreTaken) {
  const engine::test::TempDir dir;
  listener_.emplace(*parse_listen_address("unix:" + dir.file("web.sock")));
  server_.emplace(*listener_, answers_, ServerLimits{.connections = 6, .per_address = 2, .proxy = ::getuid()},
                  std::nullopt, [](const std::string&) {});
  std::vector<std::unique_ptr<Connection>> all;
  for (int i = 0; i < 7; ++i) {
    all.push_back(std::make_unique<Connection>(dir.file("web.sock")));
    EXPECT_EQ(follow(*all.back()).status, i < 6 ? 200 : 503) << i;
  }
}

TEST_F(LimitsTest, WhatCannotBeAnsweredIsToldWithItsAddress) {
  start({});
  EXPECT_EQ(Connection(address()).ask(question("/wrong?a=b")).status, 500);
  EXPECT_EQ(told(), std::vector<std::string>{"The request for '/wrong?a=b' could not be answered: it went wrong"});
}

TEST_F(LimitsTest, AStreamThatFailsEndsAndOthersGoOn) {
  start({});
  Connection reader(address());
  EXPECT_EQ(reader.ask(question("/failing")).status, 200);
  EXPECT_EQ(reader.next_event(), "data: begun");
  EXPECT_EQ(reader.next_event(), "");
  EXPECT_EQ(told(), std::vector<std::string>{"The stream '/failing' was ended: there is no more"});
  EXPECT_EQ(plain(), 200);
}

TEST_F(LimitsTest, StreamsHaveALimitOfTheirOwn) {
  start({.streams = 2});
  Connection first(address());
  Connection second(address());
  EXPECT_EQ(follow(first).status, 200);
  EXPECT_EQ(follow(second).status, 200);
  EXPECT_EQ(Connection(address()).ask(question("/quiet")).status, 503);
  EXPECT_EQ(plain(), 200);
}

TEST_F(LimitsTest, WhereAllPlacesAreTakenWhoWaitsLongestGivesWay) {
  // No time is over while this runs.
  start({.connections = 4, .request_within = std::chrono::minutes(10)});
  Connection stream(address());
  ASSERT_EQ(follow(stream).status, 200);
  std::vector<std::unique_ptr<Caller>> idle;
  for (int i = 0; i < 3; ++i) {
    idle.push_back(std::make_unique<Caller>(port(), "127.0.0.2"));
    EXPECT_TRUE(comes_true([&] { return server_->connections() == static_cast<std::size_t>(i) + 2; }));
  }
  EXPECT_EQ(plain(), 200);
  EXPECT_TRUE(comes_true([&] { return idle[0]->is_ended(); }));
  EXPECT_FALSE(idle[1]->is_ended());
  EXPECT_FALSE(idle[2]->is_ended());
  EXPECT_EQ(server_->streams(), 1U);
}

TEST_F(LimitsTest, WhereStreamsTakeAllPlacesOthersAreTurnedAway) {
  start({.connections = 2});
  Connection first(address());
  Connection second(address());
  EXPECT_EQ(follow(first).status, 200);
  EXPECT_EQ(follow(second).status, 200);
  EXPECT_EQ(plain(), 503);
}

}  // namespace limits_test
}  // namespace polaiga::web::test
