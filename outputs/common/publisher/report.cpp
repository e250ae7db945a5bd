#include "publisher/report.h"

#include <cstddef>

#include "base/printable.h"
#include "report/json_object.h"

namespace polaiga::output {
namespace {

// What the engine takes. A request with a longer text or with one that cannot be shown would be refused, and with it
// the cursor.
constexpr std::size_t kLongestPeer = 256;
constexpr std::size_t kLongestError = 512;

std::string shown(const std::string& text, std::size_t most) {
  std::string line = engine::printable(text);
  if (line.size() <= most) return line;
  // A character is left out as a whole.
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80U) --end;
  line.resize(end);
  return line;
}

bool is_blank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

}  // namespace

std::string report_request(const Report& report) {
  engine::JsonObject request;
  request.add("do", "cursor")
      .add("publisher", report.publisher)
      .add("through", report.through)
      .add("ledger_id", report.ledger_id);
  if (!is_blank(report.peer)) request.add("peer", shown(report.peer, kLongestPeer));
  request.add("connected", report.is_connected)
      .add("told", report.told)
      .add("lost", report.lost)
      .add("cut", report.cut);
  if (report.last_success) request.add("last_success", engine::format_moment(*report.last_success));
  if (!is_blank(report.last_error)) request.add("last_error", shown(report.last_error, kLongestError));
  if (report.last_error_at) request.add("last_error_at", engine::format_moment(*report.last_error_at));
  return request.line();
}

}  // namespace polaiga::output
