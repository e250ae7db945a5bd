// What a controller sends may be any bytes: it is refused with a message that can be shown, or what is made of it fits,
// and taking it leaves what is known of the controller as it may be. Each line of the input is a message. Its first
// character says of what kind it is: `c` change, `r` replayed, `s` status, `a` acted, `d` one that goes down; or that
// it is a routing key: `k`. A line that begins with `f` is no message: what a ledger lost that was put back is deleted.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/utf8.h"
#include "check.h"
#include "state/controller_state.h"
#include "wire/message.h"

namespace polaiga::fuzz {
namespace {

using namespace fleet;

const Sender kSender{.site = "lab", .controller = "rack-1"};

void check_text(std::string_view text) {
  check(text.size() <= kMostTextBytes, "a text is not too long");
  check(text.find('\0') == std::string_view::npos, "a text has no NUL");
  while (!text.empty()) {
    const engine::Character next = engine::first_character(text);
    check(next.valid, "a text is UTF-8");
    text.remove_prefix(next.size);
  }
}

void check_words(const FaultWords& words) {
  for (const std::string* text :
       {&words.fault_dn, &words.dn, &words.name, &words.sensor, &words.description, &words.cause, &words.oid}) {
    check_text(*text);
  }
  check(!words.fault_dn.empty(), "a fault has a DN");
}

void check_ledger_id(const std::string& id) {
  check(id.size() == 32 && id.find_first_not_of("0123456789abcdef") == std::string::npos, "a ledger id has 32 digits");
}

void check_moment(Moment moment) { check(0 <= moment && moment <= engine::kLastMoment, "a moment is one"); }

void check_alarm(const AlarmState& alarm) {
  check_words(alarm.words);
  check(alarm.is_active() == !alarm.cleared, "an alarm that is over says since when");
  check(alarm.severity != engine::Severity::kCleared && alarm.severity <= alarm.worst, "an alarm has a severity");
  check(alarm.last_change > 0, "an alarm comes of a change");
}

// What is known of a controller, by all messages of an input.
class Known {
 public:
  void take(const ChangeMessage& change) {
    check_ledger_id(change.ledger_id);
    check(0 <= change.previous && change.previous < change.number, "a change comes after another");
    for (const std::string* text : {&change.fault_dn, &change.dn, &change.person, &change.comment}) check_text(*text);
    check(change.alarm >= 0 && change.fault >= 0 && change.merged_into >= 0 && change.in_place_of >= 0,
          "a number is one");
    check((change.alarm == 0) == change.fault_dn.empty(), "a change of an alarm names its fault");
    check_moment(change.at);
    if (change.record) check_words(*change.record);
    const ChangeNumber before = progress_.through;
    const Verdict verdict = fleet::take(change, progress_);
    check((verdict == Verdict::kTaken) == (progress_.through > before), "a change is taken once");
    check(verdict != Verdict::kTaken || !progress_.put_back_before, "no change is taken while a ledger is put back");
    if (verdict != Verdict::kTaken) return;
    check(progress_.through == change.number, "it is the last one then");
    for (const ChangeNumber number : alarms_of(change)) {
      AlarmState& alarm = alarms_[number];
      alarm.number = number;
      if (apply(change, alarm)) want_list(progress_);
      check_alarm(alarm);
      check(alarm.last_change >= change.number, "an alarm has taken its change");
    }
  }

  void take(const GapMessage& gap) {
    check_ledger_id(gap.ledger_id);
    check(1 <= gap.first && gap.first <= gap.last && gap.previous >= 0, "a gap is one");
    check(gap.is_put_back() || gap.previous < gap.first, "a gap is one of the two kinds");
    const LedgerProgress before = progress_;
    const Verdict verdict = fleet::take(gap, progress_);
    if (gap.is_put_back()) {
      check(progress_.put_back_before && *progress_.put_back_before <= gap.first, "what was put back is to be deleted");
      check(progress_.through == before.through, "it is there until then");
    }
    if (verdict != Verdict::kTaken) return;
    check(progress_.is_list_wanted, "after a gap the list is wanted");
    if (gap.is_put_back()) {
      check(!before.put_back_before || gap.first < *before.put_back_before, "a putting back is taken once");
      return;
    }
    check(!before.put_back_before, "no gap is taken while a ledger is put back");
    check(progress_.through > before.through, "a gap is taken once");
  }

  void delete_what_was_put_back() {
    if (!progress_.put_back_before) return;
    const ChangeNumber first = *progress_.put_back_before;
    const ChangeNumber before = progress_.through;
    alarms_.erase(alarms_.lower_bound(first), alarms_.end());
    for (auto& [number, alarm] : alarms_) {
      alarm.last_change = std::min(alarm.last_change, first - 1);
      check_alarm(alarm);
    }
    finish_put_back(progress_);
    check(!progress_.put_back_before, "a putting back ends");
    check(progress_.through < first && progress_.through <= before, "what was put back is gone");
    check(progress_.is_list_wanted, "the list is wanted then");
  }

