// Ledgers for tests, of records that no filter made.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ledger/ledger.h"
#include "model/entities.h"
#include "model/reporter.h"
#include "support/record.h"

namespace polaiga::engine::test {

// Nothing is pruned.
inline constexpr Retention kAll{.events = 0, .days = 0, .bytes = 0};

// What the work complains of; "none" when it does not.
template <class Work>
std::string complaint_of(Work work) {
  try {
    work();
  } catch (const LedgerError& error) {
    return error.what();
  }
  return "none";
}

struct InputOf {
  RecordOf record = {};
  bool reported = true;
  const char* sensor = "S1";
  std::int32_t instance = 1;
  Moment at = 1000;
  std::string id = {};
  std::optional<Moment> time = std::nullopt;
  std::optional<std::int64_t> age = std::nullopt;  // none: the same as `at`
  std::vector<std::string> withdrawn = {};         // fault DNs
};

// A ledger with the alarms of an engine that writes to it.
class LedgerWithAlarms {
 public:
  explicit LedgerWithAlarms(const std::string& path, const Retention& retention = {}, Moment now = 0)
      : ledger(path, retention, now), alarms(Alarms::kMostReports, ledger.last_change()) {
    for (const ActiveFault& fault : ledger.restore().faults) alarms.restore(fault);
    ledger.use({"nm", "cmc", "drive_bp"}, {"c0ffee", "1.0.0"});
  }

  // Adds an input to the batch; its number.
  Sequence add(const InputOf& of) {
    RecordedInput input;
    input.sequence = ledger.last_sequence() + 1 + static_cast<Sequence>(batch.inputs.size());
    input.received = of.at;
    input.arrived = of.at;
    input.age = of.age.value_or(of.at);
    input.at = of.time.value_or(of.at);
    input.event.entity = find_entity("fan");
    fill(input.event.event.sensor_name, of.sensor);
    input.event.event.entity_instance = of.instance;
    input.event.event.event_offset = 3;
    input.event.event.event_state = of.record.state;
    input.event.event.entity_id = 29;
    if (!of.id.empty()) input.event.id = of.id;
    input.event.time = of.time;
    for (const std::string& fault_dn : of.withdrawn) {
      alarms.withdraw(fault_dn, input.sequence, input.at, input.changes);
    }
    input.reported = of.reported;
    if (of.reported) {
      input.record = make_record(of.record);
      input.record.event = input.event.event;
      fill(input.record.created, "1970-01-01T00:16:40");
      input.record.created_time = 1000;
      input.outcome = alarms.apply(input.record, reporter_of(input.event), input.sequence, input.at, input.changes);
    }
    batch.inputs.push_back(std::move(input));
    return batch.inputs.back().sequence;
  }

  // Adds what an operator does; the number of the input. Throws ActionRefused.
  Sequence act(OperatorAction action, Moment at) {
    add({.reported = false, .at = at});
    RecordedInput& input = batch.inputs.back();
    input.event = {};
    alarms.act(action, input.sequence, at, input.changes);
    input.action = std::move(action);
    return input.sequence;
  }

  void write() {
    ledger.write(batch);
    batch = {};
  }

  // A batch of one.
  Sequence write(const InputOf& of) {
    const Sequence sequence = add(of);
    write();
    return sequence;
  }

  // Events that nothing comes of.
  void pass(int count, const InputOf& of = {}) {
    InputOf event = of;
    event.reported = false;
    for (int i = 0; i < count; ++i) write(event);
  }

  Ledger ledger;
  Alarms alarms;
  Batch batch;
};

// A reporter raises a fault of an object, moves it to another level, clears it.
inline InputOf raises(const char* sensor, const char* dn, std::uint32_t code, Moment at = 1000) {
  return {.record = {.dn = dn, .code = code}, .sensor = sensor, .at = at};
}
inline InputOf moves(const char* sensor, const char* dn, std::uint32_t from, std::uint32_t to, Moment at = 1000) {
  return {.record = {.dn = dn, .code = to, .clear_code = from, .state = 5}, .sensor = sensor, .at = at};
}
inline InputOf clears(const char* sensor, const char* dn, std::uint32_t code, Moment at = 1000) {
  return {.record = {.dn = dn, .code = code, .clear_code = code, .state = 0}, .sensor = sensor, .at = at};
}

// All that an active fault says, in one line.
inline std::string text_of(const ActiveFault& fault) {
  std::string text = fault.fault_dn + " code " + std::to_string(fault.code) + " severity " +
                     std::to_string(static_cast<int>(fault.severity)) + " fault " + std::to_string(fault.fault) +
                     " alarm " + std::to_string(fault.alarm) + " of " + std::to_string(fault.alarm_since) + " since " +
                     std::to_string(fault.since) + " updated " + std::to_string(fault.updated) + " shown " +
                     std::to_string(fault.shown) + " count " + std::to_string(fault.count);
  for (const Report& report : fault.reports) {
    text += "; " + std::string(report.reporter.entity->name) + " " + report.reporter.sensor + " " +
            std::to_string(report.reporter.instance) + " since " + std::to_string(report.since) + " at " +
            std::to_string(report.since_at) + " last " + std::to_string(report.last) + " at " +
            std::to_string(report.last_at) + " count " + std::to_string(report.count);
  }
  return text;
}
inline const ActiveFault& fault_in(const ActiveFault& fault) { return fault; }
inline const ActiveFault& fault_in(const ActiveFault* fault) { return *fault; }
template <class Faults>
std::vector<std::string> texts_of(const Faults& faults) {
  std::vector<std::string> texts;
  for (const auto& fault : faults) texts.push_back(text_of(fault_in(fault)));
  return texts;
}

// Every row of a question, its columns with a blank between.
inline std::vector<std::string> rows(const std::string& path, const std::string& sql) {
  const Database db(path, Access::kRead);
  Statement statement(db, sql);
  std::vector<std::string> found;
  while (statement.step()) {
    std::string row;
    for (int column = 0; column < statement.columns(); ++column) {
      row.append(column > 0 ? " " : "");
      row.append(statement.is_null(column) ? "-" : std::string(statement.text(column)));
    }
    found.push_back(row);
  }
  return found;
}

}  // namespace polaiga::engine::test
