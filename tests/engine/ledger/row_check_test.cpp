#include "ledger/row_check.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "ledger/reader.h"
#include "ledger/sqlite.h"
#include "ledger/tables.h"
#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace row_check_test {

// The numbers are CRC-32 of the bytes that the comments show, made with Python's zlib.
TEST(RowCheckTest, IsTheCrcOfTypesSizesAndValues) {
  EXPECT_EQ(RowCheck("event").value(), 168004971);  // i 05 00.. t "event"
  RowCheck row("event");
  row.integer(1);   // i 01 00..
  row.integer(-2);  // i fe ff..
  row.null();       // n
  row.text("FAN1");
  EXPECT_EQ(row.value(), 897874519);
  RowCheck with_blob("event");
  with_blob.integer(1);
  with_blob.integer(-2);
  with_blob.null();
  with_blob.blob("FAN1");
  EXPECT_EQ(with_blob.value(), -635168651);
}

TEST(RowCheckTest, ValuesMayBeLongerThanItsBuffer) {
  RowCheck row("form");
  row.text(std::string(300, 'x'));
  row.integer(7);
  EXPECT_EQ(row.value(), 474429197);
}

// However values fill its buffer, the sum is that of all their bytes.
TEST(RowCheckTest, TheSumDoesNotDependOnTheLengths) {
  const auto bytes_of = [](const std::string& text) {
    std::string bytes = "i";
    for (int i = 0; i < 8; ++i) bytes += static_cast<char>(text.size() >> (8 * i) & 0xff);
    return bytes + "t" + text;
  };
  for (std::size_t length = 0; length < 600; ++length) {
    const std::string text(length, 'x');
    RowCheck row("form");
    row.text(text);
    row.text("end");
    const std::string bytes = bytes_of("form") + bytes_of(text) + bytes_of("end");
    const auto sum = ::crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
    EXPECT_EQ(row.value(), static_cast<std::int32_t>(sum)) << "length " << length;
  }
}

TEST(RowCheckTest, TheSqlFunctionSaysTheSame) {
  const test::TempDir dir;
  const Database db(dir.file("any.db"), Access::kReadWriteCreate);
  Statement row(db, "SELECT row_check('event', 1, -2, NULL, 'FAN1'), 1, -2, NULL, 'FAN1'");
  ASSERT_TRUE(row.step());
  EXPECT_EQ(row.integer(0), 897874519);
  EXPECT_EQ(row_check("event", row, 1, 4), 897874519);
}

// Every table's rows, as an engine writes them, one changed value each. A generated
// column cannot be written to, so the file is changed as a bad disk would do it.
TEST(RowCheckTest, AChangedByteIsFoundWhenTheRowIsRead) {
  const test::TempDir dir;
  const std::string path = dir.file("ledger.db");
  {
    test::LedgerWithAlarms entries(path);
    entries.write(test::raises("NEEDLE", "sys/x", 395));
  }
  std::string content = dir.read("ledger.db");
  int changed = 0;
  for (auto at = content.find("NEEDLE"); at != std::string::npos; at = content.find("NEEDLE", at + 1)) {
    content[at] = 'n';
    ++changed;
  }
  ASSERT_GE(changed, 2);  // the subject and the report
  dir.write("ledger.db", content);
  const Database db(path, Access::kRead);
  Statement subject(db, "SELECT " + columns_sql<SubjectRow>() + " FROM subject");
  ASSERT_TRUE(subject.step());
  EXPECT_THROW(read_row<SubjectRow>(subject), DamagedRow);
  Statement report(db, "SELECT " + columns_sql<ReportRow>() + " FROM report");
  ASSERT_TRUE(report.step());
  EXPECT_THROW(read_row<ReportRow>(report), DamagedRow);
  Statement fault(db, "SELECT " + columns_sql<FaultRow>() + " FROM fault");
  ASSERT_TRUE(fault.step());
  EXPECT_EQ(read_row<FaultRow>(fault).number, 1);
}

}  // namespace row_check_test
}  // namespace polaiga::engine
