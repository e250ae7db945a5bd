#include "ledger/checker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ledger/mark.h"
#include "ledger/verification.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace checker_test {

using test::clears;
using test::kAll;
using test::LedgerWithAlarms;
using test::moves;
using test::raises;
using Texts = std::vector<std::string>;

#ifdef POLAIGA_SHORT_WALK
constexpr int kFlippedBits = 50;
#else
constexpr int kFlippedBits = 800;
#endif

// Two batches of three inputs, and one of one.
class CheckerTest : public testing::Test {
 protected:
  void make() const {
    LedgerWithAlarms engine(path_, kAll);
    engine.add(raises("A", "o", 395, 1001));
    engine.add({.record = {.dn = "o", .code = 395}, .sensor = "B", .at = 1002, .id = "second"});
    engine.add(raises("C", "p", 395, 1003));
    engine.batch.filter_state = {{"fan 1", {1, 3}}};
    engine.write();
    engine.add(moves("C", "p", 395, 396, 1004));
    engine.add(raises("Q", "q", 395, 1005));
    engine.add(clears("Q", "q", 395, 1006));
    engine.write();
    engine.write(clears("B", "o", 395, 1007));
    engine.ledger.set_cursor("snmp", 2, 1008);
  }

  void sql(const std::string& harm) const {
    Database(path_, Access::kReadWrite).exec("PRAGMA writable_schema = ON; " + harm);
  }

  Texts found() const {
    Texts texts;
    for (const Finding& finding : verify_ledger(path_).findings) {
      texts.push_back(finding.what + " [" + std::to_string(finding.first) + ", " + std::to_string(finding.last) + "]");
    }
    return texts;
  }

  void make_anew() const {
    for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + part);
    make();
  }

  // Makes the first page of a table one that the database cannot read.
  void spoil_page(const std::string& table) const {
    const auto number = [this](const std::string& question) { return std::stoul(test::rows(path_, question).at(0)); };
    const std::size_t page = number("SELECT rootpage FROM sqlite_schema WHERE name = '" + table + "'");
    const std::size_t size = number("PRAGMA page_size");
    std::string content = dir_.read("ledger.db");
    content.replace((page - 1) * size, size, std::string(size, '\xee'));
    dir_.write("ledger.db", content);
  }

  // The ledger loses its end, up to this input and change, and an engine finds that out.
  void lose(Sequence last, ChangeNumber last_change) const {
    MarkFile(path_).write({read_mark(path_)->ledger_id, last, last_change, false, 1});
    const LedgerWithAlarms engine(path_, kAll);
  }

  // What is found after this was done to a new ledger.
  Texts found_after(const std::string& harm) const {
    make_anew();
    sql(harm);
    return found();
  }

  test::TempDir dir_;
  const std::string path_ = dir_.file("ledger.db");
};

TEST_F(CheckerTest, ASoundLedger) {
  make();
  const Verification verified = verify_ledger(path_);
  EXPECT_EQ(verified.found, 0U);
  EXPECT_EQ(verified.inputs, 7U);
  EXPECT_EQ(verified.changes, 8U);
  EXPECT_GT(verified.rows, 30U);
  EXPECT_EQ(verified.lost, Texts{});
  EXPECT_EQ(found(), Texts{});
}

