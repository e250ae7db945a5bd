#include "redfish/objects.h"

#include <gtest/gtest.h>

namespace polaiga::web {
namespace objects_test {

TEST(ObjectsTest, AnIdStandsForOneDn) {
  const std::pair<const char*, const char*> kRows[] = {
      {"sys/rack-unit-1", "sys.rack-unit-1"},
      {"sys/rack-unit-1/board/storage-SAS-SLOT-2/pd-7", "sys.rack-unit-1.board.storage-SAS-SLOT-2.pd-7"},
      {"a.b_c/d e", "a_2Eb_5Fc.d_20e"},
      {"\xC3\xA9", "_C3_A9"},
  };
  for (const auto& [dn, id] : kRows) {
    EXPECT_EQ(object_id(dn), id);
    EXPECT_EQ(object_dn(id), dn);
  }
}

TEST(ObjectsTest, WhatIsNoIdIsNone) {
  for (const char* const id : {"", "a_", "a_2", "a_2e", "a_41", "a_2F", "a/b", "a b", "a%2E"}) {
    EXPECT_EQ(object_dn(id), std::nullopt) << id;
  }
}

TEST(ObjectsTest, AnObjectIsContainedInThatAboveIt) {
  EXPECT_EQ(container_of("sys/rack-unit-1/board/cpu-1"), "sys/rack-unit-1/board");
  EXPECT_EQ(container_of("sys/rack-unit-1/board"), "sys/rack-unit-1");
  EXPECT_EQ(container_of("sys/rack-unit-1"), std::nullopt);
  EXPECT_EQ(container_of("sys"), std::nullopt);
  Dns dns;
  add_with_containers(dns, "sys/rack-unit-1/board/cpu-1");
  EXPECT_EQ(dns, (Dns{"sys/rack-unit-1", "sys/rack-unit-1/board", "sys/rack-unit-1/board/cpu-1"}));
}

TEST(ObjectsTest, SeveritiesBecomeHealth) {
  using engine::Severity;
  EXPECT_EQ(health_of(Severity::kCleared), "OK");
  EXPECT_EQ(health_of(Severity::kIndeterminate), "Warning");
  EXPECT_EQ(health_of(Severity::kWarning), "Warning");
  EXPECT_EQ(health_of(Severity::kMinor), "Warning");
  EXPECT_EQ(health_of(Severity::kMajor), "Critical");
  EXPECT_EQ(health_of(Severity::kCritical), "Critical");
}

}  // namespace objects_test
}  // namespace polaiga::web
