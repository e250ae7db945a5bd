// What the tests of the processor filter share: its sensors, its decisions, and
// the record that each of its events leaves.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "support/filter_test.h"

namespace polaiga::test {

// Fault levels of a sensor, in the order of its codes.
enum Level {
  kLowerNonCritical,
  kLowerCritical,
  kLowerNonRecoverable,
  kUpperNonCritical,
  kUpperCritical,
  kUpperNonRecoverable
};

// A sensor as it is seen from outside. Its text is head, the threshold words
// (where it takes them), tail, and, on a raise, the advice from the colon on.
struct Sensor {
  const char* name;
  int instance;
  std::uint8_t subtype;
  std::array<std::uint32_t, 6> codes;  // by Level
  std::uint32_t cause_id;
  const char* dn;
  const char* rn;
  const char* head;
  const char* tail;
  const char* advice;
  bool takes_words;
  bool listed;  // in the exceptional list
  std::uint8_t entity_id = 3;
};

// A line of the threshold decisions: code, code that is cleared (-1: none), and
// the threshold words of a listed and of an unlisted sensor. What clears with
// kPrevious has the state of the sensor's last event as its disposition.
struct Line {
  int offset;
  std::vector<int> states;
  Level code;
  int cleared;
  int disposition;
  std::uint32_t clear_cause_id;
  const char* listed;
  const char* unlisted;
};

constexpr int kNone = -1;
constexpr int kPrevious = -1;

// clang-format off
inline const Line kLines[] = {
    {114, {0}, kLowerNonCritical, kLowerNonCritical, 4, 218, "", "lower non-critical"},
    {114, {4}, kLowerNonCritical, kNone, 0, 0, "lower non-critical", "lower non-critical"},
    {114, {5}, kLowerNonCritical, kNone, 0, 0, "", ""},
    {114, {6}, kLowerNonCritical, kNone, 0, 0, "upper non-recoverable", "upper non-recoverable"},
    {114, {1, 2, 3, 7, 100, -1}, kLowerNonCritical, kNone, 0, 0, "a preset", "a preset"},

    {115, {0}, kLowerCritical, kLowerCritical, 5, 218, "lower critical", ""},
    {115, {4}, kLowerNonCritical, kLowerCritical, 5, 218, "upper non-critical", "upper non-critical"},
    {115, {5}, kLowerCritical, kLowerNonCritical, 4, 218, "lower critical", "lower critical"},
    {115, {6}, kLowerCritical, kLowerNonCritical, 4, 218, "upper non-recoverable", "upper non-recoverable"},
    {115, {1, 2, 3, 7, 100, -1, 260}, kLowerCritical, kLowerNonCritical, 4, 218, "a preset", "a preset"},

    {116, {0}, kLowerNonRecoverable, kLowerNonRecoverable, 6, 214, "", ""},
    {116, {5}, kLowerCritical, kLowerNonRecoverable, 6, 214, "lower critical", "lower critical"},
    {116, {4}, kLowerNonRecoverable, kLowerCritical, 5, 218, "upper non-critical", "upper non-critical"},
    {116, {6}, kLowerNonRecoverable, kLowerCritical, 5, 218, "lower non-recoverable", "lower non-recoverable"},
    {116, {1, 2, 3, 7, 100, -1, 261}, kLowerNonRecoverable, kLowerCritical, 5, 218, "a preset", "a preset"},

    {117, {0}, kUpperNonCritical, kUpperNonCritical, 4, 218, "", "upper non-critical"},
    {117, {4}, kUpperNonCritical, kNone, 0, 0, "upper non-critical", "upper non-critical"},
    {117, {5}, kUpperNonCritical, kNone, 0, 0, "", ""},
    {117, {6}, kUpperNonCritical, kNone, 0, 0, "upper non-recoverable", "upper non-recoverable"},
    {117, {1, 2, 3, 7, 100, -1}, kUpperNonCritical, kNone, 0, 0, "a preset", "a preset"},

    {118, {0}, kUpperCritical, kUpperCritical, 5, 218, "upper critical", ""},
    {118, {5}, kUpperCritical, kUpperNonRecoverable, 6, 214, "upper critical", "upper critical"},
    {118, {4}, kUpperCritical, kUpperNonCritical, 4, 218, "upper non-critical", "upper non-critical"},
    {118, {6}, kUpperCritical, kUpperNonCritical, 4, 218, "upper non-recoverable", "upper non-recoverable"},
    {118, {1, 2, 3, 7, 100, -1, 261}, kUpperCritical, kUpperNonCritical, 4, 218, "a preset", "a preset"},

    {119, {0}, kUpperNonRecoverable, kUpperNonRecoverable, 6, 214, "", ""},
    {119, {5}, kUpperCritical, kUpperNonRecoverable, 6, 214, "upper critical", "upper critical"},
    {119, {4}, kUpperNonRecoverable, kUpperCritical, 5, 218, "upper non-critical", "upper non-critical"},
    {119, {6}, kUpperNonRecoverable, kUpperCritical, 5, 218, "upper non-recoverable", "upper non-recoverable"},
    {119, {1, 2, 3, 7, 100, -1, 261}, kUpperNonRecoverable, kUpperCritical, 5, 218, "a preset", "a preset"},
};

// The same for every offset but those.
inline const Line kOtherLines[] = {
    {0, {4}, kLowerNonCritical, kNone, 0, 0, "upper non-critical", "upper non-critical"},
    {0, {5}, kLowerNonCritical, kNone, 0, 0, "", ""},
    {0, {6}, kLowerNonCritical, kNone, 0, 0, "upper non-recoverable", "upper non-recoverable"},
    {0, {1, 2, 3, 7, 100, -1}, kLowerNonCritical, kNone, 0, 0, "a preset", "a preset"},
    {0, {0}, kLowerNonCritical, kLowerNonCritical, kPrevious, 218, "", ""},
};
// clang-format on

inline const int kOtherOffsets[] = {
    0, 1, -1, 7, 109, 110, 113, 120, 370, 374, 65536 + 118, 2147483647, -2147483647 - 1};

inline std::string code_text(std::uint32_t code) {
  std::string text = std::to_string(code);
  while (text.size() < 4) text.insert(text.begin(), '0');
  return std::string("F").append(text);
}

class CpuTest : public FilterTest {
 protected:
  CpuTest() : FilterTest("process_cpu_fault") {}

