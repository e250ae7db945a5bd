// Random records against a model of the alarms that is as plain as can be: lists
// that are searched from begin to end, and everything worked out anew each time.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <tuple>

#include "alarms/alarms.h"
#include "filter/host_tables.h"
#include "model/fault.h"
#include "support/alarm_texts.h"
#include "support/record.h"
#include "support/shared_faults.h"

namespace polaiga::engine {
namespace alarms_model_test {

using test::make_record;

#ifdef POLAIGA_SHORT_WALK
constexpr unsigned kSequences = 300;
constexpr unsigned kSequencesOfAFault = 2;
#else
constexpr unsigned kSequences = 2500;
constexpr unsigned kSequencesOfAFault = 12;
#endif

class Model {
 public:
  explicit Model(std::size_t most_reports) : most_reports_(most_reports) {}

  Outcome apply(const fe_fault_record& record, const Reporter& reporter, Sequence sequence, Moment at,
                std::vector<Change>& changes) {
    const std::string own = record.fault_dn;
    if (record.event.event_state == 0 && (record.clear_code == 0 || record.clear_code == record.code)) {
      if (!reports(own, reporter)) return Outcome::kAlreadyClear;
      forget(own, reporter);
      if (reporters(own) > 0) {
        changes.push_back(change(ChangeKind::kPartlyCleared, own, sequence, at));
        return Outcome::kPartlyCleared;
      }
      Change cleared = change(ChangeKind::kCleared, own, sequence, at);
      cleared.after = Severity::kCleared;
      changes.push_back(cleared);
      end(own);
      return Outcome::kCleared;
    }

    // The level that the reporter leaves, and its alarm if nobody else stays there.
    std::optional<Level> left;
    bool others_stay = false;
    if (record.clear_code != 0 && record.clear_code != record.code) {
      const std::string former = fault_dn(record.dn, record.clear_code);
      if (reports(former, reporter)) {
        forget(former, reporter);
        others_stay = reporters(former) > 0;
        left = level(former);
        changes.push_back(
            change(others_stay ? ChangeKind::kPartlyCleared : ChangeKind::kSuperseded, former, sequence, at));
        if (!others_stay) end(former);
      }
    }
    const bool goes_on = left && !others_stay;

    const bool is_active = reporters(own) > 0;
    if (!left && !reports(own, reporter) && all_reports() >= most_reports_) return Outcome::kNotTracked;
    const Severity severity = severity_of(record);
    if (!is_active) {
      Level raised{.fault_dn = own, .code = record.code, .severity = severity, .fault = last_ + 1, .since = at};
      raised.alarm = goes_on ? left->alarm : raised.fault;
      raised.alarm_since = goes_on ? left->alarm_since : at;
      levels_.push_back(raised);
      remember(own, reporter, sequence, at);
      Change made = change(ChangeKind::kRaised, own, sequence, at);
      made.before = goes_on ? left->severity : Severity::kCleared;
      if (left && others_stay) made.other = left->alarm;
      changes.push_back(made);
      return Outcome::kRaised;
    }
    Severity before = level(own).severity;
    if (goes_on) {
      const ChangeNumber older = std::min(left->alarm, level(own).alarm);
      Change merged = change(ChangeKind::kMerged, own, sequence, at);
      merged.alarm = std::max(left->alarm, level(own).alarm);
      merged.before = merged.alarm == left->alarm ? left->severity : level(own).severity;
      merged.after = Severity::kCleared;
      merged.other = older;
      changes.push_back(merged);
      if (older == left->alarm) {
        before = left->severity;
        level(own).alarm = left->alarm;
        level(own).alarm_since = left->alarm_since;
      }
    }
    remember(own, reporter, sequence, at);
    Change refreshed = change(ChangeKind::kRefreshed, own, sequence, at);
    refreshed.before = before;
    changes.push_back(refreshed);
    return Outcome::kRefreshed;
  }

  void withdraw(const std::string& fault_dn, Sequence sequence, Moment at, std::vector<Change>& changes) {
    if (reporters(fault_dn) == 0) return;
    Change withdrawn = change(ChangeKind::kWithdrawn, fault_dn, sequence, at);
    withdrawn.after = Severity::kCleared;
    withdrawn.reporters = 0;
    changes.push_back(withdrawn);
    std::erase_if(said_, [&](const Said& said) { return said.fault_dn == fault_dn; });
    end(fault_dn);
  }

  void restart(std::size_t most_reports) { most_reports_ = most_reports; }

