#include "report/rfc8632.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

// A moment that differs from all others of a list, since moments are keys there. The engine
// counts whole seconds. What happens within the same second, or after the clock went back,
// has the latest second so far with a fraction that counts.
struct Stamp {
  Moment at = 0;
  std::uint32_t order = 0;

  bool operator<(const Stamp& other) const { return std::tie(at, order) < std::tie(other.at, other.order); }
};

Stamp next_stamp(const std::optional<Stamp>& last, Moment at) {
  return !last || at > last->at ? Stamp{at} : Stamp{last->at, last->order + 1};
}

std::string date_and_time(const Stamp& stamp) {
  constexpr std::size_t kDigits = 6;
  std::string text = format_moment(stamp.at);
  if (stamp.order == 0) return text;
  const std::string fraction = std::to_string(stamp.order);
  text.back() = '.';
  text.append(kDigits - std::min(kDigits, fraction.size()), '0');
  return text.append(fraction).append("Z");
}

// A state that an alarm entered.
struct Status {
  Stamp since;
  Severity severity = Severity::kCleared;  // cleared: it is over
  std::string text;

  bool is_cleared() const { return severity == Severity::kCleared; }
};

// What one input said of one fault.
struct Saying {
  const StoredFault* fault;
  Moment at;
  bool ends;
  std::string_view text;
};
using SayingsByInput = std::map<Sequence, std::vector<Saying>>;

void add_sayings(SayingsByInput& inputs, const StoredFault& fault, const StepTexts& texts) {
  inputs[fault.raised].push_back({&fault, fault.since, false, texts.raised});
  if (fault.shown != fault.raised) inputs[fault.shown].push_back({&fault, texts.shown_at, false, texts.shown});
  if (fault.ended) {
    inputs[*fault.ended].push_back({&fault, fault.ended_at, true, texts.ended.empty() ? texts.shown : texts.ended});
  }
}

// The name of an alarm in RFC 8632.
struct AlarmKey {
  std::string resource;
  AlarmTypeName type;

  bool operator==(const AlarmKey&) const = default;
  bool operator<(const AlarmKey& other) const {
    return std::tie(resource, type) < std::tie(other.resource, other.type);
  }
};

// The alarms of the ledger that are one alarm here, the oldest first.
using SameAlarms = std::vector<const ToldAlarm*>;

std::vector<Status> statuses_of(const SameAlarms& alarms) {
  SayingsByInput inputs;
  std::set<ChangeNumber> seen;  // a fault can be a step of two alarms that were merged
  for (const ToldAlarm* told : alarms) {
    for (std::size_t i = 0; i < told->alarm.steps.size(); ++i) {
      const StoredFault& step = told->alarm.steps[i];
      if (seen.insert(step.number).second) add_sayings(inputs, step, told->texts[i]);
    }
  }
  std::vector<Status> statuses;
  // What active faults say; the worst is told and, among equals, what was said last.
  std::map<ChangeNumber, std::tuple<Severity, Sequence, std::string_view>> active;
  std::optional<Stamp> last;
  for (const auto& [input, sayings] : inputs) {
    Status now;
    for (const Saying& saying : sayings) {
      if (saying.ends) {
        active.erase(saying.fault->number);
        now.text = saying.text;
      } else {
        active[saying.fault->number] = {saying.fault->severity, input, saying.text};
      }
    }
    if (!active.empty()) {
      const auto& worst = *std::ranges::max_element(active, {}, [](const auto& one) { return one.second; });
      now.severity = std::get<Severity>(worst.second);
      now.text = std::get<std::string_view>(worst.second);
    }
    if (!statuses.empty() && statuses.back().severity == now.severity &&
        (now.is_cleared() || statuses.back().text == now.text)) {
      continue;
    }
    last = now.since = next_stamp(last, sayings.front().at);
    statuses.push_back(std::move(now));
  }
  return statuses;
}

std::string text_of(const Status& status) { return shown_description(status.text); }

