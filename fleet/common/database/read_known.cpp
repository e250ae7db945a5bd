#include <limits>
#include <set>
#include <utility>

#include "database/known_rows.h"
#include "database/row_arrays.h"

namespace polaiga::fleet {
namespace {

std::set<Sender> senders_of(std::span<const Received> messages) {
  std::set<Sender> senders;
  for (const Received& received : messages) senders.insert(received.sender);
  return senders;
}

RowArrays names_of(const std::set<Sender>& senders) {
  RowArrays names{{"site", "text"}, {"name", "text"}};
  for (const Sender& sender : senders) names.text(sender.site).text(sender.controller);
  return names;
}

// The ledger that a message is about; empty: it names none.
std::string ledger_of(const Message& message) {
  return std::visit(
      [](const auto& one) -> std::string {
        if constexpr (requires { one.ledger_id; }) {
          return one.ledger_id;
        } else {
          return {};
        }
      },
      message);
}

AlarmState read_alarm(const pqxx::row& row) {
  AlarmState alarm;
  int column = 2;  // after the controller and the ledger
  const auto number = [&] { return row[column++].as<std::int64_t>(); };
  const auto text = [&] { return row[column++].as<std::string>(); };
  const auto flag = [&] { return row[column++].as<bool>(); };
  alarm.number = number();
  alarm.last_change = number();
  alarm.fault = number();
  alarm.words.fault_dn = text();
  alarm.words.dn = text();
  alarm.words.code = static_cast<std::uint32_t>(number());
  alarm.words.name = text();
  alarm.words.sensor = text();
  alarm.words.description = text();
  alarm.words.cause = text();
  alarm.words.oid = text();
  alarm.severity = static_cast<engine::Severity>(number());
  alarm.worst = static_cast<engine::Severity>(number());
  alarm.created = number();
  alarm.since = number();
  alarm.updated = number();
  if (const auto field = row[column++]; !field.is_null()) alarm.cleared = field.as<std::int64_t>();
  alarm.count = static_cast<std::uint64_t>(number());
  alarm.reporters = static_cast<std::uint32_t>(number());
  alarm.is_acknowledged = flag();
  alarm.is_closed = flag();
  alarm.is_shelved = flag();
  alarm.was_unshelved = flag();
  alarm.is_out_of_service = flag();
  alarm.acknowledged_by = text();
  alarm.raises = static_cast<std::uint64_t>(number());
  alarm.end = text();
  return alarm;
}

constexpr const char* kAlarmColumns =
    "a.controller_id, a.ledger_no, a.number, a.last_change, a.fault, a.fault_dn, a.dn, a.code, a.name, a.sensor, "
    "a.description, a.cause, a.oid, a.severity, a.worst, extract(epoch from a.created)::bigint, "
    "extract(epoch from a.since)::bigint, extract(epoch from a.updated)::bigint, "
    "extract(epoch from a.cleared)::bigint, a.count, a.reporters, a.is_acknowledged, a.is_closed, a.is_shelved, "
    "a.was_unshelved, a.is_out_of_service, a.acknowledged_by, a.raises, a.ended";

// Of the controllers, their ledgers by number.
using ById = std::map<std::int64_t, KnownController*>;
using ByNumber = std::map<std::int64_t, KnownLedger*>;

ByNumber read_ledgers(pqxx::work& transaction, std::span<const Received> messages, const ById& controllers,
                      KnownControllers& known) {
  std::set<std::pair<std::int64_t, std::string>> wanted;
  for (const Received& received : messages) {
    std::string ledger_id = ledger_of(received.message);
    if (!ledger_id.empty()) {
      wanted.emplace(known.controllers.at(received.sender).controller_id, std::move(ledger_id));
    }
  }
  RowArrays ids{{"controller_id", "bigint"}, {"ledger_id", "text"}};
  for (const auto& [controller_id, ledger_id] : wanted) ids.number(controller_id).text(ledger_id);
  // The current ones, too.
  for (const auto& [controller_id, controller] : controllers) ids.number(controller_id).nothing();
  ByNumber ledgers;
  const pqxx::result rows = ids.run(
      transaction,
      std::string("select l.controller_id, l.ledger_no, l.ended is not null, c.ledger_no is not distinct from "
                  "l.ledger_no, c.asked_for, ") +
          kProgressColumns + " from " + ids.as_w() +
          " join controller c on c.controller_id = w.controller_id join ledger l on l.controller_id = w.controller_id "
          "and (l.ledger_id = w.ledger_id or (w.ledger_id is null and l.ledger_no = c.ledger_no))");
  for (const pqxx::row& row : rows) {
    KnownController& controller = *controllers.at(row[0].as<std::int64_t>());
    LedgerProgress progress = read_progress(row, 5);
    const bool is_current = row[3].as<bool>();
    if (is_current) progress.asked_for = row[4].as<std::string>();
    KnownLedger& ledger = controller.ledgers[progress.ledger_id];
    ledger.ledger_no = row[1].as<std::int64_t>();
    ledger.is_ended = row[2].as<bool>();
    ledger.progress = std::move(progress);
    if (is_current) controller.current = &ledger;
    ledgers[ledger.ledger_no] = &ledger;
  }
  return ledgers;
}

void add_alarms(const pqxx::result& rows, const ByNumber& ledgers) {
  for (const pqxx::row& row : rows) {
    AlarmState alarm = read_alarm(row);
    ledgers.at(row[1].as<std::int64_t>())->alarms.emplace(alarm.number, std::move(alarm));
  }
}

void read_alarms(pqxx::work& transaction, std::span<const Received> messages, const ByNumber& ledgers,
                 const KnownControllers& known) {
  std::set<std::pair<std::int64_t, ChangeNumber>> wanted;
  RowArrays parts{{"ledger_no", "bigint"}, {"after", "bigint"}, {"through", "bigint"}};
  const auto find = [&known](const Received& received, const std::string& ledger_id) -> const KnownLedger* {
    const auto& all = known.controllers.at(received.sender).ledgers;
    const auto ledger = all.find(ledger_id);
    return ledger == all.end() || ledger->second.ledger_no == 0 ? nullptr : &ledger->second;
  };
  std::map<const KnownLedger*, ChangeNumber> next_parts;  // where the next part of each ledger's list begins
  for (const Received& received : messages) {
    if (const auto* const change = std::get_if<ChangeMessage>(&received.message)) {
      const KnownLedger* const ledger = find(received, change->ledger_id);
      if (ledger == nullptr) continue;
      for (const ChangeNumber alarm : alarms_of(*change)) wanted.emplace(ledger->ledger_no, alarm);
    } else if (const auto* const list = std::get_if<ListMessage>(&received.message)) {
      const KnownLedger* const ledger = find(received, list->ledger_id);
      if (ledger == nullptr) continue;
      // Only a part that was asked for and follows the one before it may be taken. So parts do not overlap, and nobody
      // makes us read all alarms again and again.
      const LedgerProgress& progress = ledger->progress;
      ChangeNumber& next = next_parts.try_emplace(ledger, progress.list_after).first->second;
      const bool is_asked_for = progress.is_list_wanted && !list->replay.empty() && list->replay == progress.asked_for;
      if (!is_asked_for || list->after != next || list->through <= next) continue;
      next = list->is_last ? std::numeric_limits<ChangeNumber>::max() : list->through;
      for (const ListedAlarm& listed : list->alarms) wanted.emplace(ledger->ledger_no, listed.number);
      parts.number(ledger->ledger_no).number(list->after).number(list->through);
    }
  }
  const std::string columns = std::string("select ") + kAlarmColumns + " from ";
  if (!wanted.empty()) {
    RowArrays numbers{{"ledger_no", "bigint"}, {"number", "bigint"}};
    for (const auto& [ledger_no, alarm] : wanted) numbers.number(ledger_no).number(alarm);
    add_alarms(numbers.run(transaction, columns + numbers.as_w() +
                                            " join alarm a on a.ledger_no = w.ledger_no and a.number = w.number "
                                            "where a.ledger_no is not null"),
               ledgers);
  }
  if (!parts.empty()) {
    add_alarms(parts.run(transaction, columns + parts.as_w() +
                                          " join alarm a on a.ledger_no = w.ledger_no and a.number > w.after and "
                                          "a.number <= w.through where a.ledger_no is not null and a.ended = ''"),
               ledgers);
  }
}

// An alarm may have any number of changes. A record that is not among the last ones is not looked for.
constexpr int kMostLookedAt = 1000;

// The records that alarms show after a reporter took its report back came with changes before.
void read_shown(pqxx::work& transaction, std::span<const Received> messages, const ByNumber& ledgers,
                KnownControllers& known) {
  RowArrays inputs{{"ledger_no", "bigint"}, {"alarm", "bigint"}, {"sequence", "bigint"}, {"number", "bigint"}};
  std::map<std::int64_t, const Sender*> senders;
  for (const Received& received : messages) {
    const auto* const change = std::get_if<ChangeMessage>(&received.message);
    if (change == nullptr || change->kind != engine::ChangeKind::kPartlyCleared || change->shown_sequence == 0) {
      continue;
    }
    const auto& all = known.controllers.at(received.sender).ledgers;
    const auto ledger = all.find(change->ledger_id);
    if (ledger == all.end() || ledger->second.ledger_no == 0) continue;
    senders[ledger->second.ledger_no] = &received.sender;
    inputs.number(ledger->second.ledger_no).number(change->alarm).number(change->shown_sequence);
    inputs.number(change->number);
  }
  if (inputs.empty()) return;
  const pqxx::result rows =
      inputs.run(transaction, "select c.ledger_no, c.alarm, c.sequence, c.body from " + inputs.as_w() +
                                  " cross join lateral (select * from change c where c.ledger_no = w.ledger_no and "
                                  "c.alarm = w.alarm and c.number < w.number order by c.number desc limit " +
                                  std::to_string(kMostLookedAt) + ") c where c.sequence = w.sequence");
  for (const pqxx::row& row : rows) {
    const auto ledger_no = row[0].as<std::int64_t>();
    if (!ledgers.contains(ledger_no)) continue;
    try {
      // A change that was told again has the members of an answer, too.
      const Route route{.sender = *senders.at(ledger_no), .kind = Kind::kReplayed};
      const Message message = parse_message(route, row[3].as<std::string>());
      const auto* const change = std::get_if<ChangeMessage>(&message);
      if (change == nullptr || !change->record) continue;
      known.shown[{ledger_no, row[1].as<std::int64_t>(), row[2].as<std::int64_t>()}] = *change->record;
    } catch (const BadMessage&) {
      continue;  // an older program took it; the alarm keeps what it shows
    }
  }
}

}  // namespace

LedgerProgress read_progress(const pqxx::row& row, int first) {
  const pqxx::field put_back_before = row[first + 6];
  return {.ledger_id = row[first].as<std::string>(),
          .through = row[first + 1].as<std::int64_t>(),
          .wanted_through = row[first + 2].as<std::int64_t>(),
          .is_list_wanted = row[first + 3].as<bool>(),
          .list_after = row[first + 4].as<std::int64_t>(),
          .status_at = row[first + 5].as<std::int64_t>(),
          .put_back_before =
              put_back_before.is_null() ? std::optional<ChangeNumber>() : put_back_before.as<std::int64_t>()};
}

bool lock_controllers(pqxx::work& transaction, std::span<const Received> messages, KnownControllers& known) {
  const std::set<Sender> senders = senders_of(messages);
  RowArrays names = names_of(senders);
  const pqxx::result rows =
      names.run(transaction,
                "select c.controller_id, c.site_id, s.name, c.name, c.is_online, c.is_engine_answering, "
                "c.silent_since is not null, coalesce(c.asked > now() - make_interval(secs => " +
                    std::to_string(Intake::kAskAgainAfter.count()) +
                    ") and c.asked <= now(), false), c.version, (extract(epoch from now()) * 1000000)::bigint from " +
                    names.as_w() +
                    " join site s on s.name = w.site join controller c on c.site_id = s.site_id and c.name = w.name "
                    "order by c.controller_id for update of c");
  for (const pqxx::row& row : rows) {
    KnownController controller;
    controller.controller_id = row[0].as<std::int64_t>();
    controller.site_id = row[1].as<std::int64_t>();
    controller.sender = {.site = row[2].as<std::string>(), .controller = row[3].as<std::string>()};
    controller.is_online = row[4].as<bool>();
    controller.is_engine_answering = row[5].as<bool>();
    controller.is_silent = row[6].as<bool>();
    controller.was_asked_lately = row[7].as<bool>();
    controller.version = row[8].as<std::string>();
    known.now = row[9].as<std::int64_t>();
    const Sender sender = controller.sender;
    known.controllers.emplace(sender, std::move(controller));
  }
  return known.controllers.size() == senders.size();
}

// No row is locked yet, and everybody adds in the same order, so that nobody waits in a circle.
void add_controllers(pqxx::work& transaction, std::span<const Received> messages) {
  const std::set<Sender> senders = senders_of(messages);
  RowArrays sites = names_of(senders);
  sites.run(transaction, "insert into site (name) select distinct site from " + sites.as_w() +
                             " where not exists (select 1 from site s where s.name = w.site) order by site "
                             "on conflict do nothing");
  RowArrays names = names_of(senders);
  names.run(transaction, "insert into controller (site_id, name) select s.site_id, w.name from " + names.as_w() +
                             " join site s on s.name = w.site where not exists (select 1 from controller c where "
                             "c.site_id = s.site_id and c.name = w.name) order by s.site_id, w.name "
                             "on conflict do nothing");
}

void read_known(pqxx::work& transaction, std::span<const Received> messages, KnownControllers& known) {
  ById controllers;
  for (auto& [sender, controller] : known.controllers) controllers[controller.controller_id] = &controller;
  const ByNumber ledgers = read_ledgers(transaction, messages, controllers, known);
  read_alarms(transaction, messages, ledgers, known);
  read_shown(transaction, messages, ledgers, known);
}

}  // namespace polaiga::fleet
