#include "redfish/pusher.h"

#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/printable.h"

namespace polaiga::web {
namespace {

constexpr std::chrono::seconds kConnectWithin{5};
constexpr std::chrono::seconds kAnswerWithin{15};
constexpr std::chrono::seconds kLook{1};  // for what nobody has woken us for
constexpr std::chrono::seconds kLongestPause{3600};
constexpr std::size_t kAtOnce = 50;  // changes of one request
constexpr std::size_t kMostTests = 10;
constexpr std::size_t kMostAnswer = std::size_t{64} * 1024;  // bytes; nobody reads them

bool is_local(const in_addr& address) {
  const std::uint32_t number = ntohl(address.s_addr);
  return number >> 24U == 127 || number >> 24U == 0 || number >> 16U == 0xA9FE;  // 169.254.0.0/16: the link
}

bool is_local(const in6_addr& address) {
  if (IN6_IS_ADDR_V4MAPPED(&address) || IN6_IS_ADDR_V4COMPAT(&address)) {
    in_addr inner = {};
    std::memcpy(&inner, &address.s6_addr[12], sizeof inner);
    return is_local(inner) || IN6_IS_ADDR_LOOPBACK(&address);
  }
  return IN6_IS_ADDR_LOOPBACK(&address) || IN6_IS_ADDR_UNSPECIFIED(&address) || IN6_IS_ADDR_LINKLOCAL(&address);
}

// What a name stands for is known only now, and may change each time; so the address itself is looked at.
curl_socket_t open_socket(void* allows_local, curlsocktype /*purpose*/, curl_sockaddr* to) {
  if (!*static_cast<const bool*>(allows_local)) {
    const bool is_refused =
        (to->family == AF_INET && is_local(reinterpret_cast<const sockaddr_in*>(&to->addr)->sin_addr)) ||
        (to->family == AF_INET6 && is_local(reinterpret_cast<const sockaddr_in6*>(&to->addr)->sin6_addr));
    if (is_refused) return CURL_SOCKET_BAD;
  }
  return ::socket(to->family, to->socktype | SOCK_CLOEXEC, to->protocol);
}

std::size_t drop(char* /*data*/, std::size_t size, std::size_t count, void* received) {
  auto& bytes = *static_cast<std::size_t*>(received);
  bytes += size * count;
  return bytes > kMostAnswer ? 0 : size * count;  // 0 ends the transfer
}

}  // namespace

bool is_local_address(const std::string& address) {
  in_addr four = {};
  in6_addr six = {};
  if (::inet_pton(AF_INET, address.c_str(), &four) == 1) return is_local(four);
  return ::inet_pton(AF_INET6, address.c_str(), &six) == 1 && is_local(six);
}

// A request on its way.
class Pusher::Delivery {
 public:
  Delivery(const Subscription& to, std::string body, const PushOptions& options)
      : body_(std::move(body)), allows_local_(options.allows_local), easy_(curl_easy_init()) {
    if (easy_ == nullptr) throw std::runtime_error("libcurl has no memory for a request");
    add_header("Content-Type: application/json");
    add_header("OData-Version: 4.0");
    add_header("Expect:");  // libcurl shall not wait for leave to send the body
    for (const auto& [name, value] : to.headers) add_header(value.empty() ? name + ";" : name + ": " + value);
    set(CURLOPT_URL, to.destination.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PROXY, "");  // else the environment could lead events elsewhere
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
    set(CURLOPT_POSTFIELDS, body_.c_str());
    set(CURLOPT_HTTPHEADER, headers_);
    set(CURLOPT_USERAGENT, "polaiga-web");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a name server that hangs keeps nobody waiting at the end
    set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(kConnectWithin.count()));
    set(CURLOPT_TIMEOUT, static_cast<long>(kAnswerWithin.count()));
    set(CURLOPT_SSL_VERIFYPEER, to.verifies_certificate ? 1L : 0L);
    set(CURLOPT_SSL_VERIFYHOST, to.verifies_certificate ? 2L : 0L);
    set(CURLOPT_OPENSOCKETFUNCTION, &open_socket);
    set(CURLOPT_OPENSOCKETDATA, &allows_local_);
    set(CURLOPT_WRITEFUNCTION, &drop);
    set(CURLOPT_WRITEDATA, &received_);
    set(CURLOPT_ERRORBUFFER, complaint_);
    set(CURLOPT_PRIVATE, this);
  }
  ~Delivery() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(headers_);
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  CURL* easy() const { return easy_; }

  // Why it was not delivered; "": it was.
  std::string problem(CURLcode result) const {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    // Whoever took the events has them, also when he says more than we read.
    if (status >= 200 && status < 300 && (result == CURLE_OK || received_ > kMostAnswer)) return "";
    if (result != CURLE_OK && received_ <= kMostAnswer) {
      return complaint_[0] != '\0' ? complaint_ : curl_easy_strerror(result);
    }
    return "the status " + std::to_string(status) + " was answered";
  }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    if (curl_easy_setopt(easy_, option, value) != CURLE_OK) throw std::runtime_error("libcurl does not take an option");
  }

  void add_header(const std::string& line) {
    curl_slist* const longer = curl_slist_append(headers_, line.c_str());
    if (longer == nullptr) throw std::runtime_error("libcurl has no memory for a header");
    headers_ = longer;
  }

  std::string body_;
  bool allows_local_;
  CURL* easy_;
  curl_slist* headers_ = nullptr;
  std::size_t received_ = 0;
  char complaint_[CURL_ERROR_SIZE] = {};
};

