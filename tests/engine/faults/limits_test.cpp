// The engine under the limits that a system sets to its processes.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <sstream>
#include <thread>

#include "support/client.h"
#include "support/usage.h"

namespace polaiga::engine::test {
namespace limits_test {

using namespace std::chrono_literals;
using Answers = std::vector<std::string>;

class LimitsTest : public RunTest {
 protected:
  // The command under a limit, as prlimit(1) names it.
  static std::string under(const std::string& limit, const std::string& command) {
    return "prlimit --" + limit + " " + command;
  }
};

// Those who find no place wait, or are turned away and come again. All are served when others have gone.
TEST_F(LimitsTest, MoreClientsThanOpenFilesAreServedInTheEnd) {
  constexpr int kClients = 60;
  constexpr auto kWatched = 1000ms;
  const auto event = [](std::size_t client) { return slow(1, "event-" + std::to_string(client)); };
  Child engine(under("nofile=48", command()), dir_);
  std::vector<std::unique_ptr<Client>> clients(kClients);
  const auto connect = [&](std::size_t client) {
    clients[client] = std::make_unique<Client>(socket());
    clients[client]->send(event(client));
  };
  for (std::size_t i = 0; i < kClients; ++i) connect(i);
  ASSERT_EQ(clients[0]->answer(), taken(1));
  // Nothing happens, and that is to be seen. The machine may have been slow to let the engine do what it had to before.
  EXPECT_LT(std::min(processor_time_in(kWatched, engine.pid()), processor_time_in(kWatched, engine.pid())),
            kWatched / 4);

  std::vector<bool> served(kClients);
  served[0] = true;
  int late = 0;
  for (std::size_t i = 1; i < kClients; ++i) {
    served[i] = clients[i]->has_answer() && number_in(clients[i]->answer()) != 0;
    late += served[i] ? 0 : 1;
  }
  EXPECT_GT(late, 10) << "the limit was not reached";
  for (std::size_t i = 0; i < kClients; ++i) {
    if (served[i]) clients[i]->close();
  }
  const auto all_are_served = [&] {
    for (std::size_t i = 0; i < kClients; ++i) {
      if (served[i] || !clients[i]->has_answer()) continue;
      served[i] = number_in(clients[i]->answer()) != 0;
      if (served[i]) {
        clients[i]->close();
      } else {
        connect(i);
      }
    }
    return std::ranges::find(served, false) == served.end();
  };
  EXPECT_TRUE(comes_true(all_are_served)) << dir_.read("err");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(events(), kClients);
}

TEST_F(LimitsTest, WithTooFewOpenFilesItSaysSoAndHarmsNothing) {
  std::int64_t acknowledged = 0;
  int refused = 0;
  for (int files = 6; files <= 16; ++files) {
    const Ended got = Shell().run("timeout 120 " + under("nofile=" + std::to_string(files), without_socket()), slow());
    if (got.status == 0) {
      EXPECT_EQ(got.out, taken(++acknowledged) + "\n");
    } else {
      ++refused;
      EXPECT_EQ(got.status, 2) << files << ": " << got.err;
      EXPECT_EQ(got.out, "");
      EXPECT_TRUE(got.err.starts_with("polaiga: ") || got.err.find("\npolaiga: ") != std::string::npos ||
                  got.err.find(">polaiga: ") != std::string::npos)
          << files << ": " << got.err;
    }
    EXPECT_EQ(got.err.find("damaged"), std::string::npos) << files << ": " << got.err;
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(acknowledged, 0);
  EXPECT_EQ(events(), acknowledged);
}

TEST_F(LimitsTest, AFileThatMayNotGrowIsAFullDisk) {
  Child engine(under("fsize=200000:", command()), dir_);
  Client client(socket());
  const auto cannot_write = [this] { return dir_.read("err").find("cannot write") != std::string::npos; };
  int sent = 0;
  for (bool full = false; !full;) {
    ASSERT_LT(sent, 10'000);
    ++sent;
    client.send(slow(sent, "event-" + std::to_string(sent)));
    ASSERT_TRUE(comes_true([&] { return client.has_answer() || cannot_write(); })) << dir_.read("err");
    full = !client.has_answer();
    if (!full) {
      ASSERT_EQ(client.answer(), taken(sent)) << dir_.read("err");
    }
  }
  EXPECT_GT(sent, 10);
  const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(::prlimit(engine.pid(), RLIMIT_FSIZE, &none, nullptr), 0);
  EXPECT_EQ(client.answer(), taken(sent));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(events(), sent);
}

// The limit is that of the address space: less than this can be memory.
TEST_F(LimitsTest, TwentyThousandFaultsFitInto128MiB) {
  constexpr int kFaults = 20'000;
  const std::string limit = "as=" + std::to_string(128 * 1024 * 1024);
  std::string input;
  for (int fan = 1; fan <= kFaults; ++fan) input += slow(fan);
  const Ended filled = Shell().run(under(limit, without_socket()), input);
  EXPECT_EQ(filled.status, 0) << filled.err;
  EXPECT_TRUE(filled.out.ends_with("\n" + taken(kFaults) + "\n"));

  Child engine(under(limit, command()), dir_);
  Client client(socket());
  // Each of them again, now that all of them are active and were read from the ledger.
  std::thread sender([&] { client.send(input); });
  for (int fan = 1; fan <= kFaults; ++fan) EXPECT_EQ(client.answer(), taken(kFaults + fan));
  sender.join();
  EXPECT_LT(most_memory(engine.pid()), 64 * 1024);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0) << dir_.read("err");
  EXPECT_EQ(ask("SELECT count(*) FROM faults WHERE ended IS NULL"), Answers({std::to_string(kFaults)}));
}

// Memory that is too little for what the ledger holds: the engine says so and ends, or waits without acknowledging;
// what it acknowledged before is there when it has more.
TEST_F(LimitsTest, WithTooLittleMemoryNothingThatWasAcknowledgedIsLost) {
  constexpr int kFaults = 5'000;
  std::string input;
  for (int fan = 1; fan <= kFaults; ++fan) input += slow(fan);
  std::int64_t acknowledged = 0;
  int failed = 0;
  for (int mebibytes = 16; mebibytes <= 24; mebibytes += 4) {
    const std::string limit = "as=" + std::to_string(mebibytes * 1024 * 1024);
    const Ended got = Shell().run("timeout --kill-after=120 5 " + under(limit, without_socket()), input);
    failed += got.status == 0 ? 0 : 1;
    std::istringstream answers(got.out);
    for (std::string answer; std::getline(answers, answer) && !answers.eof();) {
      ASSERT_EQ(answer, taken(++acknowledged)) << mebibytes << " MiB";
    }
    EXPECT_EQ(got.err.find("damaged"), std::string::npos) << mebibytes << " MiB: " << got.err;
    if (got.status == 127) continue;  // not even the program could be loaded, so there may be no ledger
    const std::int64_t there = events();
    EXPECT_GE(there, acknowledged) << mebibytes << " MiB: " << got.err;
    acknowledged = there;  // what was written without having been acknowledged has its numbers
  }
  EXPECT_GT(failed, 0) << "the limits are not low enough to try anything";
  const Ended got = Shell().run(without_socket(), slow());
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(got.out, taken(acknowledged + 1) + "\n");
}

}  // namespace limits_test
}  // namespace polaiga::engine::test
