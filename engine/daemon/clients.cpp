#include "daemon/clients.h"

#include <algorithm>
#include <utility>

namespace polaiga::engine {

Clients::Clients(std::string name, int most) : name_(std::move(name)), most_(most) {}

void Clients::listen_at(const std::string& path) { listener_ = std::make_unique<Listener>(path); }

void Clients::add_standard_input(Descriptor in, Descriptor out) {
  senders_.emplace_back(Sender::Kind::kStandardInput, "<stdin>", std::move(in), std::move(out));
}

int Clients::connected() const {
  return static_cast<int>(std::ranges::count(senders_, false, &Sender::is_standard_input));
}

void Clients::watch(PollSet& polls, bool takes) {
  received_ = false;
  if (listener_ && takes && connected() < most_) {
    polls.watch(listener_->fd(), POLLIN, [this] { accept(); });
  }
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

bool Clients::accept() {
  Descriptor connection = listener_->accept();
  if (!connection.is_open()) return false;
  senders_.emplace_back(Sender::Kind::kClient, name_ + " " + std::to_string(++numbered_), std::move(connection),
                        Descriptor());
  return true;
}

void Clients::stop_listening() {
  for (int waiting = 0; listener_ && waiting < most_ && accept(); ++waiting) {
  }
  listener_.reset();
}

void Clients::dismiss() {
  senders_.remove_if([](const Sender& sender) { return sender.is_done(); });
}

}  // namespace polaiga::engine
