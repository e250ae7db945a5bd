// A controller for tests: what it holds is set by the test, and it answers as the standard says, or wrongly on demand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "controller/session.h"
#include "standard/sel_record.h"
#include "standard/sensor.h"

namespace polaiga::ipmi {

// What a log record tells of a sensor.
struct FakeEvent {
  std::uint8_t sensor = 0;  // its number; the owner is 20h, at LUN 0
  std::uint8_t sensor_type = 0x01;
  std::uint8_t reading_type = kThresholdReading;
  std::uint8_t offset = 0;
  bool is_deasserted = false;
  std::uint8_t data_2 = 0xFF;
  std::uint8_t data_3 = 0xFF;
};

struct FakeSensor {
  std::uint8_t number = 0;
  std::string name;
  std::uint8_t sensor_type = 0x01;
  std::uint8_t reading_type = kThresholdReading;
  std::uint8_t entity_id = 0x07;
  std::uint8_t entity_instance = 1;
  bool is_event_only = false;
};

// The bytes of an SDR: a full record (01h), or an event-only one (03h). The name has 8-bit characters, at most 30.
std::vector<std::uint8_t> full_sdr(std::uint16_t id, const FakeSensor& sensor);
std::vector<std::uint8_t> event_only_sdr(std::uint16_t id, const FakeSensor& sensor);

class FakeController : public Session {
 public:
  Answer ask(NetFn function, std::uint8_t command, std::span<const std::uint8_t> data) override;

  // --- The clock: what records are stamped with.
  std::uint32_t clock = 1'800'000'000;

  // --- The log.
  std::size_t log_capacity = 4096;   // records
  bool log_wraps = false;            // a full log drops its oldest record; else it drops the new one, and overflows
  std::uint16_t next_record_id = 1;  // of the next record; may be set to anything
  std::uint16_t last_record_id = 0xFFFE;  // after it, ids begin again at `first_record_id`
  std::uint16_t first_record_id = 1;
  // Says which record follows that of an id, instead of the truth.
  std::map<std::uint16_t, std::uint16_t> follows;

  // Adds a record, and gives it its id. Returns its bytes; nothing: the log is full.
  std::optional<SelBytes> add(const FakeEvent& event);
  // The same for any record; bytes 0 and 1 are set.
  std::optional<SelBytes> add(SelBytes record);
  // The records go, and ids go on.
  void clear_log();
  const std::vector<SelBytes>& log() const { return log_; }

  // The controller starts again: its clock counts from 0, ids begin again, no sensor has a state; the log stays.
  void restart();

  // --- The SDR repository.
  bool has_repository = true;         // false: it has only records of its own (Get Device SDR)
  std::uint8_t longest_piece = 0xFF;  // of an SDR, in bytes; more is refused (CAh)
  std::map<std::uint16_t, std::uint16_t> sdr_follows;
  void add_sensor(const FakeSensor& sensor);
  // The bytes of the record's id are set.
  void add_sdr(std::vector<std::uint8_t> record);
  void clear_sdrs();
  // The next reservations (as many as that) are cancelled by the first request that uses them.
  int cancels = 0;

  // --- Readings, by sensor number. One without a reading has no sensor there (CBh).
  void set_state(std::uint8_t sensor, std::uint16_t asserted);  // threshold sensors: a bit for each offset, too
  void set_unavailable(std::uint8_t sensor);
  void remove_reading(std::uint8_t sensor);

  // --- GUIDs: of the controller, and of the system.
  std::optional<std::array<std::uint8_t, 16>> device_guid;
  std::optional<std::array<std::uint8_t, 16>> system_guid;

  // --- Faults.
  std::optional<std::string> gone;     // every request fails with this message
  std::optional<int> gone_after;       // so many requests are answered, and then it is gone
  std::optional<std::string> refuses;  // every request is refused with this message
  // Is called before each answer, so that a controller can be slow.
  std::function<void()> before_answer;
  // The next answers to a command, before those that are right.
  void answer_next(NetFn function, std::uint8_t command, Answer answer, int times = 1);
  // Every answer to a command, until it is told otherwise.
  void answer_always(NetFn function, std::uint8_t command, std::optional<Answer> answer);

  // --- What was asked.
  int asked() const { return asked_; }
  int asked(NetFn function, std::uint8_t command) const;
  using Command = std::pair<NetFn, std::uint8_t>;
  // The commands that were asked, each once.
  std::set<Command> commands() const;

 private:
  using Bytes = std::span<const std::uint8_t>;

  struct Reading {
    bool is_available = false;
    std::uint16_t asserted = 0;
  };

  Answer right_answer(const Command& command, Bytes data);
  Answer log_info() const;
  Answer log_entry(Bytes data) const;
  Answer repository_info() const;
  Answer own_sdr_info() const;
  Answer reserve();
  Answer sdr(Bytes data);
  Answer reading(Bytes data) const;

  std::vector<SelBytes> log_;
  std::uint32_t log_added_ = 0;
  std::uint32_t log_erased_ = 0;
  bool log_overflowed_ = false;

  std::vector<std::vector<std::uint8_t>> sdrs_;
  std::uint32_t sdr_added_ = 0;
  std::uint32_t sdr_erased_ = 0;
  std::uint16_t reservation_ = 0;
  std::set<std::uint8_t> threshold_sensors_;

  std::map<std::uint8_t, Reading> readings_;

  std::map<Command, std::vector<Answer>> next_answers_;
  std::map<Command, Answer> answers_;
  std::map<Command, int> counts_;
  int asked_ = 0;
};

}  // namespace polaiga::ipmi
