#include "database/intake.h"

#include <pqxx/except>
#include <pqxx/transaction>
#include <thread>

#include "database/known_rows.h"

namespace polaiga::fleet {
namespace {

// Ours are never in each other's way, but those of somebody else may be in ours.
constexpr int kMostTries = 4;
constexpr std::chrono::milliseconds kPause{50};  // after the first try; then longer

// Nothing: a controller is not in the database yet.
std::optional<Taken> try_take(pqxx::connection& connection, std::span<const Received> messages, bool adds_controllers) {
  pqxx::work transaction(connection);
  if (adds_controllers) add_controllers(transaction, messages);
  KnownControllers known;
  if (!lock_controllers(transaction, messages, known)) return std::nullopt;
  read_known(transaction, messages, known);
  Taken taken;
  for (const Received& received : messages) known.take(received, taken);
  known.answer(taken);
  write_known(transaction, known);
  transaction.commit();
  return taken;
}

Taken take_all(pqxx::connection& connection, std::span<const Received> messages) {
  if (auto taken = try_take(connection, messages, false)) return *taken;
  // Somebody who deletes controllers may be quicker than that.
  if (auto taken = try_take(connection, messages, true)) return *taken;
  throw DatabaseRefuses("The database has a controller no more right after it was added; take the messages again");
}

bool wants_another_try(const pqxx::sql_error& error) {
  return error.sqlstate() == "40P01" || error.sqlstate() == "40001";
}

// A row for which there is no partition, since nobody made that of this day.
bool wants_partition(const pqxx::sql_error& error) {
  return error.sqlstate() == "23514" && error.query().find("into change ") != std::string::npos;
}

void make_partition(pqxx::connection& connection) {
  pqxx::work transaction(connection);
  transaction.exec("select make_change_partition((now() at time zone 'UTC')::date)");
  transaction.commit();
}

}  // namespace

Taken Intake::take(std::span<const Received> messages, std::chrono::seconds within) {
  if (messages.empty()) return {};
  const auto take_some = [messages](pqxx::connection& connection) {
    for (int tries = 1;; ++tries) {
      try {
        return take_all(connection, messages);
      } catch (const pqxx::sql_error& error) {
        if (wants_partition(error)) {
          // No row is to blame for that.
          if (tries == kMostTries) {
            throw DatabaseRefuses(
                "The database's table polaiga.change has no partition for today, and making one did not help; look "
                "whether there is a table of its name that is not attached");
          }
          make_partition(connection);
        } else if (tries == kMostTries || !wants_another_try(error)) {
          throw;
        }
      } catch (const pqxx::transaction_rollback&) {
        if (tries == kMostTries) throw;
      }
      // Whoever waits for our rows gets them first, or we would meet again.
      std::this_thread::sleep_for(kPause * tries);
    }
  };
  return database_.use(take_some, within);
}

}  // namespace polaiga::fleet
