#include <string>

#include "database/known_rows.h"
#include "database/row_arrays.h"

namespace polaiga::fleet {
namespace {

// Ledgers that are new get their numbers.
void add_ledgers(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"controller_id", "bigint"}, {"ledger_id", "text"}};
  std::map<std::pair<std::int64_t, std::string>, KnownLedger*> added;
  for (auto& [sender, controller] : known.controllers) {
    for (auto& [ledger_id, ledger] : controller.ledgers) {
      if (ledger.ledger_no != 0) continue;
      rows.number(controller.controller_id).text(ledger_id);
      added[{controller.controller_id, ledger_id}] = &ledger;
    }
  }
  if (rows.empty()) return;
  const pqxx::result numbers =
      rows.run(transaction, "insert into ledger (controller_id, ledger_id) select controller_id, ledger_id from " +
                                rows.as_w() + " returning ledger_no, controller_id, ledger_id");
  for (const pqxx::row& row : numbers) {
    added.at({row[1].as<std::int64_t>(), row[2].as<std::string>()})->ledger_no = row[0].as<std::int64_t>();
  }
}

template <typename Each>
void for_each_ledger(KnownControllers& known, Each each) {
  for (auto& [sender, controller] : known.controllers) {
    for (auto& [ledger_id, ledger] : controller.ledgers) each(controller, ledger);
  }
}

void write_changes(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"ledger_no", "bigint"},
                 {"number", "bigint"},
                 {"at", "bigint"},
                 {"kind", "text"},
                 {"alarm", "bigint"},
                 {"fault_dn", "text"},
                 {"dn", "text"},
                 {"severity_before", "smallint"},
                 {"severity_after", "smallint"},
                 {"sequence", "bigint"},
                 {"person", "text"},
                 {"comment", "text"},
                 {"body", "text"}};
  for_each_ledger(known, [&rows](const KnownController&, const KnownLedger& ledger) {
    const auto text_or_nothing = [&rows](const std::string& text) { text.empty() ? rows.nothing() : rows.text(text); };
    for (const ChangeMessage* const change : ledger.changes) {
      rows.number(ledger.ledger_no).number(change->number).number(change->at).text(change_word(change->kind));
      change->alarm == 0 ? rows.nothing() : rows.number(change->alarm);
      text_or_nothing(change->fault_dn);
      text_or_nothing(change->dn);
      rows.number(static_cast<int>(change->before)).number(static_cast<int>(change->after)).number(change->sequence);
      text_or_nothing(change->person);
      text_or_nothing(change->comment);
      rows.text(change->body);
    }
  });
  if (rows.empty()) return;
  rows.run(transaction, "insert into change (" + rows.names() +
                            ") select ledger_no, number, to_timestamp(at), kind, alarm, fault_dn, dn, severity_before, "
                            "severity_after, sequence, person, comment, body from " +
                            rows.as_w());
}

void add_alarm(const KnownController& controller, const KnownLedger& ledger, const AlarmState& alarm, RowArrays& rows) {
  rows.number(controller.controller_id)
      .number(controller.site_id)
      .number(ledger.ledger_no)
      .number(alarm.number)
      .number(alarm.fault)
      .number(alarm.last_change)
      .text(alarm.words.fault_dn)
      .text(alarm.words.dn)
      .number(alarm.words.code)
      .text(alarm.words.name)
      .text(alarm.words.sensor)
      .text(alarm.words.description)
      .text(alarm.words.cause)
      .text(alarm.words.oid)
      .number(static_cast<int>(alarm.severity))
      .number(static_cast<int>(alarm.worst))
      .number(alarm.created)
      .number(alarm.since)
      .number(alarm.updated);
  alarm.cleared ? rows.number(*alarm.cleared) : rows.nothing();
  rows.text(alarm.end)
      .number(static_cast<std::int64_t>(alarm.count))
      .number(alarm.reporters)
      .flag(alarm.is_acknowledged)
      .flag(alarm.is_closed)
      .flag(alarm.is_shelved)
      .flag(alarm.was_unshelved)
      .flag(alarm.is_out_of_service)
      .text(alarm.acknowledged_by)
      .number(static_cast<std::int64_t>(alarm.raises));
}

