// More clients than the engine can serve, and fewer descriptors than it would like.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/client.h"
#include "support/forked_engine.h"
#include "support/usage.h"

namespace polaiga::engine::test {
namespace run_limits_test {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;
using nlohmann::json;

constexpr int kClients = 64;
constexpr int kControlClients = 16;

// As long as it lives, connections are those of another user. Only root may change.
class OtherUser {
 public:
  explicit OtherUser(uid_t user) { works_ = ::seteuid(user) == 0; }
  ~OtherUser() { works_ = ::seteuid(0) == 0; }
  bool works() const { return works_; }

 private:
  bool works_;
};

class RunLimitsTest : public RunTest {
 protected:
  // With so many open files.
  std::string limited(int soft, int hard, const std::string& more = "") const {
    return command("prlimit --nofile=" + std::to_string(soft) + ":" + std::to_string(hard), more);
  }
  // Clients that have places: each has been answered.
  std::vector<Client> serve(int count) {
    std::vector<Client> clients;
    for (int i = 0; i < count; ++i) {
      clients.emplace_back(socket());
      clients.back().send(slow());
      EXPECT_EQ(clients.back().answer(), taken(++taken_));
    }
    return clients;
  }

  static json status_for(Client& client) { return json::parse(answer(client, R"({"do":"status"})")); }

  // Of all children that have ended, of user and system together.
  static std::chrono::microseconds processor_time_of_ended() {
    rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    const auto time = [](const timeval& one) {
      return std::chrono::seconds(one.tv_sec) + std::chrono::microseconds(one.tv_usec);
    };
    return time(usage.ru_utime) + time(usage.ru_stime);
  }

