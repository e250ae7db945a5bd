#include "support/fake_controller.h"

#include <algorithm>

namespace polaiga::ipmi {
namespace {

constexpr std::uint8_t kInvalidCommand = 0xC1;
constexpr std::uint8_t kReservationCancelled = 0xC5;
constexpr std::uint8_t kLengthInvalid = 0xC7;
constexpr std::uint8_t kOutOfRange = 0xC9;
constexpr std::uint8_t kTooLong = 0xCA;
constexpr std::uint8_t kNotPresent = 0xCB;

constexpr std::uint16_t kFirst = 0x0000;
constexpr std::uint16_t kLast = 0xFFFF;

void append16(std::vector<std::uint8_t>& bytes, unsigned value) {
  bytes.push_back(static_cast<std::uint8_t>(value & 0xFFU));
  bytes.push_back(static_cast<std::uint8_t>(value >> 8U & 0xFFU));
}
void append32(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  append16(bytes, value & 0xFFFFU);
  append16(bytes, value >> 16U);
}
template <class Record>
void set_id(Record& record, unsigned id) {
  record[0] = static_cast<std::uint8_t>(id & 0xFFU);
  record[1] = static_cast<std::uint8_t>(id >> 8U & 0xFFU);
}
std::uint16_t number16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] | static_cast<unsigned>(bytes[at + 1]) << 8U);
}

// The record of an id (or the first or last one), and the id of the one that follows.
template <class Records>
std::optional<std::size_t> find(const Records& records, std::uint16_t id) {
  if (records.empty()) return std::nullopt;
  if (id == kFirst) return 0;
  if (id == kLast) return records.size() - 1;
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (number16(records[i], 0) == id) return i;
  }
  return std::nullopt;
}
template <class Records>
std::uint16_t id_after(const Records& records, std::size_t at, const std::map<std::uint16_t, std::uint16_t>& follows) {
  if (const auto said = follows.find(number16(records[at], 0)); said != follows.end()) return said->second;
  return at + 1 < records.size() ? number16(records[at + 1], 0) : kLast;
}

// An SDR whose name begins at byte `name_at`, behind its length.
std::vector<std::uint8_t> make_sdr(std::uint16_t id, std::uint8_t type, const FakeSensor& sensor, std::size_t name_at) {
  std::vector<std::uint8_t> bytes(name_at, 0);
  set_id(bytes, id);
  bytes[2] = 0x51;
  bytes[3] = type;
  bytes[4] = static_cast<std::uint8_t>(name_at - 5 + sensor.name.size());
  bytes[5] = 0x20;
  bytes[7] = sensor.number;
  bytes[8] = sensor.entity_id;
  bytes[9] = sensor.entity_instance;
  bytes[name_at - 1] = static_cast<std::uint8_t>(0xC0U | sensor.name.size());
  bytes.insert(bytes.end(), sensor.name.begin(), sensor.name.end());
  return bytes;
}

}  // namespace

std::vector<std::uint8_t> full_sdr(std::uint16_t id, const FakeSensor& sensor) {
  auto bytes = make_sdr(id, 0x01, sensor, 48);
  bytes[12] = sensor.sensor_type;
  bytes[13] = sensor.reading_type;
  return bytes;
}

std::vector<std::uint8_t> event_only_sdr(std::uint16_t id, const FakeSensor& sensor) {
  auto bytes = make_sdr(id, 0x03, sensor, 17);
  bytes[10] = sensor.sensor_type;
  bytes[11] = sensor.reading_type;
  return bytes;
}

Answer FakeController::ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) {
  ++asked_;
  const Command key{function, command};
  ++counts_[key];
  if (before_answer) before_answer();
  if (refuses) throw ControllerRefuses(*refuses);
  if (gone) throw ControllerGone(*gone);
  if (gone_after && (*gone_after)-- <= 0) {
    gone_after = 0;
    throw ControllerGone("the controller does not answer");
  }
  if (auto next = next_answers_.find(key); next != next_answers_.end() && !next->second.empty()) {
    auto answer = next->second.front();
    next->second.erase(next->second.begin());
    return answer;
  }
  if (const auto always = answers_.find(key); always != answers_.end()) return always->second;
  return right_answer(key, data);
}