// How it goes with a subscription.
struct Pusher::Way {
  std::unique_ptr<Delivery> delivery;  // null: nothing is on its way
  bool is_test = false;
  EventCursor through;  // where the subscription is when that is delivered
  unsigned failures = 0;
  Steady::time_point next{};  // not before this
};

Pusher::Pusher(LiveLedger& live, SubscriptionStore& store, PushOptions options, Tell tell)
    : live_(live), store_(store), options_(options), tell_(std::move(tell)), multi_(nullptr) {
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
    hurries_[id] = true;
  }
  wake();
}

std::string Pusher::trouble_of(const std::string& id) const {
  const std::lock_guard lock(mutex_);
  const auto found = troubles_.find(id);
  return found == troubles_.end() ? "" : found->second;
}

void Pusher::run() {
  while (!is_over_) {
    forget_removed();
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
        begin(one, *way);
      } catch (const std::exception& error) {
        way->next = now + kLook;  // the ledger cannot be read, for example
        const std::lock_guard lock(mutex_);
        troubles_[one.id] = error.what();
      }
    }
    int running = 0;
    curl_multi_perform(multi_, &running);
    bool is_done = false;
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      for (auto& [id, way] : ways_) {
        if (!way->delivery || way->delivery->easy() != message->easy_handle) continue;
        const std::string problem = way->delivery->problem(message->data.result);
        curl_multi_remove_handle(multi_, way->delivery->easy());
        way->delivery.reset();
        finish(id, *way, problem);
        is_done = true;
        break;
      }
    }
    if (is_done) continue;  // there may be more for whoever took something
    curl_multi_poll(multi_, nullptr, 0, static_cast<int>(std::chrono::milliseconds(kLook).count()), nullptr);
  }
}

void Pusher::begin(const Subscription& subscription, Way& way) {
  EventCursor cursor = subscription.cursor;
  std::vector<EventRecord> events;
  {
    const std::lock_guard lock(mutex_);
    const auto found = tests_.find(subscription.id);
    way.is_test = found != tests_.end() && !found->second.empty();
    if (way.is_test) events.push_back(found->second.front());
  }
  while (events.empty()) {
    EventsRead read = read_events(live_, cursor, kAtOnce);
    if (read.through == cursor) return;  // nothing has happened
    cursor = std::move(read.through);
    std::erase_if(read.events, [&](const EventRecord& event) { return !subscription.wants(event); });
    events = std::move(read.events);
    if (events.empty()) store_.pass(subscription.id, cursor);
  }
  way.through = std::move(cursor);
  way.delivery = std::make_unique<Delivery>(subscription, event_payload(events, subscription.context), options_);
  curl_multi_add_handle(multi_, way.delivery->easy());
}

void Pusher::finish(const std::string& id, Way& way, const std::string& problem) {
  const auto subscription = store_.find(id);
  if (!subscription) return;
  if (!problem.empty()) return fail(*subscription, way, problem);
  if (way.failures > 0) tell_("Events reach '" + engine::printable(subscription->destination) + "' again");
  way.failures = 0;
  {
    const std::lock_guard lock(mutex_);
    troubles_.erase(id);
    if (way.is_test) tests_[id].pop_front();
  }
  if (way.is_test) return;
  try {
    store_.advance(id, way.through);
  } catch (const std::exception& error) {
    tell_(std::string(error.what()) + "; after a restart, events may be pushed a second time");
  }
}

void Pusher::fail(const Subscription& subscription, Way& way, const std::string& problem) {
  ++way.failures;
  way.next = Steady::now() + pause_of(subscription, way.failures);
  const std::string where = "'" + engine::printable(subscription.destination) + "'";
  {
    const std::lock_guard lock(mutex_);
    troubles_[subscription.id] = engine::printable(problem);
  }
  if (way.failures == 1) tell_("Events cannot be pushed to " + where + ": " + problem + ". It is tried again");
  const bool gives_up =
      subscription.policy == RetryPolicy::kTerminateAfterRetries || subscription.policy == RetryPolicy::kSuspendRetries;
  if (!gives_up || way.failures <= options_.retry_attempts) return;
  try {
    if (subscription.policy == RetryPolicy::kTerminateAfterRetries) {
      store_.remove(subscription.id);
      tell_("The subscription " + subscription.id + " to " + where +
            " is deleted, because events cannot be pushed: " + problem);
    } else {
      store_.set_suspended(subscription.id, true);
      way.failures = 0;
      tell_("The subscription " + subscription.id + " to " + where +
            " is suspended, because events cannot be pushed: " + problem);
    }
  } catch (const std::exception& error) {
    tell_(error.what());  // it is tried again at the next failure
  }
}

Pusher::Steady::duration Pusher::pause_of(const Subscription& subscription, unsigned failures) const {
  constexpr unsigned kMostDoublings = 12;
  const auto first = std::chrono::duration_cast<Steady::duration>(options_.retry_interval);
  if (subscription.policy != RetryPolicy::kRetryForeverWithBackoff) return first;
  const auto factor = 1U << std::min(failures - 1, kMostDoublings);
  return std::min<Steady::duration>(first * factor, std::max<Steady::duration>(first, kLongestPause));
}

void Pusher::forget_removed() {
  const auto is_gone = [&](const auto& entry) { return !store_.find(entry.first); };
  for (auto way = ways_.begin(); way != ways_.end();) {
    if (!is_gone(*way)) {
      ++way;
      continue;
    }
    if (way->second->delivery) curl_multi_remove_handle(multi_, way->second->delivery->easy());
    way = ways_.erase(way);
  }
  const std::lock_guard lock(mutex_);
  std::erase_if(tests_, is_gone);
  std::erase_if(troubles_, is_gone);
  std::erase_if(hurries_, is_gone);
}

}  // namespace polaiga::web
