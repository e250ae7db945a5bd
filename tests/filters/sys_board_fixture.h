// What the tests of the system-board filter share: its sensors, and the record
// that each of its events leaves.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "support/filter_test.h"

namespace polaiga::test {

// A sensor as it is seen from outside.
struct Sensor {
  const char* name;
  int row;
  std::uint8_t subtype;
  std::uint32_t cause_id;
  const char* before;  // text on either side of the threshold words
  const char* behind;  // on a raise
};

// clang-format off
inline const Sensor kLog{"SEL_FULLNESS", 1, 12, 338, "SEL_FULLNESS: System Event log ", ""};
inline const Sensor kRiser{"RISER1_INLET_TMP", 4, 1, 215, "RISER1_INLET_TMP: Riser 1 inlet temperature has crossed ", " threshold: Check device cooling"};
inline const Sensor kVoltage{"P12V_V_MOIN", 11, 2, 216, "P12V_V_MOIN: Motherboard voltage (12V) is ", ": Check the power supply"};
inline const Sensor kBattery{"P3V3_BAT_V_MOIN", 16, 2, 216, "P3V3_BAT_V_MOIN: Battery voltage level is ", ": Replace battery"};

// Clear texts have two blanks behind the sensor name: intended.
inline const Sensor kLogCleared{"SEL_FULLNESS", 1, 12, 338, "SEL_FULLNESS: Cleared", ""};
inline const Sensor kRiserCleared{"RISER1_INLET_TMP", 4, 1, 215, "RISER1_INLET_TMP:  Riser 1 inlet temperature has crossed ", " threshold: Cleared"};
inline const Sensor kVoltageCleared{"P12V_V_MOIN", 11, 2, 216, "P12V_V_MOIN:  Motherboard voltage (12V) is ", ": Cleared"};
inline const Sensor kBatteryCleared{"P3V3_BAT_V_MOIN", 16, 2, 216, "P3V3_BAT_V_MOIN:  Battery voltage level is ", ": Cleared"};
// clang-format on

// A line of the decision tables with states that fall under it.
struct Row {
  int offset;
  std::vector<int> states;
  std::uint32_t code;
  std::uint32_t clear_code;
  std::uint8_t disposition;
  std::uint32_t clear_cause_id;
  const char* words;
};

// For codes that the tables hold.
inline std::string code_text(std::uint32_t code) {
  std::string text = std::to_string(code);
  while (text.size() < 4) text.insert(text.begin(), '0');
  text.insert(text.begin(), 'F');
  return text;
}

class SysBoardTest : public FilterTest {
 protected:
  SysBoardTest() : FilterTest("process_sys_board_fault") {}

  static Event at(const Sensor& sensor, int offset, int state) {
    return {.sensor = sensor.name, .offset = offset, .state = state, .instance = 77};
  }

  static std::vector<std::uint32_t> arcs() { return {1, 3, 6, 1, 4, 1, 32473, 5, 100, 1, 9, 6, 1}; }

  // What every event of a known sensor writes, whatever was decided.
  static Written framed(const Sensor& sensor, std::uint32_t code, const std::string& descr) {
    const bool log = sensor.row == 1;
    const std::string dn = log ? "sys/rack-unit-1/mgmt/log-SEL-0" : "sys/rack-unit-1/board";
    return {.entity_id = 7,
            .entity_subtype = sensor.subtype,
            .entity_instance = sensor.row,
            .fault_key = 0x07000000U | static_cast<std::uint32_t>(sensor.row) << 8 | sensor.subtype,
            .dn = dn,
            .fault_dn = dn + "/fault-" + code_text(code),
            .rn = log ? "log-SEL-0" : "rack-unit-1/board",
            .code_text = code_text(code),
            .oid = arcs(),
            .oid_len = 13,
            .descr = descr,
            .created = kNowText,
            .created_time = kNow,
            .cause_id = sensor.cause_id,
            .cause = "cause " + std::to_string(sensor.cause_id),
            .name = "name of " + std::to_string(code),
            .descr_was_longer = descr.ends_with(": Cleared")};
  }

  static Written of(const Sensor& sensor, const Row& row) {
    Written written = framed(sensor, row.code, sensor.before + std::string(row.words) + sensor.behind);
    written.code = row.code;
    written.clear_code = row.clear_code;
    written.disposition = row.disposition;
    written.clear_cause_id = row.clear_cause_id;
    written.clear_cause = "cause " + std::to_string(row.clear_cause_id);
    return written;
  }

  void expect_rows(const Sensor& raised, const Sensor& cleared, std::span<const Row> rows) {
    for (const Row& row : rows) {
      for (const int state : row.states)
        expect(at(raised, row.offset, state), 0, of(state == 0 ? cleared : raised, row));
    }
  }

  // An event that does not write codes, disposition and clear cause.
  void expect_untouched_codes(const Event& event, const Sensor& sensor, const std::string& descr) {
    fe_fault_record before = patterned_record();
    before.code = 4711;
    before.clear_code = 4712;
    before.clear_cause_id = 77;
    Written written = framed(sensor, 4711, descr);
    written.clear_cause = "cause 77";
    expect(event, 0, written, before);
  }
};

}  // namespace polaiga::test
