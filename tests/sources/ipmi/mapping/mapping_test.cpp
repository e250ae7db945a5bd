#include "mapping/mapping.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace polaiga::ipmi {
namespace mapping_test {

const std::string kLadders = "ladder\theld\toffset\tup\tdown\n";
const std::string kSensors = "sensor\ttype\treading\tof\tentity\tname\tinstance\tgroup\tentity_id\tladders\n";
const std::string kSlow = kLadders + "slow\tstate\t0\t3/4\t3/0\n";  // two lines
const std::string kSlowSensors = kSlow + kSensors;                  // three
const std::string kRow = "FAN*\t04h\t01h\t*\tfan\t{name}\t1\t0\t-\tslow\n";

struct SensorOf {
  std::string name;
  std::uint8_t type = 0x04;
  std::uint8_t reading = 0x01;
  std::uint8_t entity_id = 0x1D;
  std::uint8_t entity_instance = 9;
  SensorKey key = {0x20, 0, 0x3A};
};

Sensor make_sensor(const SensorOf& of) {
  return {.key = of.key,
          .name = of.name,
          .entity_id = of.entity_id,
          .entity_instance = of.entity_instance,
          .sensor_type = of.type,
          .reading_type = of.reading};
}

// "LINE: ENTITY SENSOR INSTANCE GROUP ENTITY_ID LADDER;" for each ladder of the sensor, or what is complained of.
std::string taken(const std::string& file, const SensorOf& sensor) {
  try {
    std::string found;
    for (const Mapped& one : Mapping::parse(file, "m.tsv").of(make_sensor(sensor))) {
      found += std::to_string(one.line) + ": " + std::string(one.target.entity->name) + " " + one.target.sensor + " " +
               std::to_string(one.target.instance) + " " + std::to_string(one.target.group) + " " +
               std::to_string(one.target.entity_id) + " " + one.ladder->name + ";";
    }
    return found;
  } catch (const engine::TableError& error) {
    return error.what();
  }
}

std::string complaint(const std::string& file) {
  try {
    Mapping::parse(file, "m.tsv");
  } catch (const engine::TableError& error) {
    return error.what();
  }
  return "none";
}

TEST(MappingTest, ALadderHasItsRungsAsTheyStand) {
  const Mapping mapping = Mapping::parse(kLadders +
                                             "input\tlog presence choice\t5 !0 0Bh\t34/1 1/0\t-\n"
                                             "input\tlog presence choice\t6=0Ah\t33/6\t33/5 2147483647/4\n" +
                                             kSensors + "*\t*\t*\t*\tps\t{name}\t1\t0\t-\tinput\n",
                                         "m.tsv");
  const auto found = mapping.of(make_sensor({"A"}));
  ASSERT_EQ(found.size(), 1U);
  const Ladder& ladder = *found[0].ladder;
  EXPECT_EQ(ladder.name, "input");
  EXPECT_EQ(ladder.held, Held::kLog);
  EXPECT_TRUE(ladder.tells_presence);
  EXPECT_TRUE(ladder.is_choice);
  ASSERT_EQ(ladder.rungs.size(), 2U);
  EXPECT_EQ(ladder.rungs[0].when, (std::vector<Condition>{{5}, {0, false}, {11}}));
  EXPECT_EQ(ladder.rungs[0].up, (std::vector<Step>{{34, 1}, {1, 0}}));
  EXPECT_EQ(ladder.rungs[0].down, std::vector<Step>{});
  EXPECT_EQ(ladder.rungs[1].when, (std::vector<Condition>{{6, true, std::uint8_t{10}}}));
  EXPECT_EQ(ladder.rungs[1].up, (std::vector<Step>{{33, 6}}));
  EXPECT_EQ(ladder.rungs[1].down, (std::vector<Step>{{33, 5}, {2147483647, 4}}));
}

TEST(MappingTest, ALadderIsHeldAndToldOnceUnlessItSaysSo) {
  const auto found = Mapping::parse(kSlowSensors + kRow, "m.tsv").of(make_sensor({"FAN1"}));
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].ladder->held, Held::kState);
  EXPECT_FALSE(found[0].ladder->tells_presence);
  EXPECT_FALSE(found[0].ladder->is_choice);
}

