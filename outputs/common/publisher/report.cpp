#include "publisher/report.h"

#include "report/json_object.h"

namespace polaiga::output {

std::string report_request(const Report& report) {
  engine::JsonObject request;
  request.add("do", "cursor")
      .add("publisher", report.publisher)
      .add("through", report.through)
      .add("ledger_id", report.ledger_id)
      .add("peer", report.peer)
      .add("connected", report.is_connected)
      .add("told", report.told)
      .add("lost", report.lost)
      .add("cut", report.cut);
  if (report.last_success) request.add("last_success", engine::format_moment(*report.last_success));
  if (!report.last_error.empty()) request.add("last_error", report.last_error);
  if (report.last_error_at) request.add("last_error_at", engine::format_moment(*report.last_error_at));
  return request.line();
}

}  // namespace polaiga::output
