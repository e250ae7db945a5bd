// A ledger that a publisher follows, with all alarms that outputs take for active. It is for one thread, and waits for
// nothing but the ledger's locks, for a quarter of a second at most.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/messages.h"
#include "ledger/change_feed.h"
#include "picture/output_alarm.h"

namespace polaiga::output {

class FollowedLedger {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // How often the ledger is looked at, and how often when it is not there.
  static constexpr std::chrono::milliseconds kLook{50};
  static constexpr std::chrono::milliseconds kLookForLedger{500};
  // So many changes or alarms are read at once.
  static constexpr std::size_t kAtOnce = 500;

  // The ledger need not be there yet. `tell` is told when it cannot be read, and when it can again. The clock must
  // outlive this.
  FollowedLedger(std::string path, const engine::Clock& clock, Tell tell);
  ~FollowedLedger();

  // What look() found.
  struct Seen {
    // Another ledger than before, or the first one; or changes are missing, so that the picture was read anew. Then
    // every alarm may have changed.
    bool is_new = false;
    std::vector<engine::ChangeNumber> touched;  // alarms that may have changed; ascending
    bool has_more = false;                      // there is more to read at once
  };

  // Opens the ledger if that is due, and reads on. Does nothing when it is not time to look.
  Seen look();
  // Until look() has something to do.
  std::chrono::milliseconds until_next() const;

  // Whether the picture is one: a ledger was read. While it cannot be read, the picture stays as it was last; and an
  // alarm that cannot be read, because something of it is damaged, stays as it was last, too.
  bool has_picture() const { return has_picture_; }
  // Why the ledger cannot be read at the moment; nothing: it can.
  const std::optional<std::string>& problem() const { return problem_; }

  // What follows is of the ledger that was read last; empty and 0 before there was one.
  const std::string& ledger_id() const { return ledger_id_; }
  engine::ChangeNumber number() const { return number_; }  // after which the alarms are as the picture has them
  engine::ChangeNumber oldest_number();                    // of the changes that are still there; 0: there is none
  const std::map<engine::ChangeNumber, OutputAlarm>& alarms() const { return alarms_; }
  const engine::AlarmProfile& profile() const { return *profile_; }  // what the site says of alarms

  // Reads for a publisher that has told all changes up to `number`. Throws LedgerError, and when the ledger is not
  // open.
  engine::Feed changes_after(engine::ChangeNumber number, std::size_t most);
  // Where the publisher's cursor is; nothing when it has none. Throws as that does.
  std::optional<engine::ChangeNumber> cursor(const std::string& publisher);

 private:
  void open(Seen& seen);
  void begin(Seen& seen);
  void read_on(Seen& seen);
  void read_alarms(const std::vector<engine::ChangeNumber>& numbers, std::map<engine::ChangeNumber, OutputAlarm>& into);
  void fail(const std::string& problem);
  void note(const std::vector<std::string>& damage);
  engine::ChangeFeed& feed();

  std::string path_;
  const engine::Clock& clock_;
  Tell tell_;
  std::optional<engine::ChangeFeed> feed_;
  std::optional<std::string> problem_;
  bool has_picture_ = false;
  bool must_begin_ = false;  // the file was replaced
  bool has_more_ = false;
  std::string ledger_id_;
  engine::ChangeNumber number_ = 0;
  std::map<engine::ChangeNumber, OutputAlarm> alarms_;
  std::shared_ptr<const engine::AlarmProfile> profile_;
  std::set<std::string> noted_;  // damage that people were told of
  engine::Clock::Steady look_at_{};
};

}  // namespace polaiga::output
