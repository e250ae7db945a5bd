#include "controller/controller.h"

#include <algorithm>
#include <bitset>
#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "controller/sensor_list.h"
#include "standard/hexadecimal.h"

namespace polaiga::ipmi {
namespace {

using Bytes = std::span<const std::uint8_t>;

struct Question {
  NetFn function;
  std::uint8_t command;
  std::string_view name;
};
constexpr Question kGetDeviceGuid{NetFn::kApplication, 0x08, "Get Device GUID"};
constexpr Question kGetSystemGuid{NetFn::kApplication, 0x37, "Get System GUID"};
constexpr Question kGetSelInfo{NetFn::kStorage, 0x40, "Get SEL Info"};
constexpr Question kGetSelEntry{NetFn::kStorage, 0x43, "Get SEL Entry"};
constexpr Question kGetSensorReading{NetFn::kSensor, 0x2D, "Get Sensor Reading"};
constexpr Question kGetRepositoryInfo{NetFn::kStorage, 0x20, "Get SDR Repository Info"};
constexpr Question kGetDeviceSdrInfo{NetFn::kSensor, 0x20, "Get Device SDR Info"};

// A repository is read by the same two questions, whether it is that of the system or the controller's own.
struct Repository {
  Question get;
  Question reserve;
};
constexpr Repository kSystemRepository{{NetFn::kStorage, 0x23, "Get SDR"},
                                       {NetFn::kStorage, 0x22, "Reserve SDR Repository"}};
constexpr Repository kOwnRepository{{NetFn::kSensor, 0x21, "Get Device SDR"},
                                    {NetFn::kSensor, 0x22, "Reserve Device SDR Repository"}};

// Completion codes (IPMI 2.0, table 5-2; the one below C0h is of Get SEL Entry).
constexpr std::uint8_t kDone = 0x00;
constexpr std::uint8_t kErasing = 0x81;
constexpr std::uint8_t kBusy = 0xC0;
constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kTimedOut = 0xC3;
constexpr std::uint8_t kReservationCancelled = 0xC5;
constexpr std::uint8_t kOutOfRange = 0xC9;
constexpr std::uint8_t kNotPresent = 0xCB;
constexpr std::uint8_t kNoPrivilege = 0xD4;

// The controller's own slave address. Only its own sensors are asked for, and those at its LUN 0.
constexpr std::uint8_t kOwnAddress = 0x20;

// No real repository comes near these.
constexpr unsigned kMostRecords = 8192;
constexpr int kMostReservations = 20;

constexpr std::uint8_t low(unsigned value) { return static_cast<std::uint8_t>(value & 0xFFU); }
constexpr std::uint8_t high(unsigned value) { return static_cast<std::uint8_t>(value >> 8U & 0xFFU); }

std::uint16_t number16(Bytes data, std::size_t at) {
  return static_cast<std::uint16_t>(data[at] | static_cast<unsigned>(data[at + 1]) << 8U);
}
std::uint32_t number32(Bytes data, std::size_t at) {
  return number16(data, at) | static_cast<std::uint32_t>(number16(data, at + 2)) << 16U;
}

// Asks again when the controller is busy for a moment.
Answer ask(Session& session, const Question& question, Bytes data) {
  constexpr int kTries = 4;
  constexpr std::chrono::milliseconds kPause{50};
  Answer answer;
  for (int i = 0; i < kTries; ++i) {
    if (i > 0) std::this_thread::sleep_for(kPause);
    answer = session.ask(question.function, question.command, data);
    if (answer.completion != kBusy && answer.completion != kTimedOut && answer.completion != kErasing) break;
  }
  return answer;
}

bool is(const Answer& answer, std::initializer_list<std::uint8_t> codes) {
  return std::find(codes.begin(), codes.end(), answer.completion) != codes.end();
}

[[noreturn]] void throw_size(const Question& question, const Answer& answer, std::size_t size) {
  throw ControllerGone("the controller answers " + std::string(question.name) + " with " +
                       std::to_string(answer.data.size()) + " bytes of data, and there must be " +
                       std::to_string(size));
}

// Throws unless the controller has answered with at least `size` bytes of data.
void expect(const Question& question, const Answer& answer, std::size_t size) {
  const std::string name(question.name);
  if (answer.completion == kNoPrivilege) {
    throw ControllerRefuses("the controller does not allow this user " + name +
                            " (completion code D4h); give the user the privilege USER on this channel");
  }
  if (answer.completion != kDone) {
    throw ControllerGone("the controller answers " + name + " with completion code " + hex(answer.completion));
  }
  if (answer.data.size() < size) throw_size(question, answer, size);
}

bool has_no_repository(const Answer& answer) { return answer.completion == kInvalidCommand; }

// Reads the records of a repository, one after the other.
class RepositoryReader {
 public:
  RepositoryReader(Session& session, const Repository& repository) : session_(session), repository_(repository) {}

