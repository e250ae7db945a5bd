// What one Alertmanager is still to be told, and what it is told again and again. The latest state of an alert counts,
// not the way there. Memory is bounded by the active alerts and a number of ended ones.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "alerts/alert.h"
#include "base/clock.h"

namespace polaiga::alertmanager {

class AlertQueue {
 public:
  using Steady = engine::Clock::Steady;

  static constexpr std::size_t kMostInRequest = 64;
  static constexpr std::size_t kMostBytes = std::size_t{256} * 1024;
  static constexpr std::size_t kMostEnded = 20'000;
  // An alert that the peer refuses is tried again after so long, apart from the others.
  static constexpr std::chrono::minutes kRefusedAgain{10};

  // Active alerts are told again after `resend`. Those that have ended are told again for as long as active ones are
  // valid, since a peer that restarts forgets them.
  explicit AlertQueue(std::chrono::seconds resend);
  AlertQueue(const AlertQueue&) = delete;
  AlertQueue& operator=(const AlertQueue&) = delete;

  // How long an active alert is valid without being told again.
  std::chrono::seconds validity() const { return validity_; }

  // The alert is active, or has ended at a time; of several ends of an alert the latest counts. `before` is a change up
  // to which this has nothing to do with.
  void raise(const AlertPointer& alert, engine::ChangeNumber before);
  void end(const AlertPointer& alert, engine::Moment at, engine::ChangeNumber before);

  // The body of the next request; "": there is nothing to tell now. Then one of the four that follow is to be called.
  std::string next(Steady now, engine::Moment wall);
  void taken(Steady now);
  void failed();
  // The peer does not take these alerts. They are told again in halves, until it is known which one it refuses. That
  // one is returned.
  AlertPointer refused(Steady now);
  // How long it is until next() has something; nothing: it never has.
  std::optional<Steady> due() const;

  // The peer may have forgotten everything: all is told again.
  void tell_all_again(Steady now) { forgotten_ = now; }
  // The changes belong to another ledger from now on: what is not told yet has to do with all of its changes.
  void begin_anew();

  // Everything up to this change is told, if all up to `seen` has been put in here.
  engine::ChangeNumber through(engine::ChangeNumber seen) const;

  std::size_t size() const { return entries_.size(); }
  std::size_t ended() const { return ended_; }
  std::uint64_t told() const { return told_count_; }  // alerts that the peer has taken, not those told again
  std::uint64_t lost() const { return lost_; }        // that ended, and were never taken

 private:
  enum class Place : std::uint8_t { kWaiting, kOut, kTold, kRefused };

  struct Entry {
    AlertPointer alert;
    std::optional<engine::Moment> ended;          // nothing: it is active
    std::optional<engine::ChangeNumber> before;   // nothing: the peer has taken it as it is
    std::optional<engine::ChangeNumber> changed;  // the same of what changed while it was on its way
    Place place = Place::kWaiting;
    Steady told_at{};                 // the last time
    std::optional<Steady> end_taken;  // when the peer took its end the first time
  };
  using Entries = std::list<Entry>;

  void put(const AlertPointer& alert, std::optional<engine::Moment> ended, engine::ChangeNumber before);
  void wait_for(std::optional<engine::ChangeNumber>& member, engine::ChangeNumber before);
  void settle(std::optional<engine::ChangeNumber>& member);
  void erase(Entries& from, Entries::iterator entry);
  void drop_old_ends();
  std::size_t drop_ends(Entries& from, std::size_t most);
  bool is_due(const Entry& entry, Steady now) const;
  void fill(Steady now);
  void fill_from(Entries& from, Steady now, bool all);
  std::string body(engine::Moment wall);
  void take(Entries::iterator entry, Steady now);

  std::chrono::seconds resend_;
  std::chrono::seconds validity_;
  Entries waiting_;                                             // in the order in which they are to be told
  Entries told_;                                                // in the order in which they were told
  Entries refused_;                                             // the same
  Entries out_;                                                 // in the request that is on its way
  std::vector<Entries> halves_;                                 // of requests that were refused
  std::unordered_map<std::string, Entries::iterator> entries_;  // by their labels
  std::multiset<engine::ChangeNumber> befores_;                 // of what is not told
  Steady forgotten_{};
  std::size_t ended_ = 0;
  std::uint64_t told_count_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace polaiga::alertmanager
