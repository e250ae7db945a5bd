// The whole program by a machine's clock that jumps: the engine, the library's stamps, SQLite and the questions.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/client.h"
#include "support/usage.h"

namespace polaiga::engine::test {
namespace clock_jump_test {

using namespace std::chrono_literals;
using Answers = std::vector<std::string>;

constexpr std::int64_t kDay = 86'400;
constexpr std::int64_t kTenYears = 3652 * kDay;

class ClockJumpTest : public RunTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(std::filesystem::exists(POLAIGA_FAKETIME))
        << "this test needs the Debian package faketime: tools/setup check";
    set(0);
  }

  // The clock of the day is so many seconds away from what it is.
  void set(std::int64_t seconds) const {
    // Put in place as a whole, since the engine reads it again and again.
    dir_.write("offset.new", (seconds < 0 ? "" : "+") + std::to_string(seconds) + "\n");
    std::filesystem::rename(dir_.file("offset.new"), dir_.file("offset"));
  }

  // Only the clock of the day jumps; a machine's steady clock never does.
  std::string environment() const {
    return "LD_PRELOAD=" POLAIGA_FAKETIME
           " FAKETIME_DONT_FAKE_MONOTONIC=1 FAKETIME_NO_CACHE=1 DONT_FAKE_MONOTONIC=1 "
           "FAKETIME_TIMESTAMP_FILE='" +
           dir_.file("offset") + "'";
  }
  std::string faked(const std::string& more) const {
    return command(environment(), "--control '" + control() + "' " + more);
  }

  std::int64_t received(std::int64_t sequence) const {
    return std::stoll(ask("SELECT received FROM event WHERE seq = " + std::to_string(sequence)).at(0));
  }
  std::int64_t stamped(std::int64_t sequence) const {
    return std::stoll(ask("SELECT created_time FROM records WHERE seq = " + std::to_string(sequence)).at(0));
  }
};

TEST_F(ClockJumpTest, JumpsWhileItRuns) {
  constexpr std::int64_t kSlack = 120;  // seconds, for a slow machine
  Child engine(faked("--commit-within 20ms --keep-days 365"), dir_);
  Client client(socket());
  std::int64_t sequence = 0;
  for (const std::int64_t offset :
       {std::int64_t{0}, kTenYears, std::int64_t{0}, -kTenYears, -std::time(nullptr) + 1000, std::int64_t{0}}) {
    SCOPED_TRACE(std::to_string(offset) + " s");
    set(offset);
    client.send(slow(1) + slow(2) + well(2));
    for (int i = 0; i < 3; ++i) ASSERT_EQ(client.answer(), taken(++sequence));
    // So the clock did jump, for all that ask it.
    EXPECT_NEAR(static_cast<double>(received(sequence)), static_cast<double>(std::time(nullptr) + offset), kSlack);
    EXPECT_NEAR(static_cast<double>(stamped(sequence)), static_cast<double>(std::time(nullptr) + offset), kSlack);

    Client asking(control());
    asking.send("{\"do\":\"cursor\",\"publisher\":\"p\",\"through\":" + std::to_string(sequence) + "}\n");
    EXPECT_EQ(asking.answer(), "{\"ok\":true}");
    const Ended active = Shell().run("env " + environment() + " $POLAIGA active --json --ledger '" + ledger() + "'");
    EXPECT_EQ(active.status, 0) << active.err;
    EXPECT_EQ(nlohmann::json::parse(active.out).at("fault_dn"), "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395");
    const Ended history = Shell().run("env " + environment() + " $POLAIGA history --ledger '" + ledger() + "'");
    EXPECT_EQ(history.status, 0) << history.err;
  }
  // Nothing happens, and that is to be seen. The machine may have been slow to let the engine do what it had to before.
  EXPECT_LT(std::min(processor_time_in(500ms, engine.pid()), processor_time_in(500ms, engine.pid())), 100ms);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0) << dir_.read("err");
  // No event became a year old.
  EXPECT_EQ(events(), sequence);
  EXPECT_EQ(ask("SELECT count(*) FROM event AS a JOIN event AS b ON b.seq = a.seq + 1 WHERE b.age < a.age"),
            Answers({"0"}));
}

TEST_F(ClockJumpTest, StartsAtAnyTime) {
  std::int64_t sequence = 0;
  for (const std::int64_t offset : {std::int64_t{0}, -std::time(nullptr), kTenYears, std::int64_t{0}, -kTenYears}) {
    SCOPED_TRACE(std::to_string(offset) + " s");
    set(offset);
    Child engine(faked("--keep-days 365"), dir_);
    Client client(socket());
    client.send(slow(1) + slow(2) + well(2));
    for (int i = 0; i < 3; ++i) ASSERT_EQ(client.answer(), taken(++sequence));
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  EXPECT_EQ(events(), sequence);
  EXPECT_EQ(ask("SELECT fault_dn FROM faults WHERE ended IS NULL"),
            Answers({"sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"}));
}

}  // namespace clock_jump_test
}  // namespace polaiga::engine::test