JsonArray status_changes(const std::vector<Status>& statuses) {
  constexpr std::size_t kMost = 32;  // the default of max-alarm-status-changes
  JsonArray changes;
  for (std::size_t i = 0; i < std::min(kMost, statuses.size()); ++i) {
    const Status& status = statuses[statuses.size() - 1 - i];
    JsonObject change;
    change.add("time", date_and_time(status.since))
        .add("perceived-severity", severity_word(status.severity))
        .add("alarm-text", text_of(status));
    changes.add(change);
  }
  return changes;
}

// What operators made of an alarm, and of those that are the same. In the ledger that ends with
// the alarm; here the alarm goes on when it is raised again, so that is told as one more change.
class OperatorStates {
 public:
  explicit OperatorStates(const SameAlarms& alarms) {
    std::vector<OperatorStateChange> all;
    RaisesAgain raises;
    for (const ToldAlarm* told : alarms) {
      if (raises.add(told->alarm.number, told->alarm.ended)) {
        all.push_back({told->alarm.number, told->alarm.created, "none", "", "The alarm was raised again."});
      }
      all.insert(all.end(), told->operators.begin(), told->operators.end());
    }
    std::ranges::stable_sort(all, {}, &OperatorStateChange::number);
    for (OperatorStateChange& change : all) {
      if (change.person.empty() && change.state == "none" && state() == "none") continue;  // nothing new
      const Stamp stamp = next_stamp(latest(), change.at);
      changes_.emplace_back(stamp, std::move(change));
    }
  }

  std::optional<Stamp> latest() const { return changes_.empty() ? std::nullopt : std::optional(changes_.back().first); }
  std::string_view state() const { return changes_.empty() ? "none" : changes_.back().second.state; }

  JsonArray form() const {
    JsonArray list;
    for (const auto& [stamp, change] : changes_) {
      JsonObject one;
      one.add("time", date_and_time(stamp))
          .add("operator", change.person.empty() ? "polaiga" : printable(change.person))
          .add("state", change.state);
      if (!change.text.empty()) one.add("text", printable(change.text));
      list.add(one);
    }
    return list;
  }

 private:
  std::vector<std::pair<Stamp, OperatorStateChange>> changes_;
};

JsonObject type_form(const AlarmTypeName& type) {
  JsonObject object;
  object.add("alarm-type-id", "polaiga-alarm-types:" + std::string(type.identity))
      .add("alarm-type-qualifier", type.qualifier);
  return object;
}

JsonObject key_form(const AlarmKey& key) {
  JsonObject object;
  object.add("resource", key.resource).add_members_of(type_form(key.type));
  return object;
}

// A list of JSON objects, with their number.
struct Listed {
  JsonArray list;
  std::uint64_t size = 0;

  void add(const JsonObject& object) {
    list.add(object);
    ++size;
  }
};

// All alarms of the output by what names them.
class Alarms8632 {
 public:
  Alarms8632(const ToldAlarms& told, const AlarmTypes& types) : types_(types) {
    // What is gone from the list changed it, too.
    if (told.changed) latest_ = Stamp{*told.changed};
    for (const ToldAlarm& one : told.alarms) {
      const StoredFault& first = one.alarm.steps.front();
      AlarmKey key{printable(one.alarm.dn), {alarm_identity(one.cause), types.qualifier_of(first.code)}};
      add_to_inventory(key.type, one);
      by_key_[key].push_back(&one);
      keys_.emplace(one.alarm.number, std::move(key));
    }
  }

  JsonObject form() {
    for (const auto& [key, alarms] : by_key_) add(key, alarms);
    JsonObject all;
    all.add("alarm-inventory", inventory_form())
        .add("summary", summary_.form())
        .add("alarm-list", list_form("alarm", "number-of-alarms", "last-changed", listed_))
        .add("shelved-alarms",
             list_form("shelved-alarm", "number-of-shelved-alarms", "shelved-alarms-last-changed", shelved_));
    return all;
  }

 private:
  // The inventory has the types of all alarms, also of those that the catalog does not know
  // any more.
  void add_to_inventory(const AlarmTypeName& name, const ToldAlarm& told) {
    if (types_.inventory.contains(name)) return;
    AlarmType& type = more_[name];
    for (const StoredFault& step : told.alarm.steps) type.severities.insert(step.severity);
    type.will_clear = true;
    const StoredFault& first = told.alarm.steps.front();
    if (type.description.empty()) type.description = code_text(first.code) + " " + first.name;
  }

