// The clients of one Unix stream socket, and standard input as one more of them.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/messages.h"
#include "daemon/places.h"
#include "daemon/poll_set.h"
#include "intake/listener.h"
#include "intake/sender.h"

namespace polaiga::engine {

// A client that connects waits until there is a place for it, and nothing is received from it before. places.h says
// who is served when there are more clients than places.
class Clients {
 public:
  // `name` is what messages call a client. One that has sent no whole line for `idle_within` leaves if others wait.
  // A line may have so many bytes. The clock and the messages must outlive this.
  Clients(std::string name, std::chrono::milliseconds idle_within, const Clock& clock, Messages& messages,
          std::size_t longest_line = LineBuffer::kLongestLine);

  // At most so many clients are served at once, and as many more wait.
  void limit(int places) { places_ = static_cast<std::size_t>(places); }

  // Throws std::runtime_error.
  // `group` may connect, too; see Listener.
  void listen_at(const std::string& path, std::optional<gid_t> group = std::nullopt);

  // Answers go to `out`.
  void add_standard_input(Descriptor in, Descriptor out);

  // Watches for what can go on. Answers are always sent. Unless `takes`, nothing is received and nobody is let in.
  void watch(PollSet& polls, bool takes);

  // Whether something came since the last watch().
  bool has_received() const { return received_; }
  bool has_line() const;
  bool has_answers() const;

  // Gives the free places to those who wait, and asks those to leave who have to.
  void give_places();
  // How long it is until give_places() or watch() has to be called again; nothing: until something comes.
  std::optional<std::chrono::milliseconds> until_places() const;

  // From now on nobody can connect. Those who have connected already are served yet, in twice the places.
  void stop_listening();
  // Whether some of them have no place yet.
  bool has_waiting() const { return listener_ != nullptr || !waiting_.empty(); }
  // Asks all who have a place to leave, so that those who wait get one.
  void make_room();

  // Ends the socket. Those who wait are let go.
  void stop_serving();

  // Lets go those who are done with, but for those who are to stay. Their addresses are not valid afterwards.
  void dismiss(const std::function<bool(const Sender&)>& stays);

  std::list<Sender>& senders() { return senders_; }
  bool is_empty() const { return senders_.empty(); }
  int connected() const;
  int waiting() const { return static_cast<int>(waiting_.size()); }

 private:
  struct Waiting {
    Descriptor connection;
    uid_t user = 0;
  };

  // Who has a place, and as places.h wants to know it.
  struct Placed {
    std::vector<Sender*> senders;
    std::vector<Served> served;
  };

  bool lets_in(Clock::Steady now) const;
  bool accept();
  void accept_those_who_wait();
  void turn_one_away();
  void serve_those_who_wait();
  void serve(std::size_t waiting);
  void ask_to_leave(Sender& sender, uid_t user);
  std::size_t most_served() const { return stops_ ? 2 * places_ : places_; }
  std::vector<uid_t> waiting_users() const;
  Placed placed();

  std::string name_;
  Clock::Steady idle_within_;
  const Clock& clock_;
  Messages& messages_;
  std::size_t places_ = 0;
  std::unique_ptr<Listener> listener_;
  std::vector<Waiting> waiting_;  // in the order in which they came
  std::list<Sender> senders_;     // answers that wait point to them
  std::size_t longest_line_;
  std::uint64_t numbered_ = 0;
  bool received_ = false;
  bool stops_ = false;
  Clock::Steady stalled_{};                    // nothing was received until then, so nobody was silent
  std::optional<Clock::Steady> paused_until_;  // nobody is let in until then, for want of descriptors
  bool told_of_pause_ = false;
  std::optional<Clock::Steady> full_since_;  // as many wait as may
};

}  // namespace polaiga::engine
