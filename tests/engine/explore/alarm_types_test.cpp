#include "explore/alarm_types.h"

#include <gtest/gtest.h>

#include "filter/host_tables.h"

namespace polaiga::engine {
namespace alarm_types_test {

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

// What the whole search finds with the program's tables.
const std::vector<FoundFilter>& real_filters() {
  static const std::vector<FoundFilter> filters = [] {
    load_host_tables(POLAIGA_TABLES_DIR);
    return find_faults();
  }();
  return filters;
}

// Levels of one thing have one event type, or an alarm would have other keys at another level.
TEST(AlarmTypes, OfTheRealFilters) {
  const auto& filters = real_filters();
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

// Each type with all that is told of it, a line each.
std::vector<std::string> told(const AlarmTypes& types) {
  std::vector<std::string> lines;
  for (const auto& [name, type] : types.inventory) {
    std::string& line = lines.emplace_back(std::string(name.identity) + " " + name.qualifier);
    for (const Severity severity : type.severities) line.append(" ").append(severity_word(severity));
    line.append(type.will_clear ? " clears: " : " stays: ").append(type.description);
  }
  return lines;
}

void expect_same(const AlarmTypes& few, const AlarmTypes& whole) {
  const std::vector<std::string> some = told(few);
  const std::vector<std::string> all = told(whole);
  ASSERT_EQ(some.size(), all.size());
  for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(some[i], all[i]);
  EXPECT_EQ(few.qualifiers, whole.qualifiers);
}

TEST(AlarmTypes, AreFoundWithFewEvents) {
  const AlarmTypes whole = alarm_types(real_filters());
  load_host_tables(POLAIGA_TABLES_DIR);
  expect_same(alarm_types(find_faults(Thoroughness::kOnlyFaults)), whole);
}

// Tables of the host's with sensors of every class, and with the last offset that is tried.
TEST(AlarmTypes, AreFoundWithFewEventsInOtherTables) {
  HostTables tables = read_host_tables(POLAIGA_TABLES_DIR);
  const std::string sensors = tables.cmc.substr(0, tables.cmc.find("\nCMC1_TEMP") + 1);
  const auto with_classes = [&](const std::string& prefix) {
    std::string table = sensors;
    for (int sensor_class = 1; sensor_class <= 20; ++sensor_class) {
      const auto code = [&](int level) { return std::to_string(1330 + 3 * sensor_class + level) + "\t"; };
      table += prefix + std::to_string(sensor_class) + "\t6\t1\t" + std::to_string(sensor_class) + "\t" + code(0) +
               code(1) + code(2) + code(0) + code(1) + code(2) +
               "215\tfltAny\tthermal-problem\tsys/any\tany\t%s: it is %s: Check it\n";
    }
    return table;
  };
  tables.cmc = with_classes("CMC");
  tables.drive_bp = with_classes("HDD_BP");
  tables.nm += "1024\t46\t1\t0\t1399\t344\tfltLast\tpower-problem\tsys/node\tnode\tThe last offset: Check it\n";
  install_host_tables(tables, "test");
  const AlarmTypes few = alarm_types(find_faults(Thoroughness::kOnlyFaults));
  EXPECT_TRUE(few.qualifiers.contains(1390));
  EXPECT_TRUE(few.qualifiers.contains(1399));
  expect_same(few, alarm_types(find_faults()));
}

}  // namespace alarm_types_test
}  // namespace polaiga::engine
