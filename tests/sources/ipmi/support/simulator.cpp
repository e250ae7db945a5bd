#include "support/simulator.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "base/descriptor.h"

namespace polaiga::ipmi {
namespace {

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

}  // namespace

Simulator::Simulator() : port_(free_port()) {
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
                 "  user 2 true \"" +
                 std::string(kUser) + "\" \"" + std::string(kPassword) + "\" user 10 md5\n");
  dir_.write("board.emu", kEmulator);
  dir_.write("board.sdrs", kSensors);
  dir_.write(kept + "sel.20", kLog);
  const auto compiled = engine::test::Shell().run("sdrcomp -8 -o '" + dir_.file(kept + "sdr.20.main") + "' '" +
                                                  dir_.file("board.sdrs") + "'");
  if (compiled.status != 0) throw std::runtime_error("sdrcomp failed (Debian: openipmi): " + compiled.err);
  start();
}

void Simulator::kill() {
  process_->kill(SIGKILL);
  process_->wait();
}

void Simulator::start() {
  process_.emplace(
      [this] {
        ::execlp("ipmi_sim", "ipmi_sim", "-n", "-c", dir_.file("lan.conf").c_str(), "-f",
                 dir_.file("board.emu").c_str(), "-s", dir_.file("state").c_str(), nullptr);
        return 127;
      },
      dir_);
  engine::test::comes_true([this] { return process_->has_ended() || answers(port_); });
  if (process_->has_ended() || !answers(port_)) throw std::runtime_error("ipmi_sim does not answer (Debian: openipmi)");
}

std::string Simulator::target() const { return "127.0.0.1:" + std::to_string(port_); }

}  // namespace polaiga::ipmi
