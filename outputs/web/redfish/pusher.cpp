#include "redfish/pusher.h"

#include <curl/curl.h>

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/printable.h"
#include "redfish/delivery.h"

namespace polaiga::web {

using engine::Priority;

namespace {

constexpr std::chrono::seconds kLook{1};  // after which it is looked for something new, though nobody called wake()
constexpr std::chrono::seconds kLongestPause{3600};
constexpr std::chrono::seconds kLastMoment{3};    // for what is on its way at the end
constexpr std::chrono::seconds kStoreAgain{5};    // after the state file could not be written
constexpr std::chrono::seconds kStorePassed{60};  // for subscriptions that only passed changes they do not want
constexpr std::size_t kMostChanges = 50;          // of one request
constexpr std::size_t kMostTests = 10;

}  // namespace

// How it goes with a subscription.
struct Pusher::Way {
  std::unique_ptr<Delivery> delivery;  // null: nothing is on its way
  bool is_test = false;
  EventCursor through;  // where the subscription is when that is delivered
  unsigned failures = 0;
  Steady::time_point next{};  // not before this
};

Pusher::Pusher(LiveLedger& live, SubscriptionStore& store, PushOptions options, Tell tell)
    : live_(live), store_(store), options_(options), tell_(std::move(tell)) {
  static const CURLcode kReady = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (kReady != CURLE_OK) throw std::runtime_error("libcurl cannot be used");
  multi_ = curl_multi_init();
  if (multi_ == nullptr) throw std::runtime_error("libcurl has no memory");
  thread_ = std::thread([this] { run(); });
}

Pusher::~Pusher() {
  is_over_ = true;
  wake();
  thread_.join();
  for (auto& [id, way] : ways_) {
    if (way->delivery) curl_multi_remove_handle(multi_, way->delivery->easy());
  }
  ways_.clear();
  curl_multi_cleanup(multi_);
}

void Pusher::wake() { curl_multi_wakeup(multi_); }

bool Pusher::test(const EventRecord& event) {
  bool is_complete = true;
  {
    const std::lock_guard lock(mutex_);
    for (const Subscription& one : store_.all()) {
      if (one.is_suspended) continue;
      auto& tests = tests_[one.id];
      if (tests.size() < kMostTests) {
        tests.push_back(event);
      } else {
        is_complete = false;
      }
    }
  }
  wake();
  return is_complete;
}

void Pusher::retry_now(const std::string& id) {
  {
    const std::lock_guard lock(mutex_);
    hurries_.insert(id);
  }
  wake();
}

std::string Pusher::trouble_of(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  const auto found = troubles_.find(id);
  return found == troubles_.end() ? "" : found->second;
}

void Pusher::run() {
  const auto wait = [this](std::chrono::milliseconds longest) {
    curl_multi_poll(multi_, nullptr, 0, static_cast<int>(longest.count()), nullptr);
  };
  while (!is_over_) {
    forget_removed();
    const bool is_there_more = begin_all();
    const bool is_done = finish_all();
    store(is_done);
    if (!is_there_more && !is_done) wait(kLook);
  }
  constexpr std::chrono::milliseconds kStep{100};
  const auto end = Steady::now() + kLastMoment;
  while (has_deliveries() && Steady::now() < end) {
    if (!finish_all()) wait(kStep);
  }
  store(true);
}

// Whether there is more to read for one that has nothing on its way yet.
bool Pusher::begin_all() {
  bool is_there_more = false;
  const auto now = Steady::now();
  for (const Subscription& one : store_.all()) {
    auto& way = ways_[one.id];
    if (!way) way = std::make_unique<Way>();
    {
      const std::lock_guard lock(mutex_);
      if (hurries_.erase(one.id) != 0) {
        way->failures = 0;
        way->next = now;
      }
    }
    if (way->delivery || one.is_suspended || way->next > now) continue;
    try {
      is_there_more = begin(one, *way) || is_there_more;
    } catch (const std::exception& error) {
      way->next = now + kLook;  // the ledger cannot be read, for example
      const std::lock_guard lock(mutex_);
      troubles_[one.id] = error.what();
    }
  }
  return is_there_more;
}

// Reads the ledger once only, so that a subscription that wants few of many changes keeps nobody else waiting.
bool Pusher::begin(const Subscription& subscription, Way& way) {
  std::vector<EventRecord> events;
  way.through = subscription.cursor;
  {
    const std::lock_guard lock(mutex_);
    const auto found = tests_.find(subscription.id);
    way.is_test = found != tests_.end() && !found->second.empty();
    if (way.is_test) events.push_back(found->second.front());
  }
  if (events.empty()) {
    EventsRead read = read_events(live_, subscription.cursor, kMostChanges);
    if (way.failures == 0) {  // what there was is over: the ledger can be read
      const std::lock_guard lock(mutex_);
      troubles_.erase(subscription.id);
    }
    if (read.through == subscription.cursor) return false;  // nothing has happened
    way.through = std::move(read.through);
    events = std::move(read.events);
    std::erase_if(events, [&](const EventRecord& event) { return !subscription.wants(event); });
    if (events.empty()) {
      store_.advance(subscription.id, way.through);
      return true;
    }
  }
  auto delivery =
      std::make_unique<Delivery>(subscription, event_payload(events, subscription.context), options_.allows_local);
  if (curl_multi_add_handle(multi_, delivery->easy()) != CURLM_OK) {
    throw std::runtime_error("libcurl does not take a request");
  }
  way.delivery = std::move(delivery);
  return false;
}

// Whether something has arrived or failed.
bool Pusher::finish_all() {
  int running = 0;
  curl_multi_perform(multi_, &running);
  bool is_done = false;
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const auto found = std::ranges::find_if(ways_, [&](const auto& entry) {
      return entry.second->delivery && entry.second->delivery->easy() == message->easy_handle;
    });
    if (found == ways_.end()) continue;
    Way& way = *found->second;
    const std::string problem = engine::printable(way.delivery->problem(message->data.result));
    curl_multi_remove_handle(multi_, way.delivery->easy());
    way.delivery.reset();
    finish(found->first, way, problem);
    is_done = true;
  }
  return is_done;
}

