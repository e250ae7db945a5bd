// What ledgers lost that were put back to an earlier state is deleted. That may be millions of rows, so it is done in
// many transactions. How far it has come stands with the ledger: no change of it has a greater number than `through`.
#include <pqxx/result>
#include <pqxx/transaction>
#include <string>

#include "database/duties.h"
#include "database/duty.h"
#include "database/known_rows.h"

namespace polaiga::fleet {
namespace {

constexpr int kMostLost = 10'000;               // of each table, in one transaction
constexpr std::chrono::seconds kPutBackFor{1};  // before others have their turn

struct PutBack {
  std::int64_t ledger_no = 0;
  bool is_current = false;  // of its controller
  Sender sender;
  LedgerProgress progress;
};

// Locks the controller of a ledger that is being put back. The ledger is read after that: whoever writes it has the
// lock.
std::optional<PutBack> lock_one(pqxx::work& transaction) {
  const pqxx::result locked = transaction.exec(
      "select l.ledger_no, c.ledger_no is not distinct from l.ledger_no, s.name, c.name from ledger l "
      "join controller c using (controller_id) join site s using (site_id) where l.put_back_before is not null "
      "order by l.ledger_no limit 1 for update of c skip locked");
  if (locked.empty()) return std::nullopt;
  const pqxx::row& row = locked[0];
  PutBack found{.ledger_no = row[0].as<std::int64_t>(),
                .is_current = row[1].as<bool>(),
                .sender = {.site = row[2].as<std::string>(), .controller = row[3].as<std::string>()},
                .progress = {}};
  found.progress = read_progress(
      transaction.exec_params1(std::string("select ") + kProgressColumns + " from ledger l where ledger_no = $1",
                               found.ledger_no),
      0);
  if (!found.progress.put_back_before) return std::nullopt;
  return found;
}

// Alarms that began with what is lost go, and others take what comes next. Answers whether that is all.
bool put_alarms_back(pqxx::work& transaction, std::int64_t ledger_no, ChangeNumber before) {
  const auto gone = transaction
                        .exec_params(
                            "delete from alarm where alarm_no in (select alarm_no from alarm where ledger_no = $1 and "
                            "number >= $2 limit $3)",
                            ledger_no, before, kMostLost)
                        .affected_rows();
  const auto changed = transaction
                           .exec_params(
                               "update alarm set last_change = $2::bigint - 1 where alarm_no in (select alarm_no from "
                               "alarm where ledger_no = $1 and number < $2 and last_change >= $2 limit $3)",
                               ledger_no, before, kMostLost)
                           .affected_rows();
  return gone < kMostLost && changed < kMostLost;
}

// Deletes the last changes that are lost. Answers whether those were all.
bool put_changes_back(pqxx::work& transaction, std::int64_t ledger_no, LedgerProgress& progress) {
  const ChangeNumber before = progress.put_back_before.value();
  if (progress.through < before) return true;
  const pqxx::row last = transaction.exec_params1(
      "select count(*), coalesce(min(number), $2) from (select number from change where ledger_no = $1 and "
      "number >= $2 and number <= $3 order by number desc limit $4) last",
      ledger_no, before, progress.through, kMostLost);
  const auto first = last[1].as<ChangeNumber>();
  transaction.exec_params("delete from change where ledger_no = $1 and number >= $2 and number <= $3", ledger_no, first,
                          progress.through);
  progress.through = first - 1;
  return last[0].as<int>() < kMostLost;
}

// Deletes some of what a ledger lost. Answers whether there was such a ledger.
bool put_one_back(pqxx::work& transaction, std::vector<Answer>& acks) {
  auto found = lock_one(transaction);
  if (!found) return false;
  LedgerProgress& progress = found->progress;
  const bool are_alarms_done = put_alarms_back(transaction, found->ledger_no, *progress.put_back_before);
  const bool are_changes_done = put_changes_back(transaction, found->ledger_no, progress);
  if (are_alarms_done && are_changes_done) {
    finish_put_back(progress);
    if (found->is_current) {
      acks.push_back(
          {.sender = found->sender, .kind = Kind::kAck, .payload = ack_payload(progress.ledger_id, progress.through)});
    }
    transaction.exec_params("update ledger set through = $2, put_back_before = null where ledger_no = $1",
                            found->ledger_no, progress.through);
  } else {
    transaction.exec_params("update ledger set through = $2 where ledger_no = $1", found->ledger_no, progress.through);
  }
  return true;
}

}  // namespace

std::vector<Answer> Duties::put_back() {
  return database_.use([](pqxx::connection& connection) {
    std::vector<Answer> acks;
    const auto until = std::chrono::steady_clock::now() + kPutBackFor;
    do {
      pqxx::work transaction(connection);
      std::vector<Answer> done;
      if (!take_duty(transaction, Duty::kPuttingBack) || !put_one_back(transaction, done)) return acks;
      transaction.commit();
      acks.insert(acks.end(), done.begin(), done.end());
    } while (std::chrono::steady_clock::now() < until);
    return acks;
  });
}

}  // namespace polaiga::fleet
