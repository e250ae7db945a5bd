#include "ledger/reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "support/ledger_fixture.h"

namespace polaiga::engine {
namespace reader_test {

using Rows = std::vector<std::string>;
using test::clears;
using test::kAll;
using test::moves;
using test::raises;

std::string number(std::int64_t value) { return std::to_string(value); }

// "o/fault-F0395 fault 1 alarm 1 since 1001 shown 1 updated 1001 count 1 reporters 1".
std::string text(const StoredFault& fault) {
  return fault.fault_dn + " fault " + number(fault.number) + " alarm " + number(fault.alarm) + " since " +
         number(fault.since) + " shown " + number(fault.shown) + " updated " + number(fault.updated) + " count " +
         number(static_cast<std::int64_t>(fault.count)) + " reporters " + number(fault.reporters) +
         (fault.ended ? " ended " + number(*fault.ended) + " at " + number(fault.ended_at) + " " +
                            std::string(change_word(fault.ending))
                      : "");
}

Rows texts(const std::vector<ActiveRow>& rows) {
  Rows found;
  for (const ActiveRow& row : rows) found.push_back(text(row.fault));
  return found;
}

// "1 created 1001 changed 1003 minor worst major" and how it ended.
std::string text(const StoredAlarm& alarm) {
  std::string found = number(alarm.number) + " " + alarm.dn + " created " + number(alarm.created) + " changed " +
                      number(alarm.changed) + " " + std::string(severity_word(alarm.severity)) + " worst " +
                      std::string(severity_word(alarm.worst));
  if (alarm.ended) {
    found += " ended " + number(*alarm.ended) + " at " + number(alarm.ended_at) + " " +
             std::string(change_word(alarm.ending));
  }
  if (alarm.merged_into != 0) found += " into " + number(alarm.merged_into);
  if (alarm.related != 0) found += " related " + number(alarm.related);
  found += ":";
  for (const StoredFault& step : alarm.steps) found += " " + number(step.number);
  return found;
}

Rows texts(const std::vector<StoredAlarm>& alarms) {
  Rows found;
  for (const StoredAlarm& alarm : alarms) found.push_back(text(alarm));
  return found;
}

class ReaderTest : public test::LedgerFixture {
 protected:
  void SetUp() override { open(kAll); }

