// Messages as controllers send them, for tests that take them into a database.
#pragma once

#include <algorithm>
#include <span>
#include <string>

#include "database/intake.h"

namespace polaiga::fleet::sent {

inline const std::string kLedger(32, 'a');
inline const std::string kOtherLedger(32, 'b');
inline constexpr Moment kNoon = 1741780800;  // 2025-03-12T12:00:00Z

inline Sender sender(const std::string& controller = "rack-1", const std::string& site = "lab") {
  return {.site = site, .controller = controller};
}

inline FaultWords words(std::uint32_t code = 395, const std::string& object = "sys/fan-1") {
  const std::string fault_dn = object + "/fault-F0" + std::to_string(code);
  return {.fault_dn = fault_dn,
          .dn = object,
          .code = code,
          .name = "fltFanInoperable",
          .sensor = "FAN1_TACH",
          .description = "Fan 1 is inoperable",
          .cause = "equipment-inoperable",
          .oid = "1.2.3"};
}

inline ChangeMessage change(ChangeNumber number, engine::ChangeKind kind, ChangeNumber alarm,
                            const std::string& ledger = kLedger) {
  return {.ledger_id = ledger,
          .number = number,
          .previous = number - 1,
          .kind = kind,
          .at = kNoon + std::min<ChangeNumber>(number, 86'400),
          .alarm = alarm,
          .fault = alarm,
          .fault_dn = words().fault_dn,
          .dn = words().dn,
          .before = engine::Severity::kMajor,
          .after = engine::Severity::kMajor,
          .reporters = 1,
          .sequence = number,
          .body = "{\"number\":" + std::to_string(number) + "}"};
}

inline ChangeMessage raised(ChangeNumber number, const std::string& ledger = kLedger,
                            const FaultWords& record = words()) {
  ChangeMessage message = change(number, engine::ChangeKind::kRaised, number, ledger);
  message.before = engine::Severity::kCleared;
  message.fault_dn = record.fault_dn;
  message.dn = record.dn;
  message.record = record;
  return message;
}

inline ChangeMessage cleared(ChangeNumber number, ChangeNumber alarm, const std::string& ledger = kLedger) {
  ChangeMessage message = change(number, engine::ChangeKind::kCleared, alarm, ledger);
  message.after = engine::Severity::kCleared;
  message.reporters = 0;
  return message;
}

inline StatusMessage online(ChangeNumber told, Moment at = kNoon, const std::string& ledger = kLedger) {
  return {.is_online = true,
          .ledger_id = ledger,
          .number = told,
          .oldest_number = 1,
          .told = told,
          .is_engine_answering = true,
          .at = at,
          .version = "1.0.0"};
}

inline StatusMessage lost() { return {.is_lost = true, .version = "1.0.0"}; }

inline ListedAlarm listed(ChangeNumber number) {
  return {.number = number,
          .fault = number,
          .words = words(),
          .severity = engine::Severity::kMajor,
          .created = kNoon + number,
          .since = kNoon + number,
          .updated = kNoon + number,
          .count = 1,
          .reporters = 1};
}

// Takes them one after the other, in one batch.
template <typename... Messages>
Taken take(Intake& intake, const Sender& from, Messages... messages) {
  const Received received[] = {{.sender = from, .message = std::move(messages)}...};
  return intake.take(received);
}

// The payloads of a kind that were answered.
inline std::string answers(const Taken& taken, Kind kind) {
  std::string text;
  for (const Answer& answer : taken.answers) {
    if (answer.kind == kind) text += answer.sender.controller + " " + answer.payload + "\n";
  }
  return text;
}

// The id in a request.
inline std::string id_of(const std::string& request) {
  const std::size_t begin = request.find("\"id\":\"") + 6;
  return request.substr(begin, request.find('"', begin) - begin);
}

}  // namespace polaiga::fleet::sent
