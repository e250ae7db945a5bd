// The alarm profile in the ledger: who writes it, who reads it, and what a severity
// that it changes does to the rows.
#include "ledger/stored_profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ledger/change_feed.h"
#include "ledger/verification.h"
#include "support/ledger_fixture.h"

namespace polaiga::engine {
namespace stored_profile_test {

using test::clears;
using test::kAll;
using test::moves;
using test::raises;
using Rows = std::vector<std::string>;

const std::string kHeader = "code\tdn\tseverity\tnotify\trespond_within\tconsequence\tadvice\n";
const std::string kMajor = kHeader + "F0395\t*\tmajor\tno\t-\t-\t-\n";
const std::string kWarning = kHeader + "*\t*\twarning\tyes\t4h\tIt stops.\tLook at it.\n";

class StoredProfileTest : public test::LedgerFixture {
 protected:
  void SetUp() override { open(kAll); }

  void use(const std::string& text) {
    engine_->alarms.use({text, "alarms.tsv"});
    engine_->ledger.set_profile(text);
  }

  Rows rows(const std::string& sql) const { return test::rows(path_, sql); }

  // Of the faults that were active then, with their severities.
  Rows active(std::optional<Moment> at = std::nullopt) const {
    Rows found;
    for (const ActiveRow& row : LedgerReader(path_).active({}, at)) {
      found.push_back(row.fault.fault_dn + " " + std::string(severity_word(row.fault.severity)));
    }
    return found;
  }

