#include "daemon/publisher_reports.h"

#include <utility>

namespace polaiga::engine {

// A clock that jumped back makes the row one of the future, and it is written anew.
bool PublisherReports::is_written(const PublisherCursor& written, ChangeNumber through, Moment now) {
  return written.through == through && written.updated <= now && now - written.updated < kWriteAgain.count();
}

void PublisherReports::keep(const std::string& publisher, PublisherReport report, const Clock& clock) {
  heard_.insert_or_assign(publisher, Heard{std::move(report), clock.wall(), clock.steady()});
}

PublisherStatus PublisherReports::status(PublisherCursor cursor, const Clock& clock) const {
  PublisherStatus status{.cursor = std::move(cursor), .silent = std::nullopt, .report = {}};
  const auto found = heard_.find(status.cursor.publisher);
  if (found == heard_.end()) return status;
  status.cursor.updated = found->second.at;
  status.silent = std::chrono::floor<std::chrono::seconds>(clock.steady() - found->second.since);
  status.report = found->second.report;
  return status;
}

}  // namespace polaiga::engine
