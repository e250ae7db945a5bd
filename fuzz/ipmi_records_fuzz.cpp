// What a controller, or a file that was saved of one, says may be any bytes: it is refused, or what is made of it fits.
// The first character of the input says what the rest is: `r` log records of 16 bytes, `s` SDRs, `a` answers to the
// questions about a repository and its sensors (each a completion code, a length, and so many bytes), and `l` a saved
// log, with the SDRs before it (two bytes of their length, the high one first).
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "controller/controller.h"
#include "controller/saved_log.h"
#include "mapping/mapping.h"
#include "standard/sel_record.h"
#include "standard/sensor.h"

namespace polaiga::fuzz {
namespace {

using namespace ipmi;
using Bytes = std::span<const std::uint8_t>;

// As it is shipped.
const Mapping& shipped_mapping() {
  static const Mapping mapping = Mapping::parse(read_saved_file(POLAIGA_IPMI_MAPPING), "ipmi.tsv");
  return mapping;
}

void complain(const std::string& complaint) {
  check(!complaint.empty() && is_printable(complaint), "a complaint can be shown");
}

void check_sensor(const Sensor& sensor) {
  check(is_printable(sensor.name), "a name can be shown");
  // It has at most 31 characters of Unicode, of three bytes each in UTF-8, and a number of three digits.
  check(sensor.name.size() <= 31 * 3 + 3, "a name is short");
  check(sensor.key.lun <= 3, "a LUN has two bits");
  check(sensor.entity_instance <= 127, "an instance has seven bits");
  check(sensor.reading_type <= 0x7F, "an event/reading type has seven bits");
}

void check_ladder(const Ladder& ladder, const Bits& bits) {
  const int top = static_cast<int>(ladder.rungs.size());
  const int level = ladder.level(bits);
  check(level >= 0 && level <= top, "a level is on the ladder");
  Bits unknown = bits;
  unknown.known = 0;
  check(ladder.level(unknown) == 0, "a sensor of which nothing is known is on no rung");
  for (int other = 0; other <= top; ++other) {
    const auto there = ladder.steps(other, level);
    check(other != level || there.empty(), "what stays is not told");
    // Of several states of which one is chosen only the one that comes counts, or the one that goes.
    if (ladder.is_choice) {
      check(level == 0 || other == level || there == ladder.steps(0, level),
            "what is chosen does not depend on the past");
      continue;
    }
    // A way in two parts is the way as a whole.
    for (int between = std::min(other, level); between <= std::max(other, level); ++between) {
      auto parts = ladder.steps(other, between);
      const auto rest = ladder.steps(between, level);
      parts.insert(parts.end(), rest.begin(), rest.end());
      check(parts == there, "levels between change nothing");
    }
  }
}

void check_mapped(const Sensor& sensor, const Bits& bits) {
  const auto all = shipped_mapping().of(sensor);
  check(all.empty() || shipped_mapping().line_of(sensor) != 0, "what is sent has a row");
  for (const auto& mapped : all) {
    check(mapped.target.entity != nullptr, "an event has an entity");
    check(!mapped.target.sensor.empty() && mapped.target.sensor.size() <= 19, "an event's sensor name fits");
    check(is_printable(mapped.target.sensor), "an event's sensor name can be shown");
    check_ladder(*mapped.ladder, bits);
  }
}

void check_record(const SelRecord& record) {
  check(record.id == (record.bytes[0] | record.bytes[1] << 8), "a record has the id of its bytes");
  check(hexadecimal(record.bytes).size() == 32, "a record has 32 digits");
  check(!record.time || (*record.time > 0x20000000 && *record.time < 0xFFFFFFFF), "a time was set");
  check(!record.event || record.type == 0x02, "only records of events tell of sensors");
  if (record.event) {
    check(record.event->offset <= 15 && record.event->key.lun <= 3 && record.event->reading_type <= 0x7F,
          "fields have their bits");
  }
}

// What a record tells, as if of each of the sensors.
void check_event(const SelRecord& record, std::span<const Sensor> sensors) {
  if (!record.event) return;
  const auto bit = static_cast<std::uint16_t>(1U << record.event->offset);
  const Bits bits{.asserted = record.event->is_deasserted ? std::uint16_t{0} : bit,
                  .event_data_3 = record.event->data[2],
                  .known = bit};
  for (const auto& sensor : sensors) check_mapped(sensor, bits);
}

std::vector<SelRecord> records(Bytes data) {
  std::vector<SelRecord> all;
  SelBytes bytes{};
  for (; data.size() >= bytes.size(); data = data.subspan(bytes.size())) {
    std::copy_n(data.begin(), bytes.size(), bytes.begin());
    all.push_back(parse_sel_record(bytes));
    check_record(all.back());
    check(all.back().bytes == bytes, "a record is kept as it came");
  }
  return all;
}

void check_sdr(Bytes data) {
  std::vector<Sensor> sensors;
  try {
    sensors = parse_sdr(data);
  } catch (const BadRecord& error) {
    complain(error.what());
    return;
  }
  check(sensors.size() <= 15, "at most fifteen sensors share a record");
  std::set<SensorKey> keys;
  for (const auto& sensor : sensors) {
    check_sensor(sensor);
    check(keys.insert(sensor.key).second, "sensors of a record have keys of their own");
    check_mapped(sensor, {.asserted = static_cast<std::uint16_t>(data[0] | data[1] << 8), .event_data_3 = data[2]});
  }
}

// A controller whose answers are the input, and then one that is gone.
class Answers : public Session {
 public:
  explicit Answers(Bytes data) : data_(data) {}

