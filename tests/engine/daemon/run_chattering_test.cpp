// Chattering faults of the running engine, by a clock that the test sets.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <new>
#include <utility>

#include "daemon/run.h"
#include "ledger/change_feed.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace run_chattering_test {

using Answers = std::vector<std::string>;

// In memory that the test and the engine share.
struct Offsets {
  std::atomic<std::int64_t> wall{0};
  std::atomic<std::int64_t> steady{0};
};

class SteppedClock final : public Clock {
 public:
  explicit SteppedClock(const Offsets& offsets) : offsets_(offsets) {}
  std::int64_t wall() const override { return std::time(nullptr) + offsets_.wall; }
  Steady steady() const override { return SystemClock().steady() + std::chrono::seconds(offsets_.steady); }

 private:
  const Offsets& offsets_;
};

// A fault is chattering when it is raised again more than twice in an hour, which is longer than the test takes.
class RunChatteringTest : public RunTest {
 protected:
  RunChatteringTest() {
    void* const memory = ::mmap(nullptr, sizeof(Offsets), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    offsets_ = new (memory) Offsets;
  }
  ~RunChatteringTest() override {
    end(SIGKILL);
    ::munmap(offsets_, sizeof *offsets_);
  }

  void start() {
    pid_ = ::fork();
    if (pid_ != 0) return;
    try {
      ::dup2(::open(dir_.file("err").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
      ::dup2(::open("/dev/null", O_RDWR), STDIN_FILENO);
      RunOptions options;
      options.ledger = ledger();
      options.socket = socket();
      options.tables = POLAIGA_TABLES_DIR;
      options.chattering = ChatteringLimit{.times = 2, .within = kHour};
      StandardOutput output;
      ::_exit(run(options, output, SteppedClock(*offsets_)));
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      ::_exit(100);
    }
  }

  void end(int signal) {
    if (pid_ <= 0) return;
    ::kill(pid_, signal);
    int status = -1;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
  }

  void pass(std::int64_t seconds) {
    offsets_->wall += seconds;
    offsets_->steady += seconds;
  }

  // Only the clock of the day jumps.
  void jump(std::int64_t seconds) { offsets_->wall += seconds; }

  void send(const std::string& events) const {
    Client client(socket());
    client.send(events);
    const auto lines = static_cast<std::size_t>(std::count(events.begin(), events.end(), '\n'));
    ASSERT_EQ(client.answers(lines).size(), lines);
  }

  // "7 raised", of all that outputs get after a change.
  Answers told(ChangeNumber after) const {
    Answers found;
    ChangeFeed feed(ledger());
    for (const StoredChange& one : feed.next(after, 1000).changes) {
      found.push_back(std::to_string(one.change.number) + " " + std::string(change_word(one.change.kind)));
    }
    return found;
  }

  static constexpr Moment kHour = 3600;
  static constexpr Moment kYear = 365 * 86'400;
  const std::string kChatters = slow(1) + well(1) + slow(1) + well(1) + slow(1) + well(1) + slow(1) + well(1);

 private:
  Offsets* offsets_;
  int pid_ = -1;
};

TEST_F(RunChatteringTest, ItSettlesInItsTime) {
  start();
  send(kChatters);
  EXPECT_EQ(told(6), Answers({"7 raised", "8 chattering"}));
  send(slow(1) + well(1) + slow(1) + well(1));
  pass(kHour - 1000);
  send(slow(2));  // of another fan; the engine looks at its clock
  EXPECT_EQ(told(8), Answers({"14 raised"}));
  pass(1100);
  send(well(2));
  EXPECT_EQ(told(14), Answers({"15 settled", "16 cleared"}));
  EXPECT_EQ(ask("SELECT raises || ' ' || other FROM change WHERE number = 15"), Answers({"6 7"}));
  EXPECT_EQ(ask("SELECT count(*) FROM change WHERE is_folded"), Answers({"5"}));
  EXPECT_EQ(ask("SELECT fault_dn FROM changes WHERE number = 15"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"}));
}

TEST_F(RunChatteringTest, ItSettlesWithTheStartWhenTheEngineWasDown) {
  start();
  send(kChatters);
  end(SIGKILL);
  pass(kHour + 100);
  start();
  // Nothing is sent.
  EXPECT_TRUE(comes_true([this] { return told(8) == Answers({"10 settled"}); }));
  end(SIGTERM);
  start();
  send(slow(2));
  EXPECT_EQ(told(10), Answers({"11 raised"}));
}

TEST_F(RunChatteringTest, AJumpOfTheClockDoesNotSettleIt) {
  start();
  send(kChatters);
  jump(10 * kYear);
  send(slow(2));
  jump(-20 * kYear);
  send(well(2));
  EXPECT_EQ(told(9), Answers({"10 raised", "11 cleared"}));
}

// As a user starts it: the fault settles by itself, while nobody sends anything.
TEST_F(RunChatteringTest, TheProgram) {
  Child engine(command("", "--chattering 2/2s"), dir_);
  send(kChatters);
  for (int tries = 0; tries < 20 && ask("SELECT number FROM changes WHERE change = 'chattering'").empty(); ++tries) {
    send(kChatters);
  }
  ASSERT_EQ(ask("SELECT count(*) > 0 FROM changes WHERE change = 'chattering'"), Answers({"1"}));
  EXPECT_TRUE(comes_true([this] { return !ask("SELECT number FROM changes WHERE change = 'settled'").empty(); }));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

}  // namespace run_chattering_test
}  // namespace polaiga::engine::test