TEST(MappingTest, ARowTakesTheSensorsThatItDescribes) {
  const std::string file = kSlowSensors + "FAN*\t04h\t01h\t1Dh\tfan\t{name}\t1\t0\t-\tslow\n";
  const std::string found = "4: fan FAN1 1 0 29 slow;";
  EXPECT_EQ(taken(file, {"FAN1"}), found);
  EXPECT_EQ(taken(file, {"fan1"}), "");
  EXPECT_EQ(taken(file, {"FAN1", 0x05}), "");
  EXPECT_EQ(taken(file, {"FAN1", 0x04, 0x6F}), "");
  EXPECT_EQ(taken(file, {"FAN1", 0x04, 0x01, 0x07}), "");
  // Decimal numbers are the same.
  EXPECT_EQ(taken(kSlowSensors + "FAN*\t4\t1\t29\tfan\t{name}\t1\t0\t-\tslow\n", {"FAN1"}), found);
}

TEST(MappingTest, NumbersComeFromTheRowTheNameOrTheSdr) {
  const auto row = [](const std::string& pattern, const std::string& cells) {
    return kSlowSensors + pattern + "\t*\t*\t*\t" + cells + "\tslow\n";
  };
  EXPECT_EQ(taken(row("*", "storage\t{name}\t7\t8\t209"), {"A"}), "4: storage A 7 8 209 slow;");
  EXPECT_EQ(taken(row("*", "storage\t{name}\t0\t2147483647\tD1h"), {"A"}), "4: storage A 0 2147483647 209 slow;");
  EXPECT_EQ(taken(row("SAS{group}_HDD{unit}*", "storage\t{name}\t{unit}\t{group}\t-"), {"SAS11_HDD03_ST"}),
            "4: storage SAS11_HDD03_ST 3 11 208 slow;");
  EXPECT_EQ(taken(row("*", "fan\t{name}\t{entity}\t{entity}\t-"), {"A"}), "4: fan A 9 9 29 slow;");
  EXPECT_EQ(taken(row("F{unit}G{group}", "fan\tX{unit}_{group}_{entity}\t1\t0\t-"), {"F12G34"}),
            "4: fan X12_34_9 1 0 29 slow;");
}

// In front of a file, rows of one's own are the first that fit.
TEST(MappingTest, TheFirstRowThatFitsTakesASensor) {
  const std::string general = "*\t04h\t*\t*\tfan\t{name}\t{entity}\t0\t-\tslow\n";
  EXPECT_EQ(taken(kSlowSensors + kRow + general, {"FAN1"}), "4: fan FAN1 1 0 29 slow;");
  EXPECT_EQ(taken(kSlowSensors + kRow + general, {"Fan 1"}), "5: fan Fan 1 9 0 29 slow;");
  EXPECT_EQ(taken(kSlowSensors + general + kRow, {"FAN1"}), "4: fan FAN1 9 0 29 slow;");
  const std::string own = kSensors + "FAN*\t04h\t01h\t*\tfan\t{name}\t5\t0\t-\tslow\n";
  EXPECT_EQ(taken(own + kSlowSensors + kRow, {"FAN1"}), "2: fan FAN1 5 0 29 slow;");
}

TEST(MappingTest, RowsOfTheSameSensorsThatFollowEachOtherAllCount) {
  const std::string first = "FAN{unit}\t04h\t08h\t*\tfan\tFAN{unit}_TACH1\t{unit}\t0\t-\tslow\n";
  const std::string second = "FAN{unit}\t04h\t08h\t*\tfan\tFAN{unit}_TACH2\t{unit}\t0\t-\tslow\n";
  const std::string third = "FAN{unit}\t04h\t08h\t*\tfan\tFAN{unit}_TACH3\t{unit}\t0\t-\tfast slow\n";
  const std::string file = kSlow + "fast\tstate\t1\t2/1\t2/0\n" + kSensors + first + second + third;
  EXPECT_EQ(taken(file, {"FAN2", 0x04, 0x08}),
            "5: fan FAN2_TACH1 2 0 29 slow;6: fan FAN2_TACH2 2 0 29 slow.2;7: fan FAN2_TACH3 2 0 29 fast;"
            "7: fan FAN2_TACH3 2 0 29 slow.3;");
  // In another section they are rows of their own.
  EXPECT_EQ(taken(kSlowSensors + first + kSensors + second, {"FAN2", 0x04, 0x08}), "4: fan FAN2_TACH1 2 0 29 slow;");
}