  struct Record {
    std::uint16_t next_id = Controller::kLastRecord;
    std::vector<std::uint8_t> bytes;
  };
  // Nothing: there is no such record.
  std::optional<Record> read(std::uint16_t id) {
    if (!is_reserved_) reserve();
    for (;;) {
      Record record;
      switch (read_all(id, record)) {
        case Result::kWhole:
          return record;
        case Result::kNone:
          return std::nullopt;
        case Result::kCancelled:
          reserve();
      }
    }
  }

 private:
  enum class Result : std::uint8_t { kWhole, kNone, kCancelled };

  void reserve() {
    if (++reservations_ > kMostReservations) {
      throw ControllerGone("the controller cancelled " + std::to_string(kMostReservations) +
                           " reservations of its SDR repository, so it cannot be read; maybe another program reads or "
                           "changes it all the time");
    }
    const auto answer = ask(session_, repository_.reserve, {});
    // Where there is nothing to reserve, 0 stands for a reservation.
    reservation_ = 0;
    is_reserved_ = true;
    if (has_no_repository(answer)) return;
    expect(repository_.reserve, answer, 2);
    reservation_ = number16(answer.data, 0);
  }

  // Adds to the record until it is whole: its header, and then what that says.
  Result read_all(std::uint16_t id, Record& record) {
    constexpr std::size_t kHeaderSize = 5;
    auto result = read_to(id, kHeaderSize, record);
    if (result == Result::kWhole) result = read_to(id, kHeaderSize + record.bytes[4], record);
    return result;
  }

  Result read_to(std::uint16_t id, std::size_t size, Record& record) {
    while (record.bytes.size() < size) {
      const auto wanted = std::min(size - record.bytes.size(), piece_);
      const auto offset = record.bytes.size();
      const std::uint8_t request[] = {low(reservation_),
                                      high(reservation_),
                                      low(id),
                                      high(id),
                                      low(static_cast<unsigned>(offset)),
                                      low(static_cast<unsigned>(wanted))};
      const auto answer = ask(session_, repository_.get, request);
      if (is(answer, {kReservationCancelled})) return Result::kCancelled;
      if (is(answer, {kNotPresent}) && offset == 0) return Result::kNone;
      if (answer.completion == kDone && answer.data.size() == 2 + wanted) {
        record.next_id = number16(answer.data, 0);
        record.bytes.insert(record.bytes.end(), answer.data.begin() + 2, answer.data.end());
      } else if (wanted > kSmallestPiece && answer.completion != kNoPrivilege) {
        // Controllers refuse what is too long for them with several completion codes, or cut it.
        piece_ = std::max(wanted / 2, kSmallestPiece);
      } else {
        expect(repository_.get, answer, 2 + wanted);
        throw_size(repository_.get, answer, 2 + wanted);
      }
    }
    return Result::kWhole;
  }

  static constexpr std::size_t kSmallestPiece = 4;

