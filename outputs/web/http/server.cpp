#include "http/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <unordered_set>
#include <vector>

#include "base/printable.h"
#include "http/answers.h"
#include "http/deadlines.h"
#include "http/letters.h"
#include "http/network.h"
#include "http/protection.h"

namespace polaiga::web {
namespace {

// A stream is asked again after such a time, so that it can look at the clock.
constexpr std::chrono::seconds kHeartbeat{1};

constexpr const char* kTlsVersions = "NORMAL:-VERS-TLS-ALL:+VERS-TLS1.3:+VERS-TLS1.2";

constexpr std::size_t kStreamBlock = 4096;

// What goes wrong again and again is told once in such a time.
constexpr std::chrono::minutes kBetweenComplaints{1};

// Whether the peer will send no more, as when it has closed the connection. A client could close its own direction of
// the connection and still read a stream. No browser does that, and there is no other sign of a client that went away.
bool has_gone(int fd) {
  pollfd peer{.fd = fd, .events = POLLRDHUP, .revents = 0};
  return ::poll(&peer, 1, 0) > 0;
}

Method method_of(std::string_view word) {
  constexpr std::pair<std::string_view, Method> kMethods[] = {{"GET", Method::kGet},
                                                              {"HEAD", Method::kHead},
                                                              {"POST", Method::kPost},
                                                              {"PATCH", Method::kPatch},
                                                              {"DELETE", Method::kDelete}};
  const auto* const found = std::ranges::find(kMethods, word, &std::pair<std::string_view, Method>::first);
  return found == std::end(kMethods) ? Method::kOther : found->second;
}

std::string address_text(const sockaddr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (address.sa_family == AF_INET) {
    ::inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in&>(address).sin_addr, text.data(), text.size());
  } else if (address.sa_family == AF_INET6) {
    ::inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, text.data(), text.size());
  }
  return text.data();
}

}  // namespace

// The server's state. Its mutex guards everything that the library's thread and others share.
class Server::Connections {
 public:
  Connections(Listener& listener, Handler& handler, const ServerLimits& limits,
              const std::optional<TlsIdentity>& identity, std::function<void(const std::string&)> tell)
      : handler_(handler), limits_(limits), tell_(std::move(tell)), is_encrypted_(identity.has_value()) {
    try {
      if (identity) use(*identity);
      start(listener, identity);
    } catch (const std::exception& error) {
      throw std::runtime_error("cannot serve at " + listener.address().text(is_encrypted_) + ": " + error.what());
    }
    for (unsigned i = 0; i < limits.workers; ++i) workers_.emplace_back([this] { work(); });
    heart_ = std::thread([this] { beat(); });
  }

  ~Connections() {
    {
      const std::lock_guard lock(mutex_);
      is_stopping_ = true;
    }
    has_work_.notify_all();
    stops_.notify_all();
    for (std::thread& worker : workers_) worker.join();
    heart_.join();
    wake();
    MHD_stop_daemon(daemon_);
  }

  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  void wake() {
    const std::lock_guard lock(mutex_);
    ++wakes_;
    for (MHD_Connection* const connection : asleep_) MHD_resume_connection(connection);
    asleep_.clear();
  }

  void use(const TlsIdentity& identity) {
    auto credentials = std::make_shared<const TlsCredentials>(identity);
    const std::lock_guard lock(mutex_);
    credentials_ = std::move(credentials);
  }

  std::size_t connections() const { return open_; }
  std::size_t streams() const { return streams_; }

  ResponseCounts responses() const {
    ResponseCounts counts{};
    std::ranges::copy(responses_, counts.begin());
    return counts;
  }

 private:
  using Time = std::chrono::steady_clock::time_point;

  enum class Phase : std::uint8_t { kReading, kWorking, kAnswered };

  // A request with its response.
  struct Exchange {
    Exchange() = default;
    // A body and a header may hold a password, so nothing of them stays in memory.
    ~Exchange() {
      ::explicit_bzero(request.body.data(), request.body.size());
      for (auto& [name, value] : request.headers) ::explicit_bzero(value.data(), value.size());
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    std::string raw_target;
    bool has_begun = false;
    Phase phase = Phase::kReading;
    Request request;
    Response response;
  };