TEST(MappingTest, ARowMayLeaveSensorsOut) {
  const std::string file = kSlowSensors + "FAN7\t*\t*\t*\t-\t-\t-\t-\t-\t-\n" + kRow;
  EXPECT_EQ(taken(file, {"FAN7"}), "");
  EXPECT_EQ(taken(file, {"FAN8"}), "5: fan FAN8 1 0 29 slow;");
  const Mapping mapping = Mapping::parse(file, "m.tsv");
  EXPECT_EQ(mapping.line_of(make_sensor({"FAN7"})), 4U);
  EXPECT_EQ(mapping.line_of(make_sensor({"FAN8"})), 5U);
  EXPECT_EQ(mapping.line_of(make_sensor({"PSU"})), 0U);
}

TEST(MappingTest, SectionsMayComeInAnyOrder) {
  EXPECT_EQ(taken("# Mine.\n\n" + kSensors + kRow + "\n" + kSlow, {"FAN1"}), "4: fan FAN1 1 0 29 slow;");
  EXPECT_EQ(taken(kLadders + kSensors, {"FAN1"}), "");
}

TEST(MappingTest, NamesThatDoNotFitAreCutAndMarked) {
  const std::string file = kSlowSensors + "*\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow\n";
  const auto sent = [&](const std::string& name, const SensorKey& key = {0x20, 0, 0x3A}) {
    SensorOf sensor{name};
    sensor.key = key;
    const auto found = Mapping::parse(file, "m.tsv").of(make_sensor(sensor));
    return found.size() == 1 ? found[0].target.sensor : "not mapped";
  };
  EXPECT_EQ(sent("FAN 1 front/left !~"), "FAN 1 front/left !~");  // 19 bytes
  EXPECT_EQ(sent("FAN 1 front, left !~"), "FAN 1 front, ~2003A");
  EXPECT_EQ(sent("FAN 1 front, left !~", {0xC0, 3, 0xFF}), "FAN 1 front, ~C03FF");
  EXPECT_EQ(sent(""), "~2003A");
  EXPECT_EQ(sent("L\xC3\xBC"
                 "fter"),
            "L??fter~2003A");
  EXPECT_EQ(sent(std::string("A\0B", 3)), "A?B~2003A");
  EXPECT_EQ(sent("\x1b[2J"), "?[2J~2003A");
  const auto fixed =
      Mapping::parse(kSlowSensors + "*\t*\t*\t*\tfan\tABCDEFGHIJKLMNOPQ_{entity}\t1\t0\t-\tslow\n", "m.tsv")
          .of(make_sensor({"A", 4, 1, 4, 127}));
  ASSERT_EQ(fixed.size(), 1U);
  EXPECT_EQ(fixed[0].target.sensor, "ABCDEFGHIJKLM~2003A");
}

struct Bad {
  std::string file;
  const char* complaint;
};

std::ostream& operator<<(std::ostream& out, const Bad& bad) { return out << bad.complaint; }

class BadMappingTest : public testing::TestWithParam<Bad> {};

TEST_P(BadMappingTest, IsRefusedWithItsPlace) { EXPECT_EQ(complaint(GetParam().file), GetParam().complaint); }

INSTANTIATE_TEST_SUITE_P(
    Sections, BadMappingTest,
    testing::Values(Bad{"", "m.tsv:1:1: ladder: there is no header line"},
                    Bad{"\n# words\n", "m.tsv:1:1: ladder: there is no header line"},
                    Bad{"\nslow\tstate\n",
                        "m.tsv:2:1: ladder: the file begins with 'slow', not with a header line: ladder or sensor"},
                    Bad{"ladder\theld\toffset\tdown\tup\n", "m.tsv:1:20: up: the header names this column 'down'"},
                    Bad{kSlow + "sensor\n", "m.tsv:3:7: type: the line has 1 of 10 columns"},
                    Bad{kSlow + "slow\n", "m.tsv:3:5: held: the line has 1 of 5 columns"}));