  JsonObject inventory_form() const {
    std::map<AlarmTypeName, AlarmType> all = types_.inventory;
    all.insert(more_.begin(), more_.end());
    JsonArray list;
    for (const auto& [name, type] : all) {
      JsonArray severities;
      for (const Severity severity : type.severities) severities.add(severity_word(severity));
      JsonObject form = type_form(name);
      form.add("will-clear", type.will_clear)
          .add("severity-level", severities)
          .add("description", printable(type.description));
      list.add(form);
    }
    JsonObject inventory;
    if (!all.empty()) inventory.add("alarm-type", list);
    return inventory;
  }

  // Alarms that the ledger relates to these, unless they are the same here.
  JsonArray related_to(const AlarmKey& key, const SameAlarms& alarms, bool& is_any) const {
    std::set<AlarmKey> others;
    for (const ToldAlarm* told : alarms) {
      for (const ChangeNumber other : {told->alarm.related, told->alarm.merged_into}) {
        const auto found = keys_.find(other);
        if (found != keys_.end() && found->second != key) others.insert(found->second);
      }
    }
    is_any = !others.empty();
    JsonArray list;
    for (const AlarmKey& other : others) list.add(key_form(other));
    return list;
  }

  void add(const AlarmKey& key, const SameAlarms& alarms) {
    const std::vector<Status> statuses = statuses_of(alarms);
    const OperatorStates operators(alarms);
    const Status& now = statuses.back();
    Severity severity = alarms.back()->alarm.severity;  // now, or before it was cleared
    Stamp raised = statuses.front().since;
    bool was_cleared = true;
    for (const Status& status : statuses) {
      if (!status.is_cleared()) severity = status.severity;
      if (was_cleared && !status.is_cleared()) raised = status.since;
      was_cleared = status.is_cleared();
    }

    JsonObject form = key_form(key);
    bool is_related = false;
    const JsonArray related = related_to(key, alarms, is_related);
    if (is_related) form.add("related-alarm", related);
    const Stamp changed = std::max(now.since, operators.latest().value_or(now.since));
    const bool is_shelved = operators.state() == "shelved";
    // The module ietf-alarms has time-created in the list `alarm`, but not in the list `shelved-alarm`.
    if (!is_shelved) form.add("time-created", date_and_time({alarms.front()->alarm.created}));
    form.add("is-cleared", now.is_cleared())
        .add("last-raised", date_and_time(raised))
        .add("last-changed", date_and_time(changed))
        .add("perceived-severity", severity_word(severity))
        .add("alarm-text", text_of(now))
        .add("status-change", status_changes(statuses));
    if (operators.latest()) form.add("operator-state-change", operators.form());

    if (is_shelved) {
      summary_.add_shelved();
      shelved_.add(form);
    } else {
      summary_.add(severity, now.is_cleared(), operators.state() == "closed");
      listed_.add(form);
    }
    latest_ = std::max(latest_, std::optional(changed));
  }

  JsonObject list_form(std::string_view list, std::string_view number, std::string_view changed,
                       const Listed& alarms) const {
    JsonObject form;
    form.add(number, alarms.size);
    if (latest_) form.add(changed, date_and_time(*latest_));
    if (alarms.size > 0) form.add(list, alarms.list);
    return form;
  }

  const AlarmTypes& types_;
  std::map<AlarmTypeName, AlarmType> more_;
  std::map<AlarmKey, SameAlarms> by_key_;
  std::map<ChangeNumber, AlarmKey> keys_;  // by the alarm's number
  Listed listed_;
  Listed shelved_;
  AlarmSummary summary_;
  std::optional<Stamp> latest_;
};

std::string document(const JsonObject& alarms) {
  JsonObject top;
  top.add("ietf-alarms:alarms", alarms);
  return top.line();
}

}  // namespace

std::string AlarmTypes::qualifier_of(std::uint32_t code) const {
  const auto found = qualifiers.find(code);
  return found != qualifiers.end() ? found->second : code_text(code);
}