// The checksums of the rows are right: only the digests can tell.
TEST_F(CheckerTest, WhatWasChangedBySomebodyWhoKnowsTheChecksums) {
  const std::string first =
      "inputs 1 to 3: the digest does not match; something of this batch, or the digest before it, "
      "was changed [1, 3]";
  const std::string second =
      "inputs 4 to 6: the digest does not match; something of this batch, or the digest before "
      "it, was changed [4, 6]";
  const std::string third =
      "input 7: the digest does not match; something of this batch, or the digest before it, was "
      "changed [7, 7]";
  EXPECT_EQ(found_after("SELECT 1"), Texts{});
  EXPECT_EQ(found_after("UPDATE event SET received = 1 WHERE seq = 1"), Texts{first});
  EXPECT_EQ(found_after("UPDATE event SET id = 'other' WHERE seq = 2"), Texts{first});
  EXPECT_EQ(found_after("UPDATE subject SET \"group\" = 9 WHERE seq = 5"), Texts{second});
  EXPECT_EQ(found_after("UPDATE form SET descr = descr || '!' WHERE seq = 5"), Texts{second});
  EXPECT_EQ(found_after("UPDATE change SET reporters = 9 WHERE number = 2"), Texts{first});
  EXPECT_EQ(found_after("UPDATE event SET seal = x'00112233445566778899aabbccddeeff' WHERE seq = 6"),
            (Texts{second, third}));
  EXPECT_EQ(found_after("UPDATE build SET version = '1.0.1'"), (Texts{first, second, third}));
  EXPECT_EQ(found_after("UPDATE tables SET cmc = 'other'"), (Texts{first, second, third}));
  const Texts other_id = found_after("UPDATE ledger SET id = '00112233445566778899aabbccddeeff'");
  EXPECT_EQ(other_id, (Texts{first, second, third}));
}

TEST_F(CheckerTest, RowsThatAreMissing) {
  EXPECT_EQ(found_after("DELETE FROM event WHERE seq = 5"),
            (Texts{"input 5 is missing [5, 5]", "change 6: its input 5 is missing [5, 5]"}));
  EXPECT_EQ(found_after("DELETE FROM change WHERE number = 3"),
            (Texts{"inputs 1 to 3: the digest does not match; something of this batch, or the digest before it, was "
                   "changed [1, 3]",
                   "change 3 is missing [4, 4]"}));
  EXPECT_THAT(found_after("DELETE FROM subject WHERE seq = 3"),
              testing::Contains("input 3: the subject 3 that it refers to is missing [3, 3]"));
  EXPECT_THAT(found_after("DELETE FROM form WHERE seq = 3"),
              testing::Contains("input 3: the form 3 that it refers to is missing [3, 3]"));
  EXPECT_THAT(found_after("DELETE FROM tables"),
              testing::Contains("input 1: the host tables or the build that it was handled under are missing [1, 1]"));
  EXPECT_THAT(found_after("DELETE FROM report WHERE sensor = 'A'"),
              testing::Contains(testing::HasSubstr("the changes and the reports do not agree whether this fault is "
                                                   "active, and how: o/fault-F0395")));
  EXPECT_EQ(found_after("DELETE FROM event WHERE seq = 7; DELETE FROM change WHERE number > 7; "
                        "UPDATE fault SET ended = NULL; DELETE FROM shown_again")
                .front(),
            "the ledger ends with input 6, but inputs up to 7 were acknowledged [7, 7]");
}

TEST_F(CheckerTest, SeveralRowsThatAreMissingAreToldAtOnce) {
  EXPECT_EQ(found_after("DELETE FROM change WHERE number IN (2, 3)"),
            (Texts{"inputs 1 to 3: the digest does not match; something of this batch, or the digest before it, was "
                   "changed [1, 3]",
                   "changes 2 to 3 are missing [4, 4]"}));
}

// The rows of the last batch were taken away, with the digest.
TEST_F(CheckerTest, ABatchWithoutItsEnd) {
  const Texts texts = found_after("DELETE FROM event WHERE seq >= 6; DELETE FROM change WHERE number >= 7");
  EXPECT_THAT(texts, testing::Contains("the ledger ends with input 5, but inputs up to 7 were acknowledged [6, 7]"));
  EXPECT_THAT(texts, testing::Contains("inputs 4 to 5: the batch has no end, so rows after it are missing [4, 5]"));
}

