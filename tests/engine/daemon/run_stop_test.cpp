// The engine ends in time when it is told to, whatever another program does to its ledger.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <nlohmann/json.hpp>

#include "base/descriptor.h"
#include "ledger/sqlite.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;
using nlohmann::json;

// A process that does something to a file and then keeps what it has got.
class Holder {
 public:
  explicit Holder(const std::function<void()>& take) {
    Pipe done;
    pid_ = ::fork();
    if (pid_ == 0) {
      try {
        take();
        write_all(done.in.get(), "x", 1);
        for (;;) ::pause();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
      }
      ::_exit(1);
    }
    done.in.close();
    char byte = 0;
    holds_ = read_all(done.out.get(), &byte, 1);
  }
  ~Holder() { end(); }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  bool holds() const { return holds_; }
  void end() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  int pid_ = -1;
  bool holds_ = false;
};

class RunStopTest : public RunTest {
 protected:
  std::string control() const { return dir_.file("control.sock"); }
  std::string with_control() const { return command("", "--control '" + control() + "'"); }

  // Another program is in the midst of a transaction that writes.
  std::function<void()> writer() const {
    return [this] {
      static const Database db(ledger(), Access::kReadWrite);
      db.exec("BEGIN IMMEDIATE");
    };
  }

  // Another program holds the locks that everyone who reads has to share.
  std::function<void()> keeper_of_all_locks() const {
    return [this] {
      struct flock lock = {};
      lock.l_type = F_WRLCK;
      lock.l_start = 120;  // where the locks of the log begin in its index
      lock.l_len = 8;
      const int file = ::open((ledger() + "-shm").c_str(), O_RDWR | O_CLOEXEC);
      while (::fcntl(file, F_SETLK, &lock) != 0) {
      }
    };
  }

  std::string problem() const {
    Client client(control());
    client.send("{\"do\":\"status\"}\n");
    const json status = json::parse(client.answer());
    return status.contains("problem") ? status.at("problem") : "";
  }

  static Ended stop_within(std::chrono::milliseconds time, Child& engine) {
    const auto begin = Time::now();
    Ended got = stop(engine, SIGTERM);
    EXPECT_LT(Time::now() - begin, time) << got.err;
    return got;
  }
};

TEST_F(RunStopTest, AnotherProgramsTransactionIsWaitedForAndTold) {
  Child engine(with_control(), dir_);
  Client client(socket());
  client.send(slow());
  ASSERT_EQ(client.answer(), taken(1));
  Holder holder(writer());
  ASSERT_TRUE(holder.holds());
  client.send(slow());
  ASSERT_TRUE(comes_true([this] { return problem() == ledger() + ": cannot write: database is locked"; }));
  // It is tried every second, and each attempt takes half a second, in which nobody is answered.
  auto longest = Time::duration::zero();
  for (const auto end = Time::now() + 4s; Time::now() < end;) {
    const auto begin = Time::now();
    EXPECT_NE(problem(), "");
    longest = std::max(longest, Time::now() - begin);
  }
  EXPECT_LT(longest, 2s);
  EXPECT_FALSE(client.has_answer());
  holder.end();
  EXPECT_EQ(client.answer(), taken(2));
  EXPECT_TRUE(comes_true([this] { return problem().empty(); }));
  EXPECT_EQ(stop_within(4900ms, engine).status, 0);
}

TEST_F(RunStopTest, AStopDoesNotWaitForAnotherProgramsTransaction) {
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow(1, "a"));
  ASSERT_EQ(client.answer(), taken(1));
  {
    const Holder holder(writer());
    ASSERT_TRUE(holder.holds());
    client.send(slow(1, "b"));
    EXPECT_TRUE(engine.has_complained(": cannot write: database is locked"));
    const Ended got = stop_within(4900ms, engine);
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("1 events could not be written and were not acknowledged. Send them again.\n"),
              std::string::npos)
        << got.err;
  }
  EXPECT_EQ(events(), 1);
}

TEST_F(RunStopTest, NorWhenThereIsNothingToWrite) {
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow());
  ASSERT_EQ(client.answer(), taken(1));
  const Holder holder(writer());
  ASSERT_TRUE(holder.holds());
  EXPECT_EQ(stop_within(4900ms, engine).status, 0);
}

// SQLite tries for ten seconds to get these, and nothing can be done meanwhile.
TEST_F(RunStopTest, NorForLocksThatNobodyGivesBack) {
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow(1, "a"));
  ASSERT_EQ(client.answer(), taken(1));
  {
    const Holder holder(keeper_of_all_locks());
    ASSERT_TRUE(holder.holds());
    client.send(slow(1, "b"));
    const Ended got = stop_within(5500ms, engine);
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("What was under way did not end within 5 s, so the engine ended without it.\n"),
              std::string::npos)
        << got.err;
  }
  Child again(command(), dir_);
  Client other(socket());
  other.send(slow(1, "a") + slow(1, "b"));
  EXPECT_EQ(other.answers(2).front(), known(1));
  EXPECT_EQ(events(), 2);
}

}  // namespace
}  // namespace polaiga::engine::test
