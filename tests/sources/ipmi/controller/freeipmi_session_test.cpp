// A session with OpenIPMI's simulator (ipmi_sim) on loopback, which speaks IPMI 2.0 as a real controller does.
#include "controller/freeipmi_session.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "controller/controller.h"
#include "support/simulator.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace freeipmi_session_test {

class FreeIpmi : public testing::Test {
 protected:
  NetworkAccess access() const {
    return {.target = simulator_.target(),
            .user = std::string(Simulator::kUser),
            .password = std::string(Simulator::kPassword),
            .workarounds = {"opensesspriv"},
            .pause = 1};
  }

  Simulator simulator_;
};

std::string refused(const NetworkAccess& access) {
  try {
    const FreeIpmiSession session(access);
  } catch (const ControllerRefuses& error) {
    return error.what();
  }
  return "it was not refused";
}

std::string message_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

double seconds_of(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void complain_not(const std::string& what) { ADD_FAILURE() << what; }

TEST_F(FreeIpmi, ReadsTheLog) {
  FreeIpmiSession session(access());
  Controller controller(session);
  const auto info = controller.log_info();
  EXPECT_EQ(info.entries, 2);
  EXPECT_EQ(info.erased, 11);
  EXPECT_EQ(info.added, 12);
  const auto first = controller.log_entry(Controller::kFirstRecord);
  ASSERT_TRUE(first);
  const SelBytes bytes = {0x05, 0, 0x02, 0x01, 0, 0, 0, 0x20, 0, 0x04, 0x04, 0x01, 0x01, 0x54, 0x38, 0x40};
  EXPECT_EQ(first->record.bytes, bytes);
  EXPECT_EQ(first->next_id, 7);
  const auto last = controller.log_entry(first->next_id);
  ASSERT_TRUE(last);
  EXPECT_EQ(last->next_id, Controller::kLastRecord);
  EXPECT_EQ(last->record.time, 0x386D4380);
  EXPECT_TRUE(last->record.event->is_deasserted);
  EXPECT_EQ(controller.log_entry(6), std::nullopt);
}

TEST_F(FreeIpmi, ReadsSensors) {
  FreeIpmiSession session(access());
  Controller controller(session);
  EXPECT_EQ(controller.repository_info().records, 3);
  const auto sensors = controller.sensors(complain_not);
  ASSERT_EQ(sensors.size(), 3);
  EXPECT_EQ(sensors[0].name, "FAN1_TACH1");
  EXPECT_EQ(sensors[0].key, (SensorKey{0x20, 0, 1}));
  EXPECT_EQ(sensors[0].entity_id, 29);
  EXPECT_EQ(sensors[1].name, "PSU3_STATUS");
  EXPECT_EQ(sensors[1].entity_instance, 3);
  EXPECT_EQ(sensors[1].reading_type, kSensorSpecificReading);
  EXPECT_EQ(sensors[2].name, "BIOSPOST_TIMEOUT");
  EXPECT_TRUE(sensors[2].is_event_only);
  EXPECT_EQ(controller.state(sensors[1]), (SensorState{true, 0x0101}));
  EXPECT_EQ(controller.state(sensors[0]), (SensorState{true, 1U << 0U}));
  EXPECT_EQ(controller.state(sensors[2]), std::nullopt);
}

TEST_F(FreeIpmi, ReadsTheGuid) {
  FreeIpmiSession session(access());
  const Guid guid = {0xA1, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xA1, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  EXPECT_EQ(Controller(session).guid(), guid);
}

TEST_F(FreeIpmi, GivesBackItsSlot) {
  std::vector<std::unique_ptr<FreeIpmiSession>> sessions;
  std::string message;
  while (sessions.size() < 1000 && message.empty()) {
    message = message_of([&] { sessions.push_back(std::make_unique<FreeIpmiSession>(access())); });
  }
  EXPECT_EQ(message, "controller " + simulator_.target() +
                         ": it begins no session; maybe all its sessions are in use, else try the other cipher suite "
                         "(--cipher 3 or 17) or a workaround");
  EXPECT_THROW(FreeIpmiSession{access()}, ControllerGone) << "a session may end, so it is no refusal";
  sessions.pop_back();
  FreeIpmiSession session(access());
  EXPECT_EQ(Controller(session).log_info().entries, 2);
}

TEST_F(FreeIpmi, IsRefusedAtOnce) {
  const auto name = "controller " + simulator_.target() + ": ";
  const auto starts = [&name](const std::string& message, const std::string& text) {
    EXPECT_EQ(message.substr(0, name.size() + text.size()), name + text);
  };
  EXPECT_LT(seconds_of([&] {
              // A wrong cipher suite is told at once, too. The simulator tells it as it tells that it is full.
              auto wrong = access();
              wrong.cipher = 17;
              starts(message_of([&] { FreeIpmiSession{wrong}; }), "it begins no session; ");
              // The rest are refusals.
              wrong = access();
              wrong.password = "guessed";
              starts(refused(wrong), "the password is not that of the user; ");
              wrong.password = "";
              starts(refused(wrong), "the password is not that of the user; ");
              wrong = access();
              wrong.user = "nobody";
              starts(refused(wrong), "it has no such user; ");
              wrong = access();
              wrong.workarounds.clear();
              starts(refused(wrong), "the user does not get the privilege USER; ");
            }),
            5.5);
}

TEST_F(FreeIpmi, NoticesThatTheControllerIsGone) {
  FreeIpmiSession session(access());
  Controller controller(session);
  controller.log_info();
  simulator_.kill();
  // The time that a request may take, the pause between requests, and the last time that it is sent again.
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(controller.log_info(), ControllerGone); }), 5.0 + 1.0 + 1.0 + 2.0);
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(controller.log_info(), ControllerGone); }), 1.0) << "it is lost";
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(FreeIpmiSession{access()}, ControllerGone); }), 9.0);
  simulator_.start();
  FreeIpmiSession again(access());
  EXPECT_EQ(Controller(again).log_info().entries, 2);
}

