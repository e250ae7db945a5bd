#include "database/schema.h"

#include <gtest/gtest.h>

#include <pqxx/transaction>
#include <thread>
#include <utility>
#include <vector>

#include "database/intake.h"
#include "support/sent.h"
#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace schema_test {

TEST(Schema, MigrationsAreNumberedFromOneOn) {
  int version = 0;
  for (const Migration& migration : migrations()) EXPECT_EQ(migration.version, ++version) << migration.name;
  EXPECT_GE(version, 1);
  EXPECT_EQ(migrations().front().name, "0001_begin");
}

TEST(Schema, MigrateMakesItOnce) {
  TestDatabase test(TestDatabase::Content::kNothing);
  Database database(test.url(), "test");
  EXPECT_EQ(schema_problem(database), "The database has no schema of a fleet yet; run `polaiga-collector migrate`");
  EXPECT_EQ(migrate(database).size(), migrations().size());
  EXPECT_EQ(schema_problem(database), "");
  EXPECT_EQ(migrate(database), std::vector<std::string>());
  EXPECT_EQ(test.sql("select version, name, compatible_with from migration where version = 1"), "1|0001_begin|1\n");
  EXPECT_EQ(test.sql("select count(*) from pg_inherits where inhparent = 'polaiga.change'::regclass"), "3\n");
}