  Answer ask(NetFn /*function*/, std::uint8_t /*command*/, Bytes /*data*/) override {
    if (data_.size() < 2) throw ControllerGone("gone");
    Answer answer{.completion = data_[0], .data = {}};
    // One that is busy is waited for.
    if (answer.completion == 0xC0 || answer.completion == 0xC3 || answer.completion == 0x81) answer.completion = 0xFF;
    const auto size = std::min<std::size_t>(data_[1], data_.size() - 2);
    const auto bytes = data_.subspan(2, size);
    answer.data.assign(bytes.begin(), bytes.end());
    data_ = data_.subspan(2 + size);
    return answer;
  }

 private:
  Bytes data_;
};

void check_controller(Bytes data) {
  Answers session(data);
  Controller controller(session);
  try {
    const auto sensors = controller.sensors(complain);
    std::set<SensorKey> keys;
    for (const auto& sensor : sensors) {
      check_sensor(sensor);
      check(keys.insert(sensor.key).second, "no two sensors have one key");
    }
    controller.log_info();
    if (const auto entry = controller.log_entry(Controller::kFirstRecord)) {
      check_record(entry->record);
      check(entry->next_id != entry->record.id || entry->next_id == Controller::kLastRecord,
            "no record follows itself");
      check_event(entry->record, sensors);
    }
    for (const auto& sensor : sensors) {
      const auto state = controller.state(sensor);
      if (!state) continue;
      check(state->is_available || state->asserted == 0, "what is not known is not asserted");
      check(sensor.reading_type != kThresholdReading || (state->asserted & ~0x0A95) == 0, "thresholds make it worse");
      check_mapped(sensor, {.asserted = state->asserted, .event_data_3 = std::nullopt});
    }
    controller.repository_info();
    controller.guid();
  } catch (const ControllerGone& error) {
    complain(error.what());
  } catch (const ControllerRefuses& error) {
    complain(error.what());
  }
}

// FILE:LINE: or FILE: byte N: or FILE: what is wrong
void check_error(const BadSavedFile& error) {
  complain(error.what());
  check(std::string_view(error.what()).starts_with("the.file:"), "an error names the file");
}

void check_saved(Bytes data) {
  if (data.size() < 2) return;
  const auto size = std::min(std::size_t{data[0]} << 8U | data[1], data.size() - 2);
  const std::string_view text(reinterpret_cast<const char*>(data.data()) + 2, data.size() - 2);
  std::vector<Sensor> sensors;
  try {
    sensors = parse_saved_sensors(text.substr(0, size), "the.file", complain);
  } catch (const BadSavedFile& error) {
    check_error(error);
  }
  try {
    for (const auto& record : parse_saved_log(text.substr(size), "the.file", sensors, complain)) {
      check_record(record);
      check_event(record, sensors);
    }
  } catch (const BadSavedFile& error) {
    check_error(error);
  }
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  if (size == 0) return 0;
  const std::span rest(data + 1, size - 1);
  switch (data[0]) {
    case 'r':
      records(rest);
      break;
    case 's':
      check_sdr(rest);
      break;
    case 'a':
      check_controller(rest);
      break;
    case 'l':
      check_saved(rest);
      break;
    default:
      break;
  }
  return 0;
}
