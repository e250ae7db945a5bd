// The clients of one Unix stream socket, and standard input as one more of them.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "base/descriptor.h"
#include "daemon/poll_set.h"
#include "intake/listener.h"
#include "intake/sender.h"

namespace polaiga::engine {

class Clients {
 public:
  // `name` is what messages call a client; at most so many are connected at once.
  Clients(std::string name, int most);

  // Throws std::runtime_error.
  void listen_at(const std::string& path);
  bool listens() const { return listener_ != nullptr; }

  // Answers go to `out`.
  void add_standard_input(Descriptor in, Descriptor out);

  // Watches for what can go on. Answers are always sent. Unless `takes`, nothing is
  // received and nobody is let in.
  void watch(PollSet& polls, bool takes);

  // Whether something came since the last watch().
  bool has_received() const { return received_; }
  bool has_line() const;
  bool has_answers() const;

  // Lets in those who have connected and still wait, and ends the socket.
  void stop_listening();

  // Lets go those who are done with. Their addresses are not valid afterwards.
  void dismiss();

  std::list<Sender>& senders() { return senders_; }
  bool is_empty() const { return senders_.empty(); }
  int connected() const;

 private:
  bool accept();

  std::string name_;
  int most_;
  std::unique_ptr<Listener> listener_;
  std::list<Sender> senders_;  // answers that wait point to them
  bool received_ = false;
  std::uint64_t numbered_ = 0;
};

}  // namespace polaiga::engine