  Rows findings() const {
    Rows found;
    for (const Finding& finding : verify_ledger(path_).findings) found.push_back(finding.what);
    return found;
  }
};

TEST_F(StoredProfileTest, IsWrittenWhenItDiffers) {
  const auto stored = [&] { return rows("SELECT id, text FROM profile"); };
  use("");
  EXPECT_EQ(stored(), Rows{});
  use(kMajor);
  EXPECT_EQ(stored(), Rows{"1 " + kMajor});
  use(kWarning);
  EXPECT_EQ(stored(), Rows{"1 " + kWarning});
  open(kAll);
  EXPECT_EQ(stored(), Rows{"1 " + kWarning});
  use("");
  EXPECT_EQ(stored(), Rows{"1 "});
}

TEST_F(StoredProfileTest, NothingIsWrittenWhenItIsTheSame) {
  use(kMajor);
  const auto bytes = std::filesystem::file_size(path_ + "-wal");
  use(kMajor);
  EXPECT_EQ(std::filesystem::file_size(path_ + "-wal"), bytes);
  use(kWarning);
  EXPECT_GT(std::filesystem::file_size(path_ + "-wal"), bytes);
}

TEST_F(StoredProfileTest, QuestionsHaveThatOfTheirMoment) {
  engine_->write(raises("A", "o", 395, 1001));
  LedgerReader reader(path_);
  EXPECT_EQ(reader.profile().text(), "");
  reader.active({}, {});
  EXPECT_EQ(reader.profile().text(), "");
  use(kWarning);
  EXPECT_EQ(reader.profile().text(), "");
  reader.active({}, {});
  EXPECT_EQ(reader.profile().text(), kWarning);
  ASSERT_NE(reader.profile().find(395, "o"), nullptr);
  EXPECT_EQ(reader.profile().find(395, "o")->advice, "Look at it.");
  use(kMajor);
  reader.history("", 0);
  EXPECT_EQ(reader.profile().text(), kMajor);
  use("");
  reader.explain("o/fault-F0395");
  EXPECT_EQ(reader.profile().text(), "");
  EXPECT_EQ(reader.left_out(), Rows{});
}

TEST_F(StoredProfileTest, PublishersHaveItWithWhatTheyRead) {
  use(kMajor);
  engine_->write(raises("A", "o", 395, 1001));
  ChangeFeed feed(path_);
  const Snapshot snapshot = feed.snapshot();
  ASSERT_EQ(snapshot.active.size(), 1U);
  ASSERT_NE(snapshot.profile->find(395, "o"), nullptr);
  EXPECT_FALSE(snapshot.profile->find(395, "o")->notify);
  EXPECT_EQ(snapshot.damage, Rows{});
  EXPECT_EQ(feed.next(0, 10).profile, snapshot.profile) << "it is parsed once";
  EXPECT_EQ(feed.next(1, 10).profile, snapshot.profile);
  use(kWarning);
  EXPECT_EQ(feed.next(0, 10).profile->text(), kWarning);
  EXPECT_EQ(snapshot.profile->text(), kMajor) << "what was read stays";
}

TEST_F(StoredProfileTest, ADamagedOneIsLeftOutAndTold) {
  use(kMajor);
  engine_->write(raises("A", "o", 395, 1001));
  engine_.reset();
  std::string content = dir_.read("ledger.db");
  const auto at = content.find("F0395\t*\tmajor");
  ASSERT_NE(at, std::string::npos);
  content[at + 4] = '6';
  dir_.write("ledger.db", content);
  const Rows damage{"profile 1: the row is damaged: its checksum does not match"};
  LedgerReader reader(path_);
  EXPECT_EQ(reader.active({}, {}).size(), 1U);
  EXPECT_EQ(reader.left_out(), damage);
  EXPECT_EQ(reader.profile().text(), "");
  ChangeFeed feed(path_);
  EXPECT_EQ(feed.snapshot().damage, damage);
  const Feed read = feed.next(0, 10);
  EXPECT_EQ(read.changes.size(), 1U);
  EXPECT_EQ(read.damage, damage);
  EXPECT_EQ(read.profile->text(), "");
  EXPECT_EQ(feed.next(1, 10).damage, damage);
  EXPECT_EQ(findings(), damage);
  // The engine knows it from its file.
  open(kAll);
  EXPECT_EQ(engine_->ledger.set_aside(), "");
  use(kMajor);
  EXPECT_EQ(findings(), Rows{});
  EXPECT_EQ(rows("SELECT text FROM profile"), Rows{kMajor});
}

// Such as one that a later program wrote.
TEST_F(StoredProfileTest, OneThatThisProgramDoesNotTake) {
  engine_->ledger.set_profile(kHeader + "F0395\t*\tmajor\tsometimes\t-\t-\t-\n");
  LedgerReader reader(path_);
  reader.active({}, {});
  EXPECT_EQ(reader.left_out(),
            Rows{"this program does not take the alarm profile: the alarm profile in the ledger:2:15: notify: "
                 "'sometimes' is neither yes nor no"});
  EXPECT_EQ(reader.profile().text(), "");
}

TEST_F(StoredProfileTest, GoesIntoTheLedgerThatTakesThePlaceOfADamagedOne) {
  use(kMajor);
  engine_->write(raises("A", "o", 395, 1001));
  const std::string id = engine_->ledger.id();
  engine_.reset();
  Database(path_, Access::kReadWrite).exec("DROP TABLE step");
  open(kAll);
  EXPECT_NE(engine_->ledger.id(), id);
  EXPECT_EQ(rows("SELECT text FROM profile"), Rows{kMajor});
  EXPECT_EQ(active(), Rows{"o/fault-F0395 major"});
  EXPECT_EQ(findings(), Rows{});
}

TEST_F(StoredProfileTest, ARefreshUnderAnotherProfileChangesFaultAndAlarm) {
  engine_->write(raises("A", "o", 395, 1001));
  use(kMajor);
  EXPECT_EQ(active(), Rows{"o/fault-F0395 minor"}) << "only a record changes what is active";
  engine_->write(raises("A", "o", 395, 1002));
  use(kWarning);
  engine_->write(raises("B", "o", 395, 1003));
  EXPECT_EQ(rows("SELECT number, kind, before, after FROM change"), (Rows{"1 0 0 3", "2 1 3 4", "3 1 4 2"}));
  EXPECT_EQ(rows("SELECT severity, worst, fault FROM alarm"), Rows{"2 4 1"});
  EXPECT_EQ(rows("SELECT severity FROM fault"), Rows{"2"});
  EXPECT_EQ(active(), Rows{"o/fault-F0395 warning"});
  EXPECT_EQ(active(1001), Rows{"o/fault-F0395 minor"}) << "as it was then";
  EXPECT_EQ(active(1002), Rows{"o/fault-F0395 major"});
  EXPECT_EQ(findings(), Rows{});
  // After a restart, too, nothing is changed but by a record.
  open(kAll);
  EXPECT_EQ(engine_->alarms.in_order()[0]->severity, Severity::kWarning);
  use("");
  engine_->write(clears("B", "o", 395, 1004));
  EXPECT_EQ(active(), Rows{"o/fault-F0395 warning"});
  engine_->write(raises("A", "o", 395, 1005));
  EXPECT_EQ(active(), Rows{"o/fault-F0395 minor"});
  engine_->write(clears("A", "o", 395, 1006));
  EXPECT_EQ(rows("SELECT number, kind, before, after FROM change WHERE number > 3"),
            (Rows{"4 2 2 2", "5 1 2 3", "6 3 3 0"}));
  EXPECT_EQ(rows("SELECT severity, worst FROM alarm"), Rows{"3 4"});
  EXPECT_EQ(findings(), Rows{});
}

TEST_F(StoredProfileTest, AMergeUnderAnotherProfile) {
  engine_->write(raises("B", "o", 396, 1001));
  engine_->write(raises("A", "o", 395, 1002));
  use(kHeader + "F0396\t*\tcritical\tyes\t-\t-\t-\n");
  engine_->write(moves("A", "o", 395, 396, 1003));
  EXPECT_EQ(active(), Rows{"o/fault-F0396 critical"});
  EXPECT_EQ(rows("SELECT severity, worst, fault, merged_into FROM alarm"), (Rows{"5 5 1 0", "3 3 2 1"}));
  EXPECT_EQ(rows("SELECT severity FROM fault"), (Rows{"5", "3"}));
  EXPECT_EQ(findings(), Rows{});
}

// A severity is that of the change, not that which the fault got later.
TEST_F(StoredProfileTest, ChangesAreSelectedByTheSeverityOfTheirTime) {
  engine_->write(raises("A", "o", 395, 1001));  // minor
  use(kMajor);
  engine_->write(raises("A", "o", 395, 1002));
  use(kWarning);
  engine_->write(raises("A", "o", 395, 1003));
  engine_->write(clears("A", "o", 395, 1004));
  const auto at_least = [&](Severity least) {
    std::string numbers;
    for (const StoredChange& one : LedgerReader(path_).latest({.least = least}, 10).changes) {
      numbers += std::to_string(one.change.number) + " ";
    }
    return numbers;
  };
  EXPECT_EQ(at_least(Severity::kWarning), "1 2 3 4 ");
  EXPECT_EQ(at_least(Severity::kMinor), "1 2 ");
  EXPECT_EQ(at_least(Severity::kMajor), "2 ");
}

// What was active at the beginning of what is kept has the severity that it had.
TEST_F(StoredProfileTest, RetentionKeepsTheSeverityOfThatTime) {
  open({.events = 4, .days = 0, .bytes = 0});
  engine_->write(raises("A", "o", 395, 1001));
  use(kMajor);
  engine_->write(raises("A", "o", 395, 1002));
  engine_->pass(4, {.at = 1003});
  use(kWarning);
  engine_->write(raises("A", "o", 395, 1004));
  engine_->pass(2, {.at = 1005});
  while (engine_->ledger.tidy()) {
  }
  ASSERT_GT(engine_->ledger.size().oldest_change, 2);
  EXPECT_EQ(active(), Rows{"o/fault-F0395 warning"});
  EXPECT_EQ(active(1003), Rows{"o/fault-F0395 major"});
  EXPECT_EQ(findings(), Rows{});
}

}  // namespace stored_profile_test
}  // namespace polaiga::engine
