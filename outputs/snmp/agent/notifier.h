// Tells the changes of a ledger as notifications, each until the master agent has taken it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "agentx/notification_sink.h"
#include "base/clock.h"
#include "base/messages.h"
#include "tables/alarm_view.h"

namespace polaiga::snmp {

class Notifier {
 public:
  // So many notifications are on their way at most.
  static constexpr std::size_t kMostOnTheWay = 16;

  using Read = std::function<engine::Feed(engine::ChangeNumber after, std::size_t most)>;
  using Oldest = std::function<engine::ChangeNumber()>;  // of the changes that the ledger still has
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // All must outlive this. Without a `heartbeat` (0) none is sent.
  Notifier(const Places& places, NotificationSink& sink, const AlarmView& view, const engine::Clock& clock, Read read,
           Oldest oldest, Tell tell, std::chrono::seconds heartbeat);

  // Goes on after change `through` of this ledger.
  void begin(const std::string& ledger_id, engine::ChangeNumber through);

  // The ledger was opened anew. If it does not have the change any more that was told last, it was put back, and has
  // passed the numbers that it lost: managers are told that changes are missing. Throws LedgerError.
  void look_for_told();

  // Tells what there is up to change `last`, as far as there is room. Throws LedgerError.
  void go_on(engine::ChangeNumber last);
  // Until the next heartbeat.
  std::chrono::milliseconds until_next() const;

  // No change up to this one is needed again.
  engine::ChangeNumber through() const { return through_; }
  // The change that was told last and that the master has taken, or the last of those that it was told are lost. It is
  // what the next notification names as the one before it after a new session was opened.
  engine::ChangeNumber told_number() const { return settled_; }
  std::uint64_t told() const { return told_; }
  std::uint64_t lost() const { return lost_; }
  std::uint64_t cut() const { return cut_; }
  std::optional<engine::Moment> last_success() const { return last_success_; }
  // How many notifications the master refused, and its latest error.
  std::uint64_t refused() const { return refused_; }
  int refusal() const { return refusal_; }

 private:
  struct OnTheWay {
    long id = 0;
    engine::ChangeNumber through = 0;    // 0: no change
    engine::ChangeNumber number = 0;     // of the change that it tells; 0: none
    engine::ChangeNumber previous = -1;  // what the notification after it names as the one before; -1: as it does
    std::uint64_t lost = 0;
    bool is_cut = false;
    bool is_answered = false;
  };

  void take_answers();
  void settle(const OnTheWay& one);
  bool tell_gap(const engine::Feed::Gap& gap);
  bool tell(const ChangeRow& row);
  void pass_to(engine::ChangeNumber number);
  bool send(NotificationType type, const std::vector<Variable>& variables, OnTheWay one);
  void send_heartbeat(engine::ChangeNumber last);

  const Places& places_;
  NotificationSink& sink_;
  const AlarmView& view_;
  const engine::Clock& clock_;
  Read read_changes_;
  Oldest oldest_;
  Tell tell_;
  std::chrono::seconds heartbeat_;
  std::string ledger_id_;
  engine::ChangeNumber through_ = 0;
  engine::ChangeNumber settled_ = 0;  // the previous number for what follows the last notification that was answered
  engine::ChangeNumber read_ = 0;     // how far the changes were read; those after `through_` are on their way
  engine::ChangeNumber previous_ = 0;
  std::deque<OnTheWay> on_the_way_;
  std::uint64_t generation_ = 0;
  engine::Clock::Steady heartbeat_at_{};
  std::uint64_t told_ = 0;
  std::uint64_t lost_ = 0;
  std::uint64_t cut_ = 0;
  std::uint64_t refused_ = 0;
  int refusal_ = 0;
  std::optional<engine::Moment> last_success_;
};

}  // namespace polaiga::snmp
