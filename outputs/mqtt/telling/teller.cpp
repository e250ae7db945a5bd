#include "telling/teller.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "base/printable.h"
#include "ledger/ledger.h"
#include "messages/requests.h"

namespace polaiga::mqtt {
namespace {

using engine::ChangeNumber;
using engine::Feed;
using engine::LedgerError;
using engine::Priority;
using output::FollowedLedger;
using std::chrono::milliseconds;

// So many messages are sent before signals and the broker are looked at again.
constexpr std::size_t kMostAtOnce = 500;

milliseconds until(engine::Clock::Steady then, engine::Clock::Steady now) {
  return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(then - now));
}

}  // namespace

Teller::Teller(Options options, Tools tools)
    : options_(std::move(options)),
      tools_(std::move(tools)),
      topics_(options_.origin.site, options_.origin.controller),
      ledger_(tools_.ledger),
      link_(tools_.link),
      pages_(options_.origin, topics_, options_.tells_list),
      window_(options_.confirmed_by),
      replays_(options_.origin, topics_.replayed,
               {.read = [this](Number after, std::size_t most) { return ledger_.changes_after(after, most); },
                .told_before = [this](Number number) { return told_before(number); },
                .send = [this](const Message& message) { return send(Kind::kReplayed, message); },
                .look = [this] { return picture(); }}),
      actions_(options_.origin, topics_.acted,
               {.clock = tools_.clock,
                .ask = tools_.ask_engine,
                .take_answer = tools_.take_engine_answer,
                .send = [this](const Message& message) { return send(Kind::kActed, message); }}) {
  report_.publisher = options_.publisher;
  report_.peer = options_.peer;
}

Picture Teller::picture() const {
  return {
      .ledger_id = ledger_id_, .number = ledger_.number(), .alarms = ledger_.alarms(), .profile = ledger_.profile()};
}

// Whether what is known of the ledger is of the one that is there.
bool Teller::is_begun() const { return !ledger_id_.empty() && ledger_id_ == ledger_.ledger_id(); }

void Teller::go_on() {
  follow();
  if (options_.accepts_actions) actions_.go_on();
  if (link_.is_up() && !goodbye_) {
    if (tools_.clock.steady() >= next_status_ || tools_.is_engine_answering() != was_engine_answering_) tell_status();
    tell_alarms();
    tell_changes();
    tell_replays();
    tell_actions();
    look_at_time();
  }
  report();
}

void Teller::follow() {
  if (is_round_) return;
  const FollowedLedger::Seen seen = ledger_.look();
  take(seen);
  // What the site says of alarms is read with the changes that follow, and the list is to have it.
  if (seen.is_new) take(ledger_.look());
  if (ledger_.has_picture() && ledger_id_ != ledger_.ledger_id()) begin_ledger();
}

void Teller::take(const FollowedLedger::Seen& seen) {
  if (!ledger_.has_picture()) return;
  bool is_new = seen.is_new;
  if (profile_ != &ledger_.profile()) {
    profile_ = &ledger_.profile();
    is_new = is_new || profile_text_ != profile_->text();
    profile_text_ = profile_->text();
  }
  if (is_new) {
    pages_.take_all();
  } else {
    pages_.take(seen.touched);
  }
}

void Teller::begin_ledger() {
  try {
    const auto cursor = ledger_.cursor(options_.publisher);
    const Number begin = cursor.value_or(ledger_.number());
    const Number told = cursor ? told_before(*cursor) : begin;
    const bool is_another = !ledger_id_.empty();
    window_.begin(begin, told);
    ledger_id_ = ledger_.ledger_id();
    read_.clear();
    read_through_ = begin;
    lost_through_ = 0;
    read_at_ = Steady{};
    replays_.forget();
    is_picture_told_ = false;
    next_status_ = Steady{};
    const std::string from = "the changes after number " + std::to_string(begin);
    if (is_another) {
      tools_.tell(Priority::kNotice, "Another ledger is there. Its alarms are told, and then " + from + ".");
    } else {
      tools_.tell(Priority::kInfo, "The ledger is followed. Its alarms are told, and then " + from + ".");
    }
  } catch (const LedgerError&) {
    // The next look at the ledger tells it, and then this is tried again.
  }
}