Answer FakeController::right_answer(const Command& command, Bytes data) {
  const auto guid = [](const auto& value) {
    return value ? Answer{0, {value->begin(), value->end()}} : Answer{kInvalidCommand, {}};
  };
  if (command.first == NetFn::kApplication) {
    if (command.second == 0x08) return guid(device_guid);
    if (command.second == 0x37) return guid(system_guid);
  } else if (command.first == NetFn::kStorage) {
    if (command.second == 0x40) return log_info();
    if (command.second == 0x43) return log_entry(data);
    if (has_repository) {
      if (command.second == 0x20) return repository_info();
      if (command.second == 0x22) return reserve();
      if (command.second == 0x23) return sdr(data);
    }
  } else {
    if (command.second == 0x2D) return reading(data);
    if (!has_repository) {
      if (command.second == 0x20) return own_sdr_info();
      if (command.second == 0x22) return reserve();
      if (command.second == 0x21) return sdr(data);
    }
  }
  return {kInvalidCommand, {}};
}

std::optional<SelBytes> FakeController::add(const FakeEvent& event) {
  SelBytes record{};
  record[2] = 0x02;
  for (std::size_t i = 0; i < 4; ++i) record[3 + i] = static_cast<std::uint8_t>(clock >> (8 * i) & 0xFFU);
  record[7] = 0x20;
  record[9] = 0x04;
  record[10] = event.sensor_type;
  record[11] = event.sensor;
  record[12] = static_cast<std::uint8_t>(event.reading_type | (event.is_deasserted ? 0x80U : 0U));
  record[13] = event.offset;
  record[14] = event.data_2;
  record[15] = event.data_3;
  return add(record);
}

std::optional<SelBytes> FakeController::add(SelBytes record) {
  if (log_.size() >= log_capacity) {
    if (!log_wraps) {
      log_overflowed_ = true;
      return std::nullopt;
    }
    log_.erase(log_.begin());
  }
  set_id(record, next_record_id);
  next_record_id = next_record_id == last_record_id ? first_record_id : static_cast<std::uint16_t>(next_record_id + 1);
  log_added_ = clock;
  log_.push_back(record);
  return record;
}

void FakeController::clear_log() {
  log_.clear();
  log_erased_ = clock;
  log_overflowed_ = false;
}

void FakeController::restart() {
  clock = 0;
  next_record_id = first_record_id;
  for (auto& [sensor, reading] : readings_) reading = {.is_available = true, .asserted = 0};
}

Answer FakeController::log_info() const {
  Answer answer{0, {0x51}};
  append16(answer.data, static_cast<unsigned>(log_.size()));
  append16(answer.data, static_cast<unsigned>(std::min<std::size_t>((log_capacity - log_.size()) * 16, 0xFFFF)));
  append32(answer.data, log_added_);
  append32(answer.data, log_erased_);
  answer.data.push_back(log_overflowed_ ? 0x82 : 0x02);
  return answer;
}

Answer FakeController::log_entry(Bytes data) const {
  if (data.size() != 6) return {kLengthInvalid, {}};
  if (data[4] != 0 || data[5] != 0xFF) return {kOutOfRange, {}};
  const auto at = find(log_, number16(data, 2));
  if (!at) return {kNotPresent, {}};
  Answer answer;
  append16(answer.data, id_after(log_, *at, follows));
  answer.data.insert(answer.data.end(), log_[*at].begin(), log_[*at].end());
  return answer;
}

Answer FakeController::repository_info() const {
  Answer answer{0, {0x51}};
  append16(answer.data, static_cast<unsigned>(sdrs_.size()));
  append16(answer.data, 0xFFFF);
  append32(answer.data, sdr_added_);
  append32(answer.data, sdr_erased_);
  answer.data.push_back(0x02);
  return answer;
}

// Sensors at LUN 0 that come and go, so the time of the last change is told.
Answer FakeController::own_sdr_info() const {
  Answer answer{0, {static_cast<std::uint8_t>(sdrs_.size()), 0x81}};
  append32(answer.data, sdr_added_);
  return answer;
}

