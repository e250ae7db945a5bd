#include "compare/answer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/record.h"

namespace polaiga::engine {
namespace answer_test {

using test::fill;

constexpr std::size_t kRecordBytes = 924;

// What is different once one field is written, and how it is told.
struct Row {
  const char* field;
  void (*write)(LibraryAnswer& answer);
  Value before;
  Value after;
};

const Row kRows[] = {
    {"event.entity_id", [](LibraryAnswer& a) { a.record.event.entity_id = 200; }, 0, 200},
    {"event.entity_subtype", [](LibraryAnswer& a) { a.record.event.entity_subtype = 1; }, 0, 1},
    {"event.reserved1", [](LibraryAnswer& a) { a.record.event.reserved1[1] = 0xA0; }, "0000", "00a0"},
    {"event.group", [](LibraryAnswer& a) { a.record.event.group_instance = -2; }, 0, -2},
    {"event.instance", [](LibraryAnswer& a) { a.record.event.entity_instance = 3; }, 0, 3},
    {"event.state", [](LibraryAnswer& a) { a.record.event.event_state = 4; }, 0, 4},
    {"event.offset", [](LibraryAnswer& a) { a.record.event.event_offset = 5; }, 0, 5},
    {"event.reserved2", [](LibraryAnswer& a) { a.record.event.reserved2[0] = 0x0F; }, "00000000", "0f000000"},
    {"event.sensor", [](LibraryAnswer& a) { fill(a.record.event.sensor_name, "FAN"); }, "", "FAN"},
    {"event.reading_type", [](LibraryAnswer& a) { a.record.event.reading_type = 0xFFFFFFFF; }, 0, 4294967295},
    {"event.reserved3", [](LibraryAnswer& a) { a.record.event.reserved3[3] = 1; }, "00000000", "00000001"},
    {"fault_key", [](LibraryAnswer& a) { a.record.fault_key = 0x1D000100; }, 0, 486539520},
    {"reserved1", [](LibraryAnswer& a) { a.record.reserved1[39] = 0xFF; }, std::string(80, '0'),
     std::string(78, '0') + "ff"},
    {"dn", [](LibraryAnswer& a) { fill(a.record.dn, "sys/a"); }, "", "sys/a"},
    {"fault_dn", [](LibraryAnswer& a) { fill(a.record.fault_dn, "sys/a/fault-F0001"); }, "", "sys/a/fault-F0001"},
    {"rn", [](LibraryAnswer& a) { fill(a.record.rn, "a"); }, "", "a"},
    {"code_text", [](LibraryAnswer& a) { fill(a.record.code_text, "F0001"); }, "", "F0001"},
    {"oid", [](LibraryAnswer& a) { a.record.oid[1] = 6; }, "0.0.0", "0.6.0"},
    {"reserved2", [](LibraryAnswer& a) { a.record.reserved2[0] = 2; }, "000000", "020000"},
    {"descr", [](LibraryAnswer& a) { fill(a.record.descr, "Check it "); }, "", "Check it "},
    {"reserved3", [](LibraryAnswer& a) { a.record.reserved3[0] = 3; }, "00000000", "03000000"},
    {"disposition", [](LibraryAnswer& a) { a.record.disposition = 6; }, 0, 6},
    {"reserved4", [](LibraryAnswer& a) { a.record.reserved4[2] = 4; }, "000000", "000004"},
    {"cause_id", [](LibraryAnswer& a) { a.record.cause_id = 7; }, 0, 7},
    {"clear_cause_id", [](LibraryAnswer& a) { a.record.clear_cause_id = 8; }, 0, 8},
    {"cause", [](LibraryAnswer& a) { fill(a.record.cause, "missing"); }, "", "missing"},
    {"clear_cause", [](LibraryAnswer& a) { fill(a.record.clear_cause, "degraded"); }, "", "degraded"},
    {"code", [](LibraryAnswer& a) { a.record.code = 395; }, 0, 395},
    {"clear_code", [](LibraryAnswer& a) { a.record.clear_code = 396; }, 0, 396},
    {"reserved5", [](LibraryAnswer& a) { a.record.reserved5[0] = 0x12; }, std::string(56, '0'),
     "12" + std::string(54, '0')},
    {"name", [](LibraryAnswer& a) { fill(a.record.name, "fltFan"); }, "", "fltFan"},
    {"caller_event.entity_id", [](LibraryAnswer& a) { a.event.entity_id = 9; }, 0, 9},
    {"caller_event.instance", [](LibraryAnswer& a) { a.event.entity_instance = 10; }, 0, 10},
    {"caller_event.sensor", [](LibraryAnswer& a) { fill(a.event.sensor_name, "S"); }, "", "S"},
    {"withdrawn", [](LibraryAnswer& a) { fill(a.withdrawn, "sys/a/fault-F0517"); }, "", "sys/a/fault-F0517"},
};

LibraryAnswer plain() {
  LibraryAnswer answer;
  answer.record.oid_len = 3;
  return answer;
}

TEST(LibraryAnswer, EveryField) {
  for (const Row& row : kRows) {
    LibraryAnswer changed = plain();
    row.write(changed);
    EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{row.field, row.before, row.after}}))
        << row.field;
    EXPECT_EQ(differences(changed, plain()), std::vector<Difference>({{row.field, row.after, row.before}}))
        << row.field;
    EXPECT_EQ(differences(changed, changed), std::vector<Difference>()) << row.field;
  }
}