// A row that cannot be read takes the digest of its batch away; that is not told again. The rows that belong to the
// inputs are read with their tables once more.
TEST_F(CheckerTest, RowsThatAreDamaged) {
  EXPECT_EQ(found_after("UPDATE event SET received = -1 WHERE seq = 5"),
            Texts{"event 5: received is out of range: -1 [5, 5]"});
  EXPECT_EQ(found_after("UPDATE change SET kind = 99 WHERE number = 6"),
            Texts{"change 6: kind is out of range: 99 [5, 5]"});
  EXPECT_EQ(found_after("UPDATE subject SET \"group\" = 3000000000 WHERE seq = 5"),
            (Texts{"subject 5: group is out of range: 3000000000; input 5 refers to it [5, 5]",
                   "subject 5: group is out of range: 3000000000; input 6 refers to it [6, 6]",
                   "subject 5: group is out of range: 3000000000 [0, 0]"}));
  EXPECT_EQ(found_after("UPDATE form SET disposition = 256 WHERE seq = 5"),
            (Texts{"form 5: disposition is out of range: 256; input 5 refers to it [5, 5]",
                   "form 5: disposition is out of range: 256 [0, 0]"}));
  EXPECT_EQ(found_after("DELETE FROM subject WHERE seq = 5"),
            (Texts{"input 5: the subject 5 that it refers to is missing [5, 5]",
                   "input 6: the subject 5 that it refers to is missing [6, 6]"}));
  EXPECT_EQ(found_after("UPDATE event SET setting = 99 WHERE seq = 4"),
            Texts{"input 4: the host tables or the build that it was handled under are missing [4, 4]"});
  EXPECT_EQ(found_after("UPDATE alarm SET created = -1 WHERE number = 6"),
            Texts{"alarm 6: created is out of range: -1 [0, 0]"});
  make_anew();
  std::string content = dir_.read("ledger.db");
  content.replace(content.find("c0ffee"), 6, "coffee");
  dir_.write("ledger.db", content);
  EXPECT_EQ(found(), (Texts{"build 1: the row is damaged: its checksum does not match; input 1 was handled under it "
                            "[1, 1]",
                            "build 1: the row is damaged: its checksum does not match [0, 0]"}));
}

// However small its steps are, a check finds the same in as many rows.
TEST_F(CheckerTest, TheSizeOfTheStepsDoesNotMatter) {
  for (const char* harm :
       {"SELECT 1", "DELETE FROM event WHERE seq = 5", "DELETE FROM change WHERE number = 3",
        "UPDATE event SET received = 1 WHERE seq = 1", "UPDATE event SET received = -1 WHERE seq = 5",
        "UPDATE change SET kind = 99 WHERE number = 6", "DELETE FROM subject WHERE seq = 5",
        "UPDATE report SET since_at = -1", "UPDATE standing SET count = -1", "UPDATE build SET version = '1.0.1'"}) {
    make_anew();
    { LedgerWithAlarms(path_, kAll).write(raises("D", "o", 395, 1008)); }  // a second report of the same fault
    sql(harm);
    const Database db(path_, Access::kRead);
    const auto told = [&db](std::size_t rows) {
      Checker checker(db);
      while (checker.step(rows)) {
      }
      Texts texts{std::to_string(checker.checked_rows()) + " rows"};
      for (const Finding& finding : checker.findings()) texts.push_back(finding.what);
      return texts;
    };
    const Texts at_once = told(5000);
    for (const std::size_t rows : {1U, 2U, 3U}) EXPECT_EQ(told(rows), at_once) << harm << ", " << rows << " at once";
  }
}

// What a step reads is let go before the next one, whatever it finds, so that the engine can empty its log.
TEST_F(CheckerTest, TheLogCanBeginAnewBetweenSteps) {
  for (const char* harm : {"SELECT 1", "UPDATE subject SET \"group\" = 3000000000", "DELETE FROM subject"}) {
    make_anew();
    sql(harm);
    const Database db(path_, Access::kRead);
    Database engine(path_, Access::kReadWrite);
    engine.set_patience(0);
    Checker checker(db);
    for (bool more = true; more;) {
      more = checker.step(1);
      Statement empty(engine, "PRAGMA wal_checkpoint(TRUNCATE)");
      ASSERT_TRUE(empty.step());
      EXPECT_EQ(empty.integer(0), 0) << harm << ": somebody still reads, at " << checker.percent();
    }
  }
}

