// The engine by a clock that the test lets jump.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>
#include <new>

#include "daemon/run.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace {

using Answers = std::vector<std::string>;

constexpr std::int64_t kDay = 86'400;

// In memory that the test and the engine share.
class JumpingClock final : public Clock {
 public:
  explicit JumpingClock(const std::atomic<std::int64_t>& offset) : offset_(offset) {}
  std::int64_t wall() const override { return std::time(nullptr) + offset_; }
  Steady steady() const override { return SystemClock().steady(); }

 private:
  const std::atomic<std::int64_t>& offset_;
};

class RunClockTest : public RunTest {
 protected:
  RunClockTest() {
    void* const memory =
        ::mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    offset_ = new (memory) std::atomic<std::int64_t>(0);
  }
  ~RunClockTest() override {
    stop();
    ::munmap(offset_, sizeof *offset_);
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
      options.retention = retention_;
      StandardOutput output;
      ::_exit(run(options, output, JumpingClock(*offset_)));
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      ::_exit(100);
    }
  }

  // Answers with the exit status.
  int stop() {
    if (pid_ <= 0) return -1;
    ::kill(pid_, SIGTERM);
    int status = -1;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }

  void set(std::int64_t seconds) { *offset_ = seconds; }

  Retention retention_;

 private:
  std::atomic<std::int64_t>* offset_;
  int pid_ = -1;
};

TEST_F(RunClockTest, AClockThatGoesBackIsToldOnceAndChangesNoOrder) {
  start();
  Client client(socket());
  client.send(slow(1) + slow(2) + well(2));
  EXPECT_EQ(client.answers(3).back(), taken(3));
  set(-3600);
  client.send(slow(3));
  EXPECT_EQ(client.answer(), taken(4));
  client.send(slow(3));
  EXPECT_EQ(client.answer(), taken(5));
  EXPECT_EQ(stop(), 0);
  const std::string told = dir_.read("err");
  const std::string begin = "The clock went back by ";
  const std::size_t at = told.find(begin);
  ASSERT_NE(at, std::string::npos) << told;
  EXPECT_NEAR(std::stod(told.substr(at + begin.size())), 3600, 20);  // the seconds since the event before are missing
  EXPECT_EQ(told.find(begin, at + 1), std::string::npos) << told;
  EXPECT_EQ(ask("SELECT seq FROM event ORDER BY seq"), Answers({"1", "2", "3", "4", "5"}));
  EXPECT_EQ(ask("SELECT fault_dn FROM faults WHERE ended IS NULL ORDER BY number"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395",
                     "sys/rack-unit-1/fan-module-1-3/fan-1/fault-F0395"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE received < (SELECT received FROM event WHERE seq = 1) - 3500"),
            Answers({"2"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event AS a JOIN event AS b ON b.seq = a.seq + 1 WHERE b.age < a.age"),
            Answers({"0"}));
}

// Retention by age is a year. A clock that is ten years ahead for one start, and
// one that is not set, take nothing and stop nothing.
TEST_F(RunClockTest, AWrongClockForOneStartDestroysNothing) {
  retention_ = {.events = 0, .days = 365};
  for (const std::int64_t offset : {std::int64_t{0}, 3650 * kDay, -std::time(nullptr) + 100, std::int64_t{0}}) {
    set(offset);
    start();
    Client client(socket());
    client.send(slow(1) + well(1));
    client.answers(2);
    EXPECT_EQ(stop(), 0);
  }
  EXPECT_EQ(ask("SELECT seq FROM event ORDER BY seq"), Answers({"1", "2", "3", "4", "5", "6", "7", "8"}));
  // Thirteen months later, a month a start at most, the first ones are over a year old.
  for (int month = 1; month <= 13; ++month) {
    set(month * 31 * kDay);
    start();
    Client client(socket());
    client.send(slow(1) + well(1));
    client.answers(2);
    EXPECT_EQ(stop(), 0);
  }
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE seq <= 8"), Answers({"0"}));
  EXPECT_EQ(ask("SELECT count(*) FROM event WHERE seq >= 20"), Answers({"15"}));
}

}  // namespace
}  // namespace polaiga::engine::test