  // What ought to be active, in the order in which it was raised.
  std::vector<ActiveFault> active() const {
    std::vector<ActiveFault> all;
    for (const Level& level : levels_) {
      ActiveFault fault{.fault_dn = level.fault_dn,
                        .code = level.code,
                        .severity = level.severity,
                        .fault = level.fault,
                        .alarm = level.alarm,
                        .alarm_since = level.alarm_since,
                        .since = level.since,
                        .updated = level.updated,
                        .shown = shown(level.fault_dn),
                        .count = level.count,
                        .reports = {}};
      for (const Said& said : said_) {
        if (said.fault_dn != level.fault_dn) continue;
        auto report = std::ranges::find(fault.reports, said.reporter, &Report::reporter);
        if (report == fault.reports.end()) {
          fault.reports.push_back({said.reporter, said.sequence, said.at, 0, 0, 0});
          report = fault.reports.end() - 1;
        }
        report->last = said.sequence;
        report->last_at = said.at;
        ++report->count;
      }
      all.push_back(fault);
    }
    std::ranges::sort(all, {}, &ActiveFault::fault);
    return all;
  }

 private:
  // A record that is in force.
  struct Said {
    std::string fault_dn;
    Reporter reporter;
    Sequence sequence;
    Moment at;
  };

  // An alarm at its present level.
  struct Level {
    std::string fault_dn;
    std::uint32_t code;
    Severity severity;
    ChangeNumber fault;
    Moment since;
    ChangeNumber alarm = 0;
    Moment alarm_since = 0;
    Moment updated = 0;
    std::uint64_t count = 0;
  };

  Level& level(const std::string& fault_dn) { return *std::ranges::find(levels_, fault_dn, &Level::fault_dn); }

  bool reports(const std::string& fault_dn, const Reporter& reporter) const {
    return std::ranges::any_of(
        said_, [&](const Said& said) { return said.fault_dn == fault_dn && said.reporter == reporter; });
  }

  std::size_t reporters(const std::string& fault_dn) const {
    std::set<Reporter> all;
    for (const Said& said : said_) {
      if (said.fault_dn == fault_dn) all.insert(said.reporter);
    }
    return all.size();
  }

  std::size_t all_reports() const {
    std::set<std::pair<std::string, Reporter>> all;
    for (const Said& said : said_) all.emplace(said.fault_dn, said.reporter);
    return all.size();
  }

  Sequence shown(const std::string& fault_dn) const {
    Sequence latest = 0;
    for (const Said& said : said_) {
      if (said.fault_dn == fault_dn) latest = std::max(latest, said.sequence);
    }
    return latest;
  }

  void remember(const std::string& fault_dn, const Reporter& reporter, Sequence sequence, Moment at) {
    said_.push_back({fault_dn, reporter, sequence, at});
    ++level(fault_dn).count;
    level(fault_dn).updated = at;
  }

  // Its last record stays to be shown by the change that ends the fault.
  void forget(const std::string& fault_dn, const Reporter& reporter) {
    last_shown_ = shown(fault_dn);
    std::erase_if(said_, [&](const Said& said) { return said.fault_dn == fault_dn && said.reporter == reporter; });
  }

  void end(const std::string& fault_dn) {
    std::erase_if(levels_, [&](const Level& level) { return level.fault_dn == fault_dn; });
  }

  // A change that leaves the severity as it is.
  Change change(ChangeKind kind, const std::string& fault_dn, Sequence sequence, Moment at) {
    const Level& now = level(fault_dn);
    const std::size_t reporting = reporters(fault_dn);
    return {.number = ++last_,
            .sequence = sequence,
            .kind = kind,
            .at = at,
            .fault_dn = fault_dn,
            .fault = now.fault,
            .alarm = now.alarm,
            .before = now.severity,
            .after = now.severity,
            .other = 0,
            .shown = reporting > 0 ? shown(fault_dn) : last_shown_,
            .reporters = static_cast<std::uint32_t>(reporting)};
  }

  std::size_t most_reports_;
  ChangeNumber last_ = 0;
  std::vector<Said> said_;
  std::vector<Level> levels_;
  Sequence last_shown_ = 0;
};

// All that a fault says, for comparison.
std::string text_of(const ActiveFault& fault) {
  std::string text = test::text_of(fault) + " code " + std::to_string(fault.code) + " since " +
                     std::to_string(fault.since) + " alarm since " + std::to_string(fault.alarm_since) + " updated " +
                     std::to_string(fault.updated);
  for (const Report& report : fault.reports) {
    text += "\n  " + std::string(report.reporter.entity->name) + " " + report.reporter.sensor + " " +
            std::to_string(report.reporter.instance) + " from " + std::to_string(report.since) + " at " +
            std::to_string(report.since_at) + " to " + std::to_string(report.last) + " at " +
            std::to_string(report.last_at) + " count " + std::to_string(report.count);
  }
  return text;
}

bool is_same(const Report& one, const Report& other) {
  const auto all = [](const Report& report) {
    return std::tie(report.reporter, report.since, report.since_at, report.last, report.last_at, report.count);
  };
  return all(one) == all(other);
}

bool is_same(const ActiveFault& one, const ActiveFault& other) {
  const auto all = [](const ActiveFault& fault) {
    return std::tie(fault.fault_dn, fault.code, fault.severity, fault.fault, fault.alarm, fault.alarm_since,
                    fault.since, fault.updated, fault.shown, fault.count);
  };
  return all(one) == all(other) &&
         std::ranges::equal(one.reports, other.reports, [](const auto& a, const auto& b) { return is_same(a, b); });
}

// Alarms and their model side by side.
class Both {
 public:
  explicit Both(std::size_t most_reports) : alarms_(std::make_unique<Alarms>(most_reports)), model_(most_reports) {}

