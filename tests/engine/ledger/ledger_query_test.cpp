#include "ledger/ledger_query.h"

#include <gtest/gtest.h>

#include "support/ledger_of.h"
#include "support/temp_dir.h"

namespace polaiga::engine::test {
namespace {

using Names = std::vector<std::string>;

Names names_of(const std::vector<ActiveEpisode>& active) {
  Names names;
  for (const ActiveEpisode& one : active) names.push_back(one.episode.fault_dn);
  return names;
}

class LedgerQuery : public ::testing::Test {
 protected:
  void SetUp() override { write_ledger(path_, kStory); }

  Names active(const Selection& selection, std::optional<Moment> at = std::nullopt) const {
    if (at) at = kNewYear + *at;
    return names_of(LedgerReader(path_).active(selection, at));
  }

  TempDir dir_;
  std::string path_ = dir_.file("ledger.db");
};

TEST(LedgerQueryDn, IsUnder) {
  struct Row {
    const char* dn;
    const char* root;
    bool want;
  };
  const Row kRows[] = {
      {"sys/rack-unit-1/psu-1", "sys/rack-unit-1/psu-1", true},
      {"sys/rack-unit-1/psu-1/fault-F0378", "sys/rack-unit-1/psu-1", true},
      {"sys/rack-unit-1/psu-1/fault-F0378", "sys/rack-unit-1/psu-1/", true},
      {"sys/rack-unit-1/psu-1", "sys/rack-unit-1/psu-1//", true},
      {"sys/rack-unit-1/psu-10", "sys/rack-unit-1/psu-1", false},
      {"sys/rack-unit-1/psu-1", "sys/rack-unit-1/psu-10", false},
      {"sys/rack-unit-1/psu-1", "sys/rack-unit-1/psu_1", false},
      {"sys/rack-unit-1/psu-1", "sys/rack-unit-1/psu-%", false},
      {"sys/a_b/c", "sys/a_b", true},
      {"sys/a%b/c", "sys/a%b", true},
      {"sys/axb/c", "sys/a_b", false},
      {"sys/rack-unit-1/psu-1", "rack-unit-1", false},
      {"sys/rack-unit-1/psu-1", "SYS", false},
  };
  for (const Row& row : kRows) EXPECT_EQ(is_under(row.dn, row.root), row.want) << row.dn << " " << row.root;
}

TEST(LedgerQueryWords, FindSeverity) {
  EXPECT_EQ(find_severity("critical"), Severity::kCritical);
  EXPECT_EQ(find_severity("indeterminate"), Severity::kIndeterminate);
  EXPECT_EQ(find_severity("cleared"), Severity::kCleared);
  EXPECT_EQ(find_severity("Major"), std::nullopt);
  EXPECT_EQ(find_severity(""), std::nullopt);
}

TEST_F(LedgerQuery, ActiveInTheOrderOfRaising) { EXPECT_EQ(active({}), (Names{kTenth, kSlower, kHot})); }

TEST_F(LedgerQuery, ActiveFault) {
  const auto found = LedgerReader(path_).active({.under = kSlower}, std::nullopt);
  ASSERT_EQ(found.size(), 1U);
  const Episode& episode = found[0].episode;
  EXPECT_EQ(episode.raised, 5);
  EXPECT_EQ(episode.raised_at, kNewYear + 240);
  EXPECT_EQ(episode.last, 5);
  EXPECT_EQ(episode.updated_at, kNewYear + 240);
  EXPECT_EQ(episode.reports, 1U);
  EXPECT_EQ(episode.ended, std::nullopt);
  EXPECT_TRUE(found[0].is_latest);
  EXPECT_EQ(found[0].record.severity, "major");
  EXPECT_EQ(found[0].record.event.line.entity->name, "fan");
  EXPECT_STREQ(found[0].record.record.descr,
               "FAN1_TACH1: Fan speed for fan-1 is lower critical : Check the air intake to the server ");
}

TEST_F(LedgerQuery, Selections) {
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu-1"}), Names{});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu-1"}, 300), Names{kSupply});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu-1/"}, 300), Names{kSupply});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu-10"}, 300), Names{kTenth});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu_1"}, 300), Names{});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/psu-1%"}, 300), Names{});
  EXPECT_EQ(active({.under = "sys/rack-unit-1/fan-module-1-1"}), Names{kSlower});
  EXPECT_EQ(active({.under = kTenth}), Names{kTenth});

  EXPECT_EQ(active({.least = Severity::kWarning}), (Names{kTenth, kSlower, kHot}));
  EXPECT_EQ(active({.least = Severity::kMinor}), (Names{kSlower, kHot}));
  EXPECT_EQ(active({.least = Severity::kMajor}), (Names{kSlower, kHot}));
  EXPECT_EQ(active({.least = Severity::kCritical}), Names{kHot});

  EXPECT_EQ(active({.entity = find_entity("ps")}), Names{kTenth});
  EXPECT_EQ(active({.entity = find_entity("front_panel")}), Names{kHot});
  EXPECT_EQ(active({.entity = find_entity("cpu")}), Names{});

  EXPECT_EQ(active({.raised_by = kNewYear + 239}), Names{kTenth});
  EXPECT_EQ(active({.raised_by = kNewYear + 240}), (Names{kTenth, kSlower}));
  EXPECT_EQ(active({.raised_after = kNewYear + 240}), Names{kHot});
  EXPECT_EQ(active({.raised_after = kNewYear + 239}), (Names{kSlower, kHot}));
  EXPECT_EQ(active({.raised_by = kNewYear + 240, .raised_after = kNewYear + 120}), Names{kSlower});
}