TEST(Schema, MigrateByManyAtOnce) {
  TestDatabase test(TestDatabase::Content::kNothing);
  std::vector<std::size_t> ran(4);
  std::vector<std::thread> threads;
  for (std::size_t& mine : ran) {
    threads.emplace_back([&mine, url = test.url()] {
      Database database(url, "test");
      mine = migrate(database).size();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ran[0] + ran[1] + ran[2] + ran[3], migrations().size());
  EXPECT_EQ(test.sql("select count(*) from migration"), std::to_string(migrations().size()) + "\n");
}

TEST(Schema, AnOlderOneIsToBeMigrated) {
  TestDatabase test;
  test.sql("delete from migration");
  Database database(test.url(), "test");
  EXPECT_EQ(schema_problem(database), "The database's schema has version 0, and this program needs " +
                                          std::to_string(migrations().size()) + "; run `polaiga-collector migrate`");
}

TEST(Schema, ANewerOneIsRefusedUnlessItIsCompatible) {
  TestDatabase test;
  Database database(test.url(), "test");
  const std::string known = std::to_string(migrations().size());
  test.sql("insert into migration (version, name, compatible_with) values (99, 'later', " + known + ")");
  EXPECT_EQ(schema_problem(database), "");
  test.sql("insert into migration (version, name, compatible_with) values (100, 'last', 99)");
  EXPECT_EQ(schema_problem(database),
            "The database's schema has version 100, which this program is too old for: it knows versions up to " +
                known + "; use the program that made the schema");
}

// A database in which controllers, alarms and changes are already.
TEST(Schema, TheFirstVersionWithRowsIsMigrated) {
  TestDatabase test(TestDatabase::Content::kNothing);
  test.sql(
      "create schema polaiga; create table polaiga.migration (version integer primary key, name text not null, "
      "compatible_with integer not null, applied timestamptz not null default now())");
  test.sql(migrations().front().sql);
  test.sql(
      "insert into migration (version, name, compatible_with) values (1, '0001_begin', 1);"
      "select make_change_partition((now() at time zone 'UTC')::date);"
      "insert into site (name) values ('lab'); insert into controller (site_id, name) values (1, 'rack-1');"
      "insert into ledger (controller_id, ledger_id, through) values (1, repeat('a', 32), 4);"
      "update controller set ledger_no = 1;"
      "insert into change (ledger_no, number, at, kind, severity_before, severity_after, sequence, body) "
      "select 1, n, now(), 'raised', 0, 4, n, '{}' from generate_series(1, 4) n;"
      "insert into alarm (controller_id, site_id, ledger_no, number, fault_dn, dn, code, name, description, severity, "
      "worst, created, since, updated, cleared, ended) select 1, 1, 1, n, 'f', 'd', 1, 'n', 'x', 4, 4, now(), now(), "
      "now(), case when n > 2 then now() end, (array['', '', 'settled', 'merged'])[n] from generate_series(1, 4) n");
  Database database(test.url(), "test");
  EXPECT_EQ(schema_problem(database), "The database's schema has version 1, and this program needs " +
                                          std::to_string(migrations().size()) + "; run `polaiga-collector migrate`");
  EXPECT_EQ(migrate(database).size(), migrations().size() - 1);
  EXPECT_EQ(schema_problem(database), "");
  EXPECT_EQ(test.sql("select through, put_back_before is null from ledger"), "4|t\n");
  EXPECT_EQ(test.sql("select number, ended from alarm order by number"), "1|\n2|\n3|cleared\n4|merged\n");
  Intake intake(database);
  EXPECT_EQ(sent::take(intake, sent::sender(), sent::raised(5)).changes, 1);
  EXPECT_EQ(test.sql("select number from change order by number"), "1\n2\n3\n4\n5\n");
}

// Programs of the version before go on.
TEST(Schema, TheSecondVersionIsCompatibleWithTheFirst) {
  TestDatabase test;
  EXPECT_EQ(test.sql("select compatible_with from migration where version = 2"), "1\n");
}

TEST(Schema, ARoleThatMayNotSeeTheSchema) {
  TestDatabase test;
  test.sql("revoke usage on schema polaiga from polaiga_viewer");
  Database database(test.url("polaiga_viewer"), "test");
  EXPECT_THROW(schema_problem(database), DatabaseRefuses);
}

// What each role may do besides reading, as the catalog has it.
TEST(Schema, RolesHaveTheRightsThatTheyNeedAndNoOthers) {
  TestDatabase test;
  const auto rights = [&test](const std::string& role) {
    return test.sql(
        "select table_name, string_agg(lower(privilege_type), ' ' order by privilege_type) from "
        "information_schema.role_table_grants where grantee = '" +
        role + "' and table_schema = 'polaiga' and privilege_type <> 'SELECT' group by 1 order by 1");
  };
  EXPECT_EQ(rights("polaiga_collector"),
            "action|delete\nalarm|delete insert update\nalarm_group|delete insert update\nchange|delete insert\n"
            "collector|delete insert update\ncontroller|insert update\ngap|delete insert\nledger|delete insert update\n"
            "site|insert\n");
  EXPECT_EQ(rights("polaiga_viewer"), "");
  EXPECT_EQ(rights("polaiga_operator"), "");
  EXPECT_EQ(test.sql("select string_agg(column_name, ' ' order by column_name) from "
                     "information_schema.role_column_grants where grantee = 'polaiga_operator' and privilege_type = "
                     "'INSERT'"),
            "controller_id expires ledger_no person request\n");
  EXPECT_EQ(test.sql("select has_function_privilege('polaiga_viewer', 'polaiga.drop_change_partitions(date)', "
                     "'execute'), has_function_privilege('polaiga_collector', 'polaiga.drop_change_partitions(date)', "
                     "'execute')"),
            "f|t\n");
  const std::vector<std::pair<std::string, std::string>> operators_alone = {
      {"polaiga_collector", "f\n"}, {"polaiga_viewer", "f\n"}, {"polaiga_operator", "t\n"}};
  for (const auto& [role, may] : operators_alone) {
    EXPECT_EQ(test.sql("select has_function_privilege('" + role +
                       "', 'polaiga.act_on_own_alarms(bigint[], text, text, text, timestamptz)', 'execute')"),
              may)
        << role;
  }
}

// An operator acts upon alarms of the fleet itself, and upon no others.
TEST(Schema, OperatorsActUponAlarmsOfTheFleetItself) {
  TestDatabase test;
  test.sql(
      "insert into site (name) values ('lab'); insert into controller (site_id, name) values (1, 'rack-1');"
      "insert into ledger (controller_id, ledger_id) values (1, repeat('0', 32));"
      "insert into alarm (controller_id, site_id, ledger_no, number, fault_dn, dn, code, name, description, severity, "
      "worst, created, since, updated, cleared, ended) select 1, 1, ledger_no, number, 'f', 'd', 0, 'n', '', 4, 4, "
      "now(), now(), now(), cleared, ended from (values (null::bigint, null::bigint, null::timestamptz, ''), "
      "(null, null, now(), 'cleared'), (1, 7, null, '')) a (ledger_no, number, cleared, ended)");
  Database database(test.url("polaiga_operator"), "test");
  const auto act = [&database](const std::string& what, const std::string& words) {
    return database.use([&](pqxx::connection& connection) {
      pqxx::work transaction(connection);
      const std::size_t count =
          transaction.exec_params("select act_on_own_alarms('{1,2,3,4}', $1, $2, 'anna', now())", what, words).size();
      transaction.commit();
      return count;
    });
  };
  EXPECT_EQ(act("acknowledge", "seen"), 1U);
  EXPECT_EQ(test.sql("select alarm_no, is_acknowledged, acknowledged_by from alarm order by 1"),
            "1|t|anna\n2|f|\n3|f|\n");
  EXPECT_EQ(act("comment", "it's \"fine\""), 1U);
  EXPECT_EQ(test.sql("select is_acknowledged, acknowledged_by from alarm where alarm_no = 1"), "t|anna\n");
  EXPECT_EQ(act("unacknowledge", ""), 1U);
  EXPECT_EQ(test.sql("select is_acknowledged, acknowledged_by from alarm where alarm_no = 1"), "f|\n");
  EXPECT_EQ(test.sql("select controller_id, alarm_no, state, person, request->>'do', request->>'comment', "
                     "ledger_no is null, ended is not null from action order by action_no"),
            "1|1|done|anna|acknowledge|seen|t|t\n1|1|done|anna|comment|it's \"fine\"|t|t\n"
            "1|1|done|anna|unacknowledge||t|t\n");
  EXPECT_THROW(act("close", "x"), DatabaseRefuses);
  EXPECT_THROW(database.use([](pqxx::connection& connection) {
    return pqxx::work(connection).exec("update alarm set is_acknowledged = true");
  }),
               DatabaseRefuses);
  // The action goes with its alarm.
  test.sql("delete from alarm where alarm_no = 1");
  EXPECT_EQ(test.sql("select count(*) from action"), "0\n");
}

// A right that somebody gave, and that the role does not need, goes with the next migration.
TEST(Schema, MigrateTakesOtherRightsAway) {
  TestDatabase test;
  test.sql("grant delete on site to polaiga_viewer");
  Database database(test.url(), "test");
  migrate(database);
  EXPECT_EQ(test.sql("select has_table_privilege('polaiga_viewer', 'polaiga.site', 'delete')"), "f\n");
}

}  // namespace schema_test
}  // namespace polaiga::fleet
