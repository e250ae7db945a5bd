// The engine ends in time when it is told to, whatever another program does to its ledger.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <nlohmann/json.hpp>

#include "base/descriptor.h"
#include "ledger/sqlite.h"
#include "support/client.h"
#include "support/forked_engine.h"

namespace polaiga::engine::test {
namespace run_stop_test {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

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

  std::string problem() const { return status().value("problem", ""); }

  // With so much time for a stop that only what is said and done counts, and not how soon.
  std::function<int()> with_time_to_end() const {
    RunOptions with = options();
    with.drain = 1s;
    return forked_engine(with);
  }
};

TEST_F(RunStopTest, AnotherProgramsTransactionIsWaitedForAndTold) {
  Child engine(with_time_to_end(), dir_);
  Client client(socket());
  client.send(slow());
  ASSERT_EQ(client.answer(), taken(1));
  Holder holder(writer());
  ASSERT_TRUE(holder.holds());
  client.send(slow());
  ASSERT_TRUE(comes_true([this] { return problem() == ledger() + ": cannot write: database is locked"; }));
  // It is tried every second. Each attempt waits for the lock for a moment, and between them everyone is answered.
  for (const auto end = Time::now() + 4s; Time::now() < end;) ASSERT_NE(problem(), "");
  EXPECT_FALSE(client.has_answer());
  holder.end();
  EXPECT_EQ(client.answer(), taken(2));
  EXPECT_TRUE(comes_true([this] { return problem().empty(); }));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

// How a publisher goes is of interest also while no cursor can be written.
TEST_F(RunStopTest, APublisherThatIsKnownIsHeardWhileAnotherProgramWrites) {
  Child engine(with_time_to_end(), dir_);
  Client client(socket());
  client.send(slow());
  ASSERT_EQ(client.answer(), taken(1));
  Client publisher(control());
  ASSERT_EQ(answer(publisher, R"({"do":"cursor","publisher":"a","through":0,"connected":true})"), R"({"ok":true})");
  Holder holder(writer());
  ASSERT_TRUE(holder.holds());
  client.send(slow());
  ASSERT_TRUE(comes_true([this] { return !problem().empty(); }));
  const std::string moved = R"({"do":"cursor","publisher":"a","through":1,"connected":false})";
  EXPECT_TRUE(answer(publisher, moved).starts_with(R"({"error":"The ledger cannot be used: )"));
  EXPECT_EQ(status().at("publishers").at(0).at("connected"), false);
  EXPECT_EQ(status().at("publishers").at(0).at("through"), 0);
  holder.end();
  ASSERT_TRUE(comes_true([this] { return problem().empty(); }));
  EXPECT_EQ(answer(publisher, moved), R"({"ok":true})");
  EXPECT_EQ(status().at("publishers").at(0).at("through"), 1);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunStopTest, AStopDoesNotWaitForAnotherProgramsTransaction) {
  Child engine(with_time_to_end(), dir_);
  Client client(socket());
  client.send(slow(1, "a"));
  ASSERT_EQ(client.answer(), taken(1));
  {
    const Holder holder(writer());
    ASSERT_TRUE(holder.holds());
    client.send(slow(1, "b"));
    EXPECT_TRUE(engine.has_complained(": cannot write: database is locked"));
    const Ended got = stop(engine, SIGTERM);
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("1 input could not be written and was not acknowledged. Send it again.\n"),
              std::string::npos)
        << got.err;
  }
  EXPECT_EQ(events(), 1);
}

TEST_F(RunStopTest, NorWhenThereIsNothingToWrite) {
  Child engine(with_time_to_end(), dir_);
  Client client(socket());
  client.send(slow());
  ASSERT_EQ(client.answer(), taken(1));
  const Holder holder(writer());
  ASSERT_TRUE(holder.holds());
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
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
    const Ended got = stop(engine, SIGTERM);
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

}  // namespace run_stop_test
}  // namespace polaiga::engine::test
