#include "daemon/clients.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

namespace polaiga::engine {
namespace {

using namespace std::chrono_literals;

// How long nobody is let in after there was no descriptor for a client, unless one is closed before.
constexpr std::chrono::seconds kPause{1};
// How long nobody else is let in when as many wait as may. The kernel keeps the next ones, but does not say whose they
// are. So they are let in after this time, and the user who has the most is told to come again.
constexpr std::chrono::seconds kFull{2};

// Whether a connection has been ended by the other side, which has sent nothing.
bool is_over(const Descriptor& connection) {
  char byte = 0;
  return ::recv(connection.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

std::string of_user(uid_t user) { return " of user " + std::to_string(user); }

}  // namespace

Clients::Clients(std::string name, std::chrono::milliseconds idle_within, const Clock& clock, Messages& messages,
                 std::size_t longest_line)
    : name_(std::move(name)),
      idle_within_(idle_within),
      clock_(clock),
      messages_(messages),
      longest_line_(longest_line) {}

void Clients::listen_at(const std::string& path, std::optional<gid_t> group) {
  listener_ = std::make_unique<Listener>(path, group);
}

void Clients::add_standard_input(Descriptor in, Descriptor out) {
  senders_.emplace_back(Sender::Kind::kStandardInput, "<stdin>", std::move(in), std::move(out));
}

int Clients::connected() const {
  return static_cast<int>(std::ranges::count(senders_, false, &Sender::is_standard_input));
}

void Clients::watch(PollSet& polls, bool takes) {
  received_ = false;
  const Clock::Steady now = clock_.steady();
  if (!takes) stalled_ = now;
  if (paused_until_ && now >= *paused_until_) paused_until_.reset();
  if (listener_ && takes && lets_in(now)) polls.watch(listener_->fd(), POLLIN, [this] { accept(); });
  for (Sender& sender : senders_) {
    if (takes && sender.listens()) {
      polls.watch(sender.in(), POLLIN, [this, &sender] {
        sender.receive();
        received_ = true;
      });
    }
    if (sender.has_answers()) polls.watch(sender.out(), POLLOUT, [&sender] { sender.send(); });
  }
}

bool Clients::has_line() const { return std::ranges::any_of(senders_, &Sender::has_line); }

bool Clients::has_answers() const { return std::ranges::any_of(senders_, &Sender::has_answers); }

bool Clients::lets_in(Clock::Steady now) const {
  return !stops_ && !paused_until_ && (!full_since_ || now >= *full_since_ + kFull);
}

// Answers whether there was somebody, and a descriptor for him.
bool Clients::accept() {
  Descriptor connection = listener_->accept();
  if (!connection.is_open()) {
    const int error = errno;
    if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
      paused_until_ = clock_.steady() + kPause;
      if (!std::exchange(told_of_pause_, true)) {
        messages_.say(Priority::kWarning, "A " + name_ + " cannot be let in: " + std::strerror(error) +
                                              ". This is tried again every second, and when another one has gone.");
      }
    }
    return false;
  }
  told_of_pause_ = false;
  const uid_t user = user_of(connection);
  waiting_.push_back({std::move(connection), user});
  if (!stops_ && waiting_.size() > places_) turn_one_away();
  return true;
}

// Others could not even wait if all who want to were let wait.
void Clients::turn_one_away() {
  if (std::erase_if(waiting_, [](const Waiting& one) { return is_over(one.connection); }) > 0) return;
  const auto away = waiting_.begin() + static_cast<std::ptrdiff_t>(turned_away(waiting_users()));
  messages_.say(Priority::kWarning, "A " + name_ + of_user(away->user) + " was turned away, because " +
                                        std::to_string(places_) + " are served and as many wait.");
  waiting_.erase(away);
}

void Clients::give_places() {
  if (stops_) accept_those_who_wait();
  serve_those_who_wait();
  if (waiting_.size() < places_) {
    full_since_.reset();
  } else if (!full_since_) {
    full_since_ = clock_.steady();
  }
}

void Clients::serve_those_who_wait() {
  Placed now = placed();
  while (!waiting_.empty()) {
    const std::size_t next = next_served(waiting_users(), now.served);
    if (now.senders.size() < most_served()) {
      serve(next);
      now = placed();
      continue;
    }
    // One at a time: who has been asked to leave needs a moment for the last answers.
    if (stops_ || std::ranges::any_of(now.senders, &Sender::is_leaving)) return;
    const uid_t user = waiting_[next].user;
    if (const auto leaves = who_leaves(user, now.served, clock_.steady(), idle_within_)) {
      ask_to_leave(*now.senders[*leaves], user);
    }
    return;
  }
}

void Clients::serve(std::size_t waiting) {
  const auto next = waiting_.begin() + static_cast<std::ptrdiff_t>(waiting);
  senders_.emplace_back(Sender::Kind::kClient, name_ + " " + std::to_string(++numbered_), std::move(next->connection),
                        Descriptor(), longest_line_);
  senders_.back().user = next->user;
  senders_.back().heard = clock_.steady();
  waiting_.erase(next);
}

void Clients::ask_to_leave(Sender& sender, uid_t user) {
  const auto silent = std::chrono::floor<std::chrono::seconds>(clock_.steady() - sender.heard);
  messages_.say(Priority::kNotice,
                "The " + sender.name() + of_user(sender.user) + " has to leave, because another one" + of_user(user) +
                    " waits. It has sent no whole line for " + std::to_string(silent.count()) + " s.");
  sender.leave();
}

std::vector<uid_t> Clients::waiting_users() const {
  std::vector<uid_t> users;
  std::ranges::transform(waiting_, std::back_inserter(users), &Waiting::user);
  return users;
}

Clients::Placed Clients::placed() {
  Placed now;
  for (Sender& sender : senders_) {
    if (sender.is_standard_input()) continue;
    if (std::exchange(sender.lines_heard, sender.line_number()) != sender.line_number()) sender.heard = clock_.steady();
    now.senders.push_back(&sender);
    now.served.push_back({sender.user, std::max(sender.heard, stalled_)});
  }
  return now;
}

std::optional<std::chrono::milliseconds> Clients::until_places() const {
  const Clock::Steady now = clock_.steady();
  auto next = Clock::Steady::max();
  if (listener_ && paused_until_) next = *paused_until_;
  if (listener_ && full_since_ && !lets_in(now)) next = std::min(next, *full_since_ + kFull);
  if (!waiting_.empty()) {
    for (const Sender& sender : senders_) {
      const Clock::Steady leaves = std::max(sender.heard, stalled_) + idle_within_;
      if (!sender.is_standard_input() && leaves > now) next = std::min(next, leaves);
    }
  }
  if (next == Clock::Steady::max()) return std::nullopt;
  return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(next - now));
}

void Clients::stop_listening() {
  stops_ = true;
  if (listener_) listener_->remove_file();
  give_places();
}

// The socket ends when nobody waits at it any more. Without a descriptor for the next one, it is asked again later.
void Clients::accept_those_who_wait() {
  while (listener_ && waiting_.size() < most_served()) {
    if (accept()) continue;
    if (errno == EAGAIN) listener_.reset();
    return;
  }
}

void Clients::make_room() {
  for (Sender& sender : senders_) {
    if (!sender.is_standard_input()) sender.leave();
  }
}

void Clients::stop_serving() {
  listener_.reset();
  waiting_.clear();
}

void Clients::dismiss(const std::function<bool(const Sender&)>& stays) {
  for (Sender& sender : senders_) {
    if (sender.is_leaving() && !sender.has_line() && !stays(sender)) sender.send_the_last();
  }
  const auto goes = [&stays](const Sender& sender) { return sender.is_done() && !stays(sender); };
  if (senders_.remove_if(goes) > 0) paused_until_.reset();
}

}  // namespace polaiga::engine