  void take(const ListMessage& list) {
    check_ledger_id(list.ledger_id);
    check(0 <= list.after && list.after <= list.through && list.number >= 0, "a part is one");
    check(list.is_last || list.after < list.through, "a part brings the list on");
    ChangeNumber last = list.after;
    for (const ListedAlarm& one : list.alarms) {
      check(last < one.number && one.number <= list.through, "alarms are in order");
      last = one.number;
      check_words(one.words);
      check_moment(one.created);
      check_moment(one.since);
      check_moment(one.updated);
      check(one.severity != engine::Severity::kCleared, "a listed alarm is active");
    }
    // It may be any list that was asked for; while a ledger is put back, none is.
    if (!progress_.put_back_before) progress_.asked_for = list.replay;
    if (fleet::take(list, progress_) != Verdict::kTaken) return;
    for (const ListedAlarm& one : list.alarms) {
      AlarmState& alarm = alarms_[one.number];
      alarm.number = one.number;
      const ChangeNumber before = alarm.last_change;
      apply(one, list.number, alarm);
      check_alarm(alarm);
      check(alarm.last_change == std::max(before, list.number), "what is newer stays");
    }
    for (auto at = alarms_.upper_bound(list.after); at != alarms_.end() && at->first <= list.through; ++at) {
      miss(list.number, 1000, at->second);
      check_alarm(at->second);
    }
    check(progress_.is_list_wanted != list.is_last, "after its last part no list is wanted");
    check(progress_.list_after == (list.is_last ? 0 : list.through), "the next part comes after this one");
  }

  void take(const ReplayDone& done) {
    check_ledger_id(done.ledger_id);
    const ChangeNumber before = progress_.through;
    fleet::take(done, progress_);
    check(progress_.through >= before, "an answer takes nothing back");
    check(progress_.through == before || !progress_.put_back_before, "none is taken while a ledger is put back");
  }

  void take(const StatusMessage& status) {
    check_text(status.version);
    check_moment(status.at);
    if (!status.ledger_id.empty()) check_ledger_id(status.ledger_id);
    check(status.number >= 0 && status.oldest_number >= 0 && status.told >= 0, "a number is one");
    fleet::take(status, progress_);
  }

  static void take(const ReplayRefused& refused) {
    check_text(refused.why);
    check(refused.replay.size() <= 64, "an id is short");
  }

  static void take(const ActedMessage& acted) {
    check_text(acted.why);
    check(!acted.id.empty() && acted.id.size() <= 64, "an id is short");
  }

  void check_request() const {
    const auto request = next_request(progress_);
    if (!request) return;
    check(!progress_.put_back_before, "nothing is asked for while a ledger is put back");
    if (request->is_for_list) {
      check(request->after == progress_.list_after, "the list is asked for where it ended");
    } else {
      check(request->first == progress_.through + 1 && request->first <= request->last &&
                request->last - request->first < kMostAskedFor,
            "a request is for what comes next");
    }
  }

 private:
  LedgerProgress progress_;
  std::map<ChangeNumber, AlarmState> alarms_;
};

void check_key(std::string_view key) {
  const auto route = parse_routing_key(key);
  if (!route) return;
  check(routing_key(route->sender, route->kind) == key, "a key is understood as it is written");
}

void check_message(Kind kind, std::string_view payload, Known& known) {
  try {
    const Message message = parse_message({kSender, kind}, payload);
    std::visit([&known](const auto& one) { known.take(one); }, message);
    known.check_request();
  } catch (const BadMessage& error) {
    check(is_printable(error.what()) && error.what()[0] != '\0', "a refusal can be shown");
    check(std::string_view(error.what()).size() <= 400, "a refusal is short");
    if (!error.gap()) return;
    check(!error.gap()->is_put_back(), "a bad change is no putting back");
    known.take(*error.gap());
  }
}

void check_line(std::string_view line, Known& known) {
  if (line.empty()) return;
  const std::string_view rest = line.substr(1);
  switch (line[0]) {
    case 'c':
      check_message(Kind::kChange, rest, known);
      break;
    case 'r':
      check_message(Kind::kReplayed, rest, known);
      break;
    case 's':
      check_message(Kind::kStatus, rest, known);
      break;
    case 'a':
      check_message(Kind::kActed, rest, known);
      break;
    case 'd':
      check_message(Kind::kAction, rest, known);
      break;
    case 'f':
      known.delete_what_was_put_back();
      known.check_request();
      break;
    case 'k':
      check_key(rest);
      break;
    default:
      break;
  }
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  polaiga::fuzz::Known known;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    polaiga::fuzz::check_line(rest.substr(0, end), known);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return 0;
}
