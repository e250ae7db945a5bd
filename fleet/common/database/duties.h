// What some collector has to do from time to time, whichever that is. Each duty is one transaction under an advisory
// lock of its own; a collector that does not get the lock leaves it to the one that has it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "database/database.h"
#include "database/intake.h"

namespace polaiga::fleet {

class Duties {
 public:
  explicit Duties(Database& database) : database_(database) {}

  // The database's clock, as the time since 1970. By it the database knows when controllers were heard.
  std::chrono::microseconds now();

  // Controllers that were heard last before that long, or that said that they go offline, are silent from then on: each
  // is an alarm of its own (kSilentName). Intake ends it when the controller is heard again. Answers how many it found.
  // It must only be called while all queues are read and nothing waits in them, since otherwise the silence may be
  // that of the collectors. `now` is a time of the database's clock of which the caller knows that the clock has not
  // jumped to it.
  std::uint64_t find_silent(std::chrono::seconds after, std::chrono::microseconds now);

  // Alarms of one fault (site and code) that began within `window` on at least kFewestControllers controllers of a site
  // become a group, or a part of the group that is there. Looks at a limited number of new alarms; answers how many
  // those were.
  static constexpr int kFewestControllers = 3;
  std::uint64_t find_groups(std::chrono::seconds window);

  // Actions that are to go down now: those of controllers that are online, when they are new or were sent more than 30
  // s ago and nothing came back. Those whose end has come are marked as expired.
  std::vector<Answer> due_actions();

  // Requests that were not answered, of controllers that are online: they are made again.
  std::vector<Answer> due_requests();

  // Deletes what ledgers lost that were put back to an earlier state, for some time at most, and goes on with the next
  // call. Answers with the acknowledgements of those of which all is deleted.
  std::vector<Answer> put_back();

  // Makes the partitions for today and the two days that follow, and drops those that are older than `keep_changes`.
  // Deletes alarms that are over for longer than `keep_alarms`, and former ledgers of which nothing is left, for some
  // seconds at most.
  struct Tidied {
    std::uint64_t gone = 0;  // rows and partitions
    bool is_more = false;    // there are more that are too old
  };
  Tidied tidy(std::chrono::hours keep_changes, std::chrono::hours keep_alarms);

  // What a collector says of itself.
  struct Collector {
    std::string name = {};
    std::int64_t begun = 0;
    std::string version = {};
    int queues = 0;
    std::uint64_t messages = 0;
    std::uint64_t changes = 0;
    std::uint64_t repeats = 0;
    std::uint64_t early = 0;
    std::uint64_t dead_letters = 0;
    std::string last_problem = {};
    std::int64_t last_problem_at = 0;
  };
  void report(const Collector& collector);

 private:
  Database& database_;
};

// The fault of a controller that is silent, in the table of alarms. Its severity is major, its code 0, its DN that of
// the controller: site/SITE/controller/CONTROLLER.
inline constexpr const char* kSilentName = "fltFleetControllerSilent";

}  // namespace polaiga::fleet
