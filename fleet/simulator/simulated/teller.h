// What a simulated controller tells, and how it answers. It does what polaiga-mqtt does with --confirm collector and
// --no-list, and keeps no time: its caller does.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "broker/link.h"
#include "messages/topics.h"
#include "simulated/ledger.h"

namespace polaiga::fleet {

class SimulatedTeller final : public mqtt::Listener {
 public:
  using Number = engine::ChangeNumber;
  using Steady = std::chrono::nanoseconds;

  struct Now {
    Steady steady{};
    engine::Moment wall = 0;
  };

  static constexpr std::size_t kMostUnacknowledged = 2000;
  static constexpr std::size_t kMostWaitingRequests = 4;
  static constexpr std::chrono::seconds kAckPause{30};
  static constexpr std::chrono::seconds kLongestAckPause{3600};
  static constexpr std::chrono::seconds kConfirmWithin{30};

  struct Counts {
    std::uint64_t made = 0;
    std::uint64_t acked = 0;
    std::uint64_t told = 0;        // also those that were told again
    std::uint64_t told_again = 0;  // times that all that was not acknowledged was told again, because of silence
    std::uint64_t replays = 0;     // requests for changes that were answered
    std::uint64_t lists = 0;       // parts of lists
    std::uint64_t refused = 0;     // requests
  };

  struct Name {
    std::string site;
    std::string controller;
  };

  // The link must outlive it. `heartbeat` is from one status to the next.
  SimulatedTeller(Name name, SimulatedLedger ledger, mqtt::Link& link, std::chrono::seconds heartbeat);

  const Name& name() const { return name_; }
  const SimulatedLedger& ledger() const { return ledger_; }
  const mqtt::Topics& topics() const { return topics_; }
  const std::string& topic_of_actions() const { return topic_of_actions_; }
  const Counts& counts() const { return counts_; }
  std::size_t waiting() const { return made_.size(); }  // changes that were not acknowledged
  // How long the changes took, from when they were made until they were acknowledged, since the last call.
  std::vector<Steady> take_latencies() { return std::exchange(latencies_, {}); }

  void set_now(Now now) { now_ = now; }
  void make_change();
  // Tells what is to be told now, and as much of it as the link takes.
  void go_on();
  // The last status. It is confirmed when nothing is in flight any more.
  void say_goodbye();
  std::size_t in_flight() const { return in_flight_.size(); }

  void on_up() override;
  void on_down(const std::string& why) override;
  void on_confirmed(mqtt::MessageId id) override;
  void on_refused(mqtt::MessageId id, const std::string& why) override;
  void on_message(std::string_view topic, std::string_view payload, bool is_retained) override;

  // The message that the broker publishes when the connection is lost.
  static std::string will(const Name& name);

 private:
  // A request for changes, or for the list.
  struct Request {
    std::string id;
    bool is_for_list = false;
    Number first = 0;
    Number last = 0;
    Number after = 0;  // up to here it was answered
    bool is_gap_told = false;
  };
  struct Made {
    Number number = 0;
    Steady at{};
  };

  void send(const std::string& topic, std::string payload, bool is_retained = false);
  bool has_room() const;
  void tell_status();
  void tell_changes();
  void answer_requests();
  bool answer_more(Request& request);  // false: that was all
  bool list_more(Request& request);
  void forget_in_flight();
  void refuse(const std::string& id, std::string_view why);
  void take_ack(std::string_view payload);
  void take_request(std::string_view payload);
  void take_action(std::string_view payload);
  std::string form_of(Number number, std::string_view replay) const;

  Name name_;
  SimulatedLedger ledger_;
  mqtt::Link& link_;
  mqtt::Topics topics_;
  std::string topic_of_actions_;
  std::string topic_of_answers_;
  std::chrono::seconds heartbeat_;
  Now now_;
  Counts counts_;
  std::vector<Steady> latencies_;

  std::deque<Made> made_;  // that were not acknowledged; the first `told_` of them were told
  std::size_t told_ = 0;
  Number told_number_ = 0;
  std::set<mqtt::MessageId> in_flight_;
  std::deque<mqtt::MessageId> order_;  // in which they were sent; the first one is in flight, later ones may not be
  Steady confirmed_at_{};              // when another message became the first one that is in flight
  Steady status_at_{};
  bool is_goodbye_ = false;
  Steady ack_at_{};  // when something was acknowledged last that was not before
  std::chrono::seconds ack_pause_ = kAckPause;
  std::deque<Request> requests_;  // the first one is being answered
};

}  // namespace polaiga::fleet
