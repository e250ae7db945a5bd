#include "daemon/service_manager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "support/notify_socket.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

class ServiceManagerTest : public ::testing::Test {
 protected:
  ServiceManagerTest() { ::setenv("NOTIFY_SOCKET", socket_.path().c_str(), 1); }
  ~ServiceManagerTest() override {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) ::unsetenv(name);
  }

  test::TempDir dir_;
  test::NotifySocket socket_{dir_.file("notify")};
};

TEST_F(ServiceManagerTest, WhatIsToldAtOnce) {
  ServiceManager manager;
  manager.ready("all is well");
  EXPECT_EQ(socket_.next(), "READY=1\nSTATUS=all is well");
  manager.reloading();
  const std::string reloading = "RELOADING=1\nMONOTONIC_USEC=";
  const std::string told = socket_.next(reloading);
  const auto now =
      std::chrono::duration_cast<std::chrono::microseconds>(ServiceManager::Clock::now().time_since_epoch());
  ASSERT_GT(told.size(), reloading.size());
  EXPECT_NEAR(std::stod(told.substr(reloading.size())), static_cast<double>(now.count()), 20e6);
  manager.stopping();
  EXPECT_EQ(socket_.next(), "STOPPING=1");
  EXPECT_FALSE(socket_.has_message());
}

TEST_F(ServiceManagerTest, AStatusIsToldWhenItIsNewAndOnceASecond) {
  ServiceManager manager;
  manager.ready("one");
  EXPECT_EQ(socket_.next(), "READY=1\nSTATUS=one");
  manager.status("one");
  EXPECT_FALSE(manager.until_tick());
  manager.status("two");
  EXPECT_FALSE(socket_.has_message());
  ASSERT_TRUE(manager.until_tick());
  EXPECT_LE(*manager.until_tick(), 1s);
  std::this_thread::sleep_for(*manager.until_tick());
  manager.status("three");
  EXPECT_EQ(socket_.next(), "STATUS=three");
  EXPECT_FALSE(manager.until_tick());
  manager.status("three");
  EXPECT_FALSE(socket_.has_message());
}

TEST_F(ServiceManagerTest, AStatusThatIsTheOldOneAgainIsNotTold) {
  ServiceManager manager;
  manager.ready("one");
  manager.status("two");
  manager.status("one");
  EXPECT_FALSE(manager.until_tick());
}

TEST_F(ServiceManagerTest, TheWatchdogIsToldInHalfItsTime) {
  ::setenv("WATCHDOG_USEC", "400000", 1);
  ServiceManager manager;
  manager.tick();
  EXPECT_EQ(socket_.next(), "WATCHDOG=1");
  manager.tick();
  EXPECT_FALSE(socket_.has_message());
  ASSERT_TRUE(manager.until_tick());
  EXPECT_LE(*manager.until_tick(), 200ms);
  std::this_thread::sleep_for(*manager.until_tick());
  EXPECT_EQ(*manager.until_tick(), 0ms);
  manager.tick();
  EXPECT_EQ(socket_.next(), "WATCHDOG=1");
}

TEST_F(ServiceManagerTest, TheWatchdogOfThisProcessAlone) {
  ::setenv("WATCHDOG_USEC", "400000", 1);
  ::setenv("WATCHDOG_PID", "1", 1);
  ServiceManager of_another;
  EXPECT_FALSE(of_another.until_tick());
  of_another.tick();
  EXPECT_FALSE(socket_.has_message());
  ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
  EXPECT_TRUE(ServiceManager().until_tick());
}

TEST_F(ServiceManagerTest, WithoutAServiceManagerNobodyIsTold) {
  ::unsetenv("NOTIFY_SOCKET");
  ServiceManager manager;
  manager.ready("one");
  manager.tick();
  EXPECT_FALSE(manager.until_tick());
  EXPECT_FALSE(socket_.has_message());
}

}  // namespace
}  // namespace polaiga::engine