void write_alarms(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"controller_id", "bigint"},
                 {"site_id", "integer"},
                 {"ledger_no", "bigint"},
                 {"number", "bigint"},
                 {"fault", "bigint"},
                 {"last_change", "bigint"},
                 {"fault_dn", "text"},
                 {"dn", "text"},
                 {"code", "bigint"},
                 {"name", "text"},
                 {"sensor", "text"},
                 {"description", "text"},
                 {"cause", "text"},
                 {"oid", "text"},
                 {"severity", "smallint"},
                 {"worst", "smallint"},
                 {"created", "bigint"},
                 {"since", "bigint"},
                 {"updated", "bigint"},
                 {"cleared", "bigint"},
                 {"ended", "text"},
                 {"count", "bigint"},
                 {"reporters", "bigint"},
                 {"is_acknowledged", "boolean"},
                 {"is_closed", "boolean"},
                 {"is_shelved", "boolean"},
                 {"was_unshelved", "boolean"},
                 {"is_out_of_service", "boolean"},
                 {"acknowledged_by", "text"},
                 {"raises", "bigint"}};
  for_each_ledger(known, [&rows](const KnownController& controller, const KnownLedger& ledger) {
    for (const auto& [number, alarm] : ledger.alarms) {
      if (alarm.is_touched) add_alarm(controller, ledger, alarm, rows);
    }
  });
  if (rows.empty()) return;
  rows.run(transaction,
           "insert into alarm (" + rows.names() +
               ") select controller_id, site_id, ledger_no, number, fault, last_change, fault_dn, dn, code, name, "
               "sensor, description, cause, oid, severity, worst, to_timestamp(created), to_timestamp(since), "
               "to_timestamp(updated), to_timestamp(cleared), ended, count, reporters, is_acknowledged, is_closed, "
               "is_shelved, was_unshelved, is_out_of_service, acknowledged_by, raises from " +
               rows.as_w() +
               " on conflict (ledger_no, number) where ledger_no is not null do update set fault = excluded.fault, "
               "last_change = excluded.last_change, fault_dn = excluded.fault_dn, dn = excluded.dn, "
               "code = excluded.code, name = excluded.name, sensor = excluded.sensor, "
               "description = excluded.description, cause = excluded.cause, oid = excluded.oid, "
               "severity = excluded.severity, worst = excluded.worst, created = excluded.created, "
               "since = excluded.since, updated = excluded.updated, cleared = excluded.cleared, "
               "ended = excluded.ended, count = excluded.count, reporters = excluded.reporters, "
               "is_acknowledged = excluded.is_acknowledged, is_closed = excluded.is_closed, "
               "is_shelved = excluded.is_shelved, was_unshelved = excluded.was_unshelved, "
               "is_out_of_service = excluded.is_out_of_service, acknowledged_by = excluded.acknowledged_by, "
               "raises = excluded.raises");
}

// The alarms of a ledger that its controller does not have any more end, also those that no message touched.
void end_left(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"ledger_no", "bigint"}};
  for_each_ledger(known, [&rows](const KnownController&, const KnownLedger& ledger) {
    if (ledger.is_left) rows.number(ledger.ledger_no);
  });
  if (rows.empty()) return;
  rows.run(transaction, std::string("update alarm a set ended = '") + kLedgerGone +
                            "', cleared = date_trunc('second', now()), raises = 0 from " + rows.as_w() +
                            " where a.ledger_no = w.ledger_no and a.ended = ''");
}

