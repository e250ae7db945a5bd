// Follows a ledger for all peers.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "alerts/alert_board.h"
#include "picture/followed_ledger.h"
#include "telling_alerts/alert_peer.h"
#include "telling_alerts/hook_peer.h"

namespace polaiga::alertmanager {

struct Peers {
  std::vector<Address> alertmanagers;
  std::vector<Address> webhooks;
};

// What the telling needs from outside. All that is given by reference must outlive it.
struct Surroundings {
  Post& post;
  const engine::Clock& clock;
  PeerHealth::Tell tell;
  output::BackOff::Random random;
};

class Telling {
 public:
  Telling(const std::string& ledger, const Peers& peers, const Identity& identity, std::chrono::seconds resend,
          const Surroundings& with);
  Telling(const Telling&) = delete;
  Telling& operator=(const Telling&) = delete;

  // Reads what is new, and tells it.
  void go_on();
  // Until go_on() has something to do, unless an answer comes.
  std::chrono::milliseconds until_next() const;

  // Of the peers that have begun.
  std::vector<output::Report> reports() const;
  // For the service manager.
  std::string status() const;

 private:
  void look();
  void take_all(engine::ChangeNumber before);
  void take(const std::vector<engine::ChangeNumber>& alarms, engine::ChangeNumber before);
  void begin_peers();
  std::map<engine::ChangeNumber, engine::Moment> latest_changes(engine::ChangeNumber before);

  const engine::Clock& clock_;
  output::FollowedLedger ledger_;
  AlertBoard board_;
  std::vector<std::unique_ptr<AlertPeer>> alertmanagers_;
  std::vector<std::unique_ptr<HookPeer>> webhooks_;
  std::string ledger_id_;                          // of the ledger that the board was made of
  const engine::AlarmProfile* profile_ = nullptr;  // by which the board was made; only to be compared
  bool is_new_ = false;                            // the ledger is another one than the board's
  bool must_begin_ = false;                        // the peers do not know yet that it is
  bool is_readable_ = false;                       // what the peers read, too
};

}  // namespace polaiga::alertmanager
