#include "agent/publisher.h"

#include <poll.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "ledger/ledger.h"

namespace polaiga::snmp {

using engine::ChangeNumber;
using std::chrono::milliseconds;

Publisher::Publisher(const Options& options, const engine::Clock& clock, Tell tell)
    : options_(options),
      clock_(clock),
      tell_(std::move(tell)),
      places_(options.enterprise),
      followed_(options.ledger, clock, tell_),
      view_(followed_.alarms()),
      changes_([this](ChangeNumber after, std::size_t most) { return followed_.changes_after(after, most); }),
      cleared_([this](ChangeNumber after, std::size_t most) { return followed_.changes_after(after, most); }),
      objects_(
          places_, view_, changes_, cleared_, [this] { return facts(); }, [this] { return last_changed_; }),
      master_(options.master(), {places_.module(), alarm_module(), itu_alarm_module()}, objects_.tree(), clock, tell_,
              output::random_number),
      notifier_(
          places_, master_, view_, clock,
          [this](ChangeNumber after, std::size_t most) { return followed_.changes_after(after, most); },
          [this] { return followed_.oldest_number(); }, tell_, std::chrono::seconds(options.heartbeat)) {}

void Publisher::go_on() {
  try {
    follow();
  } catch (const engine::LedgerError&) {
    // The ledger was read a moment ago. What is wrong with it is told when it is looked at again.
    has_more_ = false;
  }
  master_.go_on();
  try {
    // Another ledger whose cursor could not be read yet has changes of its own.
    if (has_begun()) notifier_.go_on(followed_.number());
  } catch (const engine::LedgerError&) {
    // The same.
  }
  if (master_.poll_events() != POLLIN) master_.go_on();
}

void Publisher::follow() {
  const auto seen = followed_.look();
  has_more_ = seen.has_more;
  if (!followed_.has_picture()) return;
  is_new_ = is_new_ || seen.is_new;
  if (seen.is_new) {
    view_.read_all();
  } else {
    view_.read(seen.touched);
  }
  if (!has_picture_ || view_.comings_and_goings() != comings_and_goings_) {
    if (has_picture_) last_changed_ = master_.uptime();
    comings_and_goings_ = view_.comings_and_goings();
    has_picture_ = true;
  }
  if (followed_.number() > std::numeric_limits<std::uint32_t>::max()) {
    throw LedgerIsFull(options_.ledger +
                       ": SNMP has no place for numbers of changes above 4294967295; begin a new ledger");
  }
  const bool had_begun = has_begun();
  if (!had_begun) begin_ledger();
  if (is_new_) {
    if (had_begun) notifier_.look_for_told();
    forget();
  }
  // Retention goes on for a while after the last change.
  if (followed_.number() != table_of_ || clock_.steady() >= table_at_) {
    changes_.follow(followed_.ledger_id(), followed_.oldest_number(), followed_.number());
    table_of_ = followed_.number();
    table_at_ = clock_.steady() + kLookForOldest;
  }
  read_maintenance();
  has_more_ = cleared_.read_on(followed_.number()) || has_more_;
}

void Publisher::begin_ledger() {
  const auto cursor = followed_.cursor(kName);
  notifier_.begin(followed_.ledger_id(), cursor.value_or(followed_.number()));
  ledger_id_ = followed_.ledger_id();
  tell_(engine::Priority::kInfo, cursor ? "changes after " + std::to_string(*cursor) + " are told"
                                        : "changes after " + std::to_string(followed_.number()) +
                                              " are told; what is active up to then, managers read in the tables");
}

// A ledger that was put back has the same name, and other changes under the numbers that were read before.
void Publisher::forget() {
  cleared_.begin(followed_.number());
  changes_.forget();
  table_of_ = -1;
  maintenance_of_ = -1;
  is_new_ = false;
}

void Publisher::read_maintenance() {
  if (maintenance_of_ == followed_.number() || clock_.steady() < maintenance_at_) return;
  maintenance_at_ = clock_.steady() + kLookForMaintenance;
  try {
    if (!reader_ || reader_->is_replaced()) reader_.emplace(options_.ledger);
    std::set<std::string> dns;
    for (const auto& one : reader_->maintenance()) dns.insert(one.maintenance.dn);
    view_.set_maintained(dns);
    maintenance_of_ = followed_.number();
  } catch (const engine::LedgerError&) {
    reader_.reset();
  }
}

LedgerFacts Publisher::facts() {
  LedgerFacts facts{.ledger_id = followed_.ledger_id(),
                    .last = followed_.number(),
                    .oldest = 0,
                    .told = notifier_.told_number(),
                    .problem = followed_.problem().value_or("")};
  if (!followed_.problem()) facts.oldest = followed_.oldest_number();
  return facts;
}

milliseconds Publisher::until_next() const {
  if (has_more_ || (has_begun() && master_.has_answers())) return milliseconds(0);
  milliseconds until = std::min(followed_.until_next(), master_.until_next());
  // What is due and cannot be done, since the ledger cannot be read or the master hangs, is not tried all the time.
  const auto soon = [&until](milliseconds due) { until = std::min(until, std::max(due, kNotMoreOften)); };
  soon(notifier_.until_next());
  if (maintenance_of_ != followed_.number() && followed_.has_picture()) {
    soon(std::chrono::ceil<milliseconds>(maintenance_at_ - clock_.steady()));
  }
  return until;
}

std::optional<output::Report> Publisher::report() {
  std::string error = master_.problem();
  if (error.empty() && master_.is_hanging()) error = "the master agent does not answer";
  if (error.empty() && followed_.problem()) error = *followed_.problem();
  if (error.empty() && notifier_.refused() != 0) {
    error = "the master agent refused a notification (error " + std::to_string(notifier_.refusal()) + ")";
  }
  if (error != error_now_ && !error.empty()) {
    last_error_ = error;
    last_error_at_ = clock_.wall();
  }
  error_now_ = error;
  if (ledger_id_.empty()) return std::nullopt;
  return output::Report{.publisher = kName,
                        .peer = options_.agentx,
                        .ledger_id = ledger_id_,
                        .through = notifier_.through(),
                        .is_connected = master_.is_answering(),
                        .told = notifier_.told(),
                        .lost = notifier_.lost(),
                        .cut = notifier_.cut(),
                        .last_success = notifier_.last_success(),
                        .last_error_at = last_error_at_,
                        .last_error = last_error_};
}

std::string Publisher::status() const {
  return (master_.is_answering() ? "connected, " : "not connected, ") + std::to_string(notifier_.told()) +
         " changes told";
}

}  // namespace polaiga::snmp
