// Changes of alarms as Redfish's events.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "live/live_ledger.h"

namespace polaiga::web {

// A member of the Events of an Event.
struct EventRecord {
  std::string id;  // "<ledger id>-<number of the change>"; the same each time that the change is told
  std::string message_id;
  std::string health;
  nlohmann::ordered_json json;
};

// Nothing: the change is quiet, so that outputs need not tell it. The text is a change of LiveLedger.
std::optional<EventRecord> event_of(std::string_view change, const engine::AlarmProfile& profile);

// An Event with such members. It must have one at least; the last names it.
std::string event_payload(const std::vector<EventRecord>& events, std::string_view context);

// Where somebody who follows the changes is.
struct EventCursor {
  std::string ledger_id;
  engine::ChangeNumber number = 0;

  bool operator==(const EventCursor&) const = default;
};

// That changes are not there any more, or that another ledger is in the place of the one that was followed. Both are
// named by where the one who follows goes on.
EventRecord lost_event(const EventCursor& through, const engine::Feed::Gap& gap);
EventRecord replaced_event(const EventCursor& through);

// Events after a cursor, and where the cursor is after them. A gap is an event, too.
struct EventsRead {
  std::vector<EventRecord> events;
  EventCursor through;
};

// Reads at most `most` changes. Without a view, as long as the ledger cannot be read, there are no events. Throws
// LedgerError.
EventsRead read_events(LiveLedger& live, const EventCursor& cursor, std::size_t most);

// What SubmitTestEvent submitted last, for those who follow by an event stream.
class TestEvents {
 public:
  static constexpr std::size_t kMost = 16;

  void add(const EventRecord& event);
  std::uint64_t last() const;
  // Those after a number, which becomes the last.
  std::vector<EventRecord> after(std::uint64_t& number) const;

 private:
  mutable std::mutex mutex_;
  std::uint64_t last_ = 0;
  std::deque<EventRecord> events_;
};

}  // namespace polaiga::web