  Rows active(std::optional<Moment> at = std::nullopt) const { return texts(LedgerReader(path_).active({}, at)); }
  Rows active(const Selection& selection) const { return texts(LedgerReader(path_).active(selection, std::nullopt)); }
  Rows history(const std::string& fault_dn, std::int64_t limit = 0) const {
    return texts(LedgerReader(path_).history(fault_dn, limit));
  }
  std::string complaint(Moment at) const {
    return test::complaint_of([&] { LedgerReader(path_).active({}, at); });
  }
};

TEST_F(ReaderTest, ActiveFaultsShowTheLatestRecordInForce) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write(raises("A", "p", 396, 1003));
  EXPECT_EQ(active(), (Rows{"o/fault-F0395 fault 1 alarm 1 since 1001 shown 2 updated 1002 count 2 reporters 2",
                            "p/fault-F0396 fault 3 alarm 3 since 1003 shown 3 updated 1003 count 1 reporters 1"}));
  engine_->write(clears("B", "o", 395, 1004));
  EXPECT_EQ(active()[0], "o/fault-F0395 fault 1 alarm 1 since 1001 shown 1 updated 1002 count 2 reporters 1");
  engine_->write(clears("A", "o", 395, 1005));
  EXPECT_EQ(active(), (Rows{"p/fault-F0396 fault 3 alarm 3 since 1003 shown 3 updated 1003 count 1 reporters 1"}));
}

// A ledger that has lost nothing answers for any time, also for one before 1970.
TEST_F(ReaderTest, NothingWasActiveBeforeTheFirstEvent) {
  engine_->write(raises("A", "o", 395, 1001));
  EXPECT_EQ(active(1000), Rows{});
  EXPECT_EQ(active(-1), Rows{});
}

TEST_F(ReaderTest, RecordsComeBackAsTheyWere) {
  fe_fault_record record = test::make_record({.descr = "text"});
  record.event.entity_id = 7;  // the filter's own, as the next three
  record.event.entity_subtype = 8;
  record.event.entity_instance = 9;
  record.event.event_state = 5;
  record.event.group_instance = -4;
  record.event.event_offset = -3;
  record.event.reading_type = 4'000'000'000;
  record.fault_key = 4'000'000'001;
  test::fill(record.rn, "fan-1");
  for (std::uint32_t arc = 0; arc < FE_OID_SIZE; ++arc) record.oid[arc] = 4'294'967'295U - arc;
  record.oid_len = 200;
  test::fill(record.created, "2025-06-01T12:00:00");
  record.created_time = 1748772000;  // two hours behind
  record.disposition = 255;
  record.cause_id = 1;
  record.clear_cause_id = 2;
  test::fill(record.cause, std::string(31, 'c'));
  test::fill(record.clear_cause, "d");
  test::fill(record.name, std::string(63, 'n'));
  RecordedInput input;
  input.sequence = 1;
  input.received = 5;
  input.arrived = 6;
  input.age = 7;
  input.at = 8;
  input.event = {.entity = find_entity("ps"), .event = record.event, .time = 9, .id = "id"};
  input.event.event.entity_id = 1;
  input.event.event.entity_subtype = 2;
  input.event.event.entity_instance = -3;
  input.event.event.event_state = 6;
  input.reported = true;
  input.record = record;
  input.outcome = engine_->alarms.apply(record, reporter_of(input.event), 1, 8, input.changes);
  engine_->batch.inputs.push_back(input);
  engine_->write();

  const auto found = LedgerReader(path_).active({}, std::nullopt);
  ASSERT_EQ(found.size(), 1U);
  const StoredRecord& stored = found[0].shown;
  EXPECT_EQ(std::memcmp(&stored.record, &record, sizeof record), 0);
  EXPECT_EQ(stored.outcome, Outcome::kRaised);
  EXPECT_EQ(std::memcmp(&stored.event.event.event, &input.event.event, sizeof input.event.event), 0);
  EXPECT_EQ(stored.event.event.entity, find_entity("ps"));
  EXPECT_EQ(stored.event.event.time, 9);
  EXPECT_EQ(stored.event.event.id, "id");
  EXPECT_EQ(stored.event.sequence, 1);
  EXPECT_EQ(stored.event.received, 5);
  EXPECT_EQ(stored.event.at, 8);
  EXPECT_EQ(stored.event.build, (LibraryBuild{"c0ffee", "1.0.0"}));
  open(kAll);
  EXPECT_EQ(engine_->ledger.last_arrived(), 6);
  EXPECT_EQ(engine_->ledger.last_age(), 7);
}

// A text that is no time of created_time in any zone.
TEST_F(ReaderTest, AnOddStampComesBackAsItWas) {
  engine_->add(raises("A", "o", 395));
  test::fill(engine_->batch.inputs[0].record.created, "2025-06-01T12:00:00 CEST");
  engine_->write();
  EXPECT_STREQ(LedgerReader(path_).active({}, std::nullopt)[0].shown.record.created, "2025-06-01T12:00:00 CEST");
}

// In whatever zone and in whatever form: the record comes back byte for byte.
TEST_F(ReaderTest, EveryStampComesBackAsItWas) {
  struct {
    std::string created;
    std::uint32_t created_time;
  } const kStamps[] = {
      {"2025-06-01T12:00:00", 1748772000},
      {"2025-06-01T12:00:00", 1748775600},  // the same time of another zone
      {"next tuesday", 1748775600},
      {"", 1748775600},
      {"2025-06-01T12:00:00.5", 1748775600},
      {"2025-06-01T11:59:60", 1748775600},  // a leap second
      {"1970-01-01T00:00:00", 0},           // the first that there is
      {"1970-01-01T00:00:00", 3600},
      {"1969-12-31T23:59:59", 3600},
      {"9999-12-31T23:59:59", 0},  // no zone is that far ahead
      {"2025-06-01T12:00:00", 0},
      {std::string(FE_CREATED_SIZE - 1, '1'), 0},
  };
  int index = 0;
  for (const auto& [created, created_time] : kStamps) {
    engine_->add(raises("A", ("o" + number(++index)).c_str(), 395));
    test::fill(engine_->batch.inputs.back().record.created, created);
    engine_->batch.inputs.back().record.created_time = created_time;
  }
  engine_->write();
  LedgerReader reader(path_);
  const auto found = reader.active({}, std::nullopt);
  EXPECT_EQ(reader.left_out(), Rows{});
  ASSERT_EQ(found.size(), std::size(kStamps));
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(found[i].shown.record.created, kStamps[i].created) << i;
    EXPECT_EQ(found[i].shown.record.created_time, kStamps[i].created_time) << i;
  }
}

