// What the database knows of the controllers whose messages are taken, as far as the messages touch it, and what the
// messages make of it. There is no I/O here.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "database/intake.h"
#include "state/controller_state.h"
#include "wire/message.h"

namespace polaiga::fleet {

struct KnownLedger {
  std::int64_t ledger_no = 0;  // 0: it is not in the database yet
  LedgerProgress progress;
  bool is_ended = false;
  std::map<ChangeNumber, AlarmState> alarms;  // those that the messages touch
  std::vector<const ChangeMessage*> changes;  // to be written
  std::vector<GapMessage> gaps;               // the same
  bool is_left = false;                       // all of its alarms that are active are to end
  bool is_touched = false;
};

struct KnownController {
  Sender sender;
  std::int64_t controller_id = 0;
  std::int64_t site_id = 0;
  bool is_online = true;
  bool is_engine_answering = false;
  bool is_silent = false;
  bool was_asked_lately = false;
  std::string version;
  std::map<std::string, KnownLedger> ledgers;  // by their ids
  KnownLedger* current = nullptr;              // the one that it has now

  bool is_heard = false;    // it sent something itself
  bool is_ack_due = false;  // changes came
  bool is_asked = false;    // a request was made, or a part of the list came that the last one asked for
};

// An answer to an action, by the number in its id.
struct ActedRow {
  std::int64_t controller_id = 0;
  std::int64_t action_no = 0;
  std::int64_t asked = 0;  // seconds since 1970
  bool is_done = false;
  std::string why;
};

struct KnownControllers {
  std::int64_t now = 0;  // microseconds since 1970, by the database's clock
  std::map<Sender, KnownController> controllers;
  std::vector<ActedRow> acted;
  // Records that faults show after a reporter took its report back: by ledger_no, alarm and input.
  std::map<std::tuple<std::int64_t, ChangeNumber, std::int64_t>, FaultWords> shown;

  // Takes a message of a controller that is known. `taken` counts it.
  void take(const Received& received, Taken& taken);
  // What is to be published, once all messages were taken.
  void answer(Taken& taken);

 private:
  KnownLedger* follow(KnownController& controller, const std::string& ledger_id, Moment at);
  void begin(KnownController& controller, KnownLedger& ledger);
  void take(KnownController& controller, const ChangeMessage& change, Taken& taken);
  void take(KnownController& controller, const GapMessage& gap, Taken& taken);
  void take(KnownController& controller, const StatusMessage& status, Taken& taken);
  void take(KnownController& controller, const ListMessage& list, Taken& taken);
  static void take(KnownController& controller, const ReplayDone& done, Taken& taken);
  // The request is made again after a while.
  static void take(KnownController& /*controller*/, const ReplayRefused& /*refused*/, Taken& /*taken*/) {}
  void take(KnownController& controller, const ActedMessage& answer, Taken& taken);
  void show_other_record(const ChangeMessage& change, KnownLedger& ledger, AlarmState& alarm) const;
  Moment seconds() const { return now / 1'000'000; }
};

}  // namespace polaiga::fleet
