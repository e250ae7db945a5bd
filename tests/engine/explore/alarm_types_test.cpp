#include "explore/alarm_types.h"

#include <gtest/gtest.h>

#include "filter/host_tables.h"

namespace polaiga::engine {
namespace {

FoundFault found(std::uint32_t code, Severity severity, const char* cause = "performance-problem") {
  return {.code = code,
          .name = "flt" + std::to_string(code),
          .cause = cause,
          .cause_id = 0,
          .severity = severity,
          .reported = true,
          .behaviours = {{}}};
}

const Events kSome{{{false, 1, 1}, 1}};

std::string all_of(const AlarmTypes& types) {
  std::string text;
  for (const auto& [name, type] : types.inventory) {
    text.append(name.identity).append(" ").append(name.qualifier);
    for (const Severity severity : type.severities) text.append(" ").append(severity_word(severity));
    text.append(type.will_clear ? " clears\n" : " stays\n");
  }
  return text;
}

// 7 supersedes 5, and 5 supersedes 9: all three are one type.
TEST(AlarmTypes, LevelsAreJoined) {
  FoundFault seven = found(7, Severity::kMajor);
  seven.behaviours[0].supersedes[5] = kSome;
  FoundFault five = found(5, Severity::kMinor);
  five.behaviours[0].supersedes[9] = kSome;
  five.behaviours[0].raise_texts = {{"SENSOR: slow", kSome}};
  five.behaviours[0].clears = kSome;
  const FoundFilter filters[] = {{"fan", 1, {five, seven, found(8, Severity::kWarning)}},
                                 {"ps", 1, {found(9, Severity::kMajor)}}};
  const AlarmTypes types = alarm_types(filters);
  EXPECT_EQ(all_of(types),
            "quality-of-service-alarm F0005-F0007-F0009 minor major clears\n"
            "quality-of-service-alarm F0008 warning stays\n");
  EXPECT_EQ(types.qualifier_of(9), "F0005-F0007-F0009");
  EXPECT_EQ(types.qualifier_of(8), "F0008");
  EXPECT_EQ(types.qualifier_of(10), "F0010");
  EXPECT_EQ(types.inventory.begin()->second.description,
            "F0005 flt5 (minor, performance-problem): SENSOR: slow; F0007 flt7 (major, performance-problem); "
            "F0009 flt9 (major, performance-problem)");
}

// Filters reject some events though they fill the record.
TEST(AlarmTypes, WhatIsNotReportedIsNoAlarm) {
  FoundFault seven = found(7, Severity::kMajor);
  seven.behaviours[0].supersedes[5] = kSome;
  FoundFault five = found(5, Severity::kMinor);
  five.reported = false;
  const FoundFilter filters[] = {{"fan", 1, {five, seven}}};
  EXPECT_EQ(all_of(alarm_types(filters)), "quality-of-service-alarm F0007 major stays\n");
}

// The same code with two causes is two types.
TEST(AlarmTypes, TheEventTypeIsThatOfTheCause) {
  const FoundFilter filters[] = {
      {"fan", 1, {found(7, Severity::kMajor, "thermal-problem")}},
      {"ps", 1, {found(7, Severity::kMajor, "no known cause"), found(8, Severity::kMajor, "link-missing")}}};
  EXPECT_EQ(all_of(alarm_types(filters)),
            "communications-alarm F0008 major stays\n"
            "environmental-alarm F0007 major stays\n"
            "other-alarm F0007 major stays\n");
}

// Levels of one thing have one event type, or an alarm would have other keys at another level.
TEST(AlarmTypes, OfTheRealFilters) {
  load_host_tables(POLAIGA_TABLES_DIR);
  const auto filters = find_faults();
  const AlarmTypes types = alarm_types(filters);
  EXPECT_EQ(types.qualifier_of(395), "F0395-F0396-F0397");
  EXPECT_EQ(types.qualifier_of(409), "F0409-F0410-F0411");
  EXPECT_EQ(types.qualifier_of(378), "F0378");
  for (const FoundFilter& filter : filters) {
    for (const FoundFault& fault : filter.faults) {
      if (!fault.reported) continue;
      std::set<std::string_view> identities;
      for (const auto& [name, type] : types.inventory) {
        if (name.qualifier == types.qualifier_of(fault.code)) identities.insert(name.identity);
      }
      EXPECT_EQ(identities.size(), 1U) << filter.entity << " " << fault.code;
    }
  }
}

}  // namespace
}  // namespace polaiga::engine