// What events say again and again is read once.
TEST_F(CheckerTest, WhatIsSaidAgainIsReadOnce) {
  const auto rows_of = [this](int inputs) {
    for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + part);
    LedgerWithAlarms engine(path_, kAll);
    for (int i = 0; i < inputs; ++i) engine.write(raises("A", "o", 395, 1001));
    return verify_ledger(path_).rows;
  };
  EXPECT_EQ(rows_of(30) - rows_of(10), 2U * 20U);  // an event and a change each
}

TEST_F(CheckerTest, MoreThanAHundredFindingsAreCountedAlone) {
  {
    LedgerWithAlarms engine(path_, kAll);
    for (int i = 0; i < 130; ++i) engine.add(raises("A", ("o" + std::to_string(i)).c_str(), 395, 1001));
    engine.write();
  }
  sql("UPDATE step SET alarm = 1; UPDATE alarm SET created = -1");
  const Verification verified = verify_ledger(path_);
  EXPECT_GE(verified.found, 130U);
  EXPECT_EQ(verified.findings.size(), 100U);
  EXPECT_EQ(verified.findings[0].what, "alarm 1: created is out of range: -1");
}

// The rest is checked, too, and once it is done it stays done.
TEST_F(CheckerTest, WhatCannotBeGoneOnWithIsLeft) {
  const auto check = [this] {
    const Database db(path_, Access::kRead);
    Checker checker(db);
    while (checker.step(3)) {
    }
    EXPECT_EQ(checker.percent(), 100);
    const std::uint64_t found = checker.found();
    EXPECT_FALSE(checker.step(3));
    EXPECT_FALSE(checker.step(3));
    EXPECT_EQ(checker.found(), found);
    EXPECT_NO_THROW(checker.check_as_a_whole());
    Texts texts;
    for (const Finding& finding : checker.findings()) texts.push_back(finding.what);
    return texts;
  };
  const std::string alarm = "alarm 1: created is out of range: -1";
  make_anew();
  EXPECT_EQ(check(), Texts{});
  sql("UPDATE alarm SET created = -1 WHERE number = 1; DELETE FROM ledger");
  EXPECT_EQ(check(), (Texts{"the ledger's own row is gone", alarm, "the ledger's own row is gone"}));
  for (const char* table : {"event", "standing"}) {
    make_anew();
    sql("UPDATE alarm SET created = -1 WHERE number = 1");
    spoil_page(table);
    const Texts texts = check();
    EXPECT_THAT(texts, testing::Contains("the structure of the file is damaged: database disk image is malformed"))
        << table;
    EXPECT_THAT(texts, testing::Contains(alarm)) << table;
  }
}

// Whatever their names are, only the fault that differs is told.
TEST_F(CheckerTest, OnlyTheFaultThatDiffersIsTold) {
  {
    LedgerWithAlarms engine(path_, kAll);
    for (const char* dn : {"z", "m", "a"}) engine.write(raises("A", dn, 395, 1001));
    engine.write(raises("B", "m", 395, 1002));
  }
  EXPECT_EQ(found(), Texts{});
  sql("DELETE FROM report WHERE fault = 1");
  EXPECT_EQ(found(), Texts{"the changes and the reports do not agree whether this fault is active, and how: "
                           "z/fault-F0395, minor, shown as of input 1, with 1 reporters [0, 0]"});
}

