#include "agentx/master_session.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

namespace polaiga::snmp {

using engine::Priority;
using std::chrono::milliseconds;

namespace {

constexpr int kSessionNotOpen = 257;
constexpr int kDuplicateRegistration = 263;

// A socket of Unix is connected at once, or not at all. One whose listener takes no more connections answers EAGAIN.
int connected_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::system_error(ENAMETOOLONG, std::generic_category());
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::system_error(errno, std::generic_category());
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): that is how sockets are told an address.
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    ::close(fd);
    throw std::system_error(error, std::generic_category());
  }
  return fd;
}

bool has_input(int fd, milliseconds wait = {}) {
  pollfd ready{.fd = fd, .events = POLLIN, .revents = 0};
  return ::poll(&ready, 1, static_cast<int>(wait.count())) > 0;
}

// The master asks for one value after the other, so the next question is waited for a moment. At first this looks again
// and again: a master on another processor needs less time to ask than it takes to fall asleep and to be woken. Where
// there is no other processor, the master can only ask while this sleeps.
bool has_input_soon(int fd) {
  constexpr std::chrono::microseconds kAwake{100};
  constexpr milliseconds kMoment{1};
  static const bool is_alone = std::thread::hardware_concurrency() < 2;
  const auto end = std::chrono::steady_clock::now() + kAwake;
  while (!is_alone && std::chrono::steady_clock::now() < end) {
    if (has_input(fd)) return true;
  }
  return has_input(fd, kMoment);
}

}  // namespace

MasterSession::MasterSession(std::string path, std::vector<Oid> subtrees, const Tree& tree, const engine::Clock& clock,
                             Tell tell, output::BackOff::Random random)
    : path_(std::move(path)),
      subtrees_(std::move(subtrees)),
      tree_(tree),
      clock_(clock),
      tell_(std::move(tell)),
      back_off_(kFirstPause, kLongestPause, std::move(random)) {}

MasterSession::~MasterSession() {
  if (!wire_ || state_ == State::kOpening) return;
  try {
    wire_->say_goodbye();
  } catch (const std::exception&) {
    // The master sees the end of the connection.
    return;
  }
}

int MasterSession::fd() const { return wire_ ? wire_->fd() : -1; }

short MasterSession::poll_events() const {
  return static_cast<short>(POLLIN | (wire_ && wire_->has_waiting() ? POLLOUT : 0));
}

milliseconds MasterSession::until_next() const {
  const auto now = clock_.steady();
  const auto left = [now](engine::Clock::Steady until) {
    return std::max(milliseconds(0), std::chrono::ceil<milliseconds>(until - now));
  };
  if (!wire_) return left(connect_at_);
  // While the session is not open, an answer is always waited for.
  return asked_at_ || !is_open() ? milliseconds(kPingAfter) : left(heard_at_ + kPingAfter);
}

void MasterSession::go_on() {
  try {
    if (!wire_ && clock_.steady() >= connect_at_) connect();
    if (!wire_) return;
    if (!exchange()) {
      fail(refusal_.empty() ? "the connection has ended" : refusal_);
      return;
    }
    ping_if_due();
    if (!wire_->write()) fail("the connection has ended");
  } catch (const std::exception& error) {
    fail(error.what());
  }
}

bool MasterSession::is_hanging() const {
  if (!wire_ || (is_open() && !asked_at_)) return false;
  return clock_.steady() - asked_at_.value_or(heard_at_) >= kPatience;
}

std::optional<long> MasterSession::notify(const Oid& type, const std::vector<Variable>& variables) {
  if (!is_open()) return std::nullopt;
  const auto id = wire_->notify(type, variables);
  if (!note_asked(id)) fail("a notification cannot be sent");
  return id;
}

std::vector<MasterSession::Answer> MasterSession::take_answers() { return std::exchange(answers_, {}); }

std::uint32_t MasterSession::uptime() const {
  if (uptime_at_ == engine::Clock::Steady{}) return 0;
  using Hundredths = std::chrono::duration<std::int64_t, std::centi>;
  const auto since = std::chrono::floor<Hundredths>(clock_.steady() - uptime_at_);
  return uptime_ + static_cast<std::uint32_t>(since.count());
}

void MasterSession::connect() {
  int fd = -1;
  try {
    fd = connected_socket(path_);
  } catch (const std::system_error& error) {
    fail(error.code().message());
    return;
  }
  wire_ = std::make_unique<Wire>(
      fd, tree_,
      [this](const Wire::Response& response) { take(response.id, response.error, response.session, response.uptime); },
      [this] { heard(); });
  state_ = State::kOpening;
  registered_ = 0;
  refusal_.clear();
  heard_at_ = clock_.steady();
  asked_at_.reset();
  if (!note_asked(wire_->open("polaiga-snmp"))) fail("the session cannot be opened");
}

void MasterSession::fail(const std::string& problem) {
  close();
  connect_at_ = clock_.steady() + back_off_.next();
  if (problem_ == problem) return;
  problem_ = problem;
  tell_(Priority::kWarning, "the master agent at " + path_ + " cannot be used: " + problem +
                                "; it is tried again until it can. Changes wait in the ledger");
}

void MasterSession::close() {
  wire_.reset();
  state_ = State::kAway;
  answers_.clear();
  asked_at_.reset();
}

// Answers whether the connection is there.
bool MasterSession::exchange() {
  // What comes after so many is read the next time, so that nothing else has to wait for long.
  constexpr int kMostReads = 256;
  for (int i = 0; i < kMostReads && (i == 0 ? has_input(wire_->fd()) : has_input_soon(wire_->fd())); ++i) {
    if (!wire_->read() || !refusal_.empty() || !wire_->write()) return false;
  }
  return true;
}

void MasterSession::ping_if_due() {
  if (!is_open() || asked_at_ || clock_.steady() - heard_at_ < kPingAfter) return;
  note_asked(wire_->ping());
}

void MasterSession::take(long id, int error, long session, std::uint32_t uptime) {
  heard();
  uptime_ = uptime;
  uptime_at_ = clock_.steady();
  switch (state_) {
    case State::kOpening:
      if (error != 0) {
        refusal_ = "it refuses the session (error " + std::to_string(error) + ")";
        return;
      }
      wire_->use_session(session);
      state_ = State::kRegistering;
      register_next();
      break;
    case State::kRegistering:
      if (error != 0) {
        refusal_ = error == kDuplicateRegistration ? "another program answers for the same objects; end it"
                                                   : "it refuses the objects (error " + std::to_string(error) + ")";
        return;
      }
      ++registered_;
      register_next();
      break;
    case State::kOpen:
      if (error == kSessionNotOpen) {
        // All is opened, and what was not taken is told, again.
        refusal_ = "it does not know the session any more";
        return;
      }
      answers_.push_back({.id = id, .error = error});
      break;
    case State::kAway:
      break;
  }
}

bool MasterSession::register_next() {
  if (registered_ < subtrees_.size()) return note_asked(wire_->add_subtree(subtrees_.at(registered_)));
  state_ = State::kOpen;
  ++generation_;
  back_off_.reset();
  problem_.clear();
  tell_(Priority::kNotice, "connected to the master agent at " + path_);
  return true;
}

void MasterSession::heard() {
  heard_at_ = clock_.steady();
  asked_at_.reset();
}

bool MasterSession::note_asked(std::optional<long> id) {
  if (!id) return false;
  if (!asked_at_) asked_at_ = clock_.steady();
  return true;
}

}  // namespace polaiga::snmp