// A clock that was never set counts from 1970.
TEST_F(ReaderTest, TheFirstSecondOf1970IsATime) {
  engine_->write(raises("A", "o", 395, 0));
  EXPECT_EQ(active(0), Rows{"o/fault-F0395 fault 1 alarm 1 since 0 shown 1 updated 0 count 1 reporters 1"});
  EXPECT_EQ(active(-1), Rows{});
  EXPECT_EQ(history(""), Rows{"1 o created 0 changed 0 minor worst minor: 1"});
  EXPECT_EQ(LedgerReader(path_).tell_active({}).changed, 0);
}

TEST_F(ReaderTest, ASelectionOfActiveFaults) {
  engine_->write(raises("A", "sys/a", 395, 1001));
  engine_->write(raises("A", "sys/ab", 396, 1002));
  engine_->write(raises("A", "sys/a/b", 397, 1003));
  const auto numbers = [&](const Selection& selection) {
    std::string found;
    for (const ActiveRow& row : LedgerReader(path_).active(selection, std::nullopt)) found += number(row.fault.number);
    return found;
  };
  EXPECT_EQ(numbers({}), "123");
  EXPECT_EQ(numbers({.under = "sys/a"}), "13");
  EXPECT_EQ(numbers({.under = "sys/a/"}), "13");
  EXPECT_EQ(numbers({.under = "sys/a/fault-F0395"}), "1");
  EXPECT_EQ(numbers({.least = Severity::kMajor}), "23");
  EXPECT_EQ(numbers({.entity = find_entity("fan")}), "123");
  EXPECT_EQ(numbers({.entity = find_entity("ps")}), "");
  EXPECT_EQ(numbers({.raised_by = 1002}), "12");
  EXPECT_EQ(numbers({.raised_after = 1002}), "3");
}

// At every time, the answer is what it was at that time.
TEST_F(ReaderTest, ActiveFaultsAtATime) {
  const std::vector<test::InputOf> story{raises("A", "o", 395, 1001),     raises("B", "o", 395, 1002),
                                         raises("A", "p", 396, 1003),     clears("B", "o", 395, 1004),
                                         moves("A", "p", 396, 395, 1005), clears("A", "o", 395, 1006),
                                         raises("A", "p", 395, 1007),     clears("A", "p", 395, 1008)};
  std::vector<Rows> answers{Rows{}};
  for (const test::InputOf& input : story) {
    engine_->write(input);
    answers.push_back(active());
  }
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(active(1000 + static_cast<Moment>(i)), answers[i]) << i;
  }
  EXPECT_EQ(active(kLastMoment), Rows{});
}

// The last input that happened at the time or before it counts, also when it came late.
TEST_F(ReaderTest, EventsThatComeLate) {
  engine_->write(raises("A", "o", 395, 1010));
  engine_->write({.record = {.dn = "p", .code = 395}, .at = 1020, .time = 1005});
  engine_->write({.record = {.dn = "q", .code = 395}, .at = 1030, .time = kLastMoment});
  EXPECT_EQ(active(1004), Rows{});
  EXPECT_EQ(active(1005).size(), 2U);  // what came before it is known then
  EXPECT_EQ(active(1010).size(), 2U);
  EXPECT_EQ(active(1030).size(), 2U);
  EXPECT_EQ(active(kLastMoment).size(), 3U);
}

