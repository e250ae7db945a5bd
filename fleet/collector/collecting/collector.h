// Takes what controllers send from the broker into the database, and what they are to hear back to the broker. It keeps
// nothing: whatever is lost with it comes again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "amqp/connection.h"
#include "amqp/settings.h"
#include "amqp/share.h"
#include "base/clock.h"
#include "base/messages.h"
#include "collecting/batch.h"
#include "collecting/pace.h"
#include "collecting/silence_watch.h"
#include "database/database.h"
#include "database/duties.h"
#include "database/intake.h"

namespace polaiga::fleet {

class Collector {
 public:
  static constexpr std::size_t kMostInBatch = 500;
  static constexpr std::size_t kMostBytesInBatch = std::size_t{8} * 1024 * 1024;
  static constexpr std::chrono::milliseconds kGather{20};  // from the first message of a batch to its end
  static constexpr std::chrono::milliseconds kWait{250};   // for the first one
  static constexpr std::chrono::seconds kBalanceEvery{2};
  static constexpr std::chrono::seconds kGroupEvery{1};
  static constexpr std::chrono::seconds kActionsEvery{1};
  static constexpr std::chrono::seconds kAskEvery{5};
  static constexpr std::chrono::seconds kSilenceEvery{5};
  static constexpr std::chrono::seconds kReportEvery{5};
  static constexpr std::chrono::seconds kPutBackEvery{1};
  static constexpr std::size_t kMostHeld = 100;     // dead letters, while the broker takes no messages
  static constexpr std::chrono::seconds kRest{10};  // of a controller whose message cannot be taken
  // What is too slow keeps everybody waiting while it is tried, so that is not done often: of parts of a batch that was
  // too slow, of a controller whose message is, and of a duty.
  static constexpr std::chrono::seconds kPartWithin{5};
  static constexpr std::chrono::seconds kRestOfSlow{600};
  static constexpr std::chrono::seconds kSlowDutyEvery{300};
  static constexpr std::chrono::minutes kTidyEvery{10};
  static constexpr std::chrono::seconds kTidySoon{30};  // when not all that is too old is gone

  struct Options {
    BrokerSettings broker;
    int inboxes = 8;
    std::chrono::seconds silent_after{100};
    std::chrono::seconds group_window{60};
    std::chrono::hours keep_changes{24 * 30};
    std::chrono::hours keep_alarms{24 * 90};
    std::string name;  // of this collector: host and process
  };

  using Say = std::function<void(engine::Priority, const std::string&)>;

  // The database and the clock must outlive this.
  Collector(Options options, Database& database, const engine::Clock& clock, Say say);

  // Looks whether the database can be used and connects to the broker. Throws DatabaseAway, DatabaseRefuses,
  // BrokerAway, BrokerRefuses.
  void begin();
  bool has_begun() const { return reading_ != nullptr; }
  // Takes one batch, waiting for it a moment, and does what is due. Throws as begin() does; then end() is to be called.
  void go_on();
  // Gives all inboxes back. What was not taken comes to others.
  void end();

  // What went wrong last, for the report.
  void note_problem(const std::string& problem);

  // For the service manager.
  std::string summary() const;

 private:
  using Steady = engine::Clock::Steady;
  // A duty, and when it is to be done next.
  struct Due {
    const char* name;
    std::chrono::milliseconds every;
    std::function<void()> work;
    std::string said = {};  // what went wrong the last time
    Steady at{};
  };

  Batch gather();
  void keep(const Batch& batch);
  Taken take(const Batch& batch, std::size_t first, std::size_t count, std::chrono::seconds within);
  Taken rest(const Received& refused, const std::string& reason, std::chrono::seconds how_long = kRest);
  Taken take_in_place_of(const Batch& batch, std::size_t refused, const std::string& reason);
  void publish(const std::vector<Answer>& answers);
  void bury(const std::vector<DeadLetter>& letters);
  void send(const std::vector<DeadLetter>& letters);
  void acknowledge(std::uint64_t through);
  void look_at_broker();
  void do_duties();
  void warn_of_duty(Due& due, const std::string& problem);
  void tidy();
  void look_for_silence();
  void report();

  Options options_;
  Database& database_;
  const engine::Clock& clock_;
  Say say_;
  Intake intake_;
  Duties duties_;
  Pace pace_;
  SilenceWatch silence_watch_;

  // They are there between begin() and end().
  std::unique_ptr<Connection> reading_;
  std::unique_ptr<Connection> answering_;
  std::unique_ptr<Connection> burying_;
  std::optional<Share> share_;
  std::uint64_t acknowledged_ = 0;  // the last delivery that was, but for those that are held
  // Dead letters that wait until the broker takes messages again, and the deliveries of those and of others that it has
  // not confirmed yet, which are acknowledged after that.
  std::vector<DeadLetter> held_;
  std::set<std::uint64_t> held_deliveries_;
  bool was_blocked_ = false;

  std::vector<Due> dues_;
  Steady tidy_at_{};
  Duties::Collector counts_;
  std::uint64_t passed_over_ = 0;
};

}  // namespace polaiga::fleet
