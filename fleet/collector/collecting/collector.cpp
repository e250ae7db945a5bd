#include "collecting/collector.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>
#include <variant>

#include "amqp/topology.h"
#include "database/schema.h"
#include "model/moment.h"
#include "publisher/back_off.h"

namespace polaiga::fleet {

using engine::Priority;
using std::chrono::milliseconds;

Collector::Collector(Options options, Database& database, const engine::Clock& clock, Say say)
    : options_(std::move(options)),
      database_(database),
      clock_(clock),
      say_(std::move(say)),
      intake_(database),
      duties_(database),
      pace_(clock),
      silence_watch_(options_.silent_after) {
  counts_.name = options_.name;
  counts_.begun = clock_.wall();
  counts_.version = POLAIGA_VERSION;
  dues_ = {
      {.name = "the sharing of the inboxes", .every = kBalanceEvery, .work = [this] { share_->balance(); }},
      {.name = "the search for groups",
       .every = kGroupEvery,
       .work = [this] { duties_.find_groups(options_.group_window); }},
      {.name = "the sending of actions", .every = kActionsEvery, .work = [this] { publish(duties_.due_actions()); }},
      {.name = "the asking for what is missing",
       .every = kAskEvery,
       .work = [this] { publish(duties_.due_requests()); }},
      {.name = "the search for silent controllers", .every = kSilenceEvery, .work = [this] { look_for_silence(); }},
      {.name = "the report", .every = kReportEvery, .work = [this] { report(); }},
      {.name = "the putting back of ledgers", .every = kPutBackEvery, .work = [this] { publish(duties_.put_back()); }},
      {.name = "the deleting of what is too old", .every = kTidySoon, .work = [this] { tidy(); }}};
}

void Collector::begin() {
  const std::string problem = schema_problem(database_);
  if (!problem.empty()) throw DatabaseRefuses(problem);
  // Without partitions nothing could be written.
  tidy_at_ = clock_.steady();
  try {
    tidy();
  } catch (const DatabaseSlow& error) {
    duties_.report(counts_);  // it throws when the database is away
    say_(Priority::kWarning, std::string(error.what()) + ". What is too old is deleted later");
  }
  const std::vector<BrokerNode>& nodes = options_.broker.nodes;
  const BrokerNode& node = nodes.at(output::random_number() % nodes.size());
  auto reading = std::make_unique<Connection>(options_.broker, node);
  make_topology(*reading, options_.inboxes);
  if (has_more_inboxes(*reading, options_.inboxes)) {
    say_(Priority::kWarning,
         "there is a queue " + inbox_name(options_.inboxes) + ", but --queues is " + std::to_string(options_.inboxes) +
             ": what controllers send goes there, too, and is not read; give all collectors the same "
             "greater --queues, or delete the queues from that number on");
  }
  answering_ = std::make_unique<Connection>(options_.broker, node);
  burying_ = std::make_unique<Connection>(options_.broker, node);
  burying_->expect_confirms();
  share_.emplace(*reading, options_.inboxes, output::random_number);
  reading_ = std::move(reading);
  silence_watch_.begin_anew();
  for (Due& due : dues_) due.at = clock_.steady();
  say_(Priority::kInfo, node.text() + ": connected");
}

void Collector::end() {
  held_.clear();
  held_deliveries_.clear();
  acknowledged_ = 0;
  was_blocked_ = false;
  share_.reset();
  reading_.reset();
  answering_.reset();
  burying_.reset();
}

Batch Collector::gather() {
  Batch batch;
  std::size_t bytes = 0;
  std::optional<Steady> until;
  while (batch.messages < kMostInBatch && bytes < kMostBytesInBatch) {
    const milliseconds left =
        until ? std::chrono::duration_cast<milliseconds>(*until - clock_.steady()) : milliseconds(kWait);
    if (left.count() < 0) break;
    const auto delivery = reading_->next(left);
    if (!delivery) {
      share_->ended(reading_->ended_consumers());
      break;
    }
    if (!until) until = clock_.steady() + kGather;
    bytes += delivery->body.size();
    const auto route = parse_routing_key(delivery->routing_key);
    if (route && !pace_.takes(route->sender)) {
      batch.pass_over(*delivery);
    } else {
      batch.add(*delivery);
    }
  }
  return batch;
}

// While the broker takes no messages they are left out, or this would wait until it does; it would wait for the inboxes
// to be emptied. Acknowledgements come again with the next repeat, requests and actions after a while.
void Collector::publish(const std::vector<Answer>& answers) {
  if (answering_->is_blocked()) return;
  for (const Answer& answer : answers) {
    answering_->publish(kTopics, routing_key(answer.sender, answer.kind), answer.payload);
  }
}

// What the broker does not take now is held, and its deliveries are not acknowledged.
void Collector::bury(const std::vector<DeadLetter>& letters) {
  if (letters.empty()) return;
  if (burying_->is_blocked()) {
    if (held_deliveries_.size() + letters.size() > kMostHeld) {
      throw BrokerAway(burying_->node().text() + ": it takes no messages, and " +
                       std::to_string(held_deliveries_.size()) + " dead letters wait already");
    }
    held_.insert(held_.end(), letters.begin(), letters.end());
  } else {
    send(letters);
    if (burying_->wait_for_confirms()) return;
  }
  for (const DeadLetter& letter : letters) held_deliveries_.insert(letter.tag);
}

void Collector::send(const std::vector<DeadLetter>& letters) {
  const std::string at = engine::format_moment(clock_.wall());
  for (const DeadLetter& letter : letters) {
    burying_->publish("", kDeadLetters, letter.body,
                      {{.name = "reason", .text = letter.reason},
                       {.name = "routing-key", .text = letter.routing_key},
                       {.name = "collector", .text = options_.name},
                       {.name = "at", .text = at}});
  }
  counts_.dead_letters += letters.size();
}

void Collector::acknowledge(std::uint64_t through) {
  if (held_deliveries_.empty()) {
    reading_->acknowledge(through);
  } else {
    for (std::uint64_t tag = acknowledged_ + 1; tag <= through; ++tag) {
      if (!held_deliveries_.contains(tag)) reading_->acknowledge_one(tag);
    }
  }
  acknowledged_ = through;
}

void Collector::look_at_broker() {
  answering_->look();
  burying_->look();
  const bool is_blocked = answering_->is_blocked() || burying_->is_blocked();
  if (std::exchange(was_blocked_, is_blocked) != is_blocked) {
    say_(Priority::kWarning,
         reading_->node().text() +
             (is_blocked ? ": the broker takes no messages, since it has too little memory or disk. Its inboxes are "
                           "emptied meanwhile; what was taken is acknowledged to controllers when they tell it again"
                         : ": the broker takes messages again"));
  }
  if (held_deliveries_.empty() || burying_->is_blocked()) return;
  send(std::exchange(held_, {}));
  if (!burying_->wait_for_confirms()) return;
  for (const std::uint64_t tag : std::exchange(held_deliveries_, {})) reading_->acknowledge_one(tag);
}

// When the database refuses what one message says, or takes too long for it, the others are taken without it.
Taken Collector::take(const Batch& batch, std::size_t first, std::size_t count, std::chrono::seconds within) {
  std::span<const Received> part = std::span(batch.received).subspan(first, count);
  const auto rests = [this](const Received& one) { return pace_.rests(one.sender); };
  std::vector<Received> others;
  if (std::ranges::any_of(part, rests)) {
    std::ranges::remove_copy_if(part, std::back_inserter(others), rests);
    part = others;
  }
  try {
    return intake_.take(part, within);
  } catch (const DatabaseSlow& error) {
    // A database that takes a little at once is not away.
    duties_.report(counts_);
    if (count == 1) return rest(batch.received.at(first), error.what(), kRestOfSlow);
    within = std::min(within, kPartWithin);
  } catch (const RowConflicts& error) {
    if (count == 1) return rest(batch.received.at(first), error.what());
  } catch (const RowRefused& error) {
    if (count == 1) return take_in_place_of(batch, first, error.what());
  }
  Taken taken = take(batch, first, count / 2, within);
  Taken more = take(batch, first + count / 2, count - count / 2, within);
  taken.answers.insert(taken.answers.end(), more.answers.begin(), more.answers.end());
  taken.changes += more.changes;
  taken.repeats += more.repeats;
  taken.early += more.early;
  return taken;
}

// The message may be a good one, so it is not thrown away: it is passed over, and comes again. Others are taken.
Taken Collector::rest(const Received& refused, const std::string& reason, std::chrono::seconds how_long) {
  note_problem(reason);
  say_(Priority::kError, reason + ". Nothing is taken of " + refused.sender.site + "/" + refused.sender.controller +
                             " for " + std::to_string(how_long.count()) + " s, and its changes come again after that");
  pace_.rest(refused.sender, how_long);
  return {};
}

// The message is a dead letter. In the place of a change a gap is noted, so that those that follow are taken.
Taken Collector::take_in_place_of(const Batch& batch, std::size_t refused, const std::string& reason) {
  DeadLetter letter = batch.originals.at(refused);
  letter.reason = reason;
  const Received& message = batch.received.at(refused);
  const auto* const change = std::get_if<ChangeMessage>(&message.message);
  if (change == nullptr) {
    bury({letter});
    return {};
  }
  const Received gap{.sender = message.sender,
                     .message = GapMessage{.ledger_id = change->ledger_id,
                                           .first = change->number,
                                           .last = change->number,
                                           .previous = change->previous}};
  Taken taken;
  try {
    taken = intake_.take(std::span(&gap, 1));
  } catch (const RowRefused& error) {
    return rest(message, error.what());
  } catch (const DatabaseSlow& error) {
    duties_.report(counts_);
    return rest(message, error.what(), kRestOfSlow);
  }
  bury({letter});
  return taken;
}

void Collector::keep(const Batch& batch) {
  // What cannot be taken comes again, and with it what is buried.
  const Taken taken = batch.received.empty() ? Taken{} : take(batch, 0, batch.received.size(), Database::kAnswerWithin);
  bury(batch.dead_letters);
  publish(taken.answers);
  acknowledge(batch.last_tag);
  counts_.messages += batch.messages;
  counts_.changes += taken.changes;
  counts_.repeats += taken.repeats;
  counts_.early += taken.early;
  passed_over_ += batch.passed_over;
}

void Collector::look_for_silence() {
  const auto database_now = duties_.now();
  if (!silence_watch_.may_judge(share_->is_all_read(), clock_.steady(), database_now)) return;
  duties_.find_silent(options_.silent_after, database_now);
}

void Collector::report() {
  counts_.queues = static_cast<int>(share_->held().size());
  duties_.report(counts_);
  if (passed_over_ == 0) return;
  say_(Priority::kWarning,
       std::to_string(std::exchange(passed_over_, 0)) +
           " messages of controllers that send too much were passed over; their changes are asked for again");
}

void Collector::tidy() {
  if (clock_.steady() < tidy_at_) return;
  tidy_at_ = clock_.steady() + kTidySoon;
  const bool is_more = duties_.tidy(options_.keep_changes, options_.keep_alarms).is_more;
  if (!is_more) tidy_at_ = clock_.steady() + kTidyEvery;
}

void Collector::warn_of_duty(Due& due, const std::string& problem) {
  note_problem(problem);
  if (std::exchange(due.said, problem) == problem) return;
  say_(Priority::kWarning, problem + ". It is tried again; messages are taken meanwhile");
}

// What the database refuses of one duty, or takes too long for, keeps neither the others nor the taking of messages
// back.
void Collector::do_duties() {
  for (Due& due : dues_) {
    if (clock_.steady() < due.at) continue;
    try {
      due.work();
      due.said.clear();
    } catch (const DatabaseSlow& error) {
      duties_.report(counts_);  // it throws when the database is away
      warn_of_duty(due, std::string(error.what()) + ". That was " + due.name);
      due.at = clock_.steady() + kSlowDutyEvery;
      return;  // messages have waited for long enough
    } catch (const DatabaseRefuses& error) {
      warn_of_duty(due, error.what());
    }
    due.at = clock_.steady() + due.every;
  }
}

void Collector::go_on() {
  const Batch batch = gather();
  if (batch.last_tag != 0) keep(batch);
  do_duties();
  look_at_broker();
}

void Collector::note_problem(const std::string& problem) {
  counts_.last_problem = problem;
  counts_.last_problem_at = clock_.wall();
}

std::string Collector::summary() const {
  if (!has_begun()) return "waits: " + counts_.last_problem;
  return "reads " + std::to_string(share_->held().size()) + " of " + std::to_string(options_.inboxes) + " inboxes at " +
         reading_->node().text() + ", has taken " + std::to_string(counts_.changes) + " changes";
}

}  // namespace polaiga::fleet