// No byte of a record is forgotten but those of its stamp.
TEST(LibraryAnswer, EveryByteOfTheRecord) {
  ASSERT_EQ(sizeof(fe_fault_record), kRecordBytes);
  LibraryAnswer full;
  full.record.oid_len = FE_OID_SIZE;
  std::memset(&full.record, 1, offsetof(fe_fault_record, oid_len));
  std::memset(&full.record.reserved2, 1, kRecordBytes - offsetof(fe_fault_record, reserved2));
  for (std::size_t at = 0; at < kRecordBytes; ++at) {
    LibraryAnswer changed = full;
    reinterpret_cast<unsigned char*>(&changed.record)[at] = 2;
    const bool stamp = at >= offsetof(fe_fault_record, created) && at < offsetof(fe_fault_record, reserved3);
    EXPECT_EQ(differences(full, changed).empty(), stamp) << at;
  }
}

TEST(LibraryAnswer, SeveralFieldsInTheOrderOfTheRecord) {
  LibraryAnswer changed = plain();
  changed.record.oid_len = 1;
  changed.record.code = 372;
  fill(changed.record.code_text, "F0372");
  changed.record.event.event_state = 1;
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"event.state", 0, 1},
                                                                    {"code_text", "", "F0372"},
                                                                    {"oid", "0.0.0", "0"},
                                                                    {"oid_len", 3, 1},
                                                                    {"code", 0, 372}}));
}

TEST(LibraryAnswer, WhatDoesNotCount) {
  LibraryAnswer changed = plain();
  changed.result = 0;
  fill(changed.record.created, "2024-01-31T23:59:59");
  changed.record.created_time = 1706745599;
  changed.record.oid[3] = 1;
  changed.record.descr[1] = 'x';
  changed.record.event.sensor_name[19] = 'x';
  changed.event.sensor_name[19] = 'x';
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>());
}

TEST(LibraryAnswer, ATextThatFillsItsField) {
  LibraryAnswer changed = plain();
  std::memset(changed.record.rn, 'r', sizeof changed.record.rn);
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"rn", "", std::string(FE_RN_SIZE, 'r')}}));
}

TEST(LibraryAnswer, MoreArcsThanThereAre) {
  LibraryAnswer changed = plain();
  changed.record.oid_len = 255;
  std::string arcs = "0";
  for (int i = 1; i < FE_OID_SIZE; ++i) arcs += ".0";
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"oid", "0.0.0", arcs}, {"oid_len", 3, 255}}));
}

TEST(LibraryAnswer, ARejectionDiffersFromAReportAndInNothingElse) {
  LibraryAnswer rejected;
  rejected.result = -1;
  EXPECT_EQ(differences(plain(), rejected), std::vector<Difference>({{"result", 0, -1}}));
  EXPECT_EQ(differences(rejected, plain()), std::vector<Difference>({{"result", -1, 0}}));
}

TEST(LibraryAnswer, RejectionsAreComparedLikeReports) {
  LibraryAnswer rejected;
  rejected.result = -1;
  LibraryAnswer otherwise = rejected;
  otherwise.result = 5;
  EXPECT_EQ(differences(rejected, otherwise), std::vector<Difference>());
  otherwise.record.code = 517;
  EXPECT_EQ(differences(rejected, otherwise), std::vector<Difference>({{"code", 0, 517}}));
}

}  // namespace answer_test
}  // namespace polaiga::engine
