// Tells one Alertmanager which alerts are active and which have ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "alerts/alert_board.h"
#include "delivery/post.h"
#include "picture/followed_ledger.h"
#include "telling_alerts/alert_sender.h"

namespace polaiga::alertmanager {

class AlertPeer {
 public:
  // If there are no more changes than this, a cursor of 0 is taken for one.
  static constexpr engine::ChangeNumber kLookBack = 1000;

  // All that is given by reference must outlive this.
  AlertPeer(const Address& address, std::chrono::seconds resend, const AlertBoard& board, Post& post,
            const engine::Clock& clock, PeerHealth::Tell tell, output::BackOff::Random random);
  AlertPeer(const AlertPeer&) = delete;
  AlertPeer& operator=(const AlertPeer&) = delete;

  // The picture is new: everything is told, and what has ended since the cursor. Throws LedgerError; then it is to be
  // called again.
  void begin(output::FollowedLedger& ledger);

  // An alert has changed, by changes after `before`; one that ended did so at `at`.
  void take(const AlertTurn& turn, engine::Moment at, engine::ChangeNumber before);
  // All changes up to this one have been taken.
  void seen(engine::ChangeNumber number) { seen_ = number; }

  // Reads some of what happened after the cursor, before the program was started. Throws LedgerError.
  void catch_up(output::FollowedLedger& ledger);
  // Tells what there is to tell now.
  void send() {
    if (!ledger_id_.empty()) sender_.send();
  }
  // Until one of these two has something to do, unless an answer comes.
  std::chrono::milliseconds until_next() const;

  output::Report report() const;
  // What messages call it.
  const std::string& name() const { return sender_.peer(); }
  bool is_connected() const { return sender_.health().is_connected(); }

 private:
  void end_what_was(const engine::StoredChange& stored);

  const AlertBoard& board_;
  std::string name_;  // as a publisher
  AlertSender sender_;
  std::string ledger_id_;
  engine::ChangeNumber seen_ = 0;
  // What happened after the cursor, before the program was started, is read up to the change `catch_up_to_`.
  std::optional<engine::ChangeNumber> caught_up_;
  engine::ChangeNumber catch_up_to_ = 0;
  std::uint64_t gone_ = 0;  // changes that were gone before they could be read
};

}  // namespace polaiga::alertmanager
