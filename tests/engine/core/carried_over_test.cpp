// What a damaged ledger leaves to the new one when there are several of each kind, and when single rows of it do not
// prove right.
#include "ledger/carry_over.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/recorder.h"
#include "intake/event_parser.h"
#include "ledger/change_feed.h"
#include "ledger/reader.h"
#include "ledger/verification.h"
#include "support/manual_clock.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace carried_over_test {

using test::kToday;
using Texts = std::vector<std::string>;

// Two fans have alarms that chatter, and that somebody has acknowledged with one action and then commented on; two
// power supplies are out of service; a third fan was looked after, and its alarm is over.
class CarriedOverTest : public ::testing::Test {
 protected:
  void SetUp() override {
    start();
    for (int i = 0; i < 4; ++i) {
      for (const int fan : {1, 2}) {
        event(fan, 1);
        if (i < 3) event(fan, 0);
      }
    }
    event(3, 1);
    write();
    for (const ActiveRow& row : LedgerReader(path_).active({}, std::nullopt)) alarms_.push_back(row.fault.alarm);
    ASSERT_EQ(alarms_.size(), 3U);
    act(ActionKind::kComment, {alarms_[2]}, "of the third");
    event(3, 0);
    act(ActionKind::kAcknowledge, {alarms_[0], alarms_[1]}, "seen");
    act(ActionKind::kComment, {alarms_[0]}, "of the first");
    act(ActionKind::kComment, {alarms_[1]}, "of the second");
    maintain("sys/rack-unit-1/psu-1", "first supply");
    maintain("sys/rack-unit-1/psu-2", "second supply");
    write();
    stop();
  }

  void start() {
    ledger_.emplace(path_, Retention{}, clock_.wall());
    recorder_ = std::make_unique<Recorder>(Recorder::Options{.chattering = ChatteringLimit{.times = 2, .within = 60}},
                                           clock_, *ledger_);
    recorder_->use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
  }
  void stop() {
    recorder_.reset();
    ledger_.reset();
  }

  // The ledger loses a table that the engine needs, so it is replaced; what else `sql` does to it is damage, too.
  std::string begin_again(const std::string& sql) {
    Database(path_, Access::kReadWrite).exec("DROP TABLE step; " + sql);
    start();
    return ledger_->news().size() == 1 ? ledger_->news()[0] : std::to_string(ledger_->news().size()) + " news";
  }

  // Changes the last letter of the text where the table has it, as a bad disk would do it. The table has one page.
  void change_in(const std::string& table, const std::string& text) {
    std::size_t page = 0;
    std::size_t size = 0;
    {
      const Database db(path_, Access::kRead);
      Statement root(db, "SELECT rootpage, (SELECT page_size FROM pragma_page_size) FROM sqlite_schema WHERE name = ?");
      ASSERT_TRUE(root.with(table).step());
      page = static_cast<std::size_t>(root.integer(0));
      size = static_cast<std::size_t>(root.integer(1));
    }
    std::string content = dir_.read("ledger.db");
    const auto at = content.find(text, (page - 1) * size);
    ASSERT_LT(at, page * size);
    content[at + text.size() - 1] = '?';
    dir_.write("ledger.db", content);
  }