// What operators did is guarded as events are.
TEST_F(CheckerTest, ActionsAreCheckedWithTheirInputs) {
  const std::string digest =
      "input 8: the digest does not match; something of this batch, or the digest before it, was changed [8, 8]";
  for (const auto& [harm, want] :
       {std::pair<const char*, Texts>{"SELECT 1", {}},
        {"UPDATE action SET comment = 'unseen'", {digest}},
        {"DELETE FROM action", {"input 8: the action 8 that it refers to is missing [8, 8]"}},
        {"UPDATE action SET kind = 99",
         {"action 8: kind is out of range: 99; input 8 refers to it [8, 8]",
          "action 8: kind is out of range: 99 [0, 0]"}}}) {
    make_anew();
    {
      LedgerWithAlarms engine(path_, kAll);
      OperatorAction action;
      action.person = "anna";
      action.comment = "seen";
      action.alarms = {1};
      engine.act(action, 1008);
      engine.write();
    }
    sql(harm);
    EXPECT_EQ(found(), want) << harm;
  }
}

// An event that retention keeps, because its fault is active, is in no batch that could be checked as a whole.
TEST_F(CheckerTest, WhatAKeptEventRefersTo) {
  {
    LedgerWithAlarms engine(path_, {.events = 2, .days = 0, .bytes = 0});
    engine.write(raises("A", "o", 395, 1001));
    for (int i = 0; i < 200; ++i) {
      engine.write(raises("B", "p", 395, 1002 + 2 * i));
      engine.write(clears("B", "p", 395, 1003 + 2 * i));
    }
    ASSERT_EQ(test::rows(path_, "SELECT seq FROM event ORDER BY seq LIMIT 1"), Texts{"1"});
    ASSERT_EQ(test::rows(path_, "SELECT count(*) FROM event WHERE seq = 2"), Texts{"0"});
  }
  EXPECT_EQ(found(), Texts{});
  sql("DELETE FROM form WHERE seq = 1");
  EXPECT_THAT(found(), testing::Contains("input 1: the form 1 that it refers to is missing [1, 1]"));
  sql("UPDATE event SET received = -1 WHERE seq = 1");
  EXPECT_THAT(found(), testing::Contains("event 1: received is out of range: -1 [1, 1]"));
}

// The setting of an event that is kept is needed, though all later events have another.
TEST_F(CheckerTest, TheSettingOfAKeptEvent) {
  {
    LedgerWithAlarms engine(path_, {.events = 2, .days = 0, .bytes = 0});
    engine.write(raises("A", "o", 395, 1001));
    engine.ledger.use({"nm", "other", "drive_bp"}, {"c0ffee", "1.0.0"});
    engine.pass(50);
  }
  EXPECT_EQ(found(), Texts{});
  sql("DELETE FROM setting WHERE id = 1");
  EXPECT_EQ(found(), Texts{"input 1: the host tables or the build that it was handled under are missing [1, 1]"});
}

// All events are kept, also the last one before the watermark; those after it are checked as whole batches.
TEST_F(CheckerTest, KeptEventsUpToTheWatermark) {
  {
    LedgerWithAlarms engine(path_, {.events = 10, .days = 0, .bytes = 0});
    for (int i = 1; i <= 60; ++i) engine.write(raises("A", ("o" + std::to_string(i)).c_str(), 395, 1000 + i));
  }
  const Sequence watermark = std::stol(test::rows(path_, "SELECT watermark_seq FROM ledger").at(0));
  ASSERT_GT(watermark, 2);
  ASSERT_EQ(test::rows(path_, "SELECT count(*) FROM event"), Texts{"60"});
  EXPECT_EQ(found(), Texts{});
  const Database db(path_, Access::kRead);
  Checker checker(db);
  for (Sequence seq = 1; seq < 60; ++seq) {
    ASSERT_TRUE(checker.step(1));
    EXPECT_EQ(checker.percent(), seq <= watermark ? 0 : (seq - watermark) * 100 / (60 - watermark)) << seq;
  }
  sql("UPDATE event SET received = 1 WHERE seq = 60");
  EXPECT_EQ(found(), Texts{"input 60: the digest does not match; something of this batch, or the digest before it, was "
                           "changed [60, 60]"});
}

