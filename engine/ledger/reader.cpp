#include "ledger/reader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ledger/alarm_facts.h"
#include "ledger/connection.h"
#include "ledger/stored_profile.h"
#include "ledger/stored_rows.h"
#include "model/fault.h"
#include "model/record_text.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kAtOnce = 1000;       // changes of one answer
constexpr std::size_t kMostChanges = 1000;  // changes that an explanation tells

bool has(const Selection& selection, const std::string& fault_dn, Severity severity, const SensorEvent& event) {
  return (selection.under.empty() || is_under(fault_dn, selection.under)) && severity >= selection.least &&
         (selection.entity == nullptr || selection.entity == event.entity);
}

bool has(const Selection& selection, const StoredRows::ChangeOfFault& change) {
  return has(selection, change.stored.change.fault_dn, change.severity, change.stored.event.event);
}

StepTexts texts_of(StoredRows& rows, const StoredFault& step) {
  StepTexts texts;
  texts.raised = field_text(rows.record(step.raised).record.descr);
  const StoredRecord shown = rows.record(step.shown);
  texts.shown = field_text(shown.record.descr);
  texts.shown_at = shown.event.at;
  // The input that supersedes or withdraws a fault says nothing of it.
  if (step.ended && step.ending == ChangeKind::kCleared) {
    texts.ended = field_text(rows.record(*step.ended).record.descr);
  }
  return texts;
}

std::string_view rfc8632_word(OperatorState state) {
  switch (state) {
    case OperatorState::kAcknowledged:
      return "ack";
    case OperatorState::kClosed:
      return "closed";
    case OperatorState::kShelved:
      return "shelved";
    case OperatorState::kUnshelved:
      return "un-shelved";
    case OperatorState::kNone:
      break;
  }
  return "none";
}

// The state that an alarm had after each thing that operators did to it. RFC 8632 knows no objects out of service.
std::vector<OperatorStateChange> operators_of(const StoredAlarm& alarm) {
  std::vector<OperatorStateChange> changes;
  AlarmStanding standing;
  for (const AlarmAction& one : alarm.actions) {
    if (one.kind == ChangeKind::kOutOfService || one.kind == ChangeKind::kBackInService) continue;
    apply(standing, one);
    OperatorStateChange change{
        .number = one.number, .at = one.at, .state = rfc8632_word(standing.state()), .person = {}, .text = {}};
    if (one.action) {
      change.person = one.action->on_behalf_of.value_or(one.action->person);
      change.text = one.action->comment.value_or("");
    }
    changes.push_back(std::move(change));
  }
  return changes;
}

ToldAlarms tell(StoredRows& rows, const std::vector<ChangeNumber>& numbers) {
  ToldAlarms told;
  for (const ChangeNumber number : numbers) {
    rows.leave_out_damage([&] {
      auto alarm = rows.alarm(number);
      if (!alarm) throw LedgerError("alarm " + std::to_string(number) + " is gone, though it is still referred to");
      ToldAlarm one{.alarm = std::move(*alarm), .texts = {}, .cause = {}, .operators = {}};
      one.operators = operators_of(one.alarm);
      for (const StoredFault& step : one.alarm.steps) one.texts.push_back(texts_of(rows, step));
      one.cause = cause_standard(rows.record(one.alarm.steps.front().raised).record);
      told.alarms.push_back(std::move(one));
    });
  }
  told.changed = rows.changed();
  told.tables = rows.latest_tables();
  return told;
}

// Those that can be read.
std::vector<StoredAlarm> alarms(StoredRows& rows, const std::vector<ChangeNumber>& numbers) {
  std::vector<StoredAlarm> found;
  for (const ChangeNumber number : numbers) {
    rows.leave_out_damage([&] {
      if (auto alarm = rows.alarm(number)) found.push_back(std::move(*alarm));
    });
  }
  return found;
}

}  // namespace

bool has(const Selection& selection, const ActiveRow& row) {
  return has(selection, row.fault.fault_dn, row.fault.severity, row.shown.event.event) &&
         (!selection.raised_by || row.fault.since <= *selection.raised_by) &&
         (!selection.raised_after || row.fault.since > *selection.raised_after);
}

LedgerReader::LedgerReader(std::string path)
    : connection_(std::make_unique<LedgerConnection>(std::move(path))),
      stored_profile_(std::make_unique<StoredProfile>()),
      profile_(std::make_shared<const AlarmProfile>()) {}
LedgerReader::~LedgerReader() = default;
LedgerReader::LedgerReader(LedgerReader&& other) noexcept = default;
LedgerReader& LedgerReader::operator=(LedgerReader&& other) noexcept = default;

const std::string& LedgerReader::path() const { return connection_->path(); }

template <class Question>
auto LedgerReader::ask(Question question) {
  return connection_->ask([&] {
    StoredRows rows(connection_->db());
    auto answer = question(rows);
    left_out_ = std::move(rows.left_out);
    return answer;
  });
}

// The profile is that of the same moment.
template <class Question>
auto LedgerReader::ask_with_profile(Question question) {
  return ask([&](StoredRows& rows) {
    profile_ = stored_profile_->read(rows);
    return question(rows);
  });
}

std::string LedgerReader::ledger_id() {
  return connection_->ask([&] { return ledger_row(connection_->db()).id; });
}

std::vector<ActiveRow> LedgerReader::active(const Selection& selection, std::optional<Moment> at) {
  return ask_with_profile([&](StoredRows& rows) {
    auto found = at ? rows.active_at(*at) : rows.active();
    std::erase_if(found, [&](const ActiveRow& row) { return !has(selection, row); });
    return found;
  });
}

