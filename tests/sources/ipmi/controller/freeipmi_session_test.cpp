// A session with OpenIPMI's simulator (ipmi_sim) on loopback, which speaks IPMI 2.0 as a real controller does.
#include "controller/freeipmi_session.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "controller/controller.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::ipmi {
namespace {

using engine::test::Child;
using engine::test::TempDir;

// A fan whose reading 38h is below its lower non-critical threshold of 40h, a power supply that is there, and what
// only the log tells of.
constexpr const char* kSensors = R"(sdr type 1
  sensor_owner_id 0x20
  sensor_owner_lun 0
  channel_number 0
  sensor_number 1
  entity_id 29
  entity_instance 1
  sensor_type 4
  event_reading_type_code 1
  sensor_threshold_access 1
  id_string "FAN1_TACH1"
endsdr
sdr type 2
  sensor_owner_id 0x20
  sensor_owner_lun 0
  channel_number 0
  sensor_number 2
  entity_id 10
  entity_instance 3
  sensor_type 8
  event_reading_type_code 0x6f
  id_string "PSU3_STATUS"
endsdr
sdr type 3
  sensor_owner_id 0x20
  sensor_owner_lun 0
  channel_number 0
  sensor_number 3
  entity_id 34
  entity_instance 1
  sensor_type 15
  event_reading_type_code 3
  id_string "BIOSPOST_TIMEOUT"
endsdr
)";
constexpr const char* kEmulator = R"(mc_setbmc 0x20
mc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02 persist_sdr
sel_enable 0x20 100 0x0a
sensor_add 0x20 0 1 4 1
sensor_set_threshold 0x20 0 1 settable 111111 0xc0 0xb0 0xa0 0x20 0x30 0x40
sensor_set_event_support 0x20 0 1 enable scanning per-state 000111111111111 000111111111111 000111111111111 000111111111111
sensor_set_value 0x20 0 1 0x38 0
sensor_add 0x20 0 2 8 0x6f
sensor_set_event_support 0x20 0 2 enable scanning per-state 111111111111111 111111111111111 111111111111111 111111111111111
sensor_set_bit 0x20 0 2 0 1 0
sensor_set_bit 0x20 0 2 8 1 0
mc_enable 0x20
)";
// As the simulator keeps them, the latest first: ids, and the bytes of the records.
constexpr const char* kLog =
    "7:d:\\07\\00\\02\\80Cm8 \\00\\04\\08\\02\\ef\\00\\ff\\ff\n"
    "5:d:\\05\\00\\02\\01\\00\\00\\00 \\00\\04\\04\\01\\01\\54\\38\\40\n"
    "last_erase_time:i:11\n"
    "last_add_time:i:12\n";

