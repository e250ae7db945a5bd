#include "compare/answer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/record.h"

namespace polaiga::engine {
namespace {

using test::fill;

constexpr std::size_t kRecordBytes = 924;

// What is different once one field is written, and how it is told.
struct Row {
  const char* field;
  void (*write)(Answer& answer);
  Value before;
  Value after;
};

const Row kRows[] = {
    {"event.entity_id", [](Answer& a) { a.record.event.entity_id = 200; }, 0, 200},
    {"event.entity_subtype", [](Answer& a) { a.record.event.entity_subtype = 1; }, 0, 1},
    {"event.reserved1", [](Answer& a) { a.record.event.reserved1[1] = 0xA0; }, "0000", "00a0"},
    {"event.group_instance", [](Answer& a) { a.record.event.group_instance = -2; }, 0, -2},
    {"event.entity_instance", [](Answer& a) { a.record.event.entity_instance = 3; }, 0, 3},
    {"event.event_state", [](Answer& a) { a.record.event.event_state = 4; }, 0, 4},
    {"event.event_offset", [](Answer& a) { a.record.event.event_offset = 5; }, 0, 5},
    {"event.reserved2", [](Answer& a) { a.record.event.reserved2[0] = 0x0F; }, "00000000", "0f000000"},
    {"event.sensor_name", [](Answer& a) { fill(a.record.event.sensor_name, "FAN"); }, "", "FAN"},
    {"event.reading_type", [](Answer& a) { a.record.event.reading_type = 0xFFFFFFFF; }, 0, 4294967295},
    {"event.reserved3", [](Answer& a) { a.record.event.reserved3[3] = 1; }, "00000000", "00000001"},
    {"fault_key", [](Answer& a) { a.record.fault_key = 0x1D000100; }, 0, 486539520},
    {"reserved1", [](Answer& a) { a.record.reserved1[39] = 0xFF; }, std::string(80, '0'), std::string(78, '0') + "ff"},
    {"dn", [](Answer& a) { fill(a.record.dn, "sys/a"); }, "", "sys/a"},
    {"fault_dn", [](Answer& a) { fill(a.record.fault_dn, "sys/a/fault-F0001"); }, "", "sys/a/fault-F0001"},
    {"rn", [](Answer& a) { fill(a.record.rn, "a"); }, "", "a"},
    {"code_text", [](Answer& a) { fill(a.record.code_text, "F0001"); }, "", "F0001"},
    {"oid", [](Answer& a) { a.record.oid[1] = 6; }, "0.0.0", "0.6.0"},
    {"reserved2", [](Answer& a) { a.record.reserved2[0] = 2; }, "000000", "020000"},
    {"descr", [](Answer& a) { fill(a.record.descr, "Check it "); }, "", "Check it "},
    {"reserved3", [](Answer& a) { a.record.reserved3[0] = 3; }, "00000000", "03000000"},
    {"disposition", [](Answer& a) { a.record.disposition = 6; }, 0, 6},
    {"reserved4", [](Answer& a) { a.record.reserved4[2] = 4; }, "000000", "000004"},
    {"cause_id", [](Answer& a) { a.record.cause_id = 7; }, 0, 7},
    {"clear_cause_id", [](Answer& a) { a.record.clear_cause_id = 8; }, 0, 8},
    {"cause", [](Answer& a) { fill(a.record.cause, "missing"); }, "", "missing"},
    {"clear_cause", [](Answer& a) { fill(a.record.clear_cause, "degraded"); }, "", "degraded"},
    {"code", [](Answer& a) { a.record.code = 395; }, 0, 395},
    {"clear_code", [](Answer& a) { a.record.clear_code = 396; }, 0, 396},
    {"reserved5", [](Answer& a) { a.record.reserved5[0] = 0x12; }, std::string(56, '0'), "12" + std::string(54, '0')},
    {"name", [](Answer& a) { fill(a.record.name, "fltFan"); }, "", "fltFan"},
    {"caller_event.entity_id", [](Answer& a) { a.event.entity_id = 9; }, 0, 9},
    {"caller_event.entity_instance", [](Answer& a) { a.event.entity_instance = 10; }, 0, 10},
    {"caller_event.sensor_name", [](Answer& a) { fill(a.event.sensor_name, "S"); }, "", "S"},
    {"withdrawn", [](Answer& a) { fill(a.withdrawn, "sys/a/fault-F0517"); }, "", "sys/a/fault-F0517"},
};

Answer plain() {
  Answer answer;
  answer.record.oid_len = 3;
  return answer;
}

TEST(Answer, EveryField) {
  for (const Row& row : kRows) {
    Answer changed = plain();
    row.write(changed);
    EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{row.field, row.before, row.after}}))
        << row.field;
    EXPECT_EQ(differences(changed, plain()), std::vector<Difference>({{row.field, row.after, row.before}}))
        << row.field;
    EXPECT_EQ(differences(changed, changed), std::vector<Difference>()) << row.field;
  }
}

