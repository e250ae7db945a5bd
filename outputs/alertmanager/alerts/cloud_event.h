// What a webhook is told: CloudEvents 1.0 in structured mode, one a request.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "alerts/identity.h"
#include "ledger/change_feed.h"
#include "picture/output_alarm.h"

namespace polaiga::alertmanager {

// "/polaiga/SITE/CONTROLLER", or "/polaiga/CONTROLLER" when no site was named.
std::string event_source(const Identity& identity);

// A change. `previous` is the number of the one that was to be told before it; nothing: it is not known.
std::string change_event(const engine::StoredChange& change, std::optional<engine::ChangeNumber> previous,
                         std::string_view ledger_id, const std::string& source);

// Changes that are gone. The picture follows.
std::string gap_event(const engine::Feed::Gap& gap, std::string_view ledger_id, engine::Moment now,
                      const std::string& source);

// A part of the picture: the alarms after a change, as they are told in parts.
struct PicturePart {
  engine::ChangeNumber number = 0;  // of the change
  std::size_t part = 1;
  std::size_t parts = 1;
};
std::string snapshot_event(const PicturePart& part, std::span<const output::OutputAlarm> alarms,
                           const engine::AlarmProfile& profile, std::string_view ledger_id, engine::Moment now,
                           const std::string& source);

}  // namespace polaiga::alertmanager
