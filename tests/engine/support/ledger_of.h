// Ledgers for tests, as an engine writes them from events.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/standard_output.h"
#include "core/recorder.h"
#include "intake/event_parser.h"
#include "ledger/ledger.h"
#include "support/manual_clock.h"

namespace polaiga::engine::test {

// 2025-01-01T00:00:00Z, from which tests count the seconds of their events.
inline constexpr Moment kNewYear = 1735689600;

struct EventAt {
  Moment received;  // seconds since kNewYear
  std::string line;
};

// Begins a ledger, or goes on with one. The engine is a process of its own, since
// the library's memory lasts as long as its process.
inline void write_ledger(const std::string& path, const std::vector<EventAt>& events, const Retention& retention = {},
                         const std::optional<ChatteringLimit>& chattering = {}) {
  std::fflush(nullptr);
  const int pid = ::fork();
  if (pid == 0) {
    try {
      StandardOutput::divert(Others::kDiscarded);
      ManualClock clock(kNewYear + (events.empty() ? 0 : events.front().received));
      Ledger ledger(path, retention, clock.wall());
      Recorder recorder({.chattering = chattering}, clock, ledger);
      recorder.use_tables(read_host_tables(POLAIGA_TABLES_DIR), POLAIGA_TABLES_DIR);
      for (const auto& [received, text] : events) {
        clock.pass(kNewYear + received - clock.wall());
        recorder.end_what_is_over();
        recorder.record(parse_sensor_event(text));
      }
      recorder.commit();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "%s\n", error.what());
      ::_exit(1);
    }
    ::_exit(0);
  }
  int status = -1;
  ::waitpid(pid, &status, 0);
  if (status != 0) throw std::runtime_error("no ledger was written");
}

// A fan that slows down, twice told and then worse; two power supplies that are
// taken out, one of which comes back; heat; and an event of no interest.
inline const std::vector<EventAt> kStory{
    {0, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"},
    {60, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1,"id":"ps-1-out"})"},
    {120, R"({"entity":"ps","sensor":"PS10_STATUS","instance":10,"offset":30,"state":1})"},
    {180, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"},
    {240, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":4,"state":5})"},
    {300, R"({"entity":"front_panel","sensor":"FP_TEMP","offset":107,"state":6})"},
    {360, R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":0})"},
    {420, R"({"entity":"fan","sensor":"FAN1_TACH1","offset":0,"state":1})"},
};

inline const std::string kFan = "sys/rack-unit-1/fan-module-1-1/fan-1";
inline const std::string kSlow = kFan + "/fault-F0395";
inline const std::string kSlower = kFan + "/fault-F0396";
inline const std::string kSupply = "sys/rack-unit-1/psu-1/fault-F0378";
inline const std::string kTenth = "sys/rack-unit-1/psu-10/fault-F0378";
inline const std::string kHot = "sys/rack-unit-1/fault-F0155";

}  // namespace polaiga::engine::test