  // What the server knows of a connection, from its beginning to its end.
  struct Link {
    int fd = -1;
    Peer peer;
    std::string share;        // whose share of the connections it takes
    bool is_refused = false;  // that share is used up
    bool is_stream = false;   // what is sent at the moment
    // Since when it owes us a request; nothing: there is a whole one, which is being answered, or it has been shut
    // down.
    std::optional<Time> waits_since;
    std::shared_ptr<const TlsCredentials> credentials;
    std::unique_ptr<Exchange> exchange;  // the request that is under way
  };

  // What a stream has still to send.
  struct StreamEnd {
    Connections* all;
    MHD_Connection* connection;
    std::unique_ptr<Stream> stream;
    std::string part = {};
    std::size_t sent = 0;
  };

  void start(Listener& listener, const std::optional<TlsIdentity>& identity) {
    std::vector<MHD_OptionItem> options = {
        {MHD_OPTION_LISTEN_SOCKET, listener.fd(), nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, static_cast<std::intptr_t>(limits_.connections + kBeyondLimit), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<std::intptr_t>(limits_.header_bytes), nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
    };
    const auto add = [&options](MHD_OPTION option, auto* function, void* with) {
      options.push_back({option, reinterpret_cast<std::intptr_t>(function), with});
    };
    add(MHD_OPTION_NOTIFY_CONNECTION, &on_connection, this);
    add(MHD_OPTION_NOTIFY_COMPLETED, &on_completed, this);
    add(MHD_OPTION_URI_LOG_CALLBACK, &on_target, this);
    add(MHD_OPTION_UNESCAPE_CALLBACK, &leave_escaped, nullptr);
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
    if (identity) {
      flags |= MHD_USE_TLS;
      const auto add_text = [&options](MHD_OPTION option, const std::string& text) {
        options.push_back({option, 0, const_cast<char*>(text.c_str())});
      };
      add_text(MHD_OPTION_HTTPS_MEM_CERT, identity->certificate);
      add_text(MHD_OPTION_HTTPS_MEM_KEY, identity->key);
      options.push_back({MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(kTlsVersions)});
    }
    options.push_back({MHD_OPTION_END, 0, nullptr});
    daemon_ = MHD_start_daemon(flags, 0, nullptr, nullptr, &on_request, this, MHD_OPTION_EXTERNAL_LOGGER, &on_complaint,
                               this, MHD_OPTION_ARRAY, options.data(), MHD_OPTION_END);
    if (daemon_ == nullptr) {
      throw std::runtime_error(complaint_.empty() ? "the server cannot be started" : complaint_);
    }
  }

  // --- What the library calls, in its thread ---

  static void on_complaint(void* all, const char* format, va_list arguments) {
    std::array<char, 512> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    std::string line = text.data();
    line.erase(line.find_last_not_of('\n') + 1);
    auto& self = *static_cast<Connections*>(all);
    if (self.daemon_ == nullptr) self.complaint_ = line;
    self.complain(line);
  }

  // What a client does wrong, such as hanging up in the middle of a request, is not told. Nor are headers that do not
  // fit into the memory of one connection, of which the library says that there is "not enough memory".
  void complain(const std::string& line) {
    const bool is_short =
        line.starts_with("Error allocating memory") || line.find("resource limit") != std::string::npos;
    const Time now = std::chrono::steady_clock::now();
    if (!is_short || (complained_ && now - *complained_ < kBetweenComplaints)) return;
    complained_ = now;
    tell_("No further connections can be taken at the moment, since memory or file descriptors are used up (" + line +
          "). Raise the limit of open files of this server, or give it a lower --connections.");
  }

  static std::size_t leave_escaped(void* /*nothing*/, MHD_Connection* /*connection*/, char* text) {
    return std::strlen(text);
  }

  static void on_connection(void* all, MHD_Connection* connection, void** context,
                            MHD_ConnectionNotificationCode what) {
    auto& self = *static_cast<Connections*>(all);
    if (what == MHD_CONNECTION_NOTIFY_STARTED) {
      *context = self.begin(connection).release();
    } else {
      self.end(std::unique_ptr<Link>(static_cast<Link*>(*context)));
      *context = nullptr;
    }
  }

  // The connection owns the request, since on_completed() is not called for one whose headers are bad.
  static void* on_target(void* /*all*/, const char* target, MHD_Connection* connection) {
    Link& link = link_of(connection);
    link.exchange = std::make_unique<Exchange>();
    link.exchange->raw_target = target;
    return link.exchange.get();
  }

  static void on_completed(void* all, MHD_Connection* connection, void** context, MHD_RequestTerminationCode /*why*/) {
    *context = nullptr;
    Link& link = link_of(connection);
    link.exchange.reset();
    link.is_stream = false;
    link.waits_since = std::chrono::steady_clock::now();
    auto& self = *static_cast<Connections*>(all);
    self.deadlines_.set(link.fd, self.limits_.idle);
  }

  static MHD_Result on_request(void* all, MHD_Connection* connection, const char* /*path*/, const char* method,
                               const char* /*version*/, const char* data, std::size_t* size, void** context) {
    return static_cast<Connections*>(all)->receive(connection, *static_cast<Exchange*>(*context), method, data, *size);
  }

  static ssize_t on_stream(void* end, std::uint64_t /*position*/, char* buffer, std::size_t most) {
    auto& sender = *static_cast<StreamEnd*>(end);
    return sender.all->send(sender, buffer, most);
  }

  static void on_stream_end(void* end) {
    const std::unique_ptr<StreamEnd> sender(static_cast<StreamEnd*>(end));
    --sender->all->streams_;
  }

  // ---

  static const MHD_ConnectionInfo& info(MHD_Connection* connection, MHD_ConnectionInfoType what) {
    static const MHD_ConnectionInfo kNone = {};
    const MHD_ConnectionInfo* const found = MHD_get_connection_info(connection, what);
    return found == nullptr ? kNone : *found;
  }

  static Link& link_of(MHD_Connection* connection) {
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): begin() has set it
    return *static_cast<Link*>(info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT).socket_context);
  }

