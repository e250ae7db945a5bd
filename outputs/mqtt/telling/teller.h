// Tells a broker what a ledger says: the status, the active alarms in pages, and every change, in this order after each
// connect.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/messages.h"
#include "broker/link.h"
#include "messages/payloads.h"
#include "messages/topics.h"
#include "picture/followed_ledger.h"
#include "publisher/engine_asker.h"
#include "publisher/report.h"
#include "telling/actions.h"
#include "telling/alarm_pages.h"
#include "telling/change_window.h"
#include "telling/replays.h"

namespace polaiga::mqtt {

class Teller final : public Listener {
 public:
  // Of the collector's acknowledgements: so many changes are sent beyond the last one, and are sent again when none has
  // come for that long; twice as long each time, up to the longest. Then what is subscribed is subscribed again, too.
  static constexpr std::size_t kMostUnacknowledged = 2000;
  static constexpr std::chrono::seconds kAckWithin{30};
  static constexpr std::chrono::seconds kLongestAckPause{3600};
  // When the broker has not confirmed for so long the first message that is on its way, the connection is given up.
  static constexpr std::chrono::seconds kConfirmWithin{30};
  // A round of the alarms begins so long after the last one, or nine times as long as that took.
  static constexpr std::chrono::seconds kRoundPause{1};
  static constexpr int kRoundShare = 9;
  static constexpr std::size_t kMostPagesInFlight = 4;
  static constexpr std::chrono::milliseconds kReportEvery{200};
  // Of the messages of a topic people are warned so often, at most.
  static constexpr std::chrono::seconds kWarnEvery{60};
  // A change that is told names the one before it, which is looked for among so many.
  static constexpr engine::ChangeNumber kLookBack = 8000;

  struct Options {
    std::string publisher;
    std::string peer;
    Origin origin;
    ConfirmedBy confirmed_by = ConfirmedBy::kBroker;
    std::chrono::seconds heartbeat{30};
    bool accepts_actions = false;  // of operators of the fleet
    bool tells_list = true;        // the pages of the active alarms
  };

  // What else it needs. They must outlive this.
  struct Tools {
    output::FollowedLedger& ledger;
    Link& link;
    const engine::Clock& clock;
    std::function<void(engine::Priority, const std::string&)> tell;
    std::function<void(const output::Report&)> report;
    std::function<bool()> is_engine_answering;
    std::function<void()> is_of_use;                       // the link: changes were told by it
    std::function<void(const std::string&)> ask_for_kept;  // what the broker has kept of a topic
    Actions::Asks ask_engine;                              // as EngineAsker does
    Actions::TakesAnswer take_engine_answer;
  };

  Teller(Options options, Tools tools);

  // Does what there is to do.
  void go_on();
  std::chrono::milliseconds until_next() const;

  // Says that it was stopped. Then only go_on() of the link is needed until is_goodbye_confirmed().
  void say_goodbye();
  bool is_goodbye_confirmed() const { return !goodbye_ || in_flight_.empty(); }
  // Reports at once.
  void report_now();

  // For the service manager.
  std::string summary() const;

  void set_last_error(const std::string& error, std::optional<engine::Moment> at);

  void on_up() override;
  void on_down(const std::string& why) override;
  void on_confirmed(MessageId id) override;
  void on_refused(MessageId id, const std::string& why) override;
  void on_message(std::string_view topic, std::string_view payload, bool is_retained) override;

 private:
  using Number = engine::ChangeNumber;
  using Steady = engine::Clock::Steady;
  enum class Kind { kChange, kAlarms, kStatus, kReplayed, kActed };

  Picture picture() const;
  void follow();
  void take(const output::FollowedLedger::Seen& seen);
  void begin_ledger();
  Number told_before(Number number);
  MessageId send(Kind kind, const Message& message);
  void tell_status();
  void tell_alarms();
  void end_round();
  void tell_changes();
  bool has_room() const;
  bool read_more();
  void tell_gap(const engine::Feed::Gap& gap);
  void tell_put_back();
  void settled(MessageId id);
  bool is_begun() const;
  void tell_replays();
  void tell_actions();
  void look_at_time();
  void take_ack(std::string_view payload);
  void take_ack_beyond_end(Number through);
  void take_action(std::string_view payload);
  void arrived(std::size_t changes);
  void report();
  void warn(const std::string& topic, const std::string& text);

  Options options_;
  Tools tools_;
  Topics topics_;
  output::FollowedLedger& ledger_;
  Link& link_;

  // Of the ledger that is followed.
  std::string ledger_id_;  // empty: none yet
  const engine::AlarmProfile* profile_ = nullptr;
  std::string profile_text_;
  AlarmPages pages_;
  ChangeWindow window_;
  Replays replays_;
  Actions actions_;
  std::deque<engine::StoredChange> read_;  // and not told yet
  Number read_through_ = 0;
  Number lost_through_ = 0;     // up to here losses were counted
  engine::Feed::Gap put_back_;  // the last gap of a ledger that was put back
  Steady read_at_{};            // when to look for more
  bool has_more_ = false;

  // Of the connection.
  std::map<MessageId, Kind> in_flight_;
  std::deque<MessageId> order_;   // in which they were sent; the first one is in flight, later ones may not be
  bool is_round_ = false;         // the alarms are being sent, and the picture stands still
  bool is_picture_told_ = false;  // since the connection came up
  Steady round_began_{};
  Steady next_round_{};
  Steady next_status_{};
  bool was_engine_answering_ = false;
  bool goodbye_ = false;
  Steady confirmed_at_{};  // when another message became the first one that is in flight
  Steady ack_at_{};        // the same of acknowledgements
  std::chrono::seconds ack_pause_{kAckWithin};

  output::Report report_;
  output::Report reported_;
  Steady report_at_{};
  std::map<std::string, Steady> warned_;  // when, by the topic
};

}  // namespace polaiga::mqtt