TEST_F(ReaderTest, HistoryTellsAlarmsWithTheirSteps) {
  engine_->write(raises("A", "o", 395, 1001));      // 1
  engine_->write(moves("A", "o", 395, 396, 1002));  // 2, 3
  engine_->write(clears("A", "o", 396, 1003));      // 4
  engine_->write(raises("A", "p", 395, 1004));      // 5
  engine_->write(raises("A", "o", 395, 1005));      // 6
  engine_->write(raises("A", "o", 395, 1006));      // 7
  const std::string first = "1 o created 1001 changed 1003 major worst major ended 4 at 1003 cleared: 1 3";
  const std::string second = "5 p created 1004 changed 1004 minor worst minor: 5";
  const std::string third = "6 o created 1005 changed 1006 minor worst minor: 6";
  EXPECT_EQ(history(""), (Rows{first, second, third}));
  EXPECT_EQ(history("o/fault-F0395"), (Rows{first, third}));
  EXPECT_EQ(history("o/fault-F0396"), (Rows{first}));
  EXPECT_EQ(history("o/fault-F0395", 1), (Rows{third}));
  EXPECT_EQ(history("", 2), (Rows{second, third}));
  EXPECT_EQ(history("o"), Rows{});
  const auto steps = LedgerReader(path_).history("o/fault-F0396", 0)[0].steps;
  EXPECT_EQ(text(steps[0]),
            "o/fault-F0395 fault 1 alarm 1 since 1001 shown 1 updated 1001 count 1 reporters 0 ended 2 at 1002 "
            "superseded");
  EXPECT_EQ(text(steps[1]),
            "o/fault-F0396 fault 3 alarm 1 since 1002 shown 2 updated 1002 count 1 reporters 0 ended 3 at 1003 "
            "cleared");
}

TEST_F(ReaderTest, HistoryOfAlarmsThatBecameOne) {
  engine_->write(raises("A", "o", 395, 1001));      // 1
  engine_->write(raises("B", "o", 396, 1002));      // 2
  engine_->write(moves("A", "o", 395, 396, 1003));  // 3, 4, 5
  const Rows both{"1 o created 1001 changed 1003 major worst major: 1 2",
                  "2 o created 1002 changed 1003 major worst major ended 4 at 1003 merged into 1: 2"};
  EXPECT_EQ(history(""), both);
  EXPECT_EQ(history("o/fault-F0396"), both);
  EXPECT_EQ(history("o/fault-F0395"), (Rows{both[0]}));
  EXPECT_EQ(texts(LedgerReader(path_).history("o/fault-F0396", 1)), Rows{both[0]});  // the one that goes on
  const auto explained = LedgerReader(path_).explain("o/fault-F0396");
  ASSERT_TRUE(explained);
  EXPECT_EQ(text(explained->alarm), both[0]);
  std::string changes;
  for (const Change& change : explained->changes) changes += number(change.number) + " ";
  EXPECT_EQ(changes, "1 3 5 ");
  EXPECT_EQ(active(1002).size(), 2U);
  EXPECT_EQ(LedgerReader(path_).active({}, 1002)[1].alarm_since, 1002);
  EXPECT_EQ(LedgerReader(path_).active({}, 1003)[0].alarm_since, 1001);
  LedgerReader reader(path_);
  std::string worse;
  for (const StoredChange& change : reader.latest({.least = Severity::kMajor}, 10).changes) {
    worse += number(change.change.number) + " ";
  }
  EXPECT_EQ(worse, "2 4 5 ");  // the alarm that goes on is as severe as the one that was merged into it
  engine_->write(clears("A", "o", 396, 1004));
  engine_->write(clears("B", "o", 396, 1005));
  EXPECT_EQ(history(""),
            (Rows{"1 o created 1001 changed 1005 major worst major ended 7 at 1005 cleared: 1 2", both[1]}));
}

// As a page that tells them from the latest on asks for them.
TEST_F(ReaderTest, HistoryInParts) {
  for (int i = 1; i <= 5; ++i) engine_->write(raises("A", ("o" + number(i)).c_str(), 395, 1000 + i));
  LedgerReader reader(path_);
  const auto numbers = [](const std::vector<StoredAlarm>& alarms) {
    std::string found;
    for (const StoredAlarm& alarm : alarms) found += number(alarm.number);
    return found;
  };
  EXPECT_EQ(numbers(reader.history_before(kLastMoment, 2)), "45");
  EXPECT_EQ(numbers(reader.history_before(4, 2)), "23");
  EXPECT_EQ(numbers(reader.history_before(2, 2)), "1");
  EXPECT_EQ(numbers(reader.history_before(1, 2)), "");
  ASSERT_TRUE(reader.alarm(3));
  EXPECT_EQ(reader.alarm(3)->dn, "o3");
  EXPECT_FALSE(reader.alarm(6));
}

