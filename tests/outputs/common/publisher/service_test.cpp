#include "publisher/service.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>

#include "base/descriptor.h"
#include "base/status.h"
#include "support/program.h"

namespace polaiga::output {
namespace service_test {

using namespace std::chrono_literals;
using engine::test::Child;
using engine::test::TempDir;

// Each test has a process of its own, since a process has one service.
int wait_for_signals() {
  Service service("polaiga-test");
  service.say(engine::Priority::kInfo, "ready");
  while (!service.must_stop()) {
    service.wait({}, 60s);
    if (service.take_reload()) service.say(engine::Priority::kInfo, "reloaded");
    if (service.take_reload()) return 3;
  }
  return engine::kDone;
}

TEST(Service, WaitsForSignals) {
  const TempDir dir;
  Child child(wait_for_signals, dir);
  ASSERT_TRUE(child.has_complained("ready"));
  child.kill(SIGHUP);
  ASSERT_TRUE(child.has_complained("reloaded"));
  child.kill(SIGTERM);
  EXPECT_EQ(child.wait().status, 0);
}

int wait_for_a_pipe() {
  Service service("polaiga-test");
  const engine::Pipe pipe;
  std::array<pollfd, 2> polled{
      {{.fd = pipe.out.get(), .events = POLLIN, .revents = 0}, {.fd = -1, .events = POLLIN, .revents = POLLIN}}};
  service.wait(polled, 1ms);
  if (polled[0].revents != 0 || polled[1].revents != 0) return 3;
  if (::write(pipe.in.get(), "x", 1) != 1) return 4;
  service.wait(polled, 60s);
  return polled[0].revents == POLLIN && polled[1].revents == 0 ? 0 : 5;
}

TEST(Service, TellsWhichDescriptorIsReady) {
  const TempDir dir;
  EXPECT_EQ(Child(wait_for_a_pipe, dir).wait().status, 0);
}

// Whatever holds the program up, it ends within ten seconds.
int hang() {
  Service service("polaiga-test");
  service.say(engine::Priority::kInfo, "ready");
  for (;;) ::pause();
}

TEST(Service, EndsThoughItHangs) {
  const TempDir dir;
  Child child(hang, dir);
  ASSERT_TRUE(child.has_complained("ready"));
  const auto begin = std::chrono::steady_clock::now();
  child.kill(SIGTERM);
  const auto ended = child.wait();
  EXPECT_EQ(ended.status, engine::kFailed);
  EXPECT_NE(ended.err.find("polaiga-test did not end within 10 s, so it ended at once."), std::string::npos)
      << ended.err;
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 60s);
}

}  // namespace service_test
}  // namespace polaiga::output
