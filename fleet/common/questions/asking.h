// How a program that shows the fleet to people asks the database.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <pqxx/except>
#include <pqxx/transaction>
#include <stdexcept>
#include <string>
#include <vector>

#include "database/database.h"
#include "model/moment.h"

namespace polaiga::fleet {

// The answer would have taken longer than kStatementWithin. The question was given up; the database is well.
class TooSlow : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A few connections that many threads share. While the database is away, one thread at a time tries to reach it, and
// the others are told at once that it is away, so that no thread waits for it in vain.
class Asking {
 public:
  static constexpr std::size_t kConnections = 4;
  static constexpr std::chrono::seconds kStatementWithin{5};
  static constexpr std::chrono::seconds kFreeWithin{5};     // to get one of the connections
  static constexpr std::chrono::seconds kTryAgainAfter{2};  // when the database was away

  // Throws std::invalid_argument when the URL is not one.
  Asking(const std::string& url, const std::string& application_name);

  // Runs `work` in a transaction that only reads, and that sees the database as it was at one moment. Throws
  // DatabaseAway, DatabaseRefuses and TooSlow.
  template <typename Work>
  auto ask(Work work) {
    return with_connection([&work](pqxx::connection& connection) {
      try {
        pqxx::work transaction(connection);
        transaction.exec(kReading);
        return work(transaction);
      } catch (const pqxx::sql_error& error) {
        if (error.sqlstate() == kCanceled) throw TooSlow(kTooSlow);
        throw;
      }
    });
  }

  // Runs `work` in a transaction that writes, and commits it.
  template <typename Work>
  auto write(Work work) {
    return with_connection([&work](pqxx::connection& connection) {
      pqxx::work transaction(connection);
      auto answer = work(transaction);
      transaction.commit();
      return answer;
    });
  }

  // Since when the database is away, and why; nothing when it answered last.
  struct Away {
    engine::Moment since = 0;
    std::string why;
  };
  std::optional<Away> away() const;

 private:
  static constexpr const char* kReading =
      "set transaction isolation level repeatable read, read only; set local statement_timeout = '5s'";
  static constexpr const char* kCanceled = "57014";
  static constexpr const char* kTooSlow =
      "The database did not answer this question within 5 s; ask for less, such as one site or a shorter text";

  template <typename Work>
  auto with_connection(Work work) {
    Lease lease(*this);
    try {
      auto answer = lease.database().use(work);
      note_answer();
      return answer;
    } catch (const DatabaseAway& error) {
      note_away(error.what());
      throw;
    }
  }

  // A connection that is used by nobody else as long as this lives.
  class Lease {
   public:
    explicit Lease(Asking& asking);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    Database& database() { return *database_; }

   private:
    Asking& asking_;
    std::unique_ptr<Database> database_;
    bool is_trying_ = false;
  };

  void note_answer();
  void note_away(const char* why);

  mutable std::mutex mutex_;
  std::condition_variable is_free_;
  std::vector<std::unique_ptr<Database>> free_;
  std::optional<Away> away_;
  bool is_tried_ = false;  // while it is away, somebody tries
  std::chrono::steady_clock::time_point try_again_;
};

}  // namespace polaiga::fleet
