#include "filter/filter_state.h"

#include <gtest/gtest.h>
#include <polaiga/tables.h>

#include "filter/host_tables.h"

namespace polaiga::engine {
namespace filter_state_test {

using Events = std::set<Sequence>;
using Changes = std::map<Slot, std::vector<Sequence>>;

struct Given {
  const char* entity;
  std::int32_t offset;
  std::int32_t state = 1;
  std::int32_t instance = 1;
  const char* sensor = "SENSOR";
  std::uint32_t reading_type = FE_READING_THRESHOLD;
  std::int32_t renumbered = 0;  // what the filter made of the instance; 0: nothing
};

class FilterStateTest : public testing::Test {
 protected:
  void note(Sequence sequence, const Given& given) {
    SensorEvent line;
    line.entity = find_entity(given.entity);
    line.event.event_offset = given.offset;
    line.event.event_state = given.state;
    line.event.entity_instance = given.instance;
    line.event.reading_type = given.reading_type;
    std::snprintf(line.event.sensor_name, sizeof line.event.sensor_name, "%s", given.sensor);
    fe_fault_record record = {};
    record.event = line.event;
    if (given.renumbered != 0) record.event.entity_instance = given.renumbered;
    filter_state_.note(sequence, line, record);
  }

  FilterState filter_state_;
};

TEST_F(FilterStateTest, AUnitNeedsItsLastPresenceEvent) {
  note(1, {.entity = "add_in", .offset = 63, .state = 1, .instance = 7});
  note(2, {.entity = "add_in", .offset = 63, .state = 1, .instance = 8});
  note(3, {.entity = "add_in", .offset = 108, .state = 1, .instance = 7});
  note(4, {.entity = "add_in", .offset = 63, .state = 0, .instance = 7});
  EXPECT_EQ(filter_state_.events(), (Events{2, 4}));
  EXPECT_EQ(filter_state_.take_changes(), (Changes{{"add_in 7", {4}}, {"add_in 8", {2}}}));
  EXPECT_EQ(filter_state_.take_changes(), Changes{});
}

TEST_F(FilterStateTest, UnitsHaveTheNumbersThatTheLibraryUses) {
  note(1, {.entity = "fan", .offset = 1, .instance = 3, .renumbered = 6});
  note(2, {.entity = "fan", .offset = 2, .instance = 6, .renumbered = 6});
  note(3, {.entity = "ps", .offset = 30, .instance = 1, .renumbered = 17});  // a power reading's row
  EXPECT_EQ(filter_state_.take_changes(), (Changes{{"fan 6", {2}}, {"ps 1", {3}}}));
}

TEST_F(FilterStateTest, OnlyEventsThatChangeTheState) {
  const Given kRemembered[] = {{"fan", 1, 0, 1},     {"fan", 2, 1, 20},       {"ps", 30, 1, 0},
                               {"ps", 112, 0, 255},  {"add_in", 63, 1},       {"add_in", 63, 5, 256},
                               {"add_in", 63, 1, 0}, {"caddora", 12, 1, 12},  {"caddora", 18, 0, 1},
                               {"caddora", 20, 1},   {"storage", 12, 1, 256}, {"storage", 19, 1, 1}};
  const Given kForgotten[] = {{"fan", 1, 0, 21},      {"fan", 0, 1},           {"fan", 3, 1},
                              {"ps", 30, 1, 256},     {"ps", 30, 1, -1},       {"ps", 57, 5},
                              {"add_in", 63, 1, -1},  {"add_in", 63, 1, 257},  {"add_in", 62, 1},
                              {"caddora", 18, 1, 13}, {"caddora", 11, 1},      {"caddora", 17, 1},
                              {"caddora", 21, 1},     {"storage", 12, 1, 257}, {"storage", 12, 1, -1},
                              {"storage", 21, 1},     {"mem", 64, 1},          {"pci", 63, 1},
                              {"chassis", 1, 1},      {"sys_board", 117, 1},   {"cpu", 117, 1}};
  Sequence sequence = 0;
  for (const Given& given : kForgotten) {
    note(++sequence, given);
    EXPECT_EQ(filter_state_.events(), Events{}) << given.entity << " " << given.offset << " " << given.instance;
  }
  for (const Given& given : kRemembered) {
    FilterState fresh;
    std::swap(filter_state_, fresh);
    note(++sequence, given);
    EXPECT_EQ(filter_state_.events(), Events{sequence}) << given.entity << " " << given.offset << " " << given.instance;
  }
}

TEST_F(FilterStateTest, ARowNeedsItsLastEvent) {
  load_host_tables(POLAIGA_TABLES_DIR);
  note(1, {.entity = "cpu", .offset = 117, .sensor = "P1_TEMP_SENS"});
  note(2, {.entity = "cpu", .offset = 3, .state = 0, .sensor = "P1_TEMP_SENS", .reading_type = 0});
  note(3, {.entity = "cmc", .offset = 117, .sensor = "CMC2_TEMP"});
  note(4, {.entity = "drive_bp", .offset = 117, .sensor = "HDD_BP1_TEMP"});
  note(5, {.entity = "nm", .offset = 202, .reading_type = 0});
  note(6, {.entity = "nm", .offset = 199, .reading_type = 0});
  EXPECT_EQ(filter_state_.take_changes(),
            (Changes{{"cpu row 13", {2}}, {"cmc row 1", {3}}, {"drive_bp row 0", {4}}, {"nm row 2", {5}}}));
}

constexpr const char* kLog = "SEL_FULLNESS";
constexpr const char* kOther = "PCH_TEMP_SENS";

TEST_F(FilterStateTest, TheLogNeedsItsStepsWithoutDetours) {
  note(1, {.entity = "sys_board", .offset = 117, .sensor = kLog});  // low
  note(2, {.entity = "sys_board", .offset = 118, .sensor = kLog});  // very low
  note(3, {.entity = "sys_board", .offset = 119, .sensor = kLog});  // full
  EXPECT_EQ(filter_state_.events(), (Events{1, 2, 3}));
  note(4, {.entity = "sys_board", .offset = 119, .sensor = kLog});  // very low again, by an event that must be given
  EXPECT_EQ(filter_state_.events(), (Events{1, 2, 3, 4}));
  note(5, {.entity = "sys_board", .offset = 114, .sensor = kLog});  // the row's last is another now
  EXPECT_EQ(filter_state_.events(), (Events{1, 2, 5}));
  note(6, {.entity = "sys_board", .offset = 117, .sensor = kLog});  // low, at once
  note(7, {.entity = "sys_board", .offset = 114, .sensor = kLog});
  EXPECT_EQ(filter_state_.events(), (Events{1, 7}));
  note(8, {.entity = "sys_board", .offset = 117, .state = 0, .sensor = kLog});
  EXPECT_EQ(filter_state_.events(), (Events{1, 8}));  // 8 is given in any case, and needs a log that is low
  note(9, {.entity = "sys_board", .offset = 114, .sensor = kLog});
  EXPECT_EQ(filter_state_.events(), Events{9});
}

// The last event of a row is given to the library in any case. The events before it
// must lead to the fullness that it had then, so that it does what it did.
TEST_F(FilterStateTest, LastEventsOfRowsAreKept) {
  note(10, {.entity = "sys_board", .offset = 117, .sensor = kLog});
  note(20, {.entity = "sys_board", .offset = 118, .sensor = kOther});
  note(30, {.entity = "sys_board", .offset = 118, .sensor = kOther});
  EXPECT_EQ(filter_state_.events(), (Events{10, 20, 30}));
  note(40, {.entity = "sys_board", .offset = 114, .sensor = kOther});
  EXPECT_EQ(filter_state_.events(), (Events{10, 40}));
}

TEST_F(FilterStateTest, EventsThatDoNotChangeTheLog) {
  note(1, {.entity = "sys_board", .offset = 118, .sensor = kOther, .reading_type = 0});
  note(2, {.entity = "sys_board", .offset = 117, .state = 4, .sensor = kLog});
  note(3, {.entity = "sys_board", .offset = 117, .state = 0, .sensor = kOther});
  note(4, {.entity = "sys_board", .offset = 118, .sensor = "NO SUCH SENSOR"});
  EXPECT_EQ(filter_state_.events(), (Events{2, 3}));
  EXPECT_FALSE(filter_state_.take_changes().contains("sys_board log"));
}

}  // namespace filter_state_test
}  // namespace polaiga::engine
