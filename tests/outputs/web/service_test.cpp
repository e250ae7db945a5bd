// What polaiga-web tells its service manager.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

#include "support/notify_socket.h"
#include "support/web.h"

namespace polaiga::web::test {
namespace {

class ServiceTest : public WebTest {
 protected:
  void SetUp() override {
    start_engine();
    ::setenv("NOTIFY_SOCKET", manager_.path().c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
  }

  std::string ready() const { return "READY=1\nSTATUS=http://" + address() + "/"; }

  engine::test::NotifySocket manager_{web_dir_.file("notify")};
};

TEST_F(ServiceTest, TellsWhenItIsReadyReloadsAndStops) {
  start_web();
  EXPECT_EQ(manager_.next(), ready());
  web_->kill(SIGHUP);
  EXPECT_EQ(manager_.next().rfind("RELOADING=1\nMONOTONIC_USEC=", 0), 0);
  EXPECT_EQ(manager_.next(), ready());
  stop_web(SIGTERM);
  EXPECT_EQ(manager_.next(), "STOPPING=1");
}

TEST_F(ServiceTest, TellsTheWatchdogThatItIsAlive) {
  ::setenv("WATCHDOG_USEC", "200000", 1);
  start_web();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(manager_.next("WATCHDOG=1"), "WATCHDOG=1");
}

TEST_F(ServiceTest, DoesNotTellThatItIsReadyWhenItCannotStart) {
  const engine::test::Ended got =
      Shell().run("'" POLAIGA_WEB "' --ledger '" + ledger() + "' --listen 127.0.0.1:0 --users /nonexistent/users");
  EXPECT_EQ(got.status, 2);
  EXPECT_FALSE(manager_.has_message());
}

TEST(VersionTest, IsThatOfTheProject) {
  const engine::test::Ended got = Shell().run("'" POLAIGA_WEB "' --version");
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "polaiga-web " POLAIGA_VERSION "\n");
}

}  // namespace
}  // namespace polaiga::web::test
