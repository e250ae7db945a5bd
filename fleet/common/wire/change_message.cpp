#include "wire/parts.h"

namespace polaiga::fleet {
namespace {

using engine::ChangeKind;

// Of a change of an alarm.
void read_alarm(const Members& message, ChangeMessage& change) {
  const std::string& ledger = change.ledger_id;
  change.alarm = message.alarm("alarm", ledger);
  change.fault_dn = message.filled_text("fault_dn");
  change.before = message.severity("before");
  change.after = message.severity("after");
  change.reporters = message.number_of_32_bits("reporters");
  if (message.has("raises")) change.raises = message.count("raises");
  if (message.has("shown_seq")) change.shown_sequence = message.number("shown_seq", 1);
  if (change.kind == ChangeKind::kSettled) {
    if (message.has("in_place_of")) change.in_place_of = message.alarm("in_place_of", ledger);
  } else {
    change.fault = message.number("fault", 1);
  }
  if (change.kind == ChangeKind::kMerged) change.merged_into = message.alarm("merged_into", ledger);
}

// Of a change of an object.
void read_object(const Members& message, ChangeMessage& change) {
  const bool is_of_object = change.kind == ChangeKind::kOutOfService || change.kind == ChangeKind::kBackInService;
  if (!is_of_object) message.refuse("alarm", "there, since only maintenance is a change of an object");
  change.dn = message.filled_text("dn");
}

// The record of the event, when it is one of the change's own fault. That of a superseded fault is of the other one.
void read_record(const Members& message, const Members& event, ChangeMessage& change) {
  const auto record = message.object("record");
  if (!record || record->text("fault_dn") != change.fault_dn) return;
  change.record = FaultWords{.fault_dn = change.fault_dn,
                             .dn = record->text("dn"),
                             .code = record->number_of_32_bits("code"),
                             .name = record->text("name"),
                             .sensor = event.text("sensor"),
                             .description = record->text("descr"),
                             .cause = record->text("cause"),
                             .oid = record->text("oid")};
  change.dn = change.record->dn;
}

void read_action(const Members& action, ChangeMessage& change) {
  change.person = action.text_or_empty("on_behalf_of");
  if (change.person.empty()) change.person = action.text_or_empty("person");
  change.comment = action.text_or_empty("comment");
}

void read_all(const Members& message, ChangeMessage& change) {
  const auto kind = engine::find_change(message.text("change"));
  if (!kind) message.refuse("change", "a change that this version knows");
  change.kind = *kind;
  change.at = message.moment("at");
  change.sequence = message.number("seq", 1);
  if (message.has("alarm")) {
    read_alarm(message, change);
  } else {
    read_object(message, change);
  }
  const auto action = message.object("action");
  const auto event = message.object("event");
  if (action.has_value() == event.has_value()) message.refuse("event", "there, or 'action' in its place");
  if (action) read_action(*action, change);
  if (event && change.alarm != 0) read_record(message, *event, change);
}

}  // namespace

ChangeMessage parse_change(const Members& message, std::string_view payload) {
  ChangeMessage change;
  change.ledger_id = message.ledger_id("ledger_id");
  change.number = message.number("number", 1);
  change.previous = message.number("previous", 0);
  if (change.previous >= change.number) message.refuse("previous", "less than 'number'");
  try {
    read_all(message, change);
  } catch (const BadMessage& error) {
    throw BadMessage(
        error.what(),
        GapMessage{
            .ledger_id = change.ledger_id, .first = change.number, .last = change.number, .previous = change.previous});
  }
  change.body = std::string(payload);
  return change;
}

GapMessage parse_gap(const Members& message) {
  GapMessage gap{.ledger_id = message.ledger_id("ledger_id")};
  const auto range = message.object("gap");
  gap.first = range->number("first", 1);
  gap.last = range->number("last", gap.first);
  gap.previous = message.number("previous", 0);
  if (!gap.is_put_back() && gap.previous >= gap.first)
    message.refuse("previous", "less than 'gap.first', or 'gap.last'");
  return gap;
}

}  // namespace polaiga::fleet