TEST_F(CheckerTest, StructureOfTheFile) {
  make();
  sql("UPDATE sqlite_schema SET sql = replace(sql, 'IS NOT NULL', 'IS NULL') WHERE name = 'event_id'");
  EXPECT_THAT(found(), testing::Contains(testing::HasSubstr("the structure of the file is damaged: ")));
}

// All that the tables say, whatever their rows are worth. The case of a table's name means nothing to SQLite.
std::string content_of(const std::string& path) {
  std::string content;
  try {
    const Database db(path, Access::kRead);
    Statement tables(
        db, "SELECT lower(name) FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite_%' ORDER BY 1");
    while (tables.step()) {
      const std::string table(tables.text(0));
      content += table + "\n";
      Statement rows(db, "SELECT * FROM \"" + table + "\"");
      while (rows.step()) {
        for (int column = 0; column < rows.columns(); ++column) {
          content += std::to_string(rows.type(column)) + ":" + std::string(rows.blob(column)) + "|";
        }
        content += "\n";
      }
    }
  } catch (const SqlError& error) {
    content += error.what();
  }
  return content;
}

// Whatever bit of the file is wrong: if anything that the ledger says is another thing
// for it, it is found.
TEST_F(CheckerTest, OneFlippedBitIsFound) {
  make();
  { LedgerWithAlarms engine(path_, kAll); }  // brings the log into the file
  const std::string sound = dir_.read("ledger.db");
  const std::string content = content_of(path_);
  ASSERT_EQ(found(), Texts{});
  std::mt19937 random(7);
  int changed = 0;
  for (int i = 0; i < kFlippedBits; ++i) {
    const std::size_t at = random() % sound.size();
    std::string damaged = sound;
    damaged[at] = static_cast<char>(damaged[at] ^ 1 << random() % 8);
    for (const char* part : {"-wal", "-shm"}) std::filesystem::remove(path_ + part);
    dir_.write("ledger.db", damaged);
    bool is_found = false;
    try {
      is_found = verify_ledger(path_).found > 0;
    } catch (const LedgerError&) {  // it is no ledger any more, or cannot be opened
      is_found = true;
    }
    if (content_of(path_) == content) continue;
    ++changed;
    const std::string now = content_of(path_);
    const auto differs = std::ranges::mismatch(content, now).in2;
    EXPECT_TRUE(is_found) << "bit of byte " << at << ", before: "
                          << now.substr(0, static_cast<std::size_t>(differs - now.begin()) + 40)
                                 .substr(std::max<std::size_t>(120, static_cast<std::size_t>(differs - now.begin())) -
                                         120);
  }
  EXPECT_GT(changed, kFlippedBits / 8);
}

// While an engine writes and retention takes away, at whatever pace.
TEST_F(CheckerTest, ALedgerThatIsInUse) {
  for (const std::size_t rows : {1U, 7U, 50U}) {
    for (const char* part : {"", "-wal", "-shm", "-mark"}) std::filesystem::remove(path_ + part);
    LedgerWithAlarms engine(path_, {.events = 60, .days = 0, .bytes = 0});
    const Database db(path_, Access::kRead);
    std::mt19937 random(static_cast<unsigned>(rows));
    engine.pass(60);
    for (int round = 0; round < 3; ++round) {
      Checker checker(db);
      bool more = true;
      for (int i = 0; more && i < 400; ++i) {
        const std::string object = "o" + std::to_string(random() % 20);
        const std::size_t inputs = 1 + random() % 4;
        for (std::size_t k = 0; k < inputs; ++k) {
          const Moment at = 1000 + i;
          engine.add(random() % 2 == 0 ? raises("A", object.c_str(), 395, at) : clears("A", object.c_str(), 395, at));
        }
        engine.write();
        more = checker.step(rows);
      }
      while (checker.step(rows)) {
      }
      EXPECT_EQ(checker.found(), 0U) << checker.findings()[0].what;
      EXPECT_GT(checker.checked_inputs(), 5U);
    }
    EXPECT_EQ(found(), Texts{});
  }
}

