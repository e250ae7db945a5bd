#include "ledger/entry_writer.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ledger/reader.h"
#include "ledger/verification.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace entry_writer_test {

using Rows = std::vector<std::string>;
using test::clears;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;

constexpr std::int64_t kNever = 1'000'000;

// A new ledger.
std::string begun(const std::string& path) {
  LedgerWithAlarms(path, test::kAll);
  return path;
}

// A ledger whose eras and epochs are as short as a test wants them. What is written comes from an engine that writes
// to a ledger of its own, which has one era.
class EntryWriterTest : public testing::Test {
 protected:
  // Begins to write, or goes on as after a restart.
  void open(const EntryWriter::Limits& limits) {
    writer_.emplace(db_, limits);
    writer_->use({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"});
  }

  // An input of the engine, which both ledgers get.
  void write() {
    const Batch batch = engine_.batch;
    engine_.write();
    Transaction transaction(db_);
    writer_->write(batch);
    transaction.commit();
  }
  void write(const test::InputOf& input) {
    engine_.add(input);
    write();
  }

  void act(OperatorAction action, Moment at) {
    engine_.act(std::move(action), at);
    write();
  }
  void act(ActionKind kind, ChangeNumber alarm, Moment at) {
    OperatorAction action;
    action.kind = kind;
    action.person = "anna";
    action.alarms = {alarm};
    action.until = at + 60;
    action.until_age = at + 60;
    act(std::move(action), at);
  }
  void act(ActionKind kind, const char* dn, Moment at) {
    OperatorAction action;
    action.kind = kind;
    action.dn = dn;
    action.until = at + 60;
    action.until_age = at + 60;
    act(std::move(action), at);
  }

  // What is active, and what operators have made of it.
  static Rows active(const std::string& path, std::optional<Moment> at) {
    LedgerReader reader(path);
    Rows texts;
    for (const ActiveRow& row : reader.active({}, at)) {
      const StoredFault& fault = row.fault;
      std::string text = fault.fault_dn + " " + std::string(severity_word(fault.severity)) + " alarm " +
                         std::to_string(fault.alarm) + " of " + std::to_string(row.alarm_since) + " shown " +
                         std::to_string(row.shown.event.sequence) + " updated " + std::to_string(fault.updated) +
                         " count " + std::to_string(fault.count) + " by " + std::to_string(fault.reporters) + " " +
                         std::string(operator_state_word(row.standing.state()));
      if (row.state_by) text += " by change " + std::to_string(row.state_by->number);
      if (row.is_out_of_service) text += " out of service";
      if (fault.ended) text += " ended";
      texts.push_back(text);
    }
    EXPECT_EQ(reader.left_out(), Rows{});
    return texts;
  }

  test::TempDir dir_;
  LedgerWithAlarms engine_{dir_.file("other.db"), test::kAll};
  const std::string path_ = begun(dir_.file("ledger.db"));
  Database db_{path_, Access::kReadWrite};
  std::optional<EntryWriter> writer_;
};

// What was active at some time is what was active after the last input that had happened then, however many eras came
// since, whatever came late, and whatever operators did before and after.
class EntryWriterTestWithEras : public EntryWriterTest, public testing::WithParamInterface<int> {};

TEST_P(EntryWriterTestWithEras, TheLengthOfAnEraChangesNoAnswer) {
  open({.era_inputs = GetParam(), .epoch_inputs = 3 * GetParam(), .epoch_bytes = kNever});
  std::vector<std::pair<Moment, std::function<void(Moment)>>> story;
  const auto add = [&story](Moment at, std::function<void(Moment)> what) { story.emplace_back(at, std::move(what)); };
  const auto input = [this](test::InputOf of) {
    return [this, of](Moment at) {
      test::InputOf one = of;
      one.at = at;
      write(one);
    };
  };
  add(1001, input(raises("A", "o", 395)));  // 1
  add(1002, input(raises("A", "p", 396)));  // 2
  add(1003, [this](Moment at) { act(ActionKind::kAcknowledge, 1, at); });
  add(1004, input(raises("B", "o", 395)));
  add(1005, [this](Moment at) { act(ActionKind::kShelve, 2, at); });
  add(1006, input({.reported = false}));
  add(1007, input({.reported = false}));
  add(1008, [this](Moment at) { act(ActionKind::kClose, 1, at); });
  add(1009, input(clears("B", "o", 395)));
  add(1010, [this](Moment at) { act(ActionKind::kUnshelve, 2, at); });
  add(1011, input(raises("C", "o", 396)));
  add(1012, [this](Moment at) { act(ActionKind::kMaintain, "p", at); });
  add(1013, input(moves("A", "o", 395, 396)));  // two alarms become one
  add(1014, [this](Moment at) { act(ActionKind::kAcknowledge, 1, at); });
  add(1015, [this](Moment at) { act(ActionKind::kUnacknowledge, 1, at); });
  add(1016, [this](Moment at) { act(ActionKind::kEndMaintenance, "p", at); });
  add(1017, input(clears("C", "o", 396)));
  add(1018, input(clears("A", "o", 396)));
  add(1019, input(raises("A", "o", 395)));
  add(1020, input(clears("A", "p", 396)));
  std::vector<Rows> answers{Rows{}};
  for (const auto& [at, what] : story) {
    try {
      what(at);
    } catch (const ActionRefused& refused) {
      FAIL() << "at " << at << ": " << refused.what();
    }
    answers.push_back(active(path_, std::nullopt));
    ASSERT_EQ(answers.back(), active(dir_.file("other.db"), std::nullopt)) << at;
  }
  for (Moment at = 1000; at <= 1020; ++at) {
    EXPECT_EQ(active(path_, at), answers[static_cast<std::size_t>(at - 1000)]) << "at " << at;
  }
  test::InputOf late = raises("A", "late", 395, 1021);
  late.time = 1010;
  write(late);
  EXPECT_EQ(active(path_, 1009), answers[9]);
  for (Moment at = 1010; at <= 1021; ++at) EXPECT_EQ(active(path_, at), active(path_, std::nullopt)) << "at " << at;
  const Verification verified = verify_ledger(path_);
  EXPECT_EQ(verified.found, 0U) << verified.findings[0].what;
  EXPECT_EQ(test::rows(path_, "SELECT seq, kind, until FROM action ORDER BY seq"),
            (Rows{"3 0 -", "5 4 1065", "8 2 -", "10 5 -", "12 6 1072", "14 0 -", "15 1 -", "16 7 -"}));
}

INSTANTIATE_TEST_SUITE_P(Inputs, EntryWriterTestWithEras, testing::Values(1, 2, 3, 5, 8));

// What is said again is stored again in the next epoch, so that an epoch can go as a whole. An era is not shorter than
// six inputs for each fault that stands at its begin, but at most four times as long as it should be.
TEST_F(EntryWriterTest, ErasAndEpochsHaveTheirLength) {
  open({.era_inputs = 2, .epoch_inputs = 4, .epoch_bytes = kNever});
  for (int i = 0; i < 9; ++i) write(raises("A", "o", 395));
  EXPECT_EQ(test::rows(path_, "SELECT seq, epoch, first_change FROM era"), (Rows{"1 1 1", "3 1 3", "5 5 5", "9 9 9"}));
  EXPECT_EQ(test::rows(path_, "SELECT seq, subject, form FROM event"),
            (Rows{"1 1 1", "2 1 1", "3 1 1", "4 1 1", "5 5 5", "6 5 5", "7 5 5", "8 5 5", "9 9 9"}));
  EXPECT_EQ(test::rows(path_, "SELECT era, fault, alarm, severity, shown, reporters, count FROM standing"),
            (Rows{"3 1 1 3 2 1 2", "5 1 1 3 4 1 4", "9 1 1 3 8 1 8"}));
}

TEST_F(EntryWriterTest, ManyFaultsThatStandMakeErasLonger) {
  open({.era_inputs = 4, .epoch_inputs = kNever, .epoch_bytes = kNever});
  write(raises("A", "o", 395));
  for (int i = 0; i < 3; ++i) write({.reported = false});
  for (const char* dn : {"p", "q", "r"}) write(raises("A", dn, 395));  // the next era has one fault
  for (int i = 0; i < 40; ++i) write({.reported = false});
  EXPECT_EQ(test::rows(path_, "SELECT seq FROM era"), (Rows{"1", "5", "11", "27", "43"}));
}

// When what repeats takes too much room, the next epoch begins, but not before as many inputs as faults stand.
TEST_F(EntryWriterTest, AnEpochEndsWhenItIsTooLarge) {
  open({.era_inputs = kNever, .epoch_inputs = kNever, .epoch_bytes = 1});
  for (const char* dn : {"o", "p", "q"}) write(raises("A", dn, 395));
  for (int i = 0; i < 9; ++i) write({.reported = false});
  EXPECT_EQ(test::rows(path_, "SELECT seq, epoch FROM era"), (Rows{"1 1", "2 2", "3 3", "5 5", "8 8", "11 11"}));
}

// As if it had never ended.
TEST_F(EntryWriterTest, AWriterThatBeginsAnewGoesOnAsBefore) {
  const EntryWriter::Limits limits{.era_inputs = 4, .epoch_inputs = kNever, .epoch_bytes = 2000};
  const auto content = [](const std::string& path) {
    Rows all;
    for (const char* question :
         {"SELECT seq, epoch, least_at, first_change FROM era", "SELECT seq, subject, form, setting FROM event",
          "SELECT number, previous, of_alarm FROM change", "SELECT era, fault, count FROM standing"}) {
      for (const std::string& row : test::rows(path, question)) all.push_back(row);
    }
    return all;
  };
  const test::TempDir other;
  const std::string path = begun(other.file("ledger.db"));
  Database db(path, Access::kReadWrite);
  EntryWriter writer(db, limits);
  writer.use({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"});
  for (int i = 1; i <= 30; ++i) {
    engine_.add(raises("A", ("o" + std::to_string(i % 7)).c_str(), 395, 1000 + i));
    {
      Transaction transaction(db);
      writer.write(engine_.batch);
      transaction.commit();
    }
    open(limits);
    write();
  }
  EXPECT_EQ(content(path_), content(path));
  EXPECT_EQ(writer_->last_sequence(), 30);
  EXPECT_EQ(writer_->last_change(), 30);
  EXPECT_EQ(verify_ledger(path_).found, 0U);
}

TEST_F(EntryWriterTest, InputsNeedASettingBeforeTheFirst) {
  writer_.emplace(db_, EntryWriter::Limits{.era_inputs = 4, .epoch_inputs = kNever, .epoch_bytes = kNever});
  engine_.add({.reported = false});
  Transaction transaction(db_);
  EXPECT_THROW(writer_->write(engine_.batch), SqlError);
}

}  // namespace entry_writer_test
}  // namespace polaiga::engine