// Those that came and went while nobody looked.
TEST_F(ReaderTest, MissedAlarmsAreThoseThatCameAndWent) {
  engine_->write(raises("A", "stays", 395, 1001));
  engine_->write(raises("A", "o1", 395, 1002));                                      // 2
  engine_->write(raises("A", "o2", 395, 1003));                                      // 3
  engine_->write(raises("A", "o3", 395, 1004));                                      // 4
  engine_->write(clears("A", "o3", 395, 1005));                                      // 5
  engine_->write(clears("A", "o1", 395, 1006));                                      // 6
  engine_->write({.reported = false, .at = 1007, .withdrawn = {"o2/fault-F0395"}});  // 7
  LedgerReader reader(path_);
  const auto missed = [&reader](std::int64_t limit) {
    std::string found;
    for (const StoredAlarm& alarm : reader.missed(limit)) found += number(alarm.number);
    return found;
  };
  EXPECT_EQ(missed(0), "234");
  EXPECT_EQ(missed(1), "4");
  EXPECT_EQ(missed(2), "34");
  EXPECT_EQ(reader.count_missed().alarms, 3U);
  EXPECT_EQ(reader.count_missed().through, 7);
  OperatorAction seen;
  seen.kind = ActionKind::kAcknowledgeMissed;
  seen.through = 5;  // the one that had ended by then
  engine_->act(seen, 1008);
  engine_->write();
  EXPECT_EQ(missed(0), "23");
  EXPECT_EQ(missed(1), "3");
  seen.through = 1000;  // of what has not ended yet nobody has seen anything
  engine_->act(seen, 1009);
  engine_->write();
  EXPECT_EQ(missed(0), "");
  engine_->write(raises("A", "o4", 395, 1010));  // 8
  engine_->write(clears("A", "o4", 395, 1011));
  engine_->write(clears("A", "stays", 395, 1012));
  EXPECT_EQ(missed(0), "18");
  EXPECT_EQ(missed(1), "8");
}

// Objects that are out of service silence the alarms that are active, and leave those alone that are over.
TEST_F(ReaderTest, ObjectsThatAreOutOfService) {
  engine_->write(raises("A", "o", 395, 1001));      // 1
  engine_->write(raises("B", "o", 396, 1002));      // 2
  engine_->write(moves("A", "o", 395, 396, 1003));  // 3, 4, 5: alarm 2 goes on as part of alarm 1
  engine_->write(raises("A", "p", 395, 1004));      // 6
  engine_->write(clears("A", "p", 395, 1005));
  engine_->write(raises("A", "q", 395, 1006));  // 8
  OperatorAction maintain;
  maintain.kind = ActionKind::kMaintain;
  maintain.person = "anna";
  maintain.until = 1100;
  maintain.until_age = 1100;
  for (const char* dn : {"p", "o"}) {
    maintain.dn = dn;
    engine_->act(maintain, 1007);
  }
  OperatorAction comment;
  comment.person = "gateway";
  comment.on_behalf_of = "otto";
  comment.comment = "seen";
  comment.alarms = {1};
  engine_->act(comment, 1008);
  engine_->write();
  LedgerReader reader(path_);
  std::string silent;
  for (const ActiveRow& row : reader.active({}, std::nullopt)) silent += row.is_silenced() ? row.fault.dn + " " : "";
  EXPECT_EQ(silent, "o ");
  std::string out;
  for (const StoredAlarm& alarm : reader.history("", 0)) out += alarm.is_out_of_service ? number(alarm.number) : "-";
  EXPECT_EQ(out, "1---");
  const auto operators = reader.tell_active({.under = "o"}).alarms.at(0).operators;  // RFC 8632 knows no such state
  ASSERT_EQ(operators.size(), 1U);
  EXPECT_EQ(operators[0].person, "otto");
  EXPECT_EQ(operators[0].text, "seen");

  const auto objects = [&reader] {
    Rows found;
    for (const auto& [maintenance, action] : reader.maintenance()) {
      found.push_back(maintenance.dn + " since input " + number(maintenance.since) + " at " +
                      number(maintenance.since_at) + " until " + number(maintenance.until) +
                      (action ? " by " + action->person + " until " + number(action->until.value_or(0)) : ""));
    }
    return found;
  };
  EXPECT_EQ(objects(), (Rows{"o since input 8 at 1007 until 1100 by anna until 1100",
                             "p since input 7 at 1007 until 1100 by anna until 1100"}));
  Database(path_, Access::kReadWrite).exec("DELETE FROM action WHERE seq = 8");
  EXPECT_EQ(objects(),
            (Rows{"o since input 8 at 1007 until 1100", "p since input 7 at 1007 until 1100 by anna until 1100"}));
}