  Session& session_;
  const Repository& repository_;
  bool is_reserved_ = false;
  std::uint16_t reservation_ = 0;
  int reservations_ = 0;
  std::size_t piece_ = 32;
};

std::string describe(std::uint16_t id) { return "record " + hex(id) + " of the SDR repository"; }

std::vector<Sensor> read_sensors(RepositoryReader reader, const std::function<void(const std::string&)>& complain) {
  SensorList sensors(complain);
  std::bitset<0x10000> are_read;
  unsigned records = 0;
  for (std::uint16_t id = Controller::kFirstRecord; id != Controller::kLastRecord;) {
    if (are_read[id]) {
      complain("the chain of the SDR repository's records comes back to record " + hex(id) + "; reading ends there");
      break;
    }
    if (++records > kMostRecords) {
      complain("the SDR repository has more than " + std::to_string(kMostRecords) + " records; reading ends there");
      break;
    }
    const auto record = reader.read(id);
    if (!record) {
      if (id != Controller::kFirstRecord) complain("there is no " + describe(id) + "; reading ends there");
      break;
    }
    are_read[id] = true;
    const auto own_id = number16(record->bytes, 0);
    are_read[own_id] = true;
    sensors.add(record->bytes, describe(own_id));
    id = record->next_id;
  }
  return sensors.take();
}

bool is_guid(Bytes bytes) {
  const auto all_are = [bytes](std::uint8_t value) {
    return std::all_of(bytes.begin(), bytes.end(), [value](std::uint8_t byte) { return byte == value; });
  };
  return !all_are(0x00) && !all_are(0xFF);
}

}  // namespace

LogInfo Controller::log_info() {
  const auto answer = ask(session_, kGetSelInfo, {});
  expect(kGetSelInfo, answer, 14);
  constexpr unsigned kHasOverflowed = 0x80;
  return {.entries = number16(answer.data, 1),
          .free_bytes = number16(answer.data, 3),
          .added = number32(answer.data, 5),
          .erased = number32(answer.data, 9),
          .has_overflowed = (answer.data[13] & kHasOverflowed) != 0};
}

std::optional<LogEntry> Controller::log_entry(std::uint16_t id) {
  // Without a reservation, from offset 0, the whole record.
  const std::uint8_t request[] = {0x00, 0x00, low(id), high(id), 0x00, 0xFF};
  const auto answer = ask(session_, kGetSelEntry, request);
  // Of the request only the id can be out of range.
  if (is(answer, {kNotPresent, kOutOfRange})) return std::nullopt;
  SelBytes bytes{};
  expect(kGetSelEntry, answer, 2 + bytes.size());
  std::copy_n(answer.data.begin() + 2, bytes.size(), bytes.begin());
  LogEntry entry{.next_id = number16(answer.data, 0), .record = parse_sel_record(bytes)};
  if (entry.next_id == entry.record.id) entry.next_id = kLastRecord;
  return entry;
}

RepositoryInfo Controller::repository_info() {
  const auto answer = ask(session_, kGetRepositoryInfo, {});
  if (!has_no_repository(answer)) {
    expect(kGetRepositoryInfo, answer, 14);
    return {.records = number16(answer.data, 1), .added = number32(answer.data, 5), .erased = number32(answer.data, 9)};
  }
  // The controller has only records of its own, and their changes are counted where sensors come and go.
  const auto own = ask(session_, kGetDeviceSdrInfo, {});
  expect(kGetDeviceSdrInfo, own, 2);
  return {.records = own.data[0], .added = own.data.size() >= 6 ? number32(own.data, 2) : 0, .erased = 0};
}

std::vector<Sensor> Controller::sensors(const std::function<void(const std::string&)>& complain) {
  const bool is_own = has_no_repository(ask(session_, kGetRepositoryInfo, {}));
  return read_sensors(RepositoryReader(session_, is_own ? kOwnRepository : kSystemRepository), complain);
}

std::optional<SensorState> Controller::state(const Sensor& sensor) {
  if (sensor.is_event_only || sensor.key.owner != kOwnAddress || sensor.key.lun != 0) return std::nullopt;
  const std::uint8_t request[] = {sensor.key.number};
  const auto answer = ask(session_, kGetSensorReading, request);
  if (answer.completion != kDone) return std::nullopt;
  try {
    return parse_sensor_state(sensor, answer.data);
  } catch (const BadRecord&) {
    // One sensor that answers nonsense must not keep the others from being read.
    return std::nullopt;
  }
}

std::optional<Guid> Controller::guid() {
  for (const auto& question : {kGetDeviceGuid, kGetSystemGuid}) {
    const auto answer = ask(session_, question, {});
    // A controller that is busy must not seem to be another one.
    if (is(answer, {kBusy, kTimedOut})) expect(question, answer, 0);
    Guid guid{};
    if (answer.completion != kDone || answer.data.size() < guid.size()) continue;
    std::copy_n(answer.data.begin(), guid.size(), guid.begin());
    if (is_guid(guid)) return guid;
  }
  return std::nullopt;
}

}  // namespace polaiga::ipmi