// The last change up to `number` that is told. When it is not among the last ones: `number`, which nobody takes for
// more than it is, since a receiver then asks for what is between.
ChangeNumber Teller::told_before(Number number) {
  constexpr auto kAtOnce = static_cast<Number>(FollowedLedger::kAtOnce);
  for (Number end = number; end > 0 && number - end < kLookBack; end -= kAtOnce) {
    Number found = 0;
    Number after = std::max(Number{0}, end - kAtOnce);
    while (after < end) {
      const Feed feed = ledger_.changes_after(after, static_cast<std::size_t>(end - after));
      if (feed.gap && feed.gap->last <= after) return number;
      for (const engine::StoredChange& one : feed.changes) {
        if (!one.change.is_quiet && one.change.number <= end) found = one.change.number;
      }
      after = feed.gap ? feed.gap->last : std::max(after + 1, feed.through);
    }
    if (found != 0) return found;
  }
  return number;
}

MessageId Teller::send(Kind kind, const Message& message) {
  if (order_.empty()) confirmed_at_ = tools_.clock.steady();
  const MessageId id = link_.send(message);
  in_flight_.insert_or_assign(id, kind);
  order_.push_back(id);
  return id;
}

void Teller::tell_status() {
  was_engine_answering_ = tools_.is_engine_answering();
  next_status_ = tools_.clock.steady() + options_.heartbeat;
  Status status{.ledger_id = {}, .is_engine_answering = was_engine_answering_, .at = tools_.clock.wall()};
  if (is_begun()) {
    status.ledger_id = ledger_id_;
    status.number = ledger_.number();
    status.told = window_.previous();
    try {
      status.oldest_number = ledger_.oldest_number();
    } catch (const LedgerError&) {
      status.oldest_number = 0;
    }
  }
  send(Kind::kStatus,
       {.topic = topics_.status, .payload = online_payload(options_.origin, status), .is_retained = true});
}

void Teller::tell_alarms() {
  if (!is_begun()) return;
  const auto now = tools_.clock.steady();
  if (!is_round_) {
    if (is_picture_told_ && !pages_.has_changed()) return;
    if (is_picture_told_ && now < next_round_) return;
    is_round_ = true;
    round_began_ = now;
    pages_.begin_round(picture());
    report_.cut = options_.tells_list ? ledger_.alarms().size() - pages_.placed() : 0;
  }
  const auto in_flight = [&] {
    return static_cast<std::size_t>(
        std::ranges::count(in_flight_, Kind::kAlarms, &decltype(in_flight_)::value_type::second));
  };
  for (std::size_t count = in_flight(); count < kMostPagesInFlight && link_.is_up(); ++count) {
    const auto message = pages_.next(picture());
    if (!message) {
      if (in_flight() == 0) end_round();
      return;
    }
    send(Kind::kAlarms, *message);
  }
}

void Teller::end_round() {
  const auto now = tools_.clock.steady();
  is_round_ = false;
  is_picture_told_ = true;
  next_round_ = now + std::max<Steady>(kRoundPause, (now - round_began_) * kRoundShare);
}

bool Teller::has_room() const {
  // When the first message is not confirmed, those after it may be, so they are limited, too.
  return window_.unconfirmed() < link_.most_in_flight() && order_.size() < 2 * link_.most_in_flight() &&
         (options_.confirmed_by == ConfirmedBy::kBroker || window_.open() < kMostUnacknowledged);
}

