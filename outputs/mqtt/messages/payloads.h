// What messages say, as JSON. docs/schemas describes them.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ledger/change_feed.h"
#include "messages/sizes.h"
#include "model/alarm_profile.h"
#include "picture/output_alarm.h"

namespace polaiga::mqtt {

// Whom messages are about. They stand in every message but a page, so that one can be understood without its topic.
struct Origin {
  std::string site;
  std::string controller;
};

// The active alarms right after change `number` of a ledger.
struct Picture {
  std::string_view ledger_id;
  engine::ChangeNumber number = 0;
  const std::map<engine::ChangeNumber, output::OutputAlarm>& alarms;
  const engine::AlarmProfile& profile;
};

// What is told of a change beside the change itself.
struct Told {
  std::string_view ledger_id;
  engine::ChangeNumber previous = 0;  // the change that was told before it
  std::string_view replay = {};       // the id of the request that asked for it; empty: none did
};

std::string change_payload(const Origin& origin, const engine::StoredChange& change, const Told& told);
std::string gap_payload(const Origin& origin, const engine::Feed::Gap& gap, const Told& told);

// The last message that answers a request for changes: all that there is up to `through` was told.
std::string replay_done_payload(const Origin& origin, engine::ChangeNumber through, const Told& told);
// The only one, when nothing is replayed. `replay` may be empty, when the request has no id that could be read.
std::string replay_refused_payload(const Origin& origin, std::string_view replay, std::string_view why);

// What became of an operator's action: it was done, or `why` it was not.
std::string acted_payload(const Origin& origin, std::string_view id, const std::optional<std::string>& why);

// How many bytes an alarm takes in a page.
std::size_t alarm_bytes(const output::OutputAlarm& alarm, std::string_view ledger_id,
                        const engine::AlarmProfile& profile);
// How many bytes a page has without its alarms, at most.
inline constexpr std::size_t kPageBytes = 256;

std::string page_payload(std::string_view ledger_id, engine::ChangeNumber number, std::size_t page,
                         const std::vector<const output::OutputAlarm*>& alarms, const engine::AlarmProfile& profile);

// A part of the active alarms, which answers a request: all that are active right after change `number`, with numbers
// that are greater than `after` and at most `through`.
struct AlarmsPart {
  std::string payload;
  engine::ChangeNumber through = 0;
  bool is_last = false;
};
AlarmsPart alarms_part(const Origin& origin, const Picture& picture, engine::ChangeNumber after,
                       std::string_view replay);

struct PageNumber {
  std::size_t page = 0;
  engine::ChangeNumber number = 0;  // that the page has
};

std::string index_payload(const Origin& origin, std::string_view ledger_id, engine::ChangeNumber number,
                          std::size_t count, const std::vector<PageNumber>& pages);

struct Status {
  // Empty and 0 when no ledger has been read yet.
  std::string_view ledger_id;
  engine::ChangeNumber number = 0;
  engine::ChangeNumber oldest_number = 0;
  engine::ChangeNumber told = 0;
  bool is_engine_answering = false;
  engine::Moment at = 0;
};

std::string online_payload(const Origin& origin, const Status& status);
// It was stopped, at that time; or, as its will, its connection was lost.
std::string stopped_payload(const Origin& origin, engine::Moment at);
std::string lost_payload(const Origin& origin);

}  // namespace polaiga::mqtt
