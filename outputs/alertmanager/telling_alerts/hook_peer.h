// Tells one webhook every change, one after the other.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "alerts/identity.h"
#include "delivery/post.h"
#include "picture/followed_ledger.h"
#include "telling_alerts/peer_health.h"

namespace polaiga::alertmanager {

class HookPeer {
 public:
  // So many changes are read at once, and no more are held.
  static constexpr std::size_t kReadAtOnce = 100;
  static constexpr std::size_t kAlarmsOfPart = 64;
  // An event that is refused (400, 413 or 422) so often is passed over.
  static constexpr unsigned kMostRefusals = 10;
  // So far before the cursor it is looked for the change that was told last.
  static constexpr engine::ChangeNumber kLookBack = 1000;

  // All that is given by reference must outlive this.
  HookPeer(const Address& address, const Identity& identity, Post& post, const engine::Clock& clock,
           PeerHealth::Tell tell, output::BackOff::Random random);
  HookPeer(const HookPeer&) = delete;
  HookPeer& operator=(const HookPeer&) = delete;

  // The ledger is there for the first time, or is another one. Throws LedgerError; then it is to be called again.
  void begin(output::FollowedLedger& ledger);

  // Does what there is to do now. Throws LedgerError when the ledger cannot be read.
  void go_on(output::FollowedLedger& ledger);
  // Until go_on() has something to do, unless an answer comes or the ledger changes.
  std::chrono::milliseconds until_next() const;

  output::Report report() const;
  bool is_connected() const { return health_.is_connected(); }

 private:
  struct Event {
    std::string body;
    std::string name;                             // for messages
    std::optional<engine::ChangeNumber> through;  // where the cursor is when it is taken; nothing: where it was
  };

  void read(output::FollowedLedger& ledger);
  void read_changes(output::FollowedLedger& ledger);
  void begin_picture(const output::FollowedLedger& ledger);
  void add_part(const output::FollowedLedger& ledger);
  void take_gap(const engine::Feed::Gap& gap);
  void find_previous(output::FollowedLedger& ledger);
  void finish(const Answer& answer, std::uint64_t of);
  void pass_front();

  Post& post_;
  const engine::Clock& clock_;
  Address address_;
  std::string source_;
  std::string name_;  // as a publisher
  PeerHealth health_;
  std::string ledger_id_;
  engine::ChangeNumber through_ = 0;       // the cursor
  engine::ChangeNumber read_through_ = 0;  // changes up to this one are told or in `events_`
  std::optional<engine::ChangeNumber> previous_;
  bool needs_picture_ = false;
  std::optional<engine::Feed::Gap> gap_;      // to be told before the picture
  std::vector<output::OutputAlarm> picture_;  // that is being told
  std::size_t part_ = 0;                      // how many parts of it are in `events_` or told
  std::size_t parts_ = 0;
  std::deque<Event> events_;
  unsigned refusals_ = 0;    // of the first one
  bool is_out_ = false;      // the first one is on its way
  bool has_more_ = false;    // to read
  std::uint64_t begun_ = 0;  // how often it began; answers to requests of before do not count
  std::uint64_t told_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace polaiga::alertmanager