Answer FakeController::reserve() {
  ++reservation_;
  Answer answer;
  append16(answer.data, reservation_);
  return answer;
}

Answer FakeController::sdr(Bytes data) {
  if (data.size() != 6) return {kLengthInvalid, {}};
  if (cancels > 0) {
    --cancels;
    ++reservation_;
  }
  if (number16(data, 0) != reservation_) return {kReservationCancelled, {}};
  const auto at = find(sdrs_, number16(data, 2));
  if (!at) return {kNotPresent, {}};
  const auto& record = sdrs_[*at];
  const std::size_t offset = data[4];
  if (offset >= record.size()) return {kOutOfRange, {}};
  if (data[5] > longest_piece) return {kTooLong, {}};
  const auto size = std::min<std::size_t>(data[5], record.size() - offset);
  Answer answer;
  append16(answer.data, id_after(sdrs_, *at, sdr_follows));
  const auto begin = record.begin() + static_cast<std::ptrdiff_t>(offset);
  answer.data.insert(answer.data.end(), begin, begin + static_cast<std::ptrdiff_t>(size));
  return answer;
}

void FakeController::add_sensor(const FakeSensor& sensor) {
  if (sensor.reading_type == kThresholdReading) threshold_sensors_.insert(sensor.number);
  add_sdr(sensor.is_event_only ? event_only_sdr(0, sensor) : full_sdr(0, sensor));
  if (!sensor.is_event_only) set_state(sensor.number, 0);
}

void FakeController::add_sdr(std::vector<std::uint8_t> record) {
  set_id(record, static_cast<unsigned>(sdrs_.size() + 1));
  sdrs_.push_back(std::move(record));
  sdr_added_ = clock;
}

void FakeController::clear_sdrs() {
  sdrs_.clear();
  threshold_sensors_.clear();
  sdr_erased_ = clock;
  ++reservation_;
}

void FakeController::set_state(std::uint8_t sensor, std::uint16_t asserted) { readings_[sensor] = {true, asserted}; }
void FakeController::set_unavailable(std::uint8_t sensor) { readings_[sensor] = {false, 0}; }
void FakeController::remove_reading(std::uint8_t sensor) { readings_.erase(sensor); }

Answer FakeController::reading(Bytes data) const {
  if (data.size() != 1) return {kLengthInvalid, {}};
  const auto found = readings_.find(data[0]);
  if (found == readings_.end()) return {kNotPresent, {}};
  const auto& reading = found->second;
  Answer answer{0, {0x55, static_cast<std::uint8_t>(reading.is_available ? 0xC0 : 0xE0)}};
  const unsigned bits = reading.asserted;
  if (threshold_sensors_.contains(data[0])) {
    const auto status = 0xC0U | (bits & 1U) | (bits >> 2U & 1U) << 1U | (bits >> 4U & 1U) << 2U |
                        (bits >> 7U & 1U) << 3U | (bits >> 9U & 1U) << 4U | (bits >> 11U & 1U) << 5U;
    answer.data.push_back(static_cast<std::uint8_t>(status));
  } else {
    append16(answer.data, bits | 0x8000U);
  }
  return answer;
}

void FakeController::answer_next(NetFn function, std::uint8_t command, Answer answer, int times) {
  auto& answers = next_answers_[{function, command}];
  answers.insert(answers.end(), static_cast<std::size_t>(times), answer);
}

void FakeController::answer_always(NetFn function, std::uint8_t command, std::optional<Answer> answer) {
  if (answer) {
    answers_[{function, command}] = std::move(*answer);
  } else {
    answers_.erase({function, command});
  }
}

int FakeController::asked(NetFn function, std::uint8_t command) const {
  const auto found = counts_.find({function, command});
  return found == counts_.end() ? 0 : found->second;
}

std::set<FakeController::Command> FakeController::commands() const {
  std::set<Command> commands;
  for (const auto& [command, count] : counts_) commands.insert(command);
  return commands;
}

}  // namespace polaiga::ipmi