// The number of a row is wrong in the file, so that the rows are not in their order any more: a check does not go round
// in a circle.
TEST_F(CheckerTest, ARowInAWrongPlace) {
  make();
  const std::size_t root =
      std::stoul(test::rows(path_, "SELECT rootpage FROM sqlite_schema WHERE name = 'alarm'").at(0));
  const std::size_t size = std::stoul(test::rows(path_, "PRAGMA page_size").at(0));
  std::string content = dir_.read("ledger.db");
  const std::size_t page = (root - 1) * size;
  ASSERT_EQ(content[page], '\x0d');  // a leaf: the rows are in it
  // The place of the second cell is told in two bytes, eight bytes and those of the first cell's behind the page's
  // begin.
  const auto byte = [&](std::size_t at) {
    return static_cast<std::size_t>(static_cast<unsigned char>(content[page + at]));
  };
  const std::size_t cell = byte(10) << 8U | byte(11);
  ASSERT_EQ(byte(cell + 1), 3U);  // the size of the row is one byte, and then comes its number
  content[page + cell + 1] = '\0';
  dir_.write("ledger.db", content);
  const Database db(path_, Access::kRead);
  Checker checker(db);
  int steps = 0;
  while (checker.step(100)) ASSERT_LT(++steps, 500);
  ASSERT_EQ(checker.findings().size(), 1U);
  EXPECT_EQ(checker.findings()[0].what, "alarm 0: the row is in a wrong place");
}

// In hundredths of the inputs, of which there are seven.
TEST_F(CheckerTest, TellsHowFarItIs) {
  make();
  const Database db(path_, Access::kRead);
  Checker checker(db);
  std::set<int> told;
  while (checker.step(1)) told.insert(checker.percent());
  const std::set<int> sevenths = {0, 14, 28, 42, 57, 71, 85, 100};
  for (const int percent : told) EXPECT_TRUE(sevenths.contains(percent)) << percent;
  EXPECT_TRUE(told.contains(42));
  EXPECT_TRUE(told.contains(85));
  EXPECT_EQ(checker.percent(), 100);
}

TEST_F(CheckerTest, AnEmptyLedgerIsSoundAndChecked) {
  { LedgerWithAlarms engine(path_, kAll); }
  const Database db(path_, Access::kRead);
  Checker checker(db);
  EXPECT_EQ(checker.percent(), 100);
  while (checker.step(1)) EXPECT_EQ(checker.percent(), 100);
  EXPECT_EQ(found(), Texts{});
}

TEST_F(CheckerTest, TheLastBatchesAlone) {
  make();
  sql("UPDATE event SET received = 1 WHERE seq = 2");
  const Database db(path_, Access::kRead);
  const auto check = [&](int batches) {
    Checker checker(db);
    checker.only_last(batches);
    while (checker.step(2)) {
    }
    return std::pair(checker.checked_inputs(), checker.found());
  };
  EXPECT_EQ(check(1), (std::pair<std::uint64_t, std::uint64_t>(1, 0)));
  EXPECT_EQ(check(2), (std::pair<std::uint64_t, std::uint64_t>(4, 0)));
  EXPECT_EQ(check(3), (std::pair<std::uint64_t, std::uint64_t>(7, 1)));
  EXPECT_EQ(check(9), (std::pair<std::uint64_t, std::uint64_t>(7, 1)));
  sql("UPDATE alarm SET created = -1");  // nothing else is checked
  EXPECT_EQ(check(1), (std::pair<std::uint64_t, std::uint64_t>(1, 0)));
  sql("UPDATE event SET received = -1 WHERE seq = 6");  // the digest before the last batch is in its row
  EXPECT_EQ(check(1), (std::pair<std::uint64_t, std::uint64_t>(1, 1)));
}

