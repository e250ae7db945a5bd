// What the database knows of controllers: read before messages are taken, and written after. The number of statements
// does not grow with the number of messages.
#pragma once

#include <pqxx/transaction>
#include <span>
#include <vector>

#include "database/known_controllers.h"

namespace polaiga::fleet {

// Locks the rows of all controllers that sent the messages, in the order of their ids. Answers whether all of them are
// there; if not, add_controllers() is to be called at the beginning of a new transaction.
bool lock_controllers(pqxx::work& transaction, std::span<const Received> messages, KnownControllers& known);
void add_controllers(pqxx::work& transaction, std::span<const Received> messages);

// Reads what the messages touch, of controllers that are locked.
void read_known(pqxx::work& transaction, std::span<const Received> messages, KnownControllers& known);

// Writes what the messages made of it.
void write_known(pqxx::work& transaction, KnownControllers& known);

// The columns of a ledger's progress, in the order in which read_progress() takes them from the row's `first` on.
inline constexpr const char* kProgressColumns =
    "l.ledger_id, l.through, l.wanted_through, l.is_list_wanted, l.list_after, "
    "coalesce(extract(epoch from l.status_at)::bigint, 0), l.put_back_before";
LedgerProgress read_progress(const pqxx::row& row, int first);

}  // namespace polaiga::fleet