void Pusher::finish(const std::string& id, Way& way, const std::string& problem) {
  const auto subscription = store_.find(id);
  if (!subscription) return;
  if (!problem.empty()) return fail(*subscription, way, problem);
  if (way.failures > 0)
    tell_(Priority::kInfo, "Events reach " + engine::in_quotes(subscription->destination) + " again");
  way.failures = 0;
  store_.advance(id, way.through);
  const std::lock_guard lock(mutex_);
  troubles_.erase(id);
  if (way.is_test) tests_[id].pop_front();
}

void Pusher::fail(const Subscription& subscription, Way& way, const std::string& problem) {
  ++way.failures;
  way.next = Steady::now() + pause_of(subscription, way.failures);
  {
    const std::lock_guard lock(mutex_);
    troubles_[subscription.id] = problem;
  }
  if (way.failures == 1) {
    tell_(Priority::kWarning, "Events cannot be pushed to " + engine::in_quotes(subscription.destination) + ": " +
                                  problem + ". They are kept, and it is tried again");
  }
  const bool gives_up =
      subscription.policy == RetryPolicy::kTerminateAfterRetries || subscription.policy == RetryPolicy::kSuspendRetries;
  if (gives_up && way.failures > options_.retry_attempts) give_up(subscription, problem);
}

void Pusher::give_up(const Subscription& subscription, const std::string& problem) {
  const bool is_deleted = subscription.policy == RetryPolicy::kTerminateAfterRetries;
  try {
    if (is_deleted) {
      store_.remove(subscription.id);
    } else {
      store_.set_suspended(subscription.id, true);
    }
  } catch (const std::exception& error) {
    return tell_of_storage(error.what());  // it is tried again at the next failure
  }
  tell_of_storage("");
  tell_(
      Priority::kWarning,
      "The subscription " + subscription.id + " to " + engine::in_quotes(subscription.destination) + " is " +
          (is_deleted ? "deleted" : "suspended") + ", because events cannot be pushed: " + problem +
          (is_deleted ? ". Its client has to subscribe again" : ". An operator has to resume it (ResumeSubscription)"));
}

// Writes how far subscriptions have come: at once, or when it is time.
void Pusher::store(bool at_once) {
  const auto now = Steady::now();
  const bool is_time = now >= next_store_;
  if (!is_time && (!at_once || !storage_problem_.empty()) && !is_over_) return;
  next_store_ = now + kStorePassed;
  try {
    if (store_.flush()) tell_of_storage("");
  } catch (const std::exception& error) {
    tell_of_storage(error.what());
  }
}

// A disk that stays full is told of once, and once when it is not any more.
void Pusher::tell_of_storage(const std::string& problem) {
  if (!problem.empty()) next_store_ = Steady::now() + kStoreAgain;
  if (problem == std::exchange(storage_problem_, problem)) return;
  if (problem.empty()) {
    tell_(Priority::kInfo, "The subscriptions to events can be written again");
  } else {
    tell_(Priority::kError,
          problem + ". Events are pushed all the same, but some may come a second time after a restart");
  }
}

void Pusher::forget_removed() {
  const auto is_gone = [&](const auto& id) { return !store_.find(id); };
  for (auto way = ways_.begin(); way != ways_.end();) {
    if (!is_gone(way->first)) {
      ++way;
      continue;
    }
    if (way->second->delivery) curl_multi_remove_handle(multi_, way->second->delivery->easy());
    way = ways_.erase(way);
  }
  const std::lock_guard lock(mutex_);
  std::erase_if(tests_, [&](const auto& entry) { return is_gone(entry.first); });
  std::erase_if(troubles_, [&](const auto& entry) { return is_gone(entry.first); });
  std::erase_if(hurries_, is_gone);
}

bool Pusher::has_deliveries() const {
  return std::ranges::any_of(ways_, [](const auto& entry) { return entry.second->delivery != nullptr; });
}

Pusher::Steady::duration Pusher::pause_of(const Subscription& subscription, unsigned failures) const {
  constexpr unsigned kMostDoublings = 12;
  const auto first = std::chrono::duration_cast<Steady::duration>(options_.retry_interval);
  if (subscription.policy != RetryPolicy::kRetryForeverWithBackoff) return first;
  const auto factor = 1U << std::min(failures - 1, kMostDoublings);
  return std::min<Steady::duration>(first * factor, std::max<Steady::duration>(first, kLongestPause));
}

}  // namespace polaiga::web