TEST_F(ReaderTest, AnOverviewTellsWhatIsWrongAtAGlance) {
  LedgerReader reader(path_);
  EXPECT_EQ(reader.overview().number, 0);
  EXPECT_EQ(reader.overview().missed, 0U);
  for (const char* dn : {"a", "b", "c"}) engine_->write(raises("A", dn, 395, 1001));
  engine_->write(clears("A", "a", 395, 1002));
  engine_->write(clears("A", "b", 395, 1003));
  const Overview overview = reader.overview();
  EXPECT_EQ(overview.ledger_id, engine_->ledger.id());
  EXPECT_EQ(overview.number, 5);
  EXPECT_EQ(texts(overview.active), active());
  EXPECT_TRUE(overview.maintenance.empty());
  EXPECT_EQ(overview.missed, 2U);
  EXPECT_TRUE(overview.profile);
}

test::InputOf says(test::InputOf input, const char* descr) {
  input.record.descr = descr;
  return input;
}

// "1: raised, shown at 1002, ended; ...", a step after the other.
Rows texts(const ToldAlarms& told) {
  Rows found;
  for (const ToldAlarm& one : told.alarms) {
    found.push_back(number(one.alarm.number) + ":");
    for (const StepTexts& step : one.texts) {
      found.back() += " " + step.raised + ", " + step.shown + " at " + number(step.shown_at) + ", " + step.ended + ";";
    }
  }
  return found;
}

TEST_F(ReaderTest, TellsAlarmsWithTheirTexts) {
  const ToldAlarms none = LedgerReader(path_).tell_active({});
  EXPECT_EQ(texts(none), Rows{});
  EXPECT_FALSE(none.changed);

  engine_->write(says(raises("A", "o", 395, 1001), "slow"));
  engine_->write(says(raises("A", "o", 395, 1002), "slow again"));
  engine_->write(says(raises("B", "p", 396, 1003), "other"));
  engine_->write(says(moves("A", "o", 395, 396, 1004), "slower"));
  const ToldAlarms active = LedgerReader(path_).tell_active({});
  EXPECT_EQ(texts(active),
            (Rows{"1: slow, slow again at 1002, ; slower, slower at 1004, ;", "3: other, other at 1003, ;"}));
  EXPECT_EQ(active.changed, 1004);
  ASSERT_TRUE(active.tables);
  EXPECT_EQ(active.tables->nm, "nm");
  EXPECT_EQ(texts(LedgerReader(path_).tell_active({.under = "p"})), Rows{"3: other, other at 1003, ;"});
  const auto is_of_p = [](const ActiveRow& row) { return row.fault.dn == "p"; };
  EXPECT_EQ(texts(LedgerReader(path_).tell_active({}, is_of_p)), Rows{"3: other, other at 1003, ;"});
  EXPECT_EQ(texts(LedgerReader(path_).tell_active({.under = "o"}, is_of_p)), Rows{});

  engine_->write(says(clears("A", "o", 396, 1005), "well"));
  EXPECT_EQ(texts(LedgerReader(path_).tell_active({})), Rows{"3: other, other at 1003, ;"});
  EXPECT_EQ(texts(LedgerReader(path_).tell_history("o/fault-F0395", 0)),
            Rows{"1: slow, slow again at 1002, ; slower, slower at 1004, well;"});
  EXPECT_EQ(LedgerReader(path_).tell_history("", 1).changed, 1005);
}

