// Families as text, alarms and the engine's status as families.
#include "metrics/families.h"

#include <gtest/gtest.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <sstream>

#include "metrics/alarm_families.h"
#include "metrics/engine_families.h"

namespace polaiga::web::test {
namespace families_test {

using engine::ActiveRow;
using engine::Severity;
using Lines = std::vector<std::string>;

// The series, without the lines that describe them.
Lines series(const Families& families) {
  Lines lines;
  std::istringstream text(prometheus::TextSerializer().Serialize(families));
  for (std::string line; std::getline(text, line);) {
    if (!line.starts_with('#')) lines.push_back(line);
  }
  return lines;
}

Lines series_of(const Families& families, const std::string& name) {
  Families found;
  std::ranges::copy_if(families, std::back_inserter(found), [&](const auto& family) { return family.name == name; });
  return series(found);
}

Lines with_label(const std::string& value) {
  auto family = gauge("polaiga_test", "A test.");
  add(family, 1, {{"dn", value}});
  return series({family});
}

TEST(FamiliesTest, LabelsAreEscapedAndAlwaysUtf8) {
  const std::pair<std::string, std::string> kRows[] = {
      {"sys/rack-unit-1", "sys/rack-unit-1"},
      {R"(a"b)", R"(a\"b)"},
      {R"(a\b)", R"(a\\b)"},
      {R"(a\nb)", R"(a\\nb)"},
      {"a\nb", R"(a\nb)"},
      {R"("} 1)", R"(\"} 1)"},
      {"\xC3\xA4", "\xC3\xA4"},
      {"a\xC3", "a\xEF\xBF\xBD"},
      {"\xFF\xFE", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"\xED\xA0\x80z", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz"},
      {"", ""},
  };
  for (const auto& [value, escaped] : kRows) {
    EXPECT_EQ(with_label(value), Lines({"polaiga_test{dn=\"" + escaped + "\"} 1"})) << value;
  }
}

TEST(FamiliesTest, AHistogramAddsItsBucketsUp) {
  auto family = histogram("polaiga_test_seconds", "A test.");
  add(family, {std::chrono::microseconds(100), std::chrono::microseconds(2'500'000)}, {3, 0, 2},
      std::chrono::microseconds(7'000'500));
  EXPECT_EQ(series({family}),
            Lines({"polaiga_test_seconds_count 5", "polaiga_test_seconds_sum 7.0005",
                   "polaiga_test_seconds_bucket{le=\"0.0001\"} 3", "polaiga_test_seconds_bucket{le=\"2.5\"} 3",
                   "polaiga_test_seconds_bucket{le=\"+Inf\"} 5"}));
}

ActiveRow alarm(const std::string& dn, Severity severity) {
  ActiveRow row;
  row.fault.dn = dn;
  row.fault.code = 7;
  row.fault.severity = severity;
  return row;
}

TEST(AlarmFamiliesTest, TheWorstAndOldestKeepTheirSeries) {
  engine::Overview now;
  for (const auto& [dn, severity] :
       {std::pair("a", Severity::kMinor), std::pair("b", Severity::kCritical), std::pair("c", Severity::kMinor),
        std::pair("d", Severity::kCritical), std::pair("e", Severity::kIndeterminate),
        std::pair("f", Severity::kWarning), std::pair("g", Severity::kMajor)}) {
    now.active.push_back(alarm(dn, severity));
  }
  const std::pair<std::size_t, std::string> kRows[] = {
      {0, ""}, {1, "b"}, {2, "bd"}, {4, "bdga"}, {5, "bdgac"}, {7, "bdgacfe"}, {10'000, "bdgacfe"},
  };
  for (const auto& [most, kept] : kRows) {
    Families families;
    add_alarm_families(now, most, families);
    std::string dns;
    for (const std::string& line : series_of(families, "polaiga_alarm_active")) dns += line.at(line.find('"') + 1);
    EXPECT_EQ(dns, kept) << most;
    EXPECT_EQ(series_of(families, "polaiga_metrics_series_cut"),
              Lines({"polaiga_metrics_series_cut " + std::to_string(7 - kept.size())}));
  }
}

TEST(AlarmFamiliesTest, TheStateIsThatOfTheOperatorsOrOutOfService) {
  engine::Overview now;
  now.active.resize(6, alarm("a", Severity::kMajor));
  now.active[1].standing.acknowledged = 5;
  now.active[2].standing.closed = 5;
  now.active[3].standing.shelved = 5;
  now.active[4].standing.was_unshelved = true;
  now.active[5].standing.shelved = 5;
  now.active[5].is_out_of_service = true;
  for (std::size_t i = 0; i < now.active.size(); ++i) now.active[i].fault.dn = std::to_string(i);
  Families families;
  add_alarm_families(now, 10, families);
  Lines expected;
  for (const char* const state : {"none", "acknowledged", "closed", "shelved", "unshelved", "out_of_service"}) {
    expected.push_back(R"(polaiga_alarm_active{dn=")" + std::to_string(expected.size()) +
                       R"(",code="F0007",severity="major",state=")" + state + "\"} 1");
  }
  EXPECT_EQ(series_of(families, "polaiga_alarm_active"), expected);
  const Lines counts = series_of(families, "polaiga_alarms");
  EXPECT_EQ(counts.size(), 10U);
  EXPECT_EQ(std::ranges::count(counts, R"(polaiga_alarms{severity="major",silenced="false"} 4)"), 1);
  EXPECT_EQ(std::ranges::count(counts, R"(polaiga_alarms{severity="major",silenced="true"} 2)"), 1);
}

TEST(EngineFamiliesTest, WithoutAnAnswerItIsDown) {
  const std::optional<std::string> kRows[] = {std::nullopt, "", "[]", "nonsense", "\"text\"", "null"};
  for (const auto& status : kRows) {
    Families families;
    add_engine_families(status, families);
    EXPECT_EQ(series(families), Lines({"polaiga_engine_up 0"})) << status.value_or("none");
  }
}

TEST(EngineFamiliesTest, WhatAnEngineDoesNotTellIsLeftOut) {
  Families families;
  add_engine_families(R"({"library_version":"1.0.0","build_id":"ab","active_faults":"many","reports":3,"inputs":[],)"
                      R"("changes":{"raised":4,"cleared":"x"},"batch_times":{"bounds_us":[1],"counts":[1]},)"
                      R"("sync_times":{"bounds_us":[1],"counts":[1],"total_us":1},"publishers":[{},7]})",
                      families);
  EXPECT_EQ(
      series(families),
      Lines({"polaiga_engine_up 1", R"(polaiga_engine_build_info{version="1.0.0",build_id="ab"} 1)",
             "polaiga_engine_ledger_usable 1", "polaiga_reports 3", R"(polaiga_changes_total{kind="raised"} 4)"}));
}

TEST(EngineFamiliesTest, OutputsAndTheStateOfTheLedgerAreTold) {
  Families families;
  add_engine_families(R"({"problem":"the disk is full","file_bytes":4096,"log_bytes":0,"checked_percent":37,)"
                      R"("damage_found":2,"over_limit":true,"log_held_by_reader":false,"publishers":)"
                      R"([{"publisher":"snmp","through":9,"behind":3,"updated":"1970-01-01T00:01:40Z"}]})",
                      families);
  EXPECT_EQ(
      series(families),
      Lines({"polaiga_engine_up 1", R"(polaiga_engine_build_info{version="",build_id=""} 1)",
             "polaiga_engine_ledger_usable 0", "polaiga_ledger_checked_ratio 0.37", "polaiga_ledger_damage_found 2",
             "polaiga_ledger_over_limit 1", "polaiga_ledger_log_held 0",
             R"(polaiga_ledger_size_bytes{part="file"} 4096)", R"(polaiga_ledger_size_bytes{part="log"} 0)",
             R"(polaiga_output_connected{publisher="snmp"} 0)", R"(polaiga_output_through_change{publisher="snmp"} 9)",
             R"(polaiga_output_behind_changes{publisher="snmp"} 3)",
             R"(polaiga_output_updated_timestamp_seconds{publisher="snmp"} 100)"}));
}

TEST(EngineFamiliesTest, AnOutputIsConnectedAsLongAsItSaysSo) {
  struct Row {
    const char* said;
    Lines series;
  };
  const std::string name = "polaiga_output_connected{publisher=\"a\"} ";
  for (const Row& row :
       {Row{R"("silent_s":0,"connected":true)", {name + "1"}}, Row{R"("silent_s":30,"connected":true)", {name + "1"}},
        Row{R"("silent_s":31,"connected":true)", {name + "0"}}, Row{R"("silent_s":0,"connected":false)", {name + "0"}},
        Row{R"("silent_s":0)", {}}, Row{R"("connected":true)", {name + "0"}}}) {
    Families families;
    add_engine_families(R"({"publishers":[{"publisher":"a",)" + std::string(row.said) + "}]}", families);
    Lines found = series(families);
    std::erase_if(found, [](const std::string& line) { return !line.starts_with("polaiga_output_"); });
    EXPECT_EQ(found, row.series) << row.said;
  }
}

}  // namespace families_test
}  // namespace polaiga::web::test