  static Event at(const Sensor& sensor, int offset, int state) {
    return {.sensor = sensor.name, .offset = offset, .state = state, .instance = 77};
  }
  static Event discrete(const Sensor& sensor, int state, int offset = 0) {
    return {.sensor = sensor.name, .offset = offset, .state = state, .instance = 77, .reading_type = 3};
  }

  static std::vector<std::uint32_t> arcs() { return {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 41, 9}; }

  // What an event of an unknown sensor writes besides its copy.
  static Written rejected() { return {.oid = arcs()}; }

  // A text: what follows the sensor's name, with the threshold words.
  static std::string descr_of(const Sensor& sensor, const std::string& words, bool is_clear) {
    const std::string name = sensor.name;
    const std::string text = std::string(sensor.head) + words + sensor.tail;
    if (is_clear) return name + ":  " + text + ": Cleared";  // two blanks: intended
    return name + ": " + text + sensor.advice;
  }

  // What an event of a known sensor leaves.
  static Written of(const Sensor& sensor, std::uint32_t code, std::uint32_t clear_code, int disposition,
                    std::uint32_t clear_cause_id, const std::string& words, bool is_clear) {
    return {.entity_id = sensor.entity_id,
            .entity_subtype = sensor.subtype,
            .entity_instance = sensor.instance,
            .fault_key = static_cast<std::uint32_t>(sensor.entity_id) << 24 |
                         static_cast<std::uint32_t>(sensor.instance) << 8 | sensor.subtype,
            .dn = sensor.dn,
            .fault_dn = std::string(sensor.dn) + "/fault-" + code_text(code),
            .rn = sensor.rn,
            .code_text = code_text(code),
            .oid = arcs(),
            .oid_len = 12,
            .descr = descr_of(sensor, words, is_clear),
            .created = kNowText,
            .created_time = kNow,
            .disposition = static_cast<std::uint8_t>(disposition),
            .cause_id = sensor.cause_id,
            .clear_cause_id = clear_cause_id,
            .cause = std::string("cause ").append(std::to_string(sensor.cause_id)),
            .clear_cause = std::string("cause ").append(std::to_string(clear_cause_id)),
            .code = code,
            .clear_code = clear_code,
            .name = std::string("name of ").append(std::to_string(code)),
            .descr_was_longer = is_clear};
  }

  static Written of(const Sensor& sensor, const Line& line, int state, int previous) {
    const char* words = sensor.listed ? line.listed : line.unlisted;
    return of(sensor, sensor.codes[line.code],
              line.cleared == kNone ? 0 : sensor.codes[static_cast<std::size_t>(line.cleared)],
              line.disposition == kPrevious ? previous : line.disposition, line.clear_cause_id,
              sensor.takes_words ? words : "", state == 0);
  }

  static Written raised(const Sensor& sensor) {
    return of(sensor, sensor.codes[kLowerNonCritical], 0, 0, 0, sensor.takes_words ? "%s" : "", false);
  }
  static Written cleared(const Sensor& sensor, int previous) {
    return of(sensor, sensor.codes[kLowerNonCritical], sensor.codes[kLowerNonCritical], previous, sensor.cause_id,
              sensor.takes_words ? "%s" : "", true);
  }

  // Discrete events of a sensor of which nothing is remembered yet.
  void expect_discrete_lines(const Sensor& sensor) {
    expect(discrete(sensor, 0), 0, cleared(sensor, 0));
    for (const int state : {1, 2, 3, 4, 5, 6, 7, 100, 255}) {
      expect(discrete(sensor, state), 0, raised(sensor));
      expect(discrete(sensor, 0, 118), 0, cleared(sensor, state));
      expect(discrete(sensor, 0, 117), 0, cleared(sensor, 0));
    }
  }

  void expect_threshold_lines(const Sensor& sensor) {
    for (const Line& line : kLines) {
      for (const int state : line.states) expect(at(sensor, line.offset, state), 0, of(sensor, line, state, 0));
    }
  }

  void expect_other_offsets(const Sensor& sensor) {
    expect(at(sensor, 117, 6), 0, of(sensor, kLines[18], 6, 0));
    int previous = 6;
    for (const int offset : kOtherOffsets) {
      for (const Line& line : kOtherLines) {
        for (const int state : line.states) {
          expect(at(sensor, offset, state), 0, of(sensor, line, state, previous & 0xFF));
          previous = state;
        }
      }
      EXPECT_EQ(previous, 0);
    }
  }
};

}  // namespace polaiga::test