// Whatever the alarm becomes later.
TEST_F(ReaderTest, TheCauseOfAnAlarmIsThatOfItsFirstRaise) {
  engine_->add(raises("A", "o", 395, 1001));
  engine_->batch.inputs[0].record.cause_id = 215;  // thermal-problem
  engine_->write();
  engine_->add(moves("A", "o", 395, 396, 1002));
  engine_->batch.inputs[0].record.cause_id = 238;  // equipment-missing
  engine_->write();
  const ToldAlarms told = LedgerReader(path_).tell_active({});
  ASSERT_EQ(told.alarms.size(), 1U);
  EXPECT_STREQ(told.alarms[0].cause.value().probable_cause, "temperatureUnacceptable");
}

TEST_F(ReaderTest, ExplainTellsAllOfAFault) {
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write(raises("B", "o", 395, 1002));
  engine_->write(raises("A", "o", 395, 1003));
  engine_->write(clears("B", "o", 395, 1004));
  LedgerReader reader(path_);
  EXPECT_FALSE(reader.explain("o/fault-F0396"));
  const auto found = reader.explain("o/fault-F0395");
  ASSERT_TRUE(found);
  EXPECT_EQ(text(found->fault), "o/fault-F0395 fault 1 alarm 1 since 1001 shown 3 updated 1003 count 3 reporters 1");
  EXPECT_EQ(text(found->alarm), "1 o created 1001 changed 1004 minor worst minor: 1");
  EXPECT_EQ(found->raise.event.sequence, 1);
  EXPECT_EQ(found->shown.event.sequence, 3);
  ASSERT_EQ(found->reports.size(), 1U);
  EXPECT_EQ(found->reports[0].report.reporter.sensor, "A");
  EXPECT_EQ(found->reports[0].report.since, 1);
  EXPECT_EQ(found->reports[0].report.last_at, 1003);
  EXPECT_EQ(found->reports[0].report.count, 2U);
  EXPECT_EQ(found->reports[0].record.event.sequence, 3);
  EXPECT_EQ(found->tables, (HostTables{"nm", "cmc", "drive_bp"}));
  ASSERT_EQ(found->changes.size(), 4U);
  EXPECT_EQ(found->changes_left_out, 0U);
  EXPECT_EQ(found->changes[3], (Change{.number = 4,
                                       .sequence = 4,
                                       .kind = ChangeKind::kPartlyCleared,
                                       .at = 1004,
                                       .fault_dn = "o/fault-F0395",
                                       .fault = 1,
                                       .alarm = 1,
                                       .before = Severity::kMinor,
                                       .after = Severity::kMinor,
                                       .other = 0,
                                       .shown = 3,
                                       .reporters = 1}));
}