void Teller::tell_changes() {
  has_more_ = false;
  if (!is_picture_told_ || !is_begun()) return;
  try {
    for (std::size_t i = 0; i < kMostAtOnce && link_.is_up() && has_room(); ++i) {
      if (read_.empty() && !read_more()) return;
      if (read_.empty()) continue;
      const engine::StoredChange& one = read_.front();
      const Number number = one.change.number;
      if (one.change.is_quiet) {
        window_.passed(number);
      } else {
        if (window_.open() == 0) ack_at_ = tools_.clock.steady();
        const Told told{.ledger_id = ledger_id_, .previous = window_.previous()};
        window_.sent(number, send(Kind::kChange, {.topic = topics_.change,
                                                  .payload = change_payload(options_.origin, one, told),
                                                  .is_retained = false}));
      }
      read_.pop_front();
      if (read_.empty() && read_through_ > number) window_.passed(read_through_);
    }
    has_more_ = has_room() && link_.is_up();
  } catch (const LedgerError&) {
    // It is told when the ledger is looked at.
    read_at_ = tools_.clock.steady() + FollowedLedger::kLook;
  }
}

// Whether there may be something to tell now.
bool Teller::read_more() {
  const auto now = tools_.clock.steady();
  if (window_.is_put_back() && window_.open() == 0) {
    tell_put_back();
    return true;
  }
  // While the alarms are being sent, nobody else looks at the ledger. One that was put back has a smaller number.
  const bool may_be_there = window_.next_after() != ledger_.number() || is_round_;
  if (!may_be_there || now < read_at_) return false;
  Feed feed = ledger_.changes_after(window_.next_after(), FollowedLedger::kAtOnce);
  if (feed.gap) {
    if (feed.gap->last <= window_.next_after()) {
      put_back_ = *feed.gap;
      tell_put_back();
    } else {
      tell_gap(*feed.gap);
    }
    return true;
  }
  read_.assign(std::make_move_iterator(feed.changes.begin()), std::make_move_iterator(feed.changes.end()));
  read_through_ = feed.through;
  if (read_.empty() && feed.through > window_.next_after()) {
    window_.passed(feed.through);
    return true;
  }
  if (read_.empty()) read_at_ = now + FollowedLedger::kLook;
  return !read_.empty();
}

void Teller::tell_gap(const Feed::Gap& gap) {
  const Told told{.ledger_id = ledger_id_, .previous = window_.previous()};
  if (window_.open() == 0) ack_at_ = tools_.clock.steady();
  window_.sent(gap.last, send(Kind::kChange, {.topic = topics_.change,
                                              .payload = gap_payload(options_.origin, gap, told),
                                              .is_retained = false}));
  // A gap that has not arrived is told again, and counts once.
  if (gap.last > lost_through_) {
    report_.lost += static_cast<std::uint64_t>(gap.last - std::max(gap.first - 1, lost_through_));
    lost_through_ = gap.last;
  }
  pages_.send_all_again();
  tools_.tell(Priority::kWarning, "The changes " + std::to_string(gap.first) + " to " + std::to_string(gap.last) +
                                      " are not in the ledger; this is told as a gap, and the alarms are told again");
}

// The ledger was put back to an earlier state, and goes on before the gap.
void Teller::tell_put_back() {
  ack_at_ = tools_.clock.steady();
  // By this number it differs from a gap that is told twice, and from one of changes that are gone.
  const Told told{.ledger_id = ledger_id_, .previous = put_back_.last};
  window_.put_back(put_back_.first - 1, send(Kind::kChange, {.topic = topics_.change,
                                                             .payload = gap_payload(options_.origin, put_back_, told),
                                                             .is_retained = false}));
  lost_through_ = std::min(lost_through_, put_back_.first - 1);
  read_.clear();
  pages_.send_all_again();
  tools_.tell(Priority::kWarning, "The ledger was put back to an earlier state; that the changes " +
                                      std::to_string(put_back_.first) + " to " + std::to_string(put_back_.last) +
                                      " are not valid any more is told as a gap, and the alarms are told again");
}

