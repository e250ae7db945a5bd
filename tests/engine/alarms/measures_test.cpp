#include "alarms/measures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace polaiga::engine {
namespace measures_test {

using Moments = std::vector<Moment>;

constexpr Moment kNow = 1'000'000;

// An active alarm of one level, which is reported now.
AlarmFact alarm(const std::string& dn, std::uint32_t code, Moment created) {
  return {.number = 1,
          .dn = dn,
          .code = code,
          .name = "name",
          .severity = Severity::kMinor,
          .created = created,
          .ended = {},
          .is_merged = false,
          .reported = kNow,
          .acknowledged = {},
          .raises = {{code, "name", created}}};
}

AlarmFact ended(Moment created, Moment ended) {
  AlarmFact fact = alarm("o", 395, created);
  fact.ended = ended;
  return fact;
}

Measures measure(const std::vector<AlarmFact>& facts, std::optional<Moment> raised_after = std::nullopt,
                 const ChatteringLimit& limit = {}) {
  Measuring measuring(kNow, raised_after, limit);
  for (const AlarmFact& fact : facts) measuring.add(fact);
  return measuring.result();
}

// From `first` on, so many seconds apart.
Moments times(std::size_t count, Moment first, Moment apart) {
  Moments found;
  for (std::size_t i = 0; i < count; ++i) found.push_back(first + static_cast<Moment>(i) * apart);
  return found;
}

Moments joined(Moments some, const Moments& others) {
  some.insert(some.end(), others.begin(), others.end());
  return some;
}

TEST(Measures, OfNothing) {
  const Measures none = measure({});
  EXPECT_EQ(none.active, 0U);
  EXPECT_EQ(none.active_by_severity, (std::array<std::uint64_t, 6>{}));
  EXPECT_EQ(none.new_alarms, 0U);
  EXPECT_EQ(none.first_new, std::nullopt);
  EXPECT_EQ(none.in_ten_minutes + none.in_hour + none.in_day, 0U);
  EXPECT_EQ(none.floods, std::vector<Flood>{});
  EXPECT_EQ(none.chattering, std::vector<Chattering>{});
  EXPECT_EQ(none.stale, std::vector<Stale>{});
  EXPECT_EQ(none.worst, std::vector<Offender>{});
  EXPECT_EQ(none.to_acknowledge, MeanTime{});
  EXPECT_EQ(none.to_clear, MeanTime{});
}

TEST(Measures, ActiveAlarmsBySeverity) {
  std::vector<AlarmFact> facts;
  for (const Severity severity : {Severity::kCritical, Severity::kWarning, Severity::kCritical}) {
    facts.push_back(alarm("o", 395, 1000));
    facts.back().severity = severity;
  }
  facts.push_back(ended(1000, 1001));
  const Measures found = measure(facts);
  EXPECT_EQ(found.active, 3U);
  EXPECT_EQ(found.active_by_severity, (std::array<std::uint64_t, 6>{0, 0, 1, 0, 0, 2}));
  EXPECT_EQ(found.new_alarms, 4U);
}

TEST(Measures, NewAlarmsCountedBackFromNow) {
  struct Case {
    Moment created;
    std::uint64_t in_ten_minutes;
    std::uint64_t in_hour;
    std::uint64_t in_day;
  };
  constexpr Case kCases[] = {
      {kNow, 1, 1, 1},          {kNow - 599, 1, 1, 1},   {kNow - 600, 0, 1, 1},
      {kNow - 3'599, 0, 1, 1},  {kNow - 3'600, 0, 0, 1}, {kNow - 86'399, 0, 0, 1},
      {kNow - 86'400, 0, 0, 0}, {kNow + 1, 0, 0, 0},  // before the clock was put back
  };
  for (const Case& one : kCases) {
    const Measures found = measure({alarm("o", 395, one.created)});
    EXPECT_EQ(found.in_ten_minutes, one.in_ten_minutes) << one.created;
    EXPECT_EQ(found.in_hour, one.in_hour) << one.created;
    EXPECT_EQ(found.in_day, one.in_day) << one.created;
    EXPECT_EQ(found.new_alarms, 1U) << one.created;
  }
}

TEST(Measures, Floods) {
  struct Case {
    const char* what;
    Moments created;
    std::vector<Flood> floods;
  };
  const Moments burst = times(11, 1000, 1);
  const Case cases[] = {
      {"ten at once", times(10, 1000, 0), {}},
      {"eleven at once", times(11, 1000, 0), {{1000, 1600, 11}}},
      {"eleven in less than ten minutes", times(11, 1000, 59), {{1000, 1954, 11}}},  // the seventh came at 1354
      {"eleven in ten minutes to the second", times(11, 1000, 60), {}},
      {"one just before its end", joined(burst, {1605}), {{1000, 1607, 12}}},
      {"one at its end", joined(burst, {1606}), {{1000, 1606, 11}}},
      {"it goes on with fewer than it began with", joined(burst, {1300, 1600}), {{1000, 1608, 13}}},
      {"steady, one a minute, after it began", joined(burst, times(5, 1060, 60)), {{1000, 1660, 16}}},
      {"two", joined(burst, times(11, 5000, 2)), {{1000, 1606, 11}, {5000, 5612, 11}}},
      {"no alarm is in two", joined(burst, times(7, 1606, 0)), {{1000, 1606, 11}, {1606, 2206, 7}}},
      {"a later one that needs none of the first",
       joined(burst, times(20, 1700, 1)),
       {{1000, 1606, 11}, {1700, 2315, 20}}},
  };
  for (const Case& one : cases) {
    std::vector<AlarmFact> facts;
    for (const Moment created : one.created) facts.push_back(ended(created, created + 1));
    EXPECT_EQ(measure(facts).floods, one.floods) << one.what;
    std::ranges::reverse(facts);  // times of sources may come in any order
    EXPECT_EQ(measure(facts).floods, one.floods) << one.what;
  }
}

TEST(Measures, AFloodGoesOnUntilItsEndHasCome) {
  std::vector<AlarmFact> facts;
  for (const Moment created : times(11, 1000, 1)) facts.push_back(ended(created, created + 1));
  const auto floods_at = [&](Moment now) {
    Measuring measuring(now);
    for (const AlarmFact& fact : facts) measuring.add(fact);
    return measuring.result().floods;
  };
  EXPECT_EQ(floods_at(1010), (std::vector<Flood>{{1000, std::nullopt, 11}}));
  EXPECT_EQ(floods_at(1605), (std::vector<Flood>{{1000, std::nullopt, 11}}));
  EXPECT_EQ(floods_at(1606), (std::vector<Flood>{{1000, 1606, 11}}));
}

// Alarms that were raised and cleared at once.
std::vector<AlarmFact> raised_at(const std::string& dn, std::uint32_t code, const Moments& moments) {
  std::vector<AlarmFact> facts;
  for (const Moment at : moments) {
    facts.push_back(alarm(dn, code, at));
    facts.back().ended = at;
  }
  return facts;
}

TEST(Measures, Chattering) {
  struct Case {
    const char* what;
    Moments raises;
    std::uint64_t most_again;  // 0: it is not chattering
  };
  const Case cases[] = {
      {"raised again five times", times(6, 1000, 1), 0},
      {"raised again six times", times(7, 1000, 1), 6},
      {"raised again six times, the last one too late", times(7, 1000, 100), 0},
      {"raised again six times, the last one just in time", joined(times(6, 1000, 100), {1599}), 6},
      {"most of what it ever was", joined(times(7, 1000, 1), times(9, 9000, 1)), 8},
      {"all at once", times(100, 1000, 0), 99},
      {"many, but rarely", times(100, 1000, 120), 0},
  };
  for (const Case& one : cases) {
    const auto found = measure(raised_at("o", 395, one.raises)).chattering;
    if (one.most_again == 0) {
      EXPECT_EQ(found, std::vector<Chattering>{}) << one.what;
    } else {
      EXPECT_EQ(found,
                (std::vector<Chattering>{{{"o", 395, "name"}, one.most_again, one.raises.size(), one.raises.back()}}))
          << one.what;
    }
  }
}

// Sources may tell what they have in any order.
TEST(Measures, ChatteringInAnyOrder) {
  auto facts = raised_at("o", 395, {1006, 1001, 1005, 1000, 1004, 1002, 1003});
  EXPECT_EQ(measure(facts).chattering, (std::vector<Chattering>{{{"o", 395, "name"}, 6, 7, 1006}}));
}

TEST(Measures, ChatteringOfEachFaultByItself) {
  auto facts = raised_at("o", 395, times(6, 1000, 1));
  for (const AlarmFact& other : raised_at("o", 396, times(6, 1000, 1))) facts.push_back(other);
  for (const AlarmFact& other : raised_at("p", 395, times(6, 1000, 1))) facts.push_back(other);
  EXPECT_EQ(measure(facts).chattering, std::vector<Chattering>{});
  for (const AlarmFact& other : raised_at("p", 395, {1010})) facts.push_back(other);
  for (const AlarmFact& other : raised_at("o", 396, {1011, 1012})) facts.push_back(other);
  EXPECT_EQ(measure(facts).chattering,
            (std::vector<Chattering>{{{"o", 396, "name"}, 7, 8, 1012}, {{"p", 395, "name"}, 6, 7, 1010}}));
}

// One alarm that goes up and down between two levels.
TEST(Measures, ChatteringBetweenLevels) {
  AlarmFact fact = alarm("o", 395, 1000);
  for (Moment at = 1010; at < 1130; at += 20) {
    fact.raises.push_back({396, "worse", at});
    fact.raises.push_back({395, "name", at + 10});
  }
  const Measures found = measure({fact});
  EXPECT_EQ(found.chattering,
            (std::vector<Chattering>{{{"o", 395, "name"}, 6, 7, 1120}}));  // 396 only five times again
  EXPECT_EQ(found.new_alarms, 1U);
  EXPECT_EQ(found.worst, (std::vector<Offender>{{{"o", 395, "name"}, 1}}));
}

TEST(Measures, ChatteringByAnotherLimit) {
  const ChatteringLimit limit{.times = 2, .within = 60};
  EXPECT_EQ(measure(raised_at("o", 395, times(3, 1000, 10)), {}, limit).chattering, std::vector<Chattering>{});
  EXPECT_EQ(measure(raised_at("o", 395, times(4, 1000, 20)), {}, limit).chattering, std::vector<Chattering>{});
  EXPECT_EQ(measure(raised_at("o", 395, times(4, 1000, 19)), {}, limit).chattering,
            (std::vector<Chattering>{{{"o", 395, "name"}, 3, 4, 1057}}));
}

TEST(Measures, Stale) {
  const auto reported = [](ChangeNumber number, Moment at) {
    AlarmFact fact = alarm("o", 395, 1000);
    fact.number = number;
    fact.severity = Severity::kMajor;
    fact.reported = at;
    return fact;
  };
  AlarmFact over = reported(5, 1000);
  over.ended = 2000;
  const Measures found = measure(
      {reported(1, kNow - 86'400), reported(2, kNow - 86'401), reported(3, kNow), reported(4, kNow - 900'000), over});
  EXPECT_EQ(found.stale, (std::vector<Stale>{{4, {"o", 395, "name"}, Severity::kMajor, 1000, kNow - 900'000},
                                             {2, {"o", 395, "name"}, Severity::kMajor, 1000, kNow - 86'401}}));
}

TEST(Measures, TheTenWorstOffenders) {
  std::vector<AlarmFact> facts;
  for (const char* dn : {"k", "j", "i", "h", "g", "f", "e", "d", "c", "b", "a"}) facts.push_back(alarm(dn, 395, 1000));
  facts.push_back(alarm("k", 395, 3000));
  facts.push_back(alarm("k", 395, 2000));
  facts.push_back(alarm("k", 396, 2000));
  facts.push_back(alarm("b", 395, 2000));
  AlarmFact& latest = facts[facts.size() - 4];
  latest.name = latest.raises[0].name = "the latest name";
  const Measures found = measure(facts);
  ASSERT_EQ(found.worst.size(), 10U);
  EXPECT_EQ(found.worst[0], (Offender{{"k", 395, "the latest name"}, 3}));
  EXPECT_EQ(found.worst[1], (Offender{{"b", 395, "name"}, 2}));
  EXPECT_EQ(found.worst[2], (Offender{{"a", 395, "name"}, 1}));
  EXPECT_EQ(found.worst[9], (Offender{{"i", 395, "name"}, 1}));
  EXPECT_EQ(found.new_alarms, 15U);
}

// Of two names that a fault had in the same second, the one that came later.
TEST(Measures, AFaultHasItsLatestName) {
  AlarmFact first = alarm("o", 395, 1000);
  AlarmFact second = alarm("o", 395, 1000);
  AlarmFact earlier = alarm("o", 395, 999);
  second.name = second.raises[0].name = "the latest name";
  EXPECT_EQ(measure({first, second, earlier}).worst, (std::vector<Offender>{{{"o", 395, "the latest name"}, 3}}));
}

TEST(Measures, MeanTimes) {
  AlarmFact acknowledged = ended(1000, 1100);
  acknowledged.acknowledged = 1007;
  AlarmFact other = alarm("o", 395, 1000);
  other.acknowledged = 1010;
  AlarmFact merged = ended(1000, 9000);
  merged.is_merged = true;
  const Measures found = measure({acknowledged, other, merged, ended(2000, 2001), ended(5000, 4000)});
  EXPECT_EQ(found.to_acknowledge, (MeanTime{2, 9}));  // of 7 and 10
  EXPECT_EQ(found.to_clear, (MeanTime{3, 34}));       // of 100, 1 and, since the clock went back, 0
}

TEST(Measures, OfTheTimeLookedAt) {
  const Moment begin = kNow - 1000;
  AlarmFact before = alarm("before", 395, begin);
  before.acknowledged = kNow;
  before.reported = 1;
  AlarmFact gone_on = alarm("gone on", 395, begin);
  for (const Moment at : times(7, begin, 1)) gone_on.raises.push_back({396, "worse", at});
  std::vector<AlarmFact> facts{before, gone_on, alarm("after", 395, begin + 1)};
  const Measures found = measure(facts, begin);
  EXPECT_EQ(found.new_alarms, 1U);
  EXPECT_EQ(found.worst, (std::vector<Offender>{{{"after", 395, "name"}, 1}}));
  EXPECT_EQ(found.first_new, begin + 1);
  EXPECT_EQ(measure(facts, begin - 1).first_new, begin);
  EXPECT_EQ(found.to_acknowledge, MeanTime{});
  EXPECT_EQ(found.chattering, std::vector<Chattering>{});  // six of the seven raises
  EXPECT_EQ(measure(facts, begin - 1).chattering.size(), 1U);
  // What is active does not depend on it, nor do the last ten minutes, hour and day.
  EXPECT_EQ(found.active, 3U);
  EXPECT_EQ(found.stale.size(), 1U);
  EXPECT_EQ(found.in_hour, 3U);
}

}  // namespace measures_test
}  // namespace polaiga::engine
