#include "database/known_controllers.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "database/action_id.h"
#include "database/requests.h"

namespace polaiga::fleet {
namespace {

// The state of an alarm, which is a new one when it is not known.
AlarmState& alarm_of(KnownLedger& ledger, ChangeNumber number) {
  const auto [at, is_new] = ledger.alarms.try_emplace(number);
  if (is_new) {
    at->second.number = number;
    at->second.is_new = true;
  }
  return at->second;
}

void count(Verdict verdict, Taken& taken) {
  if (verdict == Verdict::kTaken) ++taken.changes;
  if (verdict == Verdict::kRepeat) ++taken.repeats;
  if (verdict == Verdict::kEarly) ++taken.early;
}

}  // namespace

void KnownControllers::take(const Received& received, Taken& taken) {
  KnownController& controller = controllers.at(received.sender);
  // A will is not the controller's word, but the broker's. And what came on its way before a controller went offline
  // does not say that it is there again: only its status does.
  const auto* const status = std::get_if<StatusMessage>(&received.message);
  if (status == nullptr || !status->is_lost) controller.is_heard = true;
  std::visit([&](const auto& message) { take(controller, message, taken); }, received.message);
}

// The ledger that a message is about, which becomes the controller's current one if it was never seen before. Nothing:
// it is a former one.
KnownLedger* KnownControllers::follow(KnownController& controller, const std::string& ledger_id, Moment at) {
  if (controller.current != nullptr && controller.current->progress.ledger_id == ledger_id) return controller.current;
  if (controller.ledgers.contains(ledger_id)) return nullptr;
  KnownLedger& ledger = controller.ledgers[ledger_id];
  ledger.progress.ledger_id = ledger_id;
  // A status of the former ledger that comes late does not bring it back.
  const Moment former = controller.current == nullptr ? 0 : controller.current->progress.status_at;
  ledger.progress.status_at = controller.current == nullptr ? 0 : std::max(former, at);
  begin(controller, ledger);
  return &ledger;
}

void KnownControllers::begin(KnownController& controller, KnownLedger& ledger) {
  if (controller.current != nullptr) {
    KnownLedger& former = *controller.current;
    for (auto& [number, alarm] : former.alarms) leave(seconds(), alarm);
    former.is_left = former.is_ended = former.is_touched = true;
    former.progress.asked_for.clear();
  }
  controller.current = &ledger;
  controller.was_asked_lately = false;
  ledger.is_left = ledger.is_ended = false;
  ledger.is_touched = true;
  want_list(ledger.progress);
}

void KnownControllers::take(KnownController& controller, const ChangeMessage& change, Taken& taken) {
  KnownLedger* const ledger = follow(controller, change.ledger_id, change.at);
  if (ledger == nullptr) return count(Verdict::kRepeat, taken);
  controller.is_ack_due = ledger->is_touched = true;
  const Verdict verdict = fleet::take(change, ledger->progress);
  count(verdict, taken);
  if (verdict != Verdict::kTaken) return;
  for (const ChangeNumber number : alarms_of(change)) {
    AlarmState& alarm = alarm_of(*ledger, number);
    if (apply(change, alarm)) want_list(ledger->progress);
    if (number == change.alarm) show_other_record(change, *ledger, alarm);
  }
  ledger->changes.push_back(&change);
}

// A fault that one of its reporters does not report any more shows the latest record of the others.
void KnownControllers::show_other_record(const ChangeMessage& change, KnownLedger& ledger, AlarmState& alarm) const {
  if (change.kind != engine::ChangeKind::kPartlyCleared || change.shown_sequence == 0) return;
  // Those of this batch are not in the database yet.
  const auto is_other = [&change](const ChangeMessage* other) {
    return other->sequence == change.shown_sequence && other->alarm == change.alarm && other->record;
  };
  if (const auto other = std::ranges::find_if(ledger.changes, is_other); other != ledger.changes.end()) {
    show(*(*other)->record, alarm);
    return;
  }
  if (const auto words = shown.find({ledger.ledger_no, change.alarm, change.shown_sequence}); words != shown.end()) {
    show(words->second, alarm);
  }
}

void KnownControllers::take(KnownController& controller, const GapMessage& gap, Taken& taken) {
  KnownLedger* const ledger = follow(controller, gap.ledger_id, 0);
  if (ledger == nullptr) return count(Verdict::kRepeat, taken);
  controller.is_ack_due = ledger->is_touched = true;
  const Verdict verdict = fleet::take(gap, ledger->progress);
  if (verdict != Verdict::kTaken) return count(verdict, taken);
  ledger->gaps.push_back(gap);
}

void KnownControllers::take(KnownController& controller, const StatusMessage& status, Taken&) {
  // The word that comes last counts, whatever time it has: a controller's clock may be set back.
  controller.is_online = status.is_online;
  if (!status.is_online) return;
  controller.is_engine_answering = status.is_engine_answering;
  controller.version = status.version;
  if (status.ledger_id.empty()) return;
  const auto known = controller.ledgers.find(status.ledger_id);
  const bool is_former = known != controller.ledgers.end() && &known->second != controller.current;
  if (is_former && (controller.current == nullptr || status.at > controller.current->progress.status_at)) {
    begin(controller, known->second);
  }
  KnownLedger* const ledger = follow(controller, status.ledger_id, status.at);
  if (ledger == nullptr) return;
  fleet::take(status, ledger->progress);
  ledger->is_touched = true;
}

void KnownControllers::take(KnownController& controller, const ListMessage& list, Taken&) {
  KnownLedger* const ledger = controller.current;
  if (ledger == nullptr || ledger->progress.ledger_id != list.ledger_id) return;
  if (fleet::take(list, ledger->progress) != Verdict::kTaken) return;
  ledger->is_touched = controller.is_asked = true;
  for (const ListedAlarm& listed : list.alarms) apply(listed, list.number, alarm_of(*ledger, listed.number));
  const auto end = ledger->alarms.upper_bound(list.through);
  for (auto at = ledger->alarms.upper_bound(list.after); at != end; ++at) {
    const bool is_listed = std::ranges::binary_search(list.alarms, at->first, {}, &ListedAlarm::number);
    if (!is_listed) miss(list.number, seconds(), at->second);
  }
}

void KnownControllers::take(KnownController& controller, const ReplayDone& done, Taken& taken) {
  KnownLedger* const ledger = controller.current;
  if (ledger == nullptr || ledger->progress.ledger_id != done.ledger_id) return;
  ledger->is_touched = true;
  const Verdict verdict = fleet::take(done, ledger->progress);
  if (verdict == Verdict::kTaken) controller.is_ack_due = true;
  if (verdict == Verdict::kEarly) ++taken.early;
}

void KnownControllers::take(KnownController& controller, const ActedMessage& answer, Taken&) {
  if (const auto told = parse_told_action_id(answer.id)) {
    acted.push_back({.controller_id = controller.controller_id,
                     .action_no = told->action_no,
                     .asked = told->asked,
                     .is_done = answer.is_done,
                     .why = answer.why});
  }
}

void KnownControllers::answer(Taken& taken) {
  for (auto& [sender, controller] : controllers) {
    if (controller.current == nullptr) continue;
    LedgerProgress& progress = controller.current->progress;
    if (controller.is_ack_due && !progress.put_back_before) {
      taken.answers.push_back(
          {.sender = sender, .kind = Kind::kAck, .payload = ack_payload(progress.ledger_id, progress.through)});
    }
    if (!controller.is_online) continue;
    const bool was_asked_lately = controller.was_asked_lately || controller.is_asked;
    if (auto request = ask_for_missing(sender, was_asked_lately, now, progress)) {
      taken.answers.push_back(std::move(*request));
      controller.is_asked = controller.current->is_touched = true;
    }
  }
}

}  // namespace polaiga::fleet