  void apply(const fe_fault_record& record, const Reporter& reporter, Moment at) {
    ++sequence_;
    std::vector<Change> changes;
    std::vector<Change> want;
    const Outcome outcome = alarms_->apply(record, reporter, sequence_, at, changes);
    EXPECT_EQ(outcome_word(outcome), outcome_word(model_.apply(record, reporter, sequence_, at, want)));
    ++seen_[outcome];
    compare(changes, want, at);
  }

  void withdraw(const std::string& fault_dn, Moment at) {
    ++sequence_;
    std::vector<Change> changes;
    std::vector<Change> want;
    alarms_->withdraw(fault_dn, sequence_, at, changes);
    model_.withdraw(fault_dn, sequence_, at, want);
    compare(changes, want, at);
  }

  // Goes on with new alarms, from what is active.
  void restart(std::size_t most_reports) {
    auto next = std::make_unique<Alarms>(most_reports, alarms_->last_change());
    for (const ActiveFault* fault : alarms_->in_order()) next->restore(*fault);
    alarms_ = std::move(next);
    model_.restart(most_reports);
    compare_active();
    EXPECT_EQ(alarms_->counts().raised, alarms_->size());
  }

  const std::map<Outcome, std::size_t>& outcomes() const { return seen_; }
  const std::map<ChangeKind, std::size_t>& kinds() const { return kinds_; }

 private:
  void compare(const std::vector<Change>& changes, const std::vector<Change>& want, Moment at) {
    EXPECT_TRUE(changes == want) << "changes\n"
                                 << testing::PrintToString(test::texts_of(changes)) << "\nin place of\n"
                                 << testing::PrintToString(test::texts_of(want));
    for (const Change& change : changes) ++kinds_[change.kind];
    watch_.follow(changes, sequence_, at, *alarms_);
    compare_active();
  }

  void compare_active() const {
    const std::vector<ActiveFault> want = model_.active();
    const std::vector<const ActiveFault*> got = alarms_->in_order();
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
      EXPECT_TRUE(is_same(*got[i], want[i])) << text_of(*got[i]) << "\nin place of\n" << text_of(want[i]);
      EXPECT_EQ(alarms_->find(want[i].fault_dn), got[i]);
    }
  }

  std::unique_ptr<Alarms> alarms_;
  Model model_;
  Sequence sequence_ = 0;
  test::ChangeWatch watch_;
  std::map<Outcome, std::size_t> seen_;
  std::map<ChangeKind, std::size_t> kinds_;
};

class Random {
 public:
  explicit Random(unsigned seed) : random_(seed) {}

  int pick(int least, int most) { return std::uniform_int_distribution<int>(least, most)(random_); }
  bool one_in(int many) { return pick(1, many) == 1; }

  template <class List>
  const auto& one_of(const List& list) {
    return list[static_cast<std::size_t>(pick(0, static_cast<int>(std::size(list)) - 1))];
  }

  // From so small that it is met at once to so big that it never is.
  std::size_t limit() { return one_in(2) ? Alarms::kMostReports : static_cast<std::size_t>(pick(1, 8)); }

  // Time goes on, and sometimes a little back.
  Moment later(Moment at) { return at + pick(-1, 5); }

 private:
  std::mt19937 random_;
};

// How often each outcome and each kind of change came up over all sequences.
struct Tally {
  std::map<Outcome, std::size_t> outcomes;
  std::map<ChangeKind, std::size_t> kinds;