// Who has reported it for the longest time comes first.
TEST_F(ReaderTest, ExplainTellsReportersInTheirOrder) {
  engine_->write(raises("C", "o", 395, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  engine_->write(raises("B", "o", 395, 1003));
  engine_->write(raises("C", "o", 395, 1004));
  std::string sensors;
  const auto found = LedgerReader(path_).explain("o/fault-F0395");
  ASSERT_TRUE(found);
  for (const StoredReport& one : found->reports) {
    sensors += one.report.reporter.sensor + " ";
  }
  EXPECT_EQ(sensors, "C A B ");
}

TEST_F(ReaderTest, ExplainTellsTheLatestThousandChanges) {
  for (int i = 0; i < 1500; ++i) engine_->add(raises("A", "o", 395));
  engine_->write();
  open(kAll);  // which change it is, is known after a start, too
  engine_->write(raises("A", "o", 395));
  const auto found = LedgerReader(path_).explain("o/fault-F0395");
  ASSERT_EQ(found->changes.size(), 1000U);
  EXPECT_EQ(found->changes.front().number, 502);
  EXPECT_EQ(found->changes.back().number, 1501);
  EXPECT_EQ(found->changes_left_out, 501U);
}

TEST_F(ReaderTest, LatestChangesAndThoseAfter) {
  engine_->write(raises("A", "o", 395));
  engine_->write({.reported = false});
  engine_->write(raises("A", "p", 396));
  engine_->write({.reported = false, .withdrawn = {"p/fault-F0396"}});
  engine_->write(clears("A", "o", 395));
  LedgerReader reader(path_);
  const auto numbers = [](const ChangesRead& read) {
    std::string found;
    for (const StoredChange& change : read.changes) {
      found += number(change.change.number) + (change.record ? "r" : "e") + " ";
    }
    return found + "through " + number(read.through);
  };
  EXPECT_EQ(numbers(reader.latest({}, 2)), "3e 4r through 4");
  EXPECT_EQ(numbers(reader.latest({}, 100)), "1r 2r 3e 4r through 4");
  EXPECT_EQ(numbers(reader.latest({}, 0)), "through 4");
  EXPECT_EQ(numbers(reader.latest({.under = "o"}, 1)), "4r through 4");
  EXPECT_EQ(numbers(reader.latest({.least = Severity::kMajor}, 100)), "2r 3e through 4");
  EXPECT_EQ(numbers(reader.after({}, 2)), "3e 4r through 4");
  EXPECT_EQ(numbers(reader.after({.under = "p"}, 2)), "3e through 4");
  EXPECT_EQ(numbers(reader.after({}, 4)), "through 4");
  EXPECT_EQ(numbers(reader.after({}, 9)), "through 9");  // of a later state of the ledger
  for (int i = 0; i < 1001; ++i) engine_->add(raises("A", "o", 395));
  engine_->write();
  EXPECT_EQ(reader.after({}, 4).changes.size(), 1000U);
  EXPECT_EQ(reader.after({}, 4).through, 1004);
}

TEST_F(ReaderTest, ChangesThatRetentionTookAreTold) {
  open({.events = 10, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395));
  engine_->write(moves("A", "o", 395, 396));
  engine_->write({.reported = false, .withdrawn = {"o/fault-F0396"}});
  engine_->pass(27);
  LedgerReader reader(path_);
  const auto lost = [&reader](ChangeNumber after) {
    const ChangesRead read = reader.after({}, after);
    if (read.last_lost < read.first_lost) return std::string("none");
    return std::to_string(read.first_lost) + " to " + std::to_string(read.last_lost);
  };
  EXPECT_EQ(lost(0), "1 to 4");
  EXPECT_EQ(lost(2), "3 to 4");
  EXPECT_EQ(lost(4), "none");
  EXPECT_EQ(reader.after({}, 0).through, 4);  // the numbers go on
  EXPECT_EQ(reader.latest({}, 10).through, 4);
  EXPECT_TRUE(reader.latest({}, 10).changes.empty());
}

TEST_F(ReaderTest, SeesThatSomethingWasWritten) {
  LedgerReader reader(path_);
  reader.has_changed();
  EXPECT_FALSE(reader.has_changed());
  engine_->write({.reported = false});
  EXPECT_TRUE(reader.has_changed());
  EXPECT_FALSE(reader.has_changed());
  EXPECT_EQ(reader.ledger_id(), engine_->ledger.id());
}

TEST_F(ReaderTest, OneInputThatRetentionHasTakenIsEnough) {
  for (int i = 1; i <= 3; ++i) engine_->write({.reported = false, .at = 1000 + i});
  EXPECT_EQ(LedgerReader(path_).reach().gone_until, std::nullopt);
  Database(path_, Access::kReadWrite).exec("UPDATE ledger SET watermark_seq = 1, watermark_at = 1001");
  EXPECT_EQ(LedgerReader(path_).reach().gone_until, 1001);
  EXPECT_EQ(complaint(1000),
            path_ + ": the ledger reaches back to 1970-01-01T00:16:41Z; what was before is no longer kept");
  EXPECT_EQ(complaint(1001), "none");
}

TEST_F(ReaderTest, ATimeThatRetentionHasTaken) {
  open({.events = 10, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395, 1001));
  engine_->write({.reported = false, .at = 1002, .time = kLastMoment});
  for (int i = 3; i <= 30; ++i) engine_->write({.reported = false, .at = 1000 + i});
  EXPECT_EQ(complaint(1010),
            path_ + ": the ledger reaches back to 1970-01-01T00:17:00Z; what was before is no longer kept");
  EXPECT_EQ(active(1020), active());
  EXPECT_EQ(active(1030), active());
}

}  // namespace reader_test
}  // namespace polaiga::engine
