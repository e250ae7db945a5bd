// The latest reports of the publishers. They are kept in memory alone, since each publisher says anew every few seconds
// how it goes.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "base/clock.h"
#include "daemon/publisher_report.h"
#include "ledger/ledger.h"

namespace polaiga::engine {

// A publisher as the status tells of it.
struct PublisherStatus {
  PublisherCursor cursor;
  std::optional<std::chrono::seconds> silent;  // since it was heard last; nothing: not since the engine's start
  PublisherReport report;
};

class PublisherReports {
 public:
  // The cursor of a publisher that only says how it goes is written again after this time. So the ledger tells to the
  // minute when a publisher was heard last, and flash is spared.
  static constexpr std::chrono::seconds kWriteAgain{60};

  // Whether there is no need to write the cursor: it stands there as it is, and not for long.
  static bool is_written(const PublisherCursor& written, ChangeNumber through, Moment now);

  // Takes the place of what the publisher reported before. The caller bounds the number of publishers.
  void keep(const std::string& publisher, PublisherReport report, const Clock& clock);

  // Whether the publisher has reported since the engine's start.
  bool knows(const std::string& publisher) const { return heard_.contains(publisher); }

  void forget(const std::string& publisher) { heard_.erase(publisher); }

  // The ledger's cursor with what its publisher reported.
  PublisherStatus status(PublisherCursor cursor, const Clock& clock) const;

 private:
  struct Heard {
    PublisherReport report;
    Moment at;
    Clock::Steady since;
  };

  std::map<std::string, Heard> heard_;
};

}  // namespace polaiga::engine