// No byte of a record is forgotten but those of its stamp.
TEST(Answer, EveryByteOfTheRecord) {
  ASSERT_EQ(sizeof(fe_fault_record), kRecordBytes);
  Answer full;
  full.record.oid_len = FE_OID_SIZE;
  std::memset(&full.record, 1, offsetof(fe_fault_record, oid_len));
  std::memset(&full.record.reserved2, 1, kRecordBytes - offsetof(fe_fault_record, reserved2));
  for (std::size_t at = 0; at < kRecordBytes; ++at) {
    Answer changed = full;
    reinterpret_cast<unsigned char*>(&changed.record)[at] = 2;
    const bool stamp = at >= offsetof(fe_fault_record, created) && at < offsetof(fe_fault_record, reserved3);
    EXPECT_EQ(differences(full, changed).empty(), stamp) << at;
  }
}

TEST(Answer, SeveralFieldsInTheOrderOfTheRecord) {
  Answer changed = plain();
  changed.record.oid_len = 1;
  changed.record.code = 372;
  fill(changed.record.code_text, "F0372");
  changed.record.event.event_state = 1;
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"event.event_state", 0, 1},
                                                                    {"code_text", "", "F0372"},
                                                                    {"oid", "0.0.0", "0"},
                                                                    {"oid_len", 3, 1},
                                                                    {"code", 0, 372}}));
}

TEST(Answer, WhatDoesNotCount) {
  Answer changed = plain();
  changed.result = 0;
  fill(changed.record.created, "2024-01-31T23:59:59");
  changed.record.created_time = 1706745599;
  changed.record.oid[3] = 1;
  changed.record.descr[1] = 'x';
  changed.record.event.sensor_name[19] = 'x';
  changed.event.sensor_name[19] = 'x';
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>());
}

TEST(Answer, ATextThatFillsItsField) {
  Answer changed = plain();
  std::memset(changed.record.rn, 'r', sizeof changed.record.rn);
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"rn", "", std::string(FE_RN_SIZE, 'r')}}));
}

TEST(Answer, MoreArcsThanThereAre) {
  Answer changed = plain();
  changed.record.oid_len = 255;
  std::string arcs = "0";
  for (int i = 1; i < FE_OID_SIZE; ++i) arcs += ".0";
  EXPECT_EQ(differences(plain(), changed), std::vector<Difference>({{"oid", "0.0.0", arcs}, {"oid_len", 3, 255}}));
}

TEST(Answer, ARejectionDiffersFromAReportAndInNothingElse) {
  Answer rejected;
  rejected.result = -1;
  EXPECT_EQ(differences(plain(), rejected), std::vector<Difference>({{"result", 0, -1}}));
  EXPECT_EQ(differences(rejected, plain()), std::vector<Difference>({{"result", -1, 0}}));
}

TEST(Answer, RejectionsAreComparedLikeReports) {
  Answer rejected;
  rejected.result = -1;
  Answer otherwise = rejected;
  otherwise.result = 5;
  EXPECT_EQ(differences(rejected, otherwise), std::vector<Difference>());
  otherwise.record.code = 517;
  EXPECT_EQ(differences(rejected, otherwise), std::vector<Difference>({{"code", 0, 517}}));
}

}  // namespace
}  // namespace polaiga::engine