  void event(int fan, int state) {
    recorder_->record(parse_sensor_event(R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"instance":)" +
                                         std::to_string(fan) + R"(,"state":)" + std::to_string(state) + "}"));
  }
  void act(ActionKind kind, std::vector<ChangeNumber> alarms, const std::string& comment) {
    OperatorAction action{.kind = kind};
    action.person = "anna";
    action.comment = comment;
    action.alarms = std::move(alarms);
    recorder_->act(std::move(action));
  }
  void maintain(const std::string& dn, const std::string& comment) {
    OperatorAction action{.kind = ActionKind::kMaintain};
    action.person = "anna";
    action.comment = comment;
    action.dn = dn;
    action.lasts = 3600;
    recorder_->act(std::move(action));
  }
  void write() { recorder_->commit(); }

  // "acknowledged seen, commented of the first", of each active alarm in the order of their numbers.
  Texts actions() const {
    LedgerReader reader(path_);
    std::map<ChangeNumber, std::string> texts;
    for (const ActiveRow& row : reader.active({}, std::nullopt)) {
      std::string& text = texts[row.fault.alarm];
      const auto explained = reader.explain(row.fault.fault_dn);
      for (const AlarmAction& one : explained->alarm.actions) {
        text += (text.empty() ? "" : ", ") + std::string(change_word(one.kind)) + " " +
                (one.action ? one.action->comment.value_or("") : "by nobody known");
      }
    }
    Texts all;
    for (const auto& [number, text] : texts) all.push_back(text);
    return all;
  }

  Texts maintenance() const {
    Texts texts;
    for (const StoredMaintenance& one : LedgerReader(path_).maintenance()) {
      texts.push_back(one.maintenance.dn + ": " + (one.action ? one.action->comment.value_or("") : "by nobody known"));
    }
    return texts;
  }

  Texts chattering() const {
    Texts texts;
    for (const FeedChattering& one : ChangeFeed(path_).snapshot().chattering) texts.push_back(one.fault.fault_dn);
    return texts;
  }

  Texts findings() const {
    Texts found;
    for (const Finding& finding : verify_ledger(path_).findings) found.push_back(finding.what);
    return found;
  }

  static constexpr const char* kFirstFan = "sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395";
  static constexpr const char* kSecondFan = "sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0395";
  const Texts all_actions_ = {"acknowledged seen, commented of the first",
                              "acknowledged seen, commented of the second"};
  const Texts all_maintenance_ = {"sys/rack-unit-1/psu-1: first supply", "sys/rack-unit-1/psu-2: second supply"};

  test::TempDir dir_;
  std::string path_ = dir_.file("ledger.db");
  test::ManualClock clock_{kToday};
  std::optional<Ledger> ledger_;
  std::unique_ptr<Recorder> recorder_;
  std::vector<ChangeNumber> alarms_;
};

TEST_F(CarriedOverTest, AllOfEachKind) {
  const std::string said = begin_again("");
  EXPECT_NE(said.find("Carried over: 2 active faults"), std::string::npos) << said;
  EXPECT_NE(said.find("Nothing of this was lost."), std::string::npos) << said;
  EXPECT_EQ(actions(), all_actions_);
  EXPECT_EQ(maintenance(), all_maintenance_);
  EXPECT_EQ(chattering(), (Texts{kFirstFan, kSecondFan}));
  EXPECT_EQ(findings(), Texts{});
}

// What is lost is told, and takes nothing else with it.
TEST_F(CarriedOverTest, ADamagedActionOfAnAlarmIsTold) {
  const std::string said =
      begin_again("UPDATE alarm_action SET kind = 99 WHERE change = (SELECT max(change) FROM alarm_action)");
  EXPECT_NE(said.find("a part of what operators did to active alarms, but not the state of the alarms."),
            std::string::npos)
      << said;
  EXPECT_EQ(actions(), (Texts{"acknowledged seen, commented of the first", "acknowledged seen"}));
  EXPECT_EQ(maintenance(), all_maintenance_);
  EXPECT_EQ(chattering(), (Texts{kFirstFan, kSecondFan}));
}

TEST_F(CarriedOverTest, ADamagedObjectOutOfServiceIsTold) {
  change_in("maintenance", "sys/rack-unit-1/psu-1");
  const std::string said = begin_again("");
  EXPECT_NE(said.find("a part of the list of objects that are out of service."), std::string::npos) << said;
  EXPECT_EQ(maintenance(), Texts{"sys/rack-unit-1/psu-2: second supply"});
  EXPECT_EQ(actions(), all_actions_);
}

TEST_F(CarriedOverTest, ADamagedChatteringFaultIsTold) {
  const std::string said =
      begin_again("UPDATE chattering SET shown_severity = 99 WHERE fault_dn LIKE '%fan-module-1-2/%'");
  EXPECT_NE(said.find("a part of the list of faults that are chattering."), std::string::npos) << said;
  EXPECT_EQ(chattering(), Texts{kFirstFan});
  EXPECT_EQ(maintenance(), all_maintenance_);
}

// Tables that are gone altogether cannot be read from either end.
TEST_F(CarriedOverTest, TablesThatAreGoneAreTold) {
  const std::string said = begin_again("DROP TABLE alarm_action; DROP TABLE maintenance; DROP TABLE chattering");
  for (const char* what :
       {"a part of what operators did to active alarms, but not the state of the alarms",
        "a part of the list of objects that are out of service", "a part of the list of faults that are chattering"}) {
    EXPECT_NE(said.find(what), std::string::npos) << what << " in " << said;
  }
  EXPECT_EQ(actions(), (Texts{"", ""}));
  EXPECT_EQ(maintenance(), Texts{});
  EXPECT_EQ(chattering(), Texts{});
}

}  // namespace carried_over_test
}  // namespace polaiga::engine