void Teller::tell_replays() {
  if (!is_begun() || replays_.is_idle() || !is_picture_told_ || !link_.is_up()) return;
  try {
    const std::size_t most = std::max<std::size_t>(1, link_.most_in_flight() / 4);
    has_more_ = replays_.go_on(most) || has_more_;
  } catch (const LedgerError&) {
    // It is tried again.
  }
}

void Teller::tell_actions() {
  if (link_.is_up()) actions_.tell();
}

void Teller::look_at_time() {
  const auto now = tools_.clock.steady();
  if (!order_.empty() && now - confirmed_at_ > kConfirmWithin) {
    link_.drop("the broker has not confirmed a message for " + std::to_string(kConfirmWithin.count()) + " s");
    return;
  }
  if (options_.confirmed_by == ConfirmedBy::kBroker || window_.open() == 0 || window_.unconfirmed() != 0) return;
  if (now - ack_at_ < ack_pause_) return;
  tools_.tell(Priority::kWarning, "The collector has acknowledged nothing for " + std::to_string(ack_pause_.count()) +
                                      " s; the changes after number " + std::to_string(window_.through()) +
                                      " are told again");
  // It may have, and what it said did not come.
  link_.subscribe_again();
  ack_pause_ = std::min(kLongestAckPause, ack_pause_ * 2);
  ack_at_ = now;
  window_.again();
  read_.clear();
}

void Teller::arrived(std::size_t changes) {
  if (changes == 0) return;
  report_.told += changes;
  report_.last_success = tools_.clock.wall();
  tools_.is_of_use();
}

void Teller::on_up() {
  in_flight_.clear();
  order_.clear();
  is_round_ = false;
  is_picture_told_ = false;
  next_status_ = Steady{};
  window_.again();
  read_.clear();
  replays_.again();
  actions_.again();
  pages_.send_all_again();
  ack_at_ = tools_.clock.steady();
  tell_status();
  tools_.ask_for_kept(topics_.alarms);
}

void Teller::on_down(const std::string& /*why*/) {
  in_flight_.clear();
  order_.clear();
  is_round_ = false;
}

// The broker has answered to a message.
void Teller::settled(MessageId id) {
  in_flight_.erase(id);
  for (; !order_.empty() && !in_flight_.contains(order_.front()); order_.pop_front()) {
    confirmed_at_ = tools_.clock.steady();
  }
}

void Teller::on_confirmed(MessageId id) {
  settled(id);
  if (replays_.confirmed(id) || actions_.confirmed(id)) return;
  arrived(window_.confirmed(id));
}

void Teller::on_refused(MessageId id, const std::string& why) {
  const auto found = in_flight_.find(id);
  if (replays_.refused(id)) {
    settled(id);
    warn(topics_.replayed, options_.peer + ": the broker refuses a message of '" + topics_.replayed + "': " + why +
                               "; the replay is given up");
    return;
  }
  if (actions_.refused(id)) {
    settled(id);
    warn(topics_.acted, options_.peer + ": the broker refuses a message of '" + topics_.acted + "': " + why +
                            "; whoever acted is not told what became of it");
    return;
  }
  if (found == in_flight_.end()) return;
  const std::string& topic = found->second == Kind::kChange   ? topics_.change
                             : found->second == Kind::kStatus ? topics_.status
                                                              : topics_.alarms;
  link_.drop("the broker refuses a message of '" + topic + "': " + why);
}

void Teller::on_message(std::string_view topic, std::string_view payload, bool is_retained) {
  if (topic == topics_.alarms) {
    if (!is_retained) return;
    try {
      pages_.remove_unused(parse_kept_pages(payload));
    } catch (const BadMessage&) {
      // Somebody else wrote it. It is overwritten.
    }
  } else if (is_retained) {
    // What is asked for is asked for now; a message that the broker keeps would come with each connection.
    warn(std::string(topic),
         "A message of '" + std::string(topic) + "' is retained, and is ignored; publish it without that");
  } else if (topic == topics_.ack) {
    take_ack(payload);
  } else if (topic == topics_.replay) {
    replays_.take(payload, ledger_id_);
  } else if (topic == topics_.action) {
    take_action(payload);
  }
}

