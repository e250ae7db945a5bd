// What controllers send, as polaiga-mqtt tells it (docs/mqtt.md, docs/schemas/mqtt_*). All of it is checked here, and
// nothing behind this parser sees text of a peer that it has not checked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "model/change.h"
#include "model/dictionary.h"
#include "model/moment.h"
#include "model/operator_action.h"
#include "wire/names.h"

namespace polaiga::fleet {

using engine::ChangeNumber;
using engine::Moment;

inline constexpr std::size_t kMostPayloadBytes = 65536;

// Changes that cannot be had.
struct GapMessage {
  std::string ledger_id = {};
  ChangeNumber first = 0;
  ChangeNumber last = 0;
  ChangeNumber previous = 0;

  // The ledger was put back to an earlier state, whose last change is first - 1.
  bool is_put_back() const { return previous == last; }

  bool operator==(const GapMessage&) const = default;
};

// A message that is not understood: it goes to the queue of dead letters with this reason, a sentence without its full
// stop. It never quotes more than 200 bytes of the message, and only what can be shown.
class BadMessage : public std::runtime_error {
 public:
  explicit BadMessage(const std::string& what, std::optional<GapMessage> gap = {})
      : std::runtime_error(what), gap_(std::move(gap)) {}

  // When the message is a change whose numbers can be read, a gap that has the place of this change. It is to be taken
  // after the message was kept as a dead letter: else the changes that follow would be early for ever, and the change
  // would be asked for again and again.
  const std::optional<GapMessage>& gap() const { return gap_; }

 private:
  std::optional<GapMessage> gap_;
};

// What is told of a fault with a record or an alarm. Every text is valid UTF-8 without NUL, and has at most
// kMostTextBytes; what is longer makes the message a bad one.
inline constexpr std::size_t kMostTextBytes = 4096;
struct FaultWords {
  std::string fault_dn = {};
  std::string dn = {};  // of the object
  std::uint32_t code = 0;
  std::string name = {};
  std::string sensor = {};  // of the event that the record was made of
  std::string description = {};
  std::string cause = {};
  std::string oid = {};

  bool operator==(const FaultWords&) const = default;
};

// A change, as it came on `change` or on `replayed`.
struct ChangeMessage {
  std::string ledger_id = {};
  ChangeNumber number = 0;
  ChangeNumber previous = 0;
  engine::ChangeKind kind = engine::ChangeKind::kRaised;
  Moment at = 0;
  ChangeNumber alarm = 0;     // its number; 0: the change is one of an object
  ChangeNumber fault = 0;     // 0: of an object, or settled
  std::string fault_dn = {};  // of a change of an object: empty
  std::string dn = {};        // of a change of an object, or of the record
  engine::Severity before = engine::Severity::kCleared;
  engine::Severity after = engine::Severity::kCleared;
  std::uint32_t reporters = 0;
  std::uint64_t raises = 0;               // of chattering and settled
  ChangeNumber merged_into = 0;           // the alarm; 0: none
  ChangeNumber in_place_of = 0;           // the alarm; 0: none
  std::int64_t sequence = 0;              // the input that made it
  std::int64_t shown_sequence = 0;        // the input whose record the fault shows after it; 0: not told
  std::optional<FaultWords> record = {};  // of its event, if there is one and it is that of the change's own fault
  std::string person = {};                // of an action: for whom a gateway acted, else who did; empty: nobody did it
  std::string comment = {};               // of an action
  std::string body = {};                  // the whole message, as it came: JSON
};

struct StatusMessage {
  bool is_online = false;
  bool is_lost = false;        // offline by its will
  std::string ledger_id = {};  // empty: of the will, and while no ledger could be read
  ChangeNumber number = 0;
  ChangeNumber oldest_number = 0;
  ChangeNumber told = 0;
  bool is_engine_answering = false;
  Moment at = 0;  // 0: of the will
  std::string version = {};
};

// An alarm as a list of the active ones has it.
struct ListedAlarm {
  ChangeNumber number = 0;  // that names it
  ChangeNumber fault = 0;
  FaultWords words = {};
  engine::Severity severity = engine::Severity::kIndeterminate;
  Moment created = 0;
  Moment since = 0;
  Moment updated = 0;
  std::uint64_t count = 0;
  std::uint32_t reporters = 0;
  engine::OperatorState operator_state = engine::OperatorState::kNone;
  bool is_out_of_service = false;
  std::uint64_t raises = 0;  // while it is chattering; 0: it is not
};

// A part of the active alarms, that answers a request for them: all that outputs take for active right after change
// `number` and whose numbers are greater than `after` and at most `through`. Each part is right by itself.
struct ListMessage {
  std::string ledger_id = {};
  std::string replay = {};  // the id of the request
  ChangeNumber number = 0;
  ChangeNumber after = 0;
  ChangeNumber through = 0;
  bool is_last = false;
  std::vector<ListedAlarm> alarms = {};  // ascending
};

// All changes up to `through` were told that there are to be told.
struct ReplayDone {
  std::string ledger_id = {};
  std::string replay = {};
  ChangeNumber through = 0;
  // The last change that was told up to `through`, so that one which was lost before this message is noticed. Nothing:
  // an older program does not say so.
  std::optional<ChangeNumber> previous = {};
};
struct ReplayRefused {
  std::string replay = {};  // may be empty
  std::string why = {};
};

// What became of an action that was sent down.
struct ActedMessage {
  std::string id = {};
  bool is_done = false;
  std::string why = {};  // it was not done
};

using Message =
    std::variant<ChangeMessage, GapMessage, StatusMessage, ListMessage, ReplayDone, ReplayRefused, ActedMessage>;

// Of the topic's kind and the payload. Members that it does not know are passed over, so that a later version may add
// some; a member that it needs and that is missing or wrong makes the message a bad one. A message that names another
// sender than its routing key is a bad one, and so is one of a kind that controllers do not send. Throws BadMessage.
Message parse_message(const Route& route, std::string_view payload);

// What goes down.
std::string ack_payload(std::string_view ledger_id, ChangeNumber through);
std::string replay_payload(std::string_view ledger_id, ChangeNumber first, ChangeNumber last, std::string_view id);
std::string list_request_payload(std::string_view ledger_id, ChangeNumber after, std::string_view id);

}  // namespace polaiga::fleet
