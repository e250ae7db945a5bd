// A PostgreSQL of the test program's own, on a Unix socket. It is started with the first database that a test asks for,
// and ends with the program.
#pragma once

#include <sys/types.h>

#include <memory>
#include <pqxx/connection>
#include <string>

namespace polaiga::fleet {

// A database of a test's own, that goes with it. Sites of a fleet are in none.
class TestDatabase {
 public:
  enum class Content { kNothing, kSchema };

  explicit TestDatabase(Content content = Content::kSchema);
  ~TestDatabase();
  TestDatabase(const TestDatabase&) = delete;
  TestDatabase& operator=(const TestDatabase&) = delete;

  // For libpq. The roles polaiga_collector, polaiga_viewer and polaiga_operator may log in here.
  std::string url(const std::string& role = "postgres") const;

  // Runs SQL as the superuser. Answers with the rows, each a line whose columns have '|' between.
  std::string sql(const std::string& statements);

 private:
  std::string name_;
  std::unique_ptr<pqxx::connection> connection_;
};

// For tests that stop the server: the process that was started.
pid_t test_postgres_pid();

}  // namespace polaiga::fleet