Overview LedgerReader::overview() {
  return ask_with_profile([&](StoredRows& rows) {
    return Overview{.ledger_id = rows.ledger().id,
                    .number = rows.last_change(),
                    .active = rows.active(),
                    .maintenance = rows.maintenance(),
                    .missed = rows.missed(0).size(),
                    .profile = profile_};
  });
}

std::optional<StoredAlarm> LedgerReader::alarm(ChangeNumber number) {
  return ask_with_profile([&](StoredRows& rows) { return rows.alarm(number); });
}

std::vector<StoredAlarm> LedgerReader::history_before(ChangeNumber before, std::int64_t limit) {
  return ask_with_profile([&](StoredRows& rows) { return alarms(rows, rows.alarms_before(before, limit)); });
}

std::vector<StoredAlarm> LedgerReader::history(const std::string& fault_dn, std::int64_t limit) {
  return ask_with_profile([&](StoredRows& rows) { return alarms(rows, rows.alarms_of(fault_dn, limit)); });
}

std::vector<StoredAlarm> LedgerReader::missed(std::int64_t limit) {
  return ask_with_profile([&](StoredRows& rows) { return alarms(rows, rows.missed(limit)); });
}

MissedCount LedgerReader::count_missed() {
  return ask(
      [](StoredRows& rows) { return MissedCount{.alarms = rows.missed(0).size(), .through = rows.last_change()}; });
}

std::vector<StoredMaintenance> LedgerReader::maintenance() {
  return ask([](StoredRows& rows) { return rows.maintenance(); });
}

ToldAlarms LedgerReader::tell_active(const Selection& selection, const std::function<bool(const ActiveRow&)>& chosen) {
  return ask([&](StoredRows& rows) {
    std::vector<ChangeNumber> numbers;
    for (const ActiveRow& row : rows.active()) {
      if (has(selection, row) && (!chosen || chosen(row))) numbers.push_back(row.fault.alarm);
    }
    std::ranges::sort(numbers);
    return tell(rows, numbers);
  });
}

ToldAlarms LedgerReader::tell_history(const std::string& fault_dn, std::int64_t limit) {
  return ask([&](StoredRows& rows) { return tell(rows, rows.alarms_of(fault_dn, limit)); });
}

std::optional<Explanation> LedgerReader::explain(const std::string& fault_dn) {
  return ask_with_profile([&](StoredRows& rows) -> std::optional<Explanation> {
    const auto fault = rows.latest_fault(fault_dn);
    if (!fault) return std::nullopt;
    const ChangeNumber number = fault->later_alarm.value_or(fault->alarm);
    auto alarm = rows.alarm(number);
    if (!alarm) throw LedgerError("alarm " + std::to_string(number) + " is gone, though its fault is there");
    const auto step = std::ranges::find(alarm->steps, fault->number, &StoredFault::number);
    if (step == alarm->steps.end()) {
      throw LedgerError("fault " + std::to_string(fault->number) + " is no step of its alarm");
    }
    Explanation found;
    found.fault = *step;
    found.raise = rows.record(found.fault.raised);
    found.shown = rows.record(found.fault.shown);
    found.reports = rows.reports(found.fault.number);
    found.changes = rows.changes_of(number, kMostChanges, found.changes_left_out);
    found.tables = rows.tables_of(found.fault.raised);
    found.alarm = std::move(*alarm);
    found.chattering = rows.chattering(fault_dn);
    return found;
  });
}

ChangesRead LedgerReader::latest(const Selection& selection, std::size_t count) {
  return ask([&](StoredRows& rows) {
    ChangesRead read{.changes = {}, .through = rows.last_change()};
    if (count == 0) return read;
    rows.changes(StoredRows::Direction::kBackwards, std::numeric_limits<ChangeNumber>::max(), [&](auto&& change) {
      if (has(selection, change)) read.changes.push_back(std::move(change.stored));
      return read.changes.size() < count;
    });
    std::ranges::reverse(read.changes);
    return read;
  });
}

ChangesRead LedgerReader::after(const Selection& selection, ChangeNumber number) {
  return ask([&](StoredRows& rows) {
    const ChangeNumber gone = rows.ledger().watermark_change;
    ChangesRead read{.changes = {}, .through = std::max(number, gone), .first_lost = number + 1, .last_lost = gone};
    std::size_t seen = 0;
    rows.changes(StoredRows::Direction::kForwards, number, [&](auto&& change) {
      read.through = change.stored.change.number;
      if (has(selection, change)) read.changes.push_back(std::move(change.stored));
      return ++seen < kAtOnce;
    });
    if (seen < kAtOnce) read.through = std::max(read.through, rows.last_change());
    return read;
  });
}

LedgerReach LedgerReader::reach() {
  return ask([&](StoredRows& rows) {
    const LedgerRow ledger = rows.ledger();
    LedgerReach reach{.created = ledger.created, .gone_until = {}};
    if (ledger.watermark_seq > 0) reach.gone_until = ledger.watermark_at;
    return reach;
  });
}

std::optional<HostTables> LedgerReader::latest_tables() {
  return ask([](StoredRows& rows) { return rows.latest_tables(); });
}

void LedgerReader::alarm_facts(const std::string& under, const std::function<void(const AlarmFact& fact)>& take) {
  ask([&](StoredRows& rows) {
    for_each_alarm(connection_->db(), rows, under, take);
    return true;
  });
}

bool LedgerReader::has_changed() { return connection_->has_changed(); }
bool LedgerReader::is_replaced() const { return connection_->is_replaced(); }

}  // namespace polaiga::engine