TEST_F(FreeIpmi, TellsThatASignalInterruptedIt) {
  FreeIpmiSession session(access());
  simulator_.kill();
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, nullptr), 0);
  // One signal alone may come before the request has begun.
  const timeval pause{.tv_sec = 0, .tv_usec = 200'000};
  const itimerval every{.it_interval = pause, .it_value = pause};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &every, nullptr), 0);
  EXPECT_EQ(message_of([&] { Controller(session).log_info(); }),
            "controller " + simulator_.target() + ": a signal interrupted the request");
  const itimerval never{};
  EXPECT_EQ(::setitimer(ITIMER_REAL, &never, nullptr), 0);
}

TEST(FreeIpmiOptions, AreCheckedBeforeAnythingIsSent) {
  const NetworkAccess good{.target = "127.0.0.1:1", .user = "watcher", .password = "not-a-secret"};
  auto wrong = good;
  wrong.user = std::string(17, 'u');
  EXPECT_EQ(refused(wrong), "the name of a user of IPMI has at most 16 bytes");
  wrong = good;
  wrong.password = std::string(21, 'p');
  EXPECT_EQ(refused(wrong), "a password of IPMI has at most 20 bytes, and the one that was given has 21");
  wrong = good;
  wrong.cipher = 4;
  EXPECT_EQ(refused(wrong), "the cipher suite is 3 or 17, not 4");
  wrong = good;
  wrong.workarounds = {"authcap", "magic"};
  EXPECT_EQ(refused(wrong),
            "there is no workaround 'magic'; there are authcap, intel20, supermicro20, sun20, opensesspriv, "
            "integritycheckvalue, nochecksumcheck");
  wrong = good;
  wrong.target = "127.0.0.1:99999";
  EXPECT_EQ(refused(wrong), "controller 127.0.0.1:99999: this is no target; give HOST, HOST:PORT or [ADDRESS]:PORT");
}

TEST(FreeIpmiInBand, SaysWhatIsWrongWithTheDevice) {
  EXPECT_THROW(FreeIpmiSession{std::string("/dev/no-such-device")}, ControllerGone);
  EXPECT_EQ(message_of([] { FreeIpmiSession{std::string("/dev/no-such-device")}; }),
            "controller /dev/no-such-device: there is no such device; load the kernel's modules for it (modprobe -a "
            "ipmi_si ipmi_devintf)");
  // Nobody may enter this directory but its owner.
  const engine::test::TempDir directory;
  const std::string device = directory.write("device", "");
  std::filesystem::permissions(directory.path(), std::filesystem::perms::none);
  EXPECT_EXIT(
      {
        constexpr uid_t kNobody = 65534;
        if (::geteuid() == 0 && ::setuid(kNobody) != 0) ::_exit(2);
        try {
          const FreeIpmiSession session(device);
        } catch (const ControllerGone& error) {
          ::write(STDERR_FILENO, error.what(), std::strlen(error.what()));
          ::_exit(0);
        }
        ::_exit(1);
      },
      testing::ExitedWithCode(0), "/device: this process may not open the device; run it as a user who may$");
  std::filesystem::permissions(directory.path(), std::filesystem::perms::owner_all);
  EXPECT_THROW(FreeIpmiSession{std::string("/dev/null")}, ControllerRefuses);
  EXPECT_EQ(message_of([] { FreeIpmiSession{std::string("/dev/null")}; }),
            "controller /dev/null: this is no device of the kernel's IPMI driver; give one as /dev/ipmi0");
}

}  // namespace freeipmi_session_test
}  // namespace polaiga::ipmi
