// Memory and files that fail in the midst of the work.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ledger/sqlite.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace {

using Answers = std::vector<std::string>;

// The program with faults; see support/faults.cpp.
class RunFaultsTest : public RunTest {
 protected:
  std::string faulty(const std::string& environment) const {
    return "env " + environment + " POLAIGA_FAULTS='" + dir_.path().string() +
           "' '" POLAIGA_FAULTY "' run --tables '" POLAIGA_TABLES_DIR "' --ledger '" + ledger() + "'";
  }
  std::string with_sockets(const std::string& environment = "") const {
    return faulty(environment) + " --socket '" + socket() + "' --control '" + control() + "'";
  }

  void begin(const std::string& fault) const { dir_.write(fault, ""); }
  void end(const std::string& fault) const { std::filesystem::remove(dir_.file(fault)); }

  // After another program has written, nothing of what the engine has read counts any more.
  void write_from_outside() const {
    Database(ledger(), Access::kReadWrite).exec("UPDATE ledger SET created = created + 1");
  }
};

TEST_F(RunFaultsTest, AnIdThatCannotBeLookedUpIsLookedUpAgain) {
  Child engine(with_sockets(), dir_);
  Client client(socket());
  client.send(slow(1, "a"));
  ASSERT_EQ(client.answer(), taken(1));
  write_from_outside();
  begin("reads");
  client.send(slow(1, "b") + slow(1, "a") + slow(1, "c"));
  const std::string problem = ledger() + ": cannot read: disk I/O error";
  EXPECT_TRUE(engine.has_complained("polaiga: " + problem + "; no event is taken until it can be read\n"));
  EXPECT_EQ(status().at("problem"), problem);
  Client other(socket());
  other.send(well(2));
  // It is tried again every second.
  const auto later = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
  EXPECT_TRUE(comes_true([&] { return std::chrono::steady_clock::now() > later; }));
  EXPECT_FALSE(client.has_answer());
  EXPECT_FALSE(other.has_answer());
  end("reads");
  EXPECT_EQ(client.answers(3), Answers({taken(2), known(1), taken(3)}));
  EXPECT_EQ(other.answer(), taken(4));
  EXPECT_TRUE(engine.has_complained("The ledger can be read again.\n"));
  EXPECT_FALSE(status().contains("problem"));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

// Lines of the same batch come before it: they are written meanwhile.
TEST_F(RunFaultsTest, AStopMeanwhileSaysWhatWasNotTaken) {
  {
    Child engine(with_sockets(), dir_);
    Client client(socket());
    client.send(slow(1, "a"));
    ASSERT_EQ(client.answer(), taken(1));
    write_from_outside();
    begin("reads");
    client.send(slow(1, "b"));
    EXPECT_TRUE(engine.has_complained("cannot read"));
    const Ended got = stop(engine, SIGTERM);
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("1 input could not be written and was not acknowledged. Send it again.\n"),
              std::string::npos)
        << got.err;
  }
  end("reads");
  EXPECT_EQ(events(), 1);
}

// A batch that is in the log is on the disk, and is not written a second time.
TEST_F(RunFaultsTest, ALogThatCannotBeBroughtIntoTheFileIsBroughtInLater) {
  constexpr std::int64_t kLines = 3000;
  Child engine(with_sockets() + " --keep-bytes 4MiB", dir_);
  Client client(socket());
  const auto stands_still = [this] { return dir_.read("err").find("no event is taken") != std::string::npos; };
  begin("room");
  std::int64_t sent = 0;
  while (sent < kLines && !stands_still()) {
    client.send(slow(static_cast<int>(++sent % 200)));
    ASSERT_TRUE(comes_true([&] { return client.has_answer() || stands_still(); })) << dir_.read("err");
    if (client.has_answer()) {
      ASSERT_EQ(client.answer(), taken(sent));
    }
  }
  EXPECT_TRUE(stands_still());
  EXPECT_GT(sent, 50);
  EXPECT_FALSE(client.has_answer());
  end("room");
  EXPECT_EQ(client.answer(), taken(sent)) << dir_.read("err");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(events(), sent);
}

TEST_F(RunFaultsTest, MemoryThatComesBackIsWaitedFor) {
  Child engine(with_sockets(), dir_);
  Client client(socket());
  begin("memory");
  client.send(slow(1));
  const std::string problem = ledger() + ": cannot write: out of memory";
  EXPECT_TRUE(engine.has_complained("polaiga: " + problem + "; no event is taken until it can be written\n"));
  EXPECT_EQ(status().at("problem"), problem);
  end("memory");
  EXPECT_EQ(client.answer(), taken(1));
  EXPECT_TRUE(engine.has_complained("The ledger can be written again.\n"));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(events(), 1);
}

// It may be this process that has too much: its next start has memory again.
TEST_F(RunFaultsTest, WithoutMemoryForLongTheEngineStops) {
  {
    Child engine(with_sockets(), dir_);
    Client client(socket());
    begin("memory");
    client.send(slow(1));
    const Ended got = engine.wait();
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("cannot write: out of memory for 10 s. The engine stops, because a new start may find "
                           "memory.\n"),
              std::string::npos)
        << got.err;
    EXPECT_NE(got.err.find("1 input could not be written and was not acknowledged. Send it again.\n"),
              std::string::npos)
        << got.err;
    EXPECT_FALSE(client.has_answer() && !client.answer().empty());
  }
  end("memory");
  EXPECT_EQ(events(), 0);
}