std::string_view alarm_identity(const std::optional<CauseStandard>& cause) {
  if (!cause) return "other-alarm";
  switch (cause->event_type) {
    case EventType::kCommunications:
      return "communications-alarm";
    case EventType::kQualityOfService:
      return "quality-of-service-alarm";
    case EventType::kProcessingError:
      return "processing-error-alarm";
    case EventType::kEquipment:
      return "equipment-alarm";
    case EventType::kEnvironmental:
      return "environmental-alarm";
  }
  return "other-alarm";
}

void AlarmSummary::add(Severity severity, bool is_cleared, bool is_closed) {
  Counts& counts = counts_.at(static_cast<std::size_t>(severity));
  if (is_cleared) {
    ++(is_closed ? counts.cleared_closed : counts.cleared_not_closed);
  } else {
    ++(is_closed ? counts.not_cleared_closed : counts.not_cleared_not_closed);
  }
}

JsonObject AlarmSummary::form() const {
  constexpr Severity kListed[] = {Severity::kIndeterminate, Severity::kWarning, Severity::kMinor, Severity::kMajor,
                                  Severity::kCritical};
  JsonArray list;
  for (const Severity severity : kListed) {
    const Counts& counts = counts_.at(static_cast<std::size_t>(severity));
    const std::uint64_t cleared = counts.cleared_closed + counts.cleared_not_closed;
    const std::uint64_t not_cleared = counts.not_cleared_closed + counts.not_cleared_not_closed;
    JsonObject form;
    form.add("severity", severity_word(severity))
        .add("total", cleared + not_cleared)
        .add("not-cleared", not_cleared)
        .add("cleared", cleared)
        .add("cleared-not-closed", counts.cleared_not_closed)
        .add("cleared-closed", counts.cleared_closed)
        .add("not-cleared-closed", counts.not_cleared_closed)
        .add("not-cleared-not-closed", counts.not_cleared_not_closed);
    list.add(form);
  }
  JsonObject summary;
  summary.add("alarm-summary", list);
  if (has_shelved_) summary.add("shelves-active", JsonArray().add_null());
  return summary;
}

bool RaisesAgain::add(ChangeNumber alarm, const std::optional<ChangeNumber>& ended_by) {
  const bool is_again = are_over_ && last_end_ < alarm;
  are_over_ = ended_by && (are_over_ || is_first_);
  last_end_ = std::max(last_end_, ended_by.value_or(0));
  is_first_ = false;
  return is_again;
}

void AlarmSumming::add(const AlarmFact& fact) {
  Same& same = alarms_[{printable(fact.dn), {alarm_identity(fact.cause), types_.qualifier_of(fact.code)}}];
  const auto enter = [&same](const AlarmFact::StateAt& state) {
    if (state.change >= same.state.change) same.state = state;
  };
  if (same.raises.add(fact.number, fact.ended ? std::optional(fact.ended_by) : std::nullopt)) enter({fact.number});
  if (fact.latest_state) enter(*fact.latest_state);
  if (!fact.is_merged) add_severity(same, fact);  // else its fault goes on in another one of these
}

// The worst severity of those that are active or, when none is, of those that ended last.
void AlarmSumming::add_severity(Same& same, const AlarmFact& fact) {
  const bool is_active = !fact.ended;
  if (same.is_active && !is_active) return;
  if (is_active == same.is_active && fact.ended_seq < same.ended_seq) return;
  const bool is_beside = is_active == same.is_active && fact.ended_seq == same.ended_seq;
  same.severity = is_beside ? std::max(same.severity, fact.severity) : fact.severity;
  same.is_active = is_active;
  same.ended_seq = fact.ended_seq;
}

AlarmSummary AlarmSumming::summary() const {
  AlarmSummary summary;
  for (const auto& [name, same] : alarms_) {
    if (same.state.state == OperatorState::kShelved) {
      summary.add_shelved();
    } else {
      summary.add(same.severity, !same.is_active, same.state.state == OperatorState::kClosed);
    }
  }
  return summary;
}

std::string rfc8632_document(const ToldAlarms& told, const AlarmTypes& types) {
  return document(Alarms8632(told, types).form());
}

std::string rfc8632_document(const AlarmSummary& summary) {
  JsonObject alarms;
  alarms.add("summary", summary.form());
  return document(alarms);
}

}  // namespace polaiga::engine