// What was lost once is told, and is no damage.
TEST_F(CheckerTest, AGapThatTheLedgerKnows) {
  make();
  const Mark mark = *read_mark(path_);
  MarkFile(path_).write({mark.ledger_id, 9, 12, false, 1});
  { LedgerWithAlarms(path_, kAll).write(raises("Z", "z", 395, 1010)); }
  const Verification verified = verify_ledger(path_);
  EXPECT_EQ(found(), Texts{});
  EXPECT_EQ(verified.inputs, 8U);
  EXPECT_EQ(verified.lost, Texts{"inputs 8 to 9 and changes 9 to 12 were lost before 1970-01-01T00:00:00Z"});
  sql("DELETE FROM gap");
  EXPECT_THAT(found(), testing::Contains("inputs 8 to 9 are missing [8, 9]"));
}

// However many there are, one after the other, and also when no change was lost with them.
TEST_F(CheckerTest, GapsThatTheLedgerKnows) {
  make();
  lose(8, 9);
  lose(10, 9);
  { LedgerWithAlarms(path_, kAll).write(raises("Y", "y", 395, 1011)); }
  lose(12, 11);
  { LedgerWithAlarms(path_, kAll).write(raises("Z", "z", 395, 1013)); }
  EXPECT_EQ(found(), Texts{});
  const Texts lost = verify_ledger(path_).lost;
  ASSERT_EQ(lost.size(), 3U);
  EXPECT_THAT(lost[0], testing::StartsWith("input 8 and change 9 were lost before "));
  EXPECT_THAT(lost[1], testing::StartsWith("inputs 9 to 10 were lost before "));
  EXPECT_THAT(lost[2], testing::StartsWith("input 12 and change 11 were lost before "));
}

// Twice the ledger lost its end, and between that an input came that changed nothing.
TEST_F(CheckerTest, GapsWithAnInputBetweenThatChangedNothing) {
  make();
  lose(8, 9);
  { LedgerWithAlarms(path_, kAll).write({.reported = false, .at = 1010}); }
  lose(10, 10);
  { LedgerWithAlarms(path_, kAll).write(raises("Y", "y", 395, 1011)); }
  EXPECT_EQ(found(), Texts{});
  sql("DELETE FROM change WHERE number = 11");
  EXPECT_THAT(found(), testing::Contains(testing::HasSubstr("input 11: the digest does not match")));
}

TEST_F(CheckerTest, ALedgerThatCameOfADamagedOne) {
  make();
  sql("DROP TABLE step");
  {
    LedgerWithAlarms engine(path_, kAll);
    ASSERT_FALSE(engine.ledger.set_aside().empty());
    engine.write(raises("Z", "z", 395, 1010));
  }
  EXPECT_EQ(found(), Texts{});
  EXPECT_EQ(test::rows(path_, "SELECT count(*) FROM report"), Texts{"3"});
}

// The mark says that there was more.
TEST_F(CheckerTest, ALedgerThatEndsBeforeItsMark) {
  make();
  const Mark mark = *read_mark(path_);
  MarkFile(path_).write({mark.ledger_id, 9, 12, false, 1});
  EXPECT_EQ(verify_ledger(path_).found, 1U);
  EXPECT_EQ(found(), Texts{"the ledger ends with input 7, but inputs up to 9 were acknowledged [8, 9]"});
}

// A page that the database cannot read.
TEST_F(CheckerTest, APageThatCannotBeRead) {
  for (const auto& [table, finding] : {std::pair("form", std::string("the structure of the file is damaged: ")),
                                       std::pair("event", path_ + ": cannot read the ledger: ")}) {
    make_anew();
    spoil_page(table);
    const Verification verified = verify_ledger(path_);
    EXPECT_EQ(verified.found, verified.findings.size());
    EXPECT_THAT(found(), testing::Contains(testing::StartsWith(finding))) << table;
  }
}

}  // namespace checker_test
}  // namespace polaiga::engine
