// A connection to the fleet's database, which is PostgreSQL.
#pragma once

#include <chrono>
#include <memory>
#include <pqxx/connection>
#include <stdexcept>
#include <string>

#include "database/answer_deadline.h"

namespace polaiga::fleet {

// The database cannot be used now: it cannot be reached, is a standby, is starting or was ended. Trying again later may
// help. `what` says what happened and where, without the password.
class DatabaseAway : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// It did not answer in time. Either it is away, or what was asked of it takes too long.
class DatabaseSlow : public DatabaseAway {
 public:
  using DatabaseAway::DatabaseAway;
};

// The database refuses: rights are missing, the schema is another one, or a row is not as it must be. `what` names the
// right or the relation, and what to do.
class DatabaseRefuses : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// It refuses what one row says, such as a number that is too great for its column. Others may be written without it.
class RowRefused : public DatabaseRefuses {
 public:
  using DatabaseRefuses::DatabaseRefuses;
};

// What a row says does not agree with other rows, which nobody outside can bring about: a mistake of this program, or a
// table that somebody else changed.
class RowConflicts : public RowRefused {
 public:
  using RowRefused::RowRefused;
};

// A connection that is made when it is needed, and anew after it was lost. It is for one thread.
class Database {
 public:
  // After this time the answers of one use are given up, and the connection with them.
  static constexpr std::chrono::seconds kAnswerWithin{20};

  // `url` is what libpq takes: "postgresql://host1,host2/name?target_session_attrs=read-write", without a password;
  // that is in a file: passfile=, or PGPASSFILE. A URL with a password, and one that is wrong, is refused with
  // std::invalid_argument.
  explicit Database(const std::string& url, const std::string& application_name);

  // Runs `work` with a connection whose search_path is `polaiga`. pqxx's exceptions become those above; after
  // DatabaseAway the next use connects anew.
  template <typename Work>
  auto use(Work work, std::chrono::seconds within = kAnswerWithin);

 private:
  pqxx::connection& connection();
  [[noreturn]] void translate();  // rethrows the exception that is being handled

  std::string settings_;  // of the connection, as libpq takes them
  std::string place_;     // where the database is, for messages
  std::unique_ptr<pqxx::connection> connection_;
  AnswerDeadline deadline_;
};

template <typename Work>
auto Database::use(Work work, std::chrono::seconds within) {
  try {
    pqxx::connection& usable = connection();
    const AnswerDeadline::Watch watch(deadline_, usable.sock(), within);
    return work(usable);
  } catch (...) {
    translate();
  }
}

}  // namespace polaiga::fleet