void write_ledgers(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"ledger_no", "bigint"},       {"through", "bigint"},    {"wanted_through", "bigint"},
                 {"is_list_wanted", "boolean"}, {"list_after", "bigint"}, {"status_at", "bigint"},
                 {"put_back_before", "bigint"}, {"is_ended", "boolean"}};
  RowArrays gaps{{"ledger_no", "bigint"}, {"first", "bigint"}, {"last", "bigint"}, {"is_put_back", "boolean"}};
  for_each_ledger(known, [&rows, &gaps](const KnownController&, const KnownLedger& ledger) {
    for (const GapMessage& gap : ledger.gaps) {
      gaps.number(ledger.ledger_no).number(gap.first).number(gap.last).flag(gap.is_put_back());
    }
    if (!ledger.is_touched) return;
    const LedgerProgress& progress = ledger.progress;
    rows.number(ledger.ledger_no).number(progress.through).number(progress.wanted_through);
    rows.flag(progress.is_list_wanted).number(progress.list_after);
    progress.status_at == 0 ? rows.nothing() : rows.number(progress.status_at);
    progress.put_back_before ? rows.number(*progress.put_back_before) : rows.nothing();
    rows.flag(ledger.is_ended);
  });
  if (!rows.empty()) {
    rows.run(
        transaction,
        "update ledger l set through = w.through, wanted_through = w.wanted_through, "
        "is_list_wanted = w.is_list_wanted, list_after = w.list_after, status_at = to_timestamp(w.status_at), "
        "put_back_before = w.put_back_before, ended = case when w.is_ended then coalesce(l.ended, now()) end from " +
            rows.as_w() + " where l.ledger_no = w.ledger_no");
  }
  if (gaps.empty()) return;
  gaps.run(transaction,
           "insert into gap (" + gaps.names() + ") select ledger_no, first, last, is_put_back from " + gaps.as_w());
}

void write_controllers(pqxx::work& transaction, KnownControllers& known) {
  RowArrays rows{{"controller_id", "bigint"},        {"ledger_no", "bigint"}, {"is_online", "boolean"},
                 {"is_engine_answering", "boolean"}, {"version", "text"},     {"is_heard", "boolean"},
                 {"is_silent", "boolean"},           {"is_asked", "boolean"}, {"asked_for", "text"}};
  RowArrays heard_again{{"controller_id", "bigint"}};
  for (const auto& [sender, controller] : known.controllers) {
    // What was on its way when a controller went offline does not say that it is there again.
    const bool is_heard_again = controller.is_silent && controller.is_heard && controller.is_online;
    if (is_heard_again) heard_again.number(controller.controller_id);
    rows.number(controller.controller_id);
    controller.current == nullptr ? rows.nothing() : rows.number(controller.current->ledger_no);
    rows.flag(controller.is_online).flag(controller.is_engine_answering).text(controller.version);
    rows.flag(controller.is_heard).flag(controller.is_silent && !is_heard_again).flag(controller.is_asked);
    rows.text(controller.current == nullptr ? "" : controller.current->progress.asked_for);
  }
  rows.run(transaction,
           "update controller c set ledger_no = w.ledger_no, is_online = w.is_online, "
           "is_engine_answering = w.is_engine_answering, version = w.version, "
           "heard = case when w.is_heard then now() else c.heard end, "
           "silent_since = case when w.is_silent then c.silent_since end, "
           "asked = case when w.is_asked then now() else c.asked end, asked_for = w.asked_for from " +
               rows.as_w() + " where c.controller_id = w.controller_id");
  if (heard_again.empty()) return;
  heard_again.run(transaction,
                  "update alarm a set ended = 'cleared', cleared = date_trunc('second', now()), "
                  "updated = date_trunc('second', now()) from " +
                      heard_again.as_w() +
                      " where a.controller_id = w.controller_id and a.ledger_no is null and a.ended = ''");
}

void write_acted(pqxx::work& transaction, const std::vector<ActedRow>& acted) {
  RowArrays rows{{"controller_id", "bigint"},
                 {"action_no", "bigint"},
                 {"asked", "bigint"},
                 {"is_done", "boolean"},
                 {"why", "text"}};
  for (const ActedRow& row : acted) {
    rows.number(row.controller_id).number(row.action_no).number(row.asked).flag(row.is_done).text(row.why);
  }
  if (rows.empty()) return;
  // An answer may come after the end of its time.
  rows.run(transaction,
           "update action a set state = case when w.is_done then 'done' else 'refused' end, why = w.why, "
           "ended = now() from " +
               rows.as_w() +
               " where a.action_no = w.action_no and a.controller_id = w.controller_id and "
               "extract(epoch from a.asked)::bigint = w.asked and a.state in ('waiting', 'expired')");
}

}  // namespace

void write_known(pqxx::work& transaction, KnownControllers& known) {
  add_ledgers(transaction, known);
  write_changes(transaction, known);
  write_alarms(transaction, known);
  end_left(transaction, known);
  write_ledgers(transaction, known);
  write_controllers(transaction, known);
  write_acted(transaction, known.acted);
}

}  // namespace polaiga::fleet