// Lines of all kinds.
std::string input() {
  std::string lines;
  for (int i = 1; i <= 6; ++i) lines += slow(i, "event-that-has-a-long-id-" + std::to_string(i));
  lines += "[]\n";
  lines += slow(2, "event-that-has-a-long-id-2");  // a duplicate
  // A record that ends another fault through the host's service.
  for (const char* state : {"1", "0"}) {
    lines += R"({"entity":"fw_bios_post","sensor":"BIOS_POST_CMPLT","offset":1,"id":"a-post-event-of-)" +
             std::string(state) + R"(","state":)" + state + "}\n";
  }
  for (int i = 1; i <= 6; ++i)
    lines += R"({"entity":"fan","sensor":"FAN1_TACH1","instance":)" + std::to_string(i) +
             R"(,"offset":3,"state":0,"id":"event-that-ends-number-)" + std::to_string(i) + "\"}\n";
  return lines;
}

// The parameter says in the environment which allocation fails.
class NoMemoryTest : public RunFaultsTest, public ::testing::WithParamInterface<const char*> {
 protected:
  // What the ledger says of the events, with nothing that depends on how often the engine was started.
  Answers told() const {
    return ask(
        "SELECT event.id || ' ' || coalesce(records.change, '') || ' ' || coalesce(records.fault_dn, '') "
        "FROM event LEFT JOIN records ON records.seq = event.seq ORDER BY event.seq");
  }
  Answers active() const { return ask("SELECT fault_dn FROM faults WHERE ended IS NULL ORDER BY fault_dn"); }

  void forget_ledger() const {
    for (const auto& file : std::filesystem::directory_iterator(dir_.path())) {
      if (file.path().filename().string().starts_with("ledger.db")) std::filesystem::remove(file.path());
    }
  }

  static int acknowledged(const std::string& answers) {
    std::istringstream lines(answers);
    int highest = 0;
    for (std::string line; std::getline(lines, line);) {
      if (line.ends_with('}')) highest = std::max(highest, static_cast<int>(number_in(line)));
    }
    return highest;
  }
};

#ifdef POLAIGA_SHORT_WALK
constexpr int kStepAtBegin = 5;
constexpr int kStepAtStart = 1055;
constexpr int kStepAtService = 113;
constexpr int kLeastStopped = 10;
#else
constexpr int kStepAtBegin = 1;
constexpr int kStepAtStart = 211;
constexpr int kStepAtService = 23;
constexpr int kLeastStopped = 50;
#endif

// Some of all allocations, the more the later: the engine serves only after the last tenth of them has begun.
std::vector<int> chosen(int all) {
  std::vector<int> numbers;
  const auto step = [all](int number) {
    if (number < 50) return kStepAtBegin;
    return number < all - 1500 ? kStepAtStart : kStepAtService;
  };
  for (int number = 1; number <= all; number += step(number)) numbers.push_back(number);
  return numbers;
}

// Whichever allocation fails: the engine says so and stops, or goes on without it. What it has acknowledged is in the
// ledger, and what is sent again is taken once and comes to the same.
TEST_P(NoMemoryTest, NothingIsLostOrAppliedInPart) {
  const std::string count = dir_.file("allocations");
  ASSERT_EQ(Shell().run(faulty("POLAIGA_ALLOCATIONS='" + count + "'"), input()).status, 1);  // because of the bad line
  const int all = std::stoi(dir_.read("allocations"));
  ASSERT_GT(all, 2000);
  const Answers want = told();
  const Answers want_active = active();
  ASSERT_EQ(want.size(), 14U);
  int stopped = 0;
  for (const int number : chosen(all)) {
    forget_ledger();
    const std::string environment = GetParam() + std::string("=") + std::to_string(number);
    SCOPED_TRACE(environment);
    const Ended got = Shell().run(faulty(environment), input());
    ASSERT_TRUE(got.status == 1 || got.status == 2) << got.status << got.err;
    ASSERT_EQ(got.err.find("damaged"), std::string::npos) << got.err;
    if (got.status == 2) {
      ++stopped;
      ASSERT_NE(got.err.find("memory"), std::string::npos) << got.err;
    }
    const int acknowledged_then = acknowledged(got.out);
    if (acknowledged_then > 0) {
      ASSERT_GE(events(), acknowledged_then);
    }
    const Ended again = Shell().run(without_socket(), input());
    ASSERT_EQ(again.status, 1) << again.err;
    ASSERT_EQ(again.err.find("damaged"), std::string::npos) << again.err;
    ASSERT_EQ(told(), want);
    ASSERT_EQ(active(), want_active);
  }
  EXPECT_GT(stopped, kLeastStopped);
}

INSTANTIATE_TEST_SUITE_P(Allocations, NoMemoryTest,
                         ::testing::Values("POLAIGA_FAIL_ALLOCATION", "POLAIGA_FAIL_ALLOCATIONS"));

}  // namespace
}  // namespace polaiga::engine::test
