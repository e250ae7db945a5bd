#include "database/schema.h"

#include <algorithm>
#include <charconv>
#include <pqxx/nontransaction>
#include <pqxx/transaction>
#include <stdexcept>
#include <string_view>

#include "database/migration_files.h"
#include "database/rights.h"

namespace polaiga::fleet {
namespace {

// Of the advisory lock under which one program at a time changes the schema. Any number that no other program of the
// database takes.
constexpr std::int64_t kMigrationLock = 7305804402;

// A migration of a large table may take long.
constexpr std::chrono::hours kMigrateWithin{12};

constexpr const char* kMakeList =
    "create schema if not exists polaiga;"
    "create table if not exists polaiga.migration ("
    "  version integer primary key,"
    "  name text not null,"
    "  compatible_with integer not null,"  // the oldest version that programs may know which use this one
    "  applied timestamptz not null default now())";

constexpr const char* kMakePartitions =
    "select polaiga.make_change_partition(((now() at time zone 'UTC')::date) + n) from generate_series(0, 2) n";

constexpr std::string_view kCompatible = "-- compatible with ";

// From "0002_more.sql". The files are named so; whoever adds another one notices at once.
Migration migration_of(const EmbeddedFile& file) {
  Migration migration{
      .version = 0, .name = std::string(file.name.substr(0, file.name.rfind('.'))), .sql = std::string(file.content)};
  const auto read = std::from_chars(file.name.data(), file.name.data() + file.name.size(), migration.version);
  if (read.ec != std::errc()) throw std::logic_error(migration.name + ": its name must begin with its version");
  return migration;
}

int compatible_with(const Migration& migration) {
  int oldest = migration.version;
  if (const std::size_t at = migration.sql.find(kCompatible); at != std::string::npos) {
    const char* const begin = migration.sql.data() + at + kCompatible.size();
    std::from_chars(begin, migration.sql.data() + migration.sql.size(), oldest);
  }
  return oldest;
}

void expect_utf8(pqxx::connection& connection) {
  const auto encoding = pqxx::nontransaction(connection).exec1("show server_encoding")[0].as<std::string>();
  if (encoding == "UTF8") return;
  throw DatabaseRefuses("The database's encoding is " + encoding +
                        ", and texts of controllers are UTF-8; make a database with encoding UTF8");
}

// Whether it was not there yet.
bool run(pqxx::connection& connection, const Migration& migration) {
  pqxx::work transaction(connection);
  transaction.exec_params("select pg_advisory_xact_lock($1::bigint)", kMigrationLock);
  transaction.exec(kMakeList);
  if (!transaction.exec_params("select 1 from migration where version = $1", migration.version).empty()) return false;
  transaction.exec(migration.sql);
  transaction.exec_params("insert into migration (version, name, compatible_with) values ($1, $2, $3)",
                          migration.version, migration.name, compatible_with(migration));
  transaction.commit();
  return true;
}

}  // namespace

const std::vector<Migration>& migrations() {
  static const std::vector<Migration> kMigrations = [] {
    std::vector<Migration> all;
    for (const EmbeddedFile& file : migration_files()) all.push_back(migration_of(file));
    std::ranges::sort(all, {}, &Migration::version);
    return all;
  }();
  return kMigrations;
}

std::vector<std::string> migrate(Database& database) {
  return database.use(
      [](pqxx::connection& connection) {
        expect_utf8(connection);
        // Others that change the schema are waited for.
        pqxx::nontransaction(connection).exec("set lock_timeout = 0");
        std::vector<std::string> done;
        for (const Migration& migration : migrations()) {
          if (run(connection, migration)) done.push_back(migration.name);
        }
        pqxx::work transaction(connection);
        transaction.exec_params("select pg_advisory_xact_lock($1::bigint)", kMigrationLock);
        transaction.exec(kMakePartitions);
        give_rights(transaction);
        transaction.commit();
        pqxx::nontransaction(connection).exec("set lock_timeout = '15s'");
        return done;
      },
      kMigrateWithin);
}

std::string schema_problem(Database& database) {
  return database.use([](pqxx::connection& connection) -> std::string {
    pqxx::nontransaction question(connection);
    // A name that cannot be seen: there is no such schema, or this role may not use it.
    const bool is_there = question.exec1("select to_regclass('polaiga.migration') is not null")[0].as<bool>();
    if (!is_there) return "The database has no schema of a fleet yet; run `polaiga-collector migrate`";
    const int known = migrations().back().version;
    const pqxx::row row =
        question.exec1("select coalesce(max(version), 0), coalesce(max(compatible_with) filter (where version > " +
                       std::to_string(known) + "), 0) from migration");
    const int has = row[0].as<int>();
    if (has < known) {
      return "The database's schema has version " + std::to_string(has) + ", and this program needs " +
             std::to_string(known) + "; run `polaiga-collector migrate`";
    }
    if (row[1].as<int>() > known) {
      return "The database's schema has version " + std::to_string(has) +
             ", which this program is too old for: it knows versions up to " + std::to_string(known) +
             "; use the program that made the schema";
    }
    return {};
  });
}

}  // namespace polaiga::fleet
