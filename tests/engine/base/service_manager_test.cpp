#include "base/service_manager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "support/manual_clock.h"
#include "support/notify_socket.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace service_manager_test {

using namespace std::chrono_literals;

class ServiceManagerTest : public ::testing::Test {
 protected:
  ServiceManagerTest() { ::setenv("NOTIFY_SOCKET", socket_.path().c_str(), 1); }
  ~ServiceManagerTest() override {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) ::unsetenv(name);
  }

  test::TempDir dir_;
  test::ManualClock clock_{0};
  test::NotifySocket socket_{dir_.file("notify")};
};

TEST_F(ServiceManagerTest, WhatIsToldAtOnce) {
  ServiceManager manager(clock_);
  manager.ready("all is well");
  EXPECT_EQ(socket_.next(), "READY=1\nSTATUS=all is well");
  const auto before = std::chrono::steady_clock::now().time_since_epoch();
  manager.reloading();
  const std::string reloading = "RELOADING=1\nMONOTONIC_USEC=";
  const std::string told = socket_.next(reloading);
  ASSERT_GT(told.size(), reloading.size());
  // The manager compares it with the machine's clock.
  const auto after = std::chrono::steady_clock::now().time_since_epoch();
  const std::chrono::microseconds at(std::stoll(told.substr(reloading.size())));
  EXPECT_GE(at, before - 1us);
  EXPECT_LE(at, after);
  manager.stopping();
  EXPECT_EQ(socket_.next(), "STOPPING=1");
  EXPECT_FALSE(socket_.has_message());
}

TEST_F(ServiceManagerTest, AStatusIsToldWhenItIsNewAndOnceASecond) {
  ServiceManager manager(clock_);
  manager.ready("one");
  EXPECT_EQ(socket_.next(), "READY=1\nSTATUS=one");
  manager.status("one");
  EXPECT_FALSE(manager.until_tick());
  manager.status("two");
  EXPECT_FALSE(socket_.has_message());
  EXPECT_EQ(manager.until_tick(), 1000ms);
  clock_.pass(999ms);
  manager.status("two");
  EXPECT_FALSE(socket_.has_message());
  EXPECT_EQ(manager.until_tick(), 1ms);
  clock_.pass(1ms);
  manager.status("three");
  EXPECT_EQ(socket_.next(), "STATUS=three");
  EXPECT_FALSE(manager.until_tick());
  manager.status("three");
  EXPECT_FALSE(socket_.has_message());
}

TEST_F(ServiceManagerTest, AStatusThatIsTheOldOneAgainIsNotTold) {
  ServiceManager manager(clock_);
  manager.ready("one");
  manager.status("two");
  manager.status("one");
  EXPECT_FALSE(manager.until_tick());
}

TEST_F(ServiceManagerTest, TheWatchdogIsToldInHalfItsTime) {
  ::setenv("WATCHDOG_USEC", "400000", 1);
  ServiceManager manager(clock_);
  manager.tick();
  EXPECT_EQ(socket_.next(), "WATCHDOG=1");
  manager.tick();
  EXPECT_FALSE(socket_.has_message());
  EXPECT_EQ(manager.until_tick(), 200ms);
  clock_.pass(199ms);
  manager.tick();
  EXPECT_FALSE(socket_.has_message());
  EXPECT_EQ(manager.until_tick(), 1ms);
  clock_.pass(1ms);
  EXPECT_EQ(manager.until_tick(), 0ms);
  manager.tick();
  EXPECT_EQ(socket_.next(), "WATCHDOG=1");
}

TEST_F(ServiceManagerTest, TheWatchdogOfThisProcessAlone) {
  ::setenv("WATCHDOG_USEC", "400000", 1);
  ::setenv("WATCHDOG_PID", "1", 1);
  ServiceManager of_another(clock_);
  EXPECT_FALSE(of_another.until_tick());
  of_another.tick();
  EXPECT_FALSE(socket_.has_message());
  ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
  EXPECT_TRUE(ServiceManager(clock_).until_tick());
}

TEST_F(ServiceManagerTest, WithoutAServiceManagerNobodyIsTold) {
  ::unsetenv("NOTIFY_SOCKET");
  ServiceManager manager(clock_);
  manager.ready("one");
  manager.tick();
  EXPECT_FALSE(manager.until_tick());
  EXPECT_FALSE(socket_.has_message());
}

}  // namespace service_manager_test
}  // namespace polaiga::engine