  std::unique_ptr<Link> begin(MHD_Connection* connection) {
    auto link = std::make_unique<Link>();
    link->fd = info(connection, MHD_CONNECTION_INFO_CONNECTION_FD).connect_fd;
    const sockaddr* const address = info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS).client_addr;
    if (address != nullptr) link->peer.address = address_text(*address);
    if (link->peer.address.empty()) {
      ucred who = {};
      socklen_t size = sizeof who;
      if (::getsockopt(link->fd, SOL_SOCKET, SO_PEERCRED, &who, &size) == 0) link->peer.user = who.uid;
    }
    if (link->peer.user) {
      link->share = "user " + std::to_string(*link->peer.user);
    } else {
      link->share = network_of(link->peer.address);
      // What was sent has to be received some day, or the peer is not there any more.
      const auto patience = static_cast<unsigned>(limits_.response_within.count());
      ::setsockopt(link->fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &patience, sizeof patience);
    }
    encrypt(connection, *link);
    ++open_;
    links_.insert(link.get());
    link->waits_since = std::chrono::steady_clock::now();
    deadlines_.set(link->fd, limits_.request_within);
    limit(*link);
    return link;
  }

  void encrypt(MHD_Connection* connection, Link& link) {
    link.peer.is_encrypted = is_encrypted_;
    if (!is_encrypted_) return;
    {
      const std::lock_guard lock(mutex_);
      link.credentials = credentials_;
    }
    link.credentials->give(session_of(connection));
  }

  static gnutls_session_t session_of(MHD_Connection* connection) {
    return static_cast<gnutls_session_t>(info(connection, MHD_CONNECTION_INFO_GNUTLS_SESSION).tls_session);
  }

  // Who has too many connections is refused, and soon: until then they take places, too. Where there are too many
  // altogether, the one that has owed us a request for longest gives way.
  void limit(Link& link) {
    std::set<Link*>& share = shares_[link.share];
    share.insert(&link);
    const bool is_limited = !limits_.proxy || link.peer.user != limits_.proxy;
    if (is_limited && share.size() > limits_.per_address) release_gone(share);
    link.is_refused = is_limited && share.size() > limits_.per_address;
    if (open_ > limits_.connections && !end_longest_waiting(link)) link.is_refused = true;
    if (!link.is_refused) return;
    deadlines_.set(link.fd, limits_.refusal_within);
    if (is_limited && share.size() > std::size_t{2} * limits_.per_address) ::shutdown(link.fd, SHUT_RDWR);
  }

  // A stream whose reader went away ends at the next heartbeat; its place is free at once.
  void release_gone(std::set<Link*>& share) {
    if (std::erase_if(share, [](const Link* link) { return link->is_stream && has_gone(link->fd); }) == 0) return;
    const std::lock_guard lock(mutex_);
    is_hurried_ = true;
    stops_.notify_all();
  }

  // Whether there was one, other than this.
  bool end_longest_waiting(const Link& but) {
    Link* longest = nullptr;
    for (Link* const link : links_) {
      if (link == &but || !link->waits_since) continue;
      if (longest == nullptr || link->waits_since < longest->waits_since) longest = link;
    }
    if (longest == nullptr) return false;
    ::shutdown(longest->fd, SHUT_RDWR);
    longest->waits_since.reset();
    return true;
  }

  void end(std::unique_ptr<Link> link) {
    deadlines_.forget(link->fd);
    --open_;
    links_.erase(link.get());
    leave_share(*link);
  }

  void leave_share(Link& link) {
    const auto share = shares_.find(link.share);
    if (share == shares_.end()) return;
    share->second.erase(&link);
    if (share->second.empty()) shares_.erase(share);
  }

  // Takes a part of a request, hands a whole one to the workers, and sends what they answered.
  MHD_Result receive(MHD_Connection* connection, Exchange& exchange, const char* method, const char* data,
                     std::size_t& size) {
    if (!exchange.has_begun) {
      exchange.has_begun = true;
      return read_head(connection, exchange, method);
    }
    if (size > 0) {
      if (exchange.request.body.size() + size > limits_.body_bytes) return MHD_NO;
      exchange.request.body.append(data, size);
      size = 0;
      return MHD_YES;
    }
    if (exchange.phase == Phase::kAnswered) return queue(connection, std::move(exchange.response));
    const std::lock_guard lock(mutex_);
    if (is_stopping_) return queue(connection, refusal(503, "This server is being stopped."));
    exchange.phase = Phase::kWorking;
    Link& link = link_of(connection);
    link.waits_since.reset();
    deadlines_.lift(link.fd);
    MHD_suspend_connection(connection);
    work_.emplace_back(connection, &exchange);
    has_work_.notify_one();
    return MHD_YES;
  }

  MHD_Result read_head(MHD_Connection* connection, Exchange& exchange, const char* method) {
    Link& link = link_of(connection);
    if (link.is_refused) {
      return queue(connection, busy("There are too many connections from this address, or altogether. Close some, such "
                                    "as other tabs of a browser, and try again."));
    }
    Request& request = exchange.request;
    request.method = method_of(method);
    try {
      request.target = parse_target(exchange.raw_target);
    } catch (const BadTarget& bad) {
      return queue(connection, refusal(400, std::string(bad.what()) + "."));
    }
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &add_header, &request.headers);
    unsigned hosts = 0;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &count_host, &hosts);
    if (hosts > 1) return queue(connection, refusal(400, "The header Host came more than once."));
    const std::string_view length = request.header("content-length");
    if (!length.empty() && request.headers.contains("transfer-encoding")) {
      return queue(connection, refusal(400, "Content-Length and Transfer-Encoding do not go together."));
    }
    // Two lengths are joined with a comma; which of them holds cannot be known.
    if (length.find_first_not_of("0123456789") != std::string_view::npos) {
      return queue(connection, refusal(400, "The header Content-Length is not one whole number."));
    }
    if (length.size() > 9 || std::strtoul(std::string(length).c_str(), nullptr, 10) > limits_.body_bytes) {
      return queue(connection,
                   refusal(413, "The body may have " + std::to_string(limits_.body_bytes) + " bytes at most."));
    }
    if (is_encrypted_ && !link.peer.certificate) link.peer.certificate = verified_name(session_of(connection));
    request.peer = link.peer;
    return MHD_YES;
  }

  static MHD_Result add_header(void* headers, MHD_ValueKind /*kind*/, const char* name, const char* value) {
    auto& all = *static_cast<std::map<std::string, std::string, std::less<>>*>(headers);
    // Of a header that comes twice, all count, as RFC 9110 section 5.3 has it.
    std::string& text = all[small_letters(name)];
    text += (text.empty() ? "" : ", ") + std::string(value == nullptr ? "" : value);
    return MHD_YES;
  }

  static MHD_Result count_host(void* count, MHD_ValueKind /*kind*/, const char* name, const char* /*value*/) {
    if (small_letters(name) == "host") ++*static_cast<unsigned*>(count);
    return MHD_YES;
  }

  // The connection ends after it.
  static Response refusal(int status, std::string_view detail) {
    Response response = problem(status, detail);
    response.headers.emplace_back("Connection", "close");
    return response;
  }

  static Response busy(std::string_view detail) {
    Response response = refusal(503, detail);
    response.headers.emplace_back("Retry-After", "5");
    return response;
  }

  MHD_Result queue(MHD_Connection* connection, Response&& response) {
    MHD_Response* made = nullptr;
    Link& link = link_of(connection);
    link.waits_since.reset();
    if (response.stream && streams_ >= limits_.streams) {
      response = busy("There are too many event streams. Ask for the changes now and then, without a stream.");
    }
    add_protection(response, is_encrypted_);
    if (response.stream) {
      link.is_stream = true;
      auto end = std::make_unique<StreamEnd>(StreamEnd{this, connection, std::move(response.stream)});
      made = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamBlock, &on_stream, end.get(), &on_stream_end);
      if (made != nullptr) {
        static_cast<void>(end.release());  // on_stream_end() has it
        ++streams_;
      }
      deadlines_.lift(link.fd);
    } else {
      // The library reads the body until the response is destroyed, so it gets a share of it.
      auto body = std::make_unique<Body>(response.body ? response.body : std::make_shared<const std::string>());
      const std::string& text = **body;
      made = MHD_create_response_from_buffer_with_free_callback_cls(text.size(), const_cast<char*>(text.data()),
                                                                    &on_body_end, body.get());
      if (made != nullptr) static_cast<void>(body.release());  // on_body_end() has it
      deadlines_.set(link.fd, limits_.response_within);
    }
    if (made == nullptr) return MHD_NO;
    for (const auto& [name, value] : response.headers) MHD_add_response_header(made, name.c_str(), value.c_str());
    const MHD_Result queued = MHD_queue_response(connection, static_cast<unsigned>(response.status), made);
    MHD_destroy_response(made);
    if (queued == MHD_YES) ++responses_.at(static_cast<std::size_t>(response.status / 100 - 1));
    return queued;
  }

  static void on_body_end(void* shared) { const std::unique_ptr<Body> body(static_cast<Body*>(shared)); }

  // Called when all that was given before is on its way.
  ssize_t send(StreamEnd& end, char* buffer, std::size_t most) {
    Link& link = link_of(end.connection);
    const int fd = link.fd;
    while (end.sent == end.part.size()) {
      std::uint64_t wakes = 0;
      {
        const std::lock_guard lock(mutex_);
        if (is_stopping_) return MHD_CONTENT_READER_END_OF_STREAM;
        wakes = wakes_;
      }
      end.sent = 0;
      try {
        end.part = end.stream->next();
      } catch (const std::exception& error) {  // it must not pass through the library, which is written in C
        tell_("The stream " + engine::in_quotes(link.exchange->raw_target) + " was ended: " + error.what());
        deadlines_.set(fd, limits_.response_within);
        return MHD_CONTENT_READER_END_OF_STREAM;
      }
      if (!end.part.empty()) break;
      // An end "with error" might not be noticed by the library before the connection has an event, and it has no more.
      const bool is_left = has_gone(fd);
      if (is_left) leave_share(link);
      if (is_left || end.stream->is_over()) {
        deadlines_.set(fd, limits_.response_within);
        return MHD_CONTENT_READER_END_OF_STREAM;
      }
      deadlines_.lift(fd);
      const std::lock_guard lock(mutex_);
      if (is_stopping_) return MHD_CONTENT_READER_END_OF_STREAM;
      if (wakes != wakes_) continue;  // something came meanwhile
      asleep_.insert(end.connection);
      MHD_suspend_connection(end.connection);
      return 0;
    }
    const std::size_t size = end.part.copy(buffer, most, end.sent);
    end.sent += size;
    deadlines_.set(fd, limits_.response_within);
    return static_cast<ssize_t>(size);
  }

  // --- Other threads ---

  void work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      has_work_.wait(lock, [this] { return is_stopping_ || !work_.empty(); });
      if (work_.empty()) return;
      const auto [connection, exchange] = work_.front();
      work_.pop_front();
      lock.unlock();
      Response response;
      try {
        response = handler_.answer(exchange->request);
      } catch (const std::exception& error) {
        tell_("The request for " + engine::in_quotes(exchange->raw_target) + " could not be answered: " + error.what());
        response = problem(500, "The server could not answer; its log says why.");
      }
      exchange->response = std::move(response);
      exchange->phase = Phase::kAnswered;
      MHD_resume_connection(connection);
      lock.lock();
    }
  }

  void beat() {
    std::unique_lock lock(mutex_);
    for (;;) {
      stops_.wait_for(lock, kHeartbeat, [this] { return is_stopping_ || is_hurried_; });
      if (is_stopping_) return;
      is_hurried_ = false;
      lock.unlock();
      wake();
      lock.lock();
    }
  }

  Handler& handler_;
  ServerLimits limits_;
  std::function<void(const std::string&)> tell_;
  bool is_encrypted_;
  std::string complaint_;  // of a start that failed
  Deadlines deadlines_;
  // Of the library's thread alone.
  std::set<Link*> links_;
  std::map<std::string, std::set<Link*>> shares_;  // those of each peer
  std::optional<Time> complained_;

  std::atomic<std::size_t> open_ = 0;
  std::atomic<std::size_t> streams_ = 0;
  std::array<std::atomic<std::uint64_t>, ResponseCounts().size()> responses_{};

  std::mutex mutex_;
  std::condition_variable has_work_;
  std::condition_variable stops_;
  std::deque<std::pair<MHD_Connection*, Exchange*>> work_;
  std::unordered_set<MHD_Connection*> asleep_;  // streams that wait
  std::uint64_t wakes_ = 0;
  std::shared_ptr<const TlsCredentials> credentials_;
  bool is_hurried_ = false;  // the heart beats at once
  bool is_stopping_ = false;

  std::atomic<MHD_Daemon*> daemon_ = nullptr;  // the library's thread may read it before start() has set it
  std::vector<std::thread> workers_;
  std::thread heart_;
};

Server::Server(Listener& listener, Handler& handler, const ServerLimits& limits,
               const std::optional<TlsIdentity>& identity, std::function<void(const std::string&)> tell)
    : connections_(std::make_unique<Connections>(listener, handler, limits, identity, std::move(tell))) {}

Server::~Server() = default;

void Server::use(const TlsIdentity& identity) { connections_->use(identity); }
void Server::wake() { connections_->wake(); }
std::size_t Server::connections() const { return connections_->connections(); }
std::size_t Server::streams() const { return connections_->streams(); }
ResponseCounts Server::responses() const { return connections_->responses(); }

}  // namespace polaiga::web