  std::int64_t taken_ = 0;
};

struct Files {
  int limit;
  int served;  // so many fit in any case
};

class StopWithManyTest : public RunLimitsTest, public ::testing::WithParamInterface<Files> {};

// When the signal comes, nobody has let those in who wait. To serve them then costs about as much of the processor as
// to serve as many one after the other: the engine does not ask again and again whether there is a place.
TEST_P(StopWithManyTest, AllWhoWaitAreAnswered) {
  constexpr int kWaiting = 64;  // the kernel has room for one more
  const int served = GetParam().served;
  const auto before = processor_time_of_ended();
  Child engine(
      [run = forked_engine(options())] {
        const auto limit = static_cast<rlim_t>(GetParam().limit);
        const rlimit files{limit, limit};
        return ::setrlimit(RLIMIT_NOFILE, &files) == 0 ? run() : 100;
      },
      dir_);
  Client(socket()).close();  // it has started
  const auto at_start = processor_time(engine.pid());
  for (int i = 0; i < served + kWaiting; ++i) serve(1);
  const auto unhurried = processor_time(engine.pid()) - at_start;
  std::vector<Client> clients = serve(served);
  engine.kill(SIGSTOP);
  for (int i = 0; i < kWaiting; ++i) clients.emplace_back(socket());
  for (Client& client : clients) client.send(slow());
  const auto at_stop = processor_time(engine.pid());
  engine.kill(SIGTERM);
  engine.kill(SIGCONT);
  int answered = 0;
  for (Client& client : clients) answered += number_in(client.answer()) > 0 ? 1 : 0;
  EXPECT_EQ(answered, served + kWaiting);
  const Ended got = engine.wait();
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(events(), taken_ + served + kWaiting);
  EXPECT_LT((processor_time_of_ended() - before - at_stop).count(),
            (3 * unhurried + std::chrono::microseconds(1s)).count())
      << "in us";
}

INSTANTIATE_TEST_SUITE_P(Files, StopWithManyTest,
                         ::testing::Values(Files{256, kClients}, Files{100, 20}, Files{60, 8}));

TEST_F(RunLimitsTest, TheSoftLimitIsRaised) {
  const Child engine(limited(64, 1024), dir_);
  const std::vector<Client> clients = serve(kClients);
  EXPECT_EQ(dir_.read("err").find("RLIMIT_NOFILE"), std::string::npos) << dir_.read("err");
}

TEST_F(RunLimitsTest, WithFewFilesFewerAreServedAndTheEngineSaysSo) {
  Child engine(limited(60, 60, "--control '" + control() + "'"), dir_);
  ASSERT_TRUE(
      engine.has_complained("This process may have 60 files open (RLIMIT_NOFILE, LimitNOFILE= of the unit), so "
                            "at most "));
  Client asking(control());
  std::vector<Client> all;
  for (int i = 0; i < 2 * kClients; ++i) all.emplace_back(socket());
  ASSERT_TRUE(comes_true([&] { return status_for(asking).at("waiting_clients") == status_for(asking).at("clients"); }));
  const json now = status_for(asking);
  EXPECT_GT(now.at("clients"), 5);
  EXPECT_LT(now.at("clients"), 20);
}

TEST_F(RunLimitsTest, WithTooFewFilesTheEngineDoesNotStart) {
  const Ended got = Shell().run(limited(30, 30));
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(
      got.err.find("polaiga: This process may have 30 files open (RLIMIT_NOFILE, LimitNOFILE= of the unit), which "
                   "is not enough to serve anyone; allow "),
      std::string::npos)
      << got.err;
}

// Another part of the process, or of the machine, has taken the last descriptors.
TEST_F(RunLimitsTest, WithoutADescriptorNobodyIsLetInForASecond) {
  Child engine(command(), dir_);
  std::vector<Client> clients = serve(3);
  rlimit before = {};
  ASSERT_EQ(::prlimit(engine.pid(), RLIMIT_NOFILE, nullptr, &before), 0);
  const rlimit few{before.rlim_cur, before.rlim_max};
  // As many as it has open now: its highest descriptor is that of the last client.
  rlimit now = few;
  for (now.rlim_cur = 3;
       std::filesystem::exists("/proc/" + std::to_string(engine.pid()) + "/fd/" + std::to_string(now.rlim_cur));) {
    ++now.rlim_cur;
  }
  ASSERT_EQ(::prlimit(engine.pid(), RLIMIT_NOFILE, &now, nullptr), 0);
  Client late(socket());
  late.send(slow());
  EXPECT_TRUE(
      engine.has_complained("A client cannot be let in: Too many open files. This is tried again every second, "
                            "and when another one has gone.\n"));
  clients[0].send(slow());
  EXPECT_EQ(clients[0].answer(), taken(4));
  EXPECT_FALSE(late.has_answer());
  clients[1].close();
  EXPECT_EQ(late.answer(), taken(5));
  Client latest(socket());
  latest.send(slow());
  for (int i = 6; i <= 8; ++i) {  // meanwhile the engine has looked for new clients
    clients[0].send(slow());
    EXPECT_EQ(clients[0].answer(), taken(i));
  }
  EXPECT_FALSE(latest.has_answer());
  ASSERT_EQ(::prlimit(engine.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
  EXPECT_EQ(latest.answer(), taken(9));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunLimitsTest, HalfLinesKeepNobodyOut) {
  Child engine(command("", "--idle-within 300ms"), dir_);
  std::vector<Client> silent = serve(kClients);
  for (Client& client : silent) client.send(slow().substr(0, 30));
  Client late(socket());
  late.send(slow());
  EXPECT_EQ(late.answer(), taken(kClients + 1));
  // The first one has been silent for the longest time. Its half line is no line.
  EXPECT_TRUE(silent[0].is_let_go());
  EXPECT_TRUE(engine.has_complained("The client 1 of user " + std::to_string(::geteuid()) + " has to leave, because "));
  silent[1].send(slow().substr(30));
  EXPECT_EQ(silent[1].answer(), taken(kClients + 2));
  const Ended got = stop(engine, SIGTERM);
  EXPECT_EQ(got.status, 0);
  EXPECT_NE(got.err.find(", 0 bad lines"), std::string::npos) << got.err;
}

TEST_F(RunLimitsTest, WhoSendsWholeLinesStays) {
  std::int64_t last = 0;
  // A line of each, and how long it took.
  const auto round = [&last](std::vector<Client>& clients) {
    const auto begin = Time::now();
    for (Client& client : clients) client.send(well());
    for (Client& client : clients) last = std::max(last, number_in(client.answer()));
    return Time::now() - begin;
  };
  RunOptions patient = options();
  {
    // On a slow machine a round takes more than a second. Nobody may seem silent because of that.
    Child engine(forked_engine(patient), dir_);
    std::vector<Client> busy = serve(kClients);
    round(busy);
    patient.idle_within = std::chrono::ceil<std::chrono::milliseconds>(std::max<Time::duration>(4s, 10 * round(busy)));
    ASSERT_EQ(stop(engine, SIGTERM).status, 0);
    taken_ = last;
  }
  Child engine(forked_engine(patient), dir_);
  std::vector<Client> busy = serve(kClients);
  round(busy);
  Client late(socket());
  late.send(slow());
  for (const auto end = Time::now() + patient.idle_within + patient.idle_within / 4; Time::now() < end;) round(busy);
  EXPECT_FALSE(late.has_answer());
  busy[5].close();
  EXPECT_EQ(late.answer(), taken(last + 1));
}

TEST_F(RunLimitsTest, NobodyLeavesWhileNobodyWaits) {
  Child engine(command("", "--idle-within 1ms"), dir_);
  std::vector<Client> all = serve(kClients);
  for (Client& client : all) {
    client.send(well());
    EXPECT_EQ(client.answer(), taken(++taken_));
  }
}

TEST_F(RunLimitsTest, OneWhoDoesNotReadKeepsNobodyOut) {
  Child engine(command("", "--idle-within 300ms"), dir_);
  std::vector<Client> deaf;
  for (int i = 0; i < kClients; ++i) {
    deaf.emplace_back(socket());
    ASSERT_LT(deaf.back().send_until_refused("[]\n", 100'000'000), 100'000'000U);
    if (i == 3) break;  // it takes a moment for each
  }
  for (Client& client : serve(kClients - 4)) deaf.push_back(std::move(client));
  Client late(socket());
  late.send(slow());
  EXPECT_EQ(late.answer(), taken(++taken_));
}

TEST_F(RunLimitsTest, ControlClientsKeepNobodyOutEither) {
  Child engine(with_control("--idle-within 300ms"), dir_);
  std::vector<Client> silent;
  for (int i = 0; i < kControlClients; ++i) {
    silent.emplace_back(control());
    status_for(silent.back());
    silent.back().send("{");
  }
  Client late(control());
  EXPECT_EQ(status_for(late).at("last_seq"), 0);
  EXPECT_TRUE(silent[0].is_let_go());
}

TEST_F(RunLimitsTest, AUserWithAllPlacesGivesSomeUpAtOnce) {
  ASSERT_EQ(::geteuid(), 0U) << "this test needs root, to connect as another user";
  Child engine(with_control("--idle-within 1000s"), dir_);
  std::vector<Client> roots = serve(kClients);
  std::vector<Client> more;
  for (int i = 0; i < 2 * kClients; ++i) more.emplace_back(socket());  // also the places for those who wait
  ASSERT_TRUE(engine.has_complained("A client of user 0 was turned away, because 64 are served and as many wait."));
  std::filesystem::permissions(dir_.path(), std::filesystem::perms::all);
  std::filesystem::permissions(socket(), std::filesystem::perms::all);
  std::vector<Client> others;
  {
    const OtherUser other(65534);
    ASSERT_TRUE(other.works());
    for (int i = 0; i < 20; ++i) others.emplace_back(socket());
  }
  // A quarter of the places is theirs, and the first have been silent for the longest time.
  for (int i = 0; i < 16; ++i) {
    others[static_cast<std::size_t>(i)].send(slow());
    EXPECT_EQ(others[static_cast<std::size_t>(i)].answer(), taken(++taken_));
    EXPECT_TRUE(roots[static_cast<std::size_t>(i)].is_let_go());
  }
  others[16].send(slow());
  roots[16].send(slow());
  EXPECT_EQ(roots[16].answer(), taken(++taken_));
  EXPECT_FALSE(others[16].has_answer());
  EXPECT_TRUE(engine.has_complained("The client 1 of user 0 has to leave, because another one of user 65534 waits."));
}

TEST_F(RunLimitsTest, WhatSomeoneSentWhoHasToLeaveCounts) {
  Child engine(command("", "--idle-within 300ms"), dir_);
  std::vector<Client> silent = serve(kClients);
  engine.kill(SIGSTOP);
  Client late(socket());
  for (Client& client : silent) client.send(slow() + slow().substr(0, 30));
  engine.kill(SIGCONT);
  for (Client& client : silent) EXPECT_EQ(number_in(client.answer()), ++taken_);
  late.send(slow());
  EXPECT_EQ(late.answer(), taken(++taken_));
}

}  // namespace run_limits_test
}  // namespace polaiga::engine::test
