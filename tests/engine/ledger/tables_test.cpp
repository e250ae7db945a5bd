#include "ledger/tables.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/ledger_entries.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace tables_test {

// Ledgers keep these numbers, so they may never change. The hashes are those that the authors of FNV-1a published for
// 64 bits; the ledger leaves out the lowest bit.
TEST(TablesTest, NamesOfFaultsHaveTheHashesOfFnv1a) {
  struct {
    std::string_view name;
    std::uint64_t hash;
  } constexpr kCases[] = {
      {"", 0xCBF29CE484222325U},
      {"a", 0xAF63DC4C8601EC8CU},
      {"foobar", 0x85944171F73967E8U},
  };
  for (const auto& [name, hash] : kCases) {
    EXPECT_EQ(fault_name_hash(name), static_cast<std::int64_t>(hash >> 1U)) << name;
  }
}

// Every ledger of this version has these tables, and other programs may read them: another name or order needs another
// version.
TEST(TablesTest, TheTablesOfALedgerHaveTheseColumns) {
  const test::TempDir dir;
  const std::string path = dir.file("ledger.db");
  test::LedgerWithAlarms engine(path, test::kAll);
  struct {
    std::string table;
    std::string columns;
  } const kTables[] = {
      {"action", "seq kind person on_behalf_of comment dn until until_age"},
      {"alarm",
       "number created severity worst fault merged merged_into related acknowledged closed shelved shelved_until "
       "shelved_until_age was_unshelved was_told operated"},
      {"alarm_action", "change alarm seq kind at"},
      {"build", "id build_id version"},
      {"change",
       "number seq kind fault alarm before after other shown reporters previous of_alarm raises is_quiet is_folded"},
      {"chattering", "fault_dn change since_at raises last_age alarm shown_alarm shown_severity was_told"},
      {"era", "seq epoch least_at first_change"},
      {"event",
       "seq id received arrived age time at setting subject offset state form outcome fault created_time zone created "
       "seal"},
      {"fault",
       "number name alarm later_alarm severity raised_seq shown_seq updated_seq updated_at count change ended"},
      {"filter_state", "slot seq"},
      {"form",
       "seq event_entity_id event_entity_subtype event_instance event_state fault_key dn fault_dn rn code_text oid "
       "oid_len descr disposition cause_id clear_cause_id cause clear_cause code clear_code name"},
      {"former_id", "id is_action seq"},
      {"gap", "seq last_seq change last_change found"},
      {"ledger", "id created watermark_seq watermark_change watermark_at missed_through"},
      {"maintenance", "dn seq since_at until until_age"},
      {"profile", "id text"},
      {"publisher_cursor", "name change updated"},
      {"report", "fault entity sensor instance since_seq since_at last_seq last_at count change"},
      {"setting", "id build tables"},
      {"shown_again", "seq change"},
      {"standing", "era fault alarm severity shown reporters updated_at count"},
      {"step", "alarm fault"},
      {"subject", "seq entity sensor instance group entity_id entity_subtype reading_type"},
      {"tables", "id nm cmc drive_bp"},
  };
  std::vector<std::string> tables;
  for (const auto& [table, columns] : kTables) {
    tables.push_back(table);
    std::string found;
    for (const std::string& name : test::rows(path, "SELECT name FROM pragma_table_xinfo('" + table + "')")) {
      found += name + " ";
    }
    EXPECT_EQ(found, columns + " row_check ") << table;
  }
  EXPECT_EQ(test::rows(
                path, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite_%' ORDER BY name"),
            tables);
}

// A number of a row is found without looking at the others, and no value is of another type.
TEST(TablesTest, TablesHaveKeysAndTypes) {
  const test::TempDir dir;
  const std::string path = dir.file("ledger.db");
  test::LedgerWithAlarms engine(path, test::kAll);
  EXPECT_EQ(test::rows(path,
                       "SELECT name FROM pragma_table_list WHERE schema = 'main' AND type = 'table' AND strict = 0 "
                       "AND name NOT LIKE 'sqlite_%'"),
            std::vector<std::string>{});
  EXPECT_EQ(test::rows(path,
                       "SELECT name FROM pragma_table_list AS list WHERE schema = 'main' AND type = 'table' AND "
                       "name NOT LIKE 'sqlite_%' AND NOT EXISTS "
                       "(SELECT 1 FROM pragma_table_xinfo(list.name) AS columns WHERE columns.pk > 0)"),
            std::vector<std::string>{"ledger"});  // it has one row
  EXPECT_EQ(
      test::rows(path, "SELECT name FROM sqlite_schema WHERE type = 'index' AND sql IS NOT NULL ORDER BY name"),
      (std::vector<std::string>{"action_dn", "alarm_action_alarm", "alarm_action_seq", "event_id", "fault_name"}));
  EXPECT_EQ(test::rows(path, "SELECT sql FROM sqlite_schema WHERE name = 'fault_name'"),
            std::vector<std::string>{"CREATE INDEX fault_name ON fault (number >> 14, name)"});
  EXPECT_EQ(AlarmProfileRow::kOnly, 1);
}

// What it says of itself is checked before anything else of a ledger is.
TEST(TablesTest, TheLedgersIdIs32HexadecimalDigits) {
  const test::TempDir dir;
  const std::string path = dir.file("ledger.db");
  { test::LedgerWithAlarms engine(path, test::kAll); }
  const Database db(path, Access::kReadWrite);
  const auto complaint = [&](const std::string& id) {
    db.exec("UPDATE ledger SET id = '" + id + "'");
    return test::complaint_of([&] { ledger_row(db); });
  };
  const std::string digits = "0123456789abcdef0123456789abcdef";
  const std::string begin = "the ledger's id is not 32 hexadecimal digits: ";
  EXPECT_EQ(complaint(digits), "none");
  EXPECT_EQ(complaint(digits + "0"), begin + "'" + digits + "0'");
  EXPECT_EQ(complaint("123456789abcdef0123456789abcdef"), begin + "'123456789abcdef0123456789abcdef'");
  EXPECT_EQ(complaint("0123456789abcdefg123456789abcdef"), begin + "'0123456789abcdefg123456789abcdef'");
  EXPECT_EQ(complaint("0123456789ABCDEF0123456789ABCDEF"), begin + "'0123456789ABCDEF0123456789ABCDEF'");
}

}  // namespace tables_test
}  // namespace polaiga::engine