INSTANTIATE_TEST_SUITE_P(
    Ladders, BadMappingTest,
    testing::Values(
        Bad{kLadders + "Slow\tstate\t0\t3/4\t3/0\n",
            "m.tsv:2:1: ladder: 'Slow' is not a name of 1 to 32 small letters, digits and hyphens"},
        Bad{kLadders + "\tstate\t0\t3/4\t3/0\n",
            "m.tsv:2:1: ladder: '' is not a name of 1 to 32 small letters, digits and hyphens"},
        Bad{kLadders + "slow\tstates\t0\t3/4\t3/0\n", "m.tsv:2:6: held: 'states' is neither state nor log"},
        Bad{kLadders + "slow\t\t0\t3/4\t3/0\n", "m.tsv:2:6: held: is empty"},
        Bad{kLadders + "slow\tlog presence presence\t0\t3/4\t3/0\n",
            "m.tsv:2:19: held: only presence and choice may follow and, behind log, recovers, each once"},
        Bad{kSlow + "slow\tlog\t2\t4/5\t4/4\n", "m.tsv:3:6: held: the ladder's first rung, in line 2, says otherwise"},
        Bad{kSlow + "fast\tstate\t2\t4/5\t4/4\nslow\tstate\t2\t4/5\t4/4\n",
            "m.tsv:4:1: ladder: there is a ladder of this name in line 2; the rungs of a ladder follow each other"},
        Bad{kSlow + kSlow,
            "m.tsv:4:1: ladder: there is a ladder of this name in line 2; the rungs of a ladder follow each other"},
        Bad{kLadders + "slow\tstate\t16\t3/4\t3/0\n",
            "m.tsv:2:12: offset: '16' is not a number from 0 to 15 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kLadders + "slow\tstate\t1 !10h\t3/4\t3/0\n",
            "m.tsv:2:15: offset: '10h' is not a number from 0 to 15 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kLadders + "slow\tstate\t-1\t3/4\t3/0\n",
            "m.tsv:2:12: offset: '-1' is not a number from 0 to 15 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kLadders + "slow\tstate\t!\t3/4\t3/0\n",
            "m.tsv:2:13: offset: '' is not a number from 0 to 15 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kLadders + "slow\tstate\t6=256\t3/4\t3/0\n",
            "m.tsv:2:14: offset: '256' is not a number from 0 to 255 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kLadders + "slow\tstate\t!6=2\t3/4\t3/0\n",
            "m.tsv:2:14: offset: an offset that is not set has no event data 3"},
        Bad{kSlow + "slow\tstate\t2 !0\t4/5\t4/4\n",
            "m.tsv:3:14: offset: this offset is on the rung in line 2 already"},
        Bad{kLadders + "slow\tstate\t6=2 6=2\t3/4\t3/0\n",
            "m.tsv:2:16: offset: this offset is on the rung in line 2 already"},
        Bad{kLadders + "slow\tstate\t6=2\t3/4\t3/0\nslow\tstate\t6\t3/4\t3/0\n",
            "m.tsv:3:12: offset: the rung in line 2, for one value of event data 3, is lower and would never count"},
        Bad{kLadders + "slow\tstate\t0\t-\t3/0\n",
            "m.tsv:2:14: up: a rung sends at least one event when it is reached"},
        Bad{kLadders + "slow\tstate\t0\t3/4 3\t3/0\n", "m.tsv:2:18: up: '3' is not offset/state, as 117/4"},
        Bad{kLadders + "slow\tstate\t0\t3/4\t3/2\n",
            "m.tsv:2:20: down: a state is 0 (deasserted), 1 (asserted), 4, 5 or 6 (a threshold's level)"},
        Bad{kLadders + "slow\tstate\t0\t2147483648/4\t3/0\n",
            "m.tsv:2:14: up: '2147483648' is not a number from 0 to 2147483647 (hexadecimal with an h behind it, as "
            "6Fh)"},
        Bad{kLadders + "slow\tstate\t0\t1/1 1/1 1/1 1/1 1/1 1/1 1/1 1/1 1/1\t3/0\n",
            "m.tsv:2:46: up: a rung sends at most 8 events"}));