void Teller::take_action(std::string_view payload) {
  if (!options_.accepts_actions) return;
  try {
    actions_.take(payload);
  } catch (const BadMessage& error) {
    warn(topics_.action, "A message of '" + topics_.action + "' is ignored: " + std::string(error.what()));
  }
}

void Teller::take_ack(std::string_view payload) {
  if (options_.confirmed_by != ConfirmedBy::kCollector) return;
  try {
    const Ack ack = parse_ack(payload);
    // One of the ledger before is late, and no mistake.
    if (ledger_id_.empty() || ack.ledger_id != ledger_id_) return;
    if (ack.through > std::max(ledger_.number(), window_.next_after())) {
      take_ack_beyond_end(ack.through);
      return;
    }
    // Whatever it has, it is there, so what it has not is soon told again.
    ack_pause_ = kAckWithin;
    if (ack.through <= window_.acknowledged_through()) return;
    ack_at_ = tools_.clock.steady();
    const Number before = window_.next_after();
    arrived(window_.acknowledged(ack.through));
    if (window_.next_after() != before) read_.clear();
  } catch (const BadMessage& error) {
    warn(topics_.ack, "A message of '" + topics_.ack + "' is ignored: " + std::string(error.what()));
  }
}

// The collector has changes that the ledger does not have: the ledger was put back to an earlier state while nobody
// followed it. Its cursor was put back with it, so up to there both have the same.
void Teller::take_ack_beyond_end(Number through) {
  // While the gap is on its way, what was acknowledged before it still comes.
  if (!is_begun() || window_.is_put_back()) return;
  put_back_ = {.first = window_.through() + 1, .last = through};
  tell_put_back();
}

void Teller::warn(const std::string& topic, const std::string& text) {
  const auto now = tools_.clock.steady();
  const auto found = warned_.find(topic);
  if (found != warned_.end() && now - found->second < kWarnEvery) return;
  warned_.insert_or_assign(topic, now);
  tools_.tell(Priority::kWarning, text);
}

void Teller::set_last_error(const std::string& error, std::optional<engine::Moment> at) {
  report_.last_error = error;
  report_.last_error_at = at;
}

void Teller::report() {
  if (tools_.clock.steady() < report_at_) return;
  report_now();
}

void Teller::report_now() {
  report_at_ = tools_.clock.steady() + kReportEvery;
  if (ledger_id_.empty()) return;
  report_.ledger_id = ledger_id_;
  report_.through = window_.through();
  report_.is_connected = link_.is_up();
  if (report_ == reported_) return;
  reported_ = report_;
  tools_.report(report_);
}

void Teller::say_goodbye() {
  goodbye_ = true;
  if (!link_.is_up()) return;
  send(
      Kind::kStatus,
      {.topic = topics_.status, .payload = stopped_payload(options_.origin, tools_.clock.wall()), .is_retained = true});
}

std::string Teller::summary() const {
  std::string text = link_.is_up() ? "connected to " : "not connected to ";
  text += options_.peer;
  if (!ledger_id_.empty()) {
    text += "; told up to change " + std::to_string(window_.through()) + " of " + std::to_string(ledger_.number());
  }
  return text;
}

milliseconds Teller::until_next() const {
  const auto now = tools_.clock.steady();
  if (has_more_ && link_.is_up()) return milliseconds(0);
  milliseconds next = is_round_ ? milliseconds(FollowedLedger::kLook) : ledger_.until_next();
  if (options_.accepts_actions) next = std::min(next, actions_.until_next());
  if (link_.is_up()) {
    next = std::min(next, until(next_status_, now));
    const bool has_round = !is_round_ && is_begun() && (!is_picture_told_ || pages_.has_changed());
    if (has_round) next = std::min(next, is_picture_told_ ? until(next_round_, now) : milliseconds(0));
  }
  return next;
}

}  // namespace polaiga::mqtt
