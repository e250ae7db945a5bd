#include "app/program.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/temp_dir.h"

namespace polaiga::web {
namespace program_test {

ProgramAnswer shell(const std::string& command) { return run_program({"sh", "-c", command}); }

TEST(ProgramTest, ItsAnswerIsTold) {
  const ProgramAnswer answer = shell("echo yes; echo no >&2; echo never >&2; exit 3");
  EXPECT_EQ(answer.output, "yes\n");
  EXPECT_EQ(answer.complaint, "no never");
  EXPECT_EQ(answer.status, 3);
  EXPECT_EQ(shell("kill -9 $$").status, -1);
  EXPECT_EQ(shell("cat").output, "") << "there is no standard input";
}

TEST(ProgramTest, WhatCannotBeRunOrSaysTooMuchIsAFailure) {
  EXPECT_THROW(run_program({"/no/such/program"}), ProgramFailed);
  EXPECT_THROW(shell("exec cat /dev/zero"), ProgramFailed);
}

TEST(ProgramTest, MoreThanAFewAreTurnedAway) {
  const engine::test::TempDir dir;
  std::atomic<int> refused = 0;
  std::atomic<int> answered = 0;
  constexpr int kAll = 8;
  constexpr int kTaken = 4;  // two run, and two wait for them
  std::vector<std::jthread> askers;
  for (int i = 0; i < kAll; ++i) {
    askers.emplace_back([&] {
      try {
        shell("until [ -e '" + dir.file("go") + "' ]; do sleep 0.05; done");
        ++answered;
      } catch (const ProgramFailed&) {
        if (++refused == kAll - kTaken) dir.write("go", "");
      }
    });
  }
  askers.clear();  // waits for them
  EXPECT_EQ(refused, kAll - kTaken);
  EXPECT_EQ(answered, kTaken);
}

TEST(ProgramTest, ItIsKilledWhenItIsToStop) {
  std::stop_source stop;
  std::jthread stopper([&] { stop.request_stop(); });
  EXPECT_EQ(run_program({"sleep", "1000"}, {.in_background = true, .stop = stop.get_token()}).status, -1);
}

}  // namespace program_test
}  // namespace polaiga::web