TEST_F(LedgerQuery, ActiveAtATime) {
  EXPECT_EQ(active({}, -1), Names{});
  EXPECT_EQ(active({}, 0), Names{kSlow});
  EXPECT_EQ(active({}, 59), Names{kSlow});
  EXPECT_EQ(active({}, 60), (Names{kSlow, kSupply}));
  EXPECT_EQ(active({}, 239), (Names{kSlow, kSupply, kTenth}));
  EXPECT_EQ(active({}, 240), (Names{kSupply, kTenth, kSlower}));  // superseded
  EXPECT_EQ(active({}, 359), (Names{kSupply, kTenth, kSlower, kHot}));
  EXPECT_EQ(active({}, 360), (Names{kTenth, kSlower, kHot}));  // cleared
  EXPECT_EQ(active({}, 100000), (Names{kTenth, kSlower, kHot}));
}

TEST_F(LedgerQuery, RefreshedLater) {
  const auto of = [&](Moment at) { return LedgerReader(path_).active({.under = kSlow}, kNewYear + at).at(0); };
  EXPECT_FALSE(of(179).is_latest);
  EXPECT_EQ(of(179).record.event.sequence, 1);
  EXPECT_TRUE(of(180).is_latest);
  EXPECT_EQ(of(180).record.event.sequence, 4);
  EXPECT_EQ(of(180).episode.reports, 2U);
}

// An event's own time counts, not that of its coming.
TEST_F(LedgerQuery, OwnTimes) {
  const std::string path = dir_.file("own.db");
  write_ledger(path, {{500, R"({"entity":"ne","sensor":"LINK","offset":126,"state":1,"time":1735689610})"}});
  EXPECT_EQ(LedgerReader(path).active({}, kNewYear + 9).size(), 0U);
  const auto found = LedgerReader(path).active({}, kNewYear + 10);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].episode.raised_at, kNewYear + 10);
}

TEST_F(LedgerQuery, BeforeTheHorizon) {
  const std::string path = dir_.file("short.db");
  write_ledger(path, kStory, {.events = 2, .days = 0});
  LedgerReader reader(path);
  try {
    reader.active({}, kNewYear + 299);
    FAIL() << "it reaches back to 300";
  } catch (const LedgerError& error) {
    EXPECT_EQ(error.what(),
              path + ": the ledger reaches back to 2025-01-01T00:05:00Z; what was before is no longer kept");
  }
  EXPECT_EQ(names_of(reader.active({}, kNewYear + 300)), (Names{kSupply, kTenth, kSlower, kHot}));
  EXPECT_EQ(names_of(reader.active({}, std::nullopt)), (Names{kTenth, kSlower, kHot}));
}

TEST_F(LedgerQuery, History) {
  LedgerReader reader(path_);
  const auto all = reader.history("", 0);
  Names names;
  for (const Episode& one : all) names.push_back(one.fault_dn);
  EXPECT_EQ(names, (Names{kSlow, kSupply, kTenth, kSlower, kHot}));

  const Episode& superseded = all[0];
  EXPECT_EQ(superseded.raised, 1);
  EXPECT_EQ(superseded.last, 4);
  EXPECT_EQ(superseded.updated_at, kNewYear + 180);
  EXPECT_EQ(superseded.reports, 2U);
  EXPECT_EQ(superseded.ended, 5);
  EXPECT_EQ(superseded.ended_at, kNewYear + 240);
  EXPECT_EQ(superseded.ending, "superseded");
  EXPECT_EQ(superseded.end_code, "F0396");
  EXPECT_EQ(all[1].ended, 7);
  EXPECT_EQ(all[1].ending, "cleared");
  EXPECT_EQ(all[2].ended, std::nullopt);
  EXPECT_EQ(all[2].ending, "");

  const auto last = reader.history("", 2);
  ASSERT_EQ(last.size(), 2U);
  EXPECT_EQ(last[0].fault_dn, kSlower);
  EXPECT_EQ(last[1].fault_dn, kHot);
  EXPECT_EQ(reader.history(kSupply, 0).size(), 1U);
  EXPECT_EQ(reader.history("sys/rack-unit-1/psu-1", 0).size(), 0U);
}