INSTANTIATE_TEST_SUITE_P(
    Sensors, BadMappingTest,
    testing::Values(
        Bad{kSlowSensors + "\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:1: sensor: is empty; * stands for any name"},
        Bad{kSlowSensors + "FAN{unit\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:4: sensor: braces are for {unit} and {group} only"},
        Bad{kSlowSensors + "FAN{unit}{unit}\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:10: sensor: has this number twice"},
        Bad{kSlowSensors + "FAN\t100h\t*\t*\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:5: type: '100h' is not a number from 0 to 255 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kSlowSensors + "FAN\t*\t6F\t*\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:7: reading: '6F' is not a number from 0 to 255 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kSlowSensors + "FAN\t*\t*\t\tfan\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:9: of: '' is not a number from 0 to 255 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfans\t{name}\t1\t0\t-\tslow\n",
            "m.tsv:4:11: entity: there is no entity 'fans', only sys_board, fan, ps, cpu, mem, fw_bios_post, pci, "
            "add_in, caddora, storage, drive_bp, chassis, front_panel, nm, ne, cmc"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t\t1\t0\t-\tslow\n",
            "m.tsv:4:15: name: is empty; {name} stands for the sensor's own name"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\tF{unit}\t1\t0\t-\tslow\n",
            "m.tsv:4:16: name: the sensor's pattern has no {unit}"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{nam}\t1\t0\t-\tslow\n",
            "m.tsv:4:15: name: braces are for {name}, {unit}, {group} and {entity} only"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\tABCDEFGHIJKLMNOPQRST\t1\t0\t-\tslow\n",
            "m.tsv:4:34: name: a name has at most 19 bytes"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\tL\xC3\xBC\t1\t0\t-\tslow\n",
            "m.tsv:4:16: name: only printable characters of ASCII are allowed"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t{unit}\t0\t-\tslow\n",
            "m.tsv:4:22: instance: the sensor's pattern has no {unit}"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t1\t{group}\t-\tslow\n",
            "m.tsv:4:24: group: the sensor's pattern has no {group}"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t{name}\t0\t-\tslow\n",
            "m.tsv:4:22: instance: only {unit}, {group}, {entity} and numbers are allowed"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t1\t0\t256\tslow\n",
            "m.tsv:4:26: entity_id: '256' is not a number from 0 to 255 (hexadecimal with an h behind it, as 6Fh)"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t1\t0\t-\t \n", "m.tsv:4:28: ladders: is empty"},
        Bad{kSlow + "fast\tstate\t1\t2/1\t2/0\n" + kSensors + "FAN\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow quick\n",
            "m.tsv:5:33: ladders: there is no ladder 'quick', only fast, slow"},
        Bad{kSensors + kRow, "m.tsv:2:33: ladders: there is no ladder 'slow'"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\t-\t-\t-\t0\t-\t-\n",
            "m.tsv:4:17: group: sensors that are left out have - in all columns from entity on"}));

INSTANTIATE_TEST_SUITE_P(
    RowsThatWouldNotCount, BadMappingTest,
    testing::Values(
        Bad{kSlowSensors + kRow + kRow, "m.tsv:5:33: ladders: line 4 gives these sensors this ladder already"},
        Bad{kSlowSensors + "FAN\t*\t*\t*\tfan\t{name}\t1\t0\t-\tslow slow\n",
            "m.tsv:4:33: ladders: line 4 gives these sensors this ladder already"},
        Bad{kSlowSensors + kRow + "PS*\t*\t*\t*\tps\t{name}\t1\t0\t-\tslow\n" + kRow,
            "m.tsv:6:1: sensor: the row in line 4 takes the same sensors; rows that share them follow each other"},
        Bad{kSlowSensors + "FAN*\t04h\t01h\t*\t-\t-\t-\t-\t-\t-\n" + kRow,
            "m.tsv:5:1: sensor: the row in line 4 takes the same sensors; rows that share them follow each other"}));

}  // namespace mapping_test
}  // namespace polaiga::ipmi