  void add(const Both& both) {
    for (const auto& [outcome, count] : both.outcomes()) outcomes[outcome] += count;
    for (const auto& [kind, count] : both.kinds()) kinds[kind] += count;
  }
};

TEST(AlarmsAndTheirModel, RandomRecords) {
  constexpr const char* kObjects[] = {"a", "b", "c"};
  constexpr std::uint32_t kCodes[] = {395, 396, 397};
  constexpr std::int32_t kStates[] = {0, 0, 0, 1, 4, 5};
  const std::vector<Reporter> reporters = {{find_entity("fan"), "A", 1},
                                           {find_entity("fan"), "B", 1},
                                           {find_entity("fan"), "A", 2},
                                           {find_entity("ps"), "A", 1}};
  Tally tally;
  for (unsigned seed = 0; seed < kSequences; ++seed) {
    Random random(seed);
    const int objects = random.pick(1, 3);
    const int most_reporters = random.pick(1, 4);
    Both both(random.limit());
    Moment at = 1000;
    for (int step = random.pick(5, 60); step > 0; --step) {
      at = random.later(at);
      const char* const object = kObjects[random.pick(1, objects) - 1];
      if (random.one_in(25)) {
        both.restart(random.limit());
      } else if (random.one_in(20)) {
        both.withdraw(fault_dn(object, random.one_of(kCodes)), at);
      } else {
        const std::uint32_t code = random.one_of(kCodes);
        const std::uint32_t clear_code = random.one_in(3) ? 0 : random.one_of(kCodes);
        both.apply(make_record({.dn = object, .code = code, .clear_code = clear_code, .state = random.one_of(kStates)}),
                   reporters[static_cast<std::size_t>(random.pick(1, most_reporters) - 1)], at);
      }
      ASSERT_FALSE(HasFailure()) << "seed " << seed << ", " << step << " steps before its end";
    }
    tally.add(both);
  }
  // Nothing was left out.
  EXPECT_EQ(tally.outcomes.size(), 6U);
  EXPECT_EQ(tally.kinds.size(), 7U);
  for (const auto& [outcome, count] : tally.outcomes) EXPECT_GT(count, kSequences / 4) << outcome_word(outcome);
  for (const auto& [kind, count] : tally.kinds) EXPECT_GT(count, kSequences / 4) << change_word(kind);
}

// A record of a real filter, and whose.
struct Given {
  Reporter reporter;
  fe_fault_record record;
};

// Of each fault that several sensors share: all that those who report it can say
// of its object, but for texts.
std::map<std::string, std::vector<Given>> records_of_shared_faults() {
  load_host_tables(POLAIGA_TABLES_DIR);
  test::EveryFault filters;
  const test::FaultWays faults = filters.find();
  std::map<std::string, std::vector<Given>> of_objects;
  std::set<std::tuple<std::string, Reporter, std::uint32_t, bool>> seen;  // fault, whose, what it clears, state 0
  const auto add = [&](const std::vector<test::Tried>& events) {
    for (const test::Tried& tried : events) {
      const Given given{reporter_of(tried.event), filters.filter(tried).record};
      const fe_fault_record& record = given.record;
      if (seen.emplace(record.fault_dn, given.reporter, record.clear_code, record.event.event_state == 0).second) {
        of_objects[record.dn].push_back(given);
      }
    }
  };
  for (const auto& [fault, reporters] : faults) {
    for (const auto& [reporter, ways] : reporters) {
      for (const auto* events : {&ways.raises, &ways.escalates, &ways.clears}) add(*events);
    }
  }
  std::map<std::string, std::vector<Given>> of_faults;
  for (const auto& [fault, reporters] : faults) {
    if (reporters.size() > 1) of_faults[fault] = of_objects.at(fault.substr(0, fault.rfind("/fault-")));
  }
  return of_faults;
}

TEST(AlarmsAndTheirModel, RecordsOfTheFilters) {
  const auto faults = records_of_shared_faults();
  EXPECT_GT(faults.size(), 100U);
  Tally tally;
  unsigned seed = 0;
  for (const auto& [fault, all] : faults) {
    for (unsigned sequence = 0; sequence < kSequencesOfAFault; ++sequence, ++seed) {
      Random random(seed);
      // Two to four of the reporters of its object.
      std::vector<Reporter> chosen;
      for (int i = random.pick(2, 4); i > 0; --i) chosen.push_back(random.one_of(all).reporter);
      std::vector<Given> records;
      for (const Given& given : all) {
        if (std::ranges::find(chosen, given.reporter) != chosen.end()) records.push_back(given);
      }
      Both both(random.limit());
      Moment at = 1000;
      for (int step = random.pick(5, 40); step > 0; --step) {
        at = random.later(at);
        if (random.one_in(25)) {
          both.restart(random.limit());
        } else if (random.one_in(25)) {
          both.withdraw(fault, at);
        } else {
          const Given& given = random.one_of(records);
          both.apply(given.record, given.reporter, at);
        }
        ASSERT_FALSE(HasFailure()) << fault << ", seed " << seed << ", " << step << " steps before its end";
      }
      tally.add(both);
    }
  }
  EXPECT_EQ(tally.outcomes.size(), 6U);
  EXPECT_EQ(tally.kinds.size(), 7U);
}

}  // namespace alarms_model_test
}  // namespace polaiga::engine