TEST_F(LedgerQuery, EpisodesOfOneFault) {
  write_ledger(path_, {{480, kStory[1].line.substr(0, kStory[1].line.find(",\"id\"")) + "}"}});
  const auto episodes = LedgerReader(path_).history(kSupply, 0);
  ASSERT_EQ(episodes.size(), 2U);
  EXPECT_EQ(episodes[0].raised, 2);
  EXPECT_EQ(episodes[1].raised, 9);
  EXPECT_EQ(episodes[1].ended, std::nullopt);
  EXPECT_EQ(LedgerReader(path_).history(kSupply, 1).at(0).raised, 9);
  EXPECT_EQ(LedgerReader(path_).explain(kSupply).value().episode.raised, 9);
}

TEST_F(LedgerQuery, Explain) {
  LedgerReader reader(path_);
  const auto found = reader.explain(kSlower);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->raise.event.sequence, 5);
  EXPECT_EQ(found->raise.event.line.event.event_offset, 4);
  EXPECT_EQ(found->raise.event.line.event.event_state, 5);
  EXPECT_EQ(found->superseded, Names{kSlow});
  EXPECT_EQ(found->tables, read_host_tables(POLAIGA_TABLES_DIR));
  EXPECT_EQ(reader.explain(kSupply)->superseded, Names{});
  EXPECT_EQ(reader.explain(kSupply)->raise.event.line.id, "ps-1-out");
  EXPECT_FALSE(reader.explain("sys/rack-unit-1/psu-2/fault-F0378"));
}

std::vector<Sequence> numbers_of(const RecordsRead& read) {
  std::vector<Sequence> numbers;
  for (const StoredRecord& one : read.records) numbers.push_back(one.event.sequence);
  return numbers;
}

TEST_F(LedgerQuery, Records) {
  using Numbers = std::vector<Sequence>;
  LedgerReader reader(path_);
  EXPECT_EQ(numbers_of(reader.latest({}, 3)), (Numbers{5, 6, 7}));
  EXPECT_EQ(reader.latest({}, 3).through, 7);
  EXPECT_EQ(numbers_of(reader.latest({}, 0)), Numbers{});
  EXPECT_EQ(reader.latest({}, 0).through, 7);
  EXPECT_EQ(numbers_of(reader.latest({.least = Severity::kMajor}, 10)), (Numbers{5, 6}));
  EXPECT_EQ(numbers_of(reader.latest({.under = "sys/rack-unit-1/psu-1"}, 10)), (Numbers{2, 7}));
  // The clear of a warning counts as a warning.
  EXPECT_EQ(numbers_of(reader.latest({.least = Severity::kWarning}, 1)), Numbers{7});
  EXPECT_EQ(numbers_of(reader.latest({.least = Severity::kMinor}, 1)), Numbers{6});
  EXPECT_EQ(numbers_of(reader.after({}, 5)), (Numbers{6, 7}));
  EXPECT_EQ(reader.after({.least = Severity::kCritical}, 5).through, 7);
  EXPECT_EQ(numbers_of(reader.after({.least = Severity::kCritical}, 5)), Numbers{6});
  EXPECT_EQ(reader.after({}, 7).through, 7);
}

TEST_F(LedgerQuery, SeesWhatIsWrittenMeanwhile) {
  LedgerReader reader(path_);
  reader.has_changed();
  EXPECT_FALSE(reader.has_changed());
  write_ledger(path_, {{480, kStory[2].line}});
  EXPECT_TRUE(reader.has_changed());
  EXPECT_FALSE(reader.has_changed());
  EXPECT_EQ(numbers_of(reader.after({}, 7)), (std::vector<Sequence>{9}));
}

// What a writer has not committed is neither seen nor waited for.
TEST_F(LedgerQuery, DuringAWrite) {
  Database writer(path_, Access::kReadWriteCreate);
  Transaction transaction(writer);
  writer.exec("UPDATE episode SET ended_seq = 8, ending = 'cleared'");
  EXPECT_EQ(active({}), (Names{kTenth, kSlower, kHot}));
  transaction.commit();
  EXPECT_EQ(active({}), Names{});
}

}  // namespace
}  // namespace polaiga::engine::test