std::uint16_t free_port() {
  const engine::Descriptor probe(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(probe.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no free port");
  }
  return ntohs(address.sin_port);
}

// Asks for the channel's authentication capabilities, which needs no session.
bool answers(std::uint16_t port) {
  const engine::Descriptor probe(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const std::array<std::uint8_t, 23> request = {0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                                0x00, 0x09, 0x20, 0x18, 0xC8, 0x81, 0x00, 0x38, 0x8E, 0x04, 0xB5};
  if (::connect(probe.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return false;
  if (::send(probe.get(), request.data(), request.size(), 0) < 0) return false;
  pollfd ready{.fd = probe.get(), .events = POLLIN, .revents = 0};
  std::array<char, 512> answer{};
  return ::poll(&ready, 1, 200) == 1 && ::recv(probe.get(), answer.data(), answer.size(), 0) > 0;
}

class FreeIpmi : public testing::Test {
 protected:
  void SetUp() override {
    port_ = free_port();
    target_ = "127.0.0.1:" + std::to_string(port_);
    const std::string kept = "state/ipmi_sim/board/";
    std::filesystem::create_directories(dir_.file(kept));
    dir_.write("lan.conf",
               "name \"board\"\n"
               "set_working_mc 0x20\n"
               "  startlan 1\n"
               "    addr 127.0.0.1 " +
                   std::to_string(port_) +
                   "\n"
                   "    priv_limit admin\n"
                   "    allowed_auths_user md5\n"
                   "    guid a123456789abcdefa123456789abcdef\n"
                   "  endlan\n"
                   "  user 2 true \"watcher\" \"not-a-secret\" user 10 md5\n");
    dir_.write("board.emu", kEmulator);
    dir_.write("board.sdrs", kSensors);
    dir_.write(kept + "sel.20", kLog);
    const engine::test::Shell shell;
    const auto compiled =
        shell.run("sdrcomp -8 -o '" + dir_.file(kept + "sdr.20.main") + "' '" + dir_.file("board.sdrs") + "'");
    ASSERT_EQ(compiled.status, 0) << compiled.err << " (Debian: openipmi)";
    start();
  }

  void start() {
    simulator_.emplace(
        [this] {
          ::execlp("ipmi_sim", "ipmi_sim", "-n", "-c", dir_.file("lan.conf").c_str(), "-f",
                   dir_.file("board.emu").c_str(), "-s", dir_.file("state").c_str(), nullptr);
          return 127;
        },
        dir_);
    ASSERT_TRUE(engine::test::comes_true([this] { return simulator_->has_ended() || answers(port_); }));
    ASSERT_FALSE(simulator_->has_ended()) << "ipmi_sim did not start (Debian: openipmi)";
  }

  void kill() {
    simulator_->kill(SIGKILL);
    simulator_->wait();
  }

  NetworkAccess access() const {
    return {
        .target = target_, .user = "watcher", .password = "not-a-secret", .workarounds = {"opensesspriv"}, .pause = 1};
  }

  std::string target_;

 private:
  TempDir dir_;
  std::uint16_t port_ = 0;
  std::optional<Child> simulator_;
};

std::string refused(const NetworkAccess& access) {
  try {
    const FreeIpmiSession session(access);
  } catch (const ControllerRefuses& error) {
    return error.what();
  }
  return "it was not refused";
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
  // The simulator has fewer than a hundred.
  for (int i = 0; i < 100; ++i) {
    FreeIpmiSession session(access());
    EXPECT_EQ(Controller(session).log_info().entries, 2);
  }
}

TEST_F(FreeIpmi, IsRefusedAtOnce) {
  const auto name = "controller " + target_ + ": ";
  const auto starts = [&name](const std::string& message, const std::string& text) {
    EXPECT_EQ(message.substr(0, name.size() + text.size()), name + text);
  };
  EXPECT_LT(seconds_of([&] {
              auto wrong = access();
              wrong.password = "guessed";
              starts(refused(wrong), "the password is not that of the user; ");
              wrong.password = "";
              starts(refused(wrong), "the password is not that of the user; ");
              wrong = access();
              wrong.user = "nobody";
              starts(refused(wrong), "it has no such user; ");
              wrong = access();
              wrong.cipher = 17;
              starts(refused(wrong), "it does not begin a session as it was asked to; try the other cipher suite");
              wrong = access();
              wrong.workarounds.clear();
              starts(refused(wrong), "the user does not get the privilege USER; ");
            }),
            3.0);
}

TEST_F(FreeIpmi, NoticesThatTheControllerIsGone) {
  FreeIpmiSession session(access());
  Controller controller(session);
  controller.log_info();
  kill();
  // The time that a request may take, the pause between requests, and the last time that it is sent again.
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(controller.log_info(), ControllerGone); }), 5.0 + 1.0 + 1.0 + 2.0);
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(controller.log_info(), ControllerGone); }), 1.0) << "it is lost";
  EXPECT_LT(seconds_of([&] { EXPECT_THROW(FreeIpmiSession{access()}, ControllerGone); }), 9.0);
  start();
  FreeIpmiSession again(access());
  EXPECT_EQ(Controller(again).log_info().entries, 2);
}

std::string message_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
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
  EXPECT_THROW(FreeIpmiSession{std::string("/dev/null")}, ControllerRefuses);
  EXPECT_EQ(message_of([] { FreeIpmiSession{std::string("/dev/null")}; }),
            "controller /dev/null: this is no device of the kernel's IPMI driver; give one as /dev/ipmi0");
}

}  // namespace
}  // namespace polaiga::ipmi
