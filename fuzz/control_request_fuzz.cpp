// A line of the control socket is either one of the requests, which reads the same when it is written out, or is
// refused with a complaint that can be shown.
#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "check.h"
#include "daemon/control_request.h"
#include "model/moment.h"

namespace polaiga::fuzz {
namespace {

using namespace engine;

std::string written(const StatusRequest& /*request*/) { return R"({"do":"status"})"; }
std::string written(const CursorRequest& request) {
  nlohmann::json text{{"do", "cursor"}, {"publisher", request.publisher}, {"through", request.through}};
  const PublisherReport& report = request.report;
  if (request.ledger_id) text["ledger_id"] = *request.ledger_id;
  if (report.peer) text["peer"] = *report.peer;
  if (report.connected) text["connected"] = *report.connected;
  if (report.told) text["told"] = *report.told;
  if (report.lost) text["lost"] = *report.lost;
  if (report.cut) text["cut"] = *report.cut;
  if (report.last_success) text["last_success"] = format_moment(*report.last_success);
  if (report.last_error) text["last_error"] = *report.last_error;
  if (report.last_error_at) text["last_error_at"] = format_moment(*report.last_error_at);
  return text.dump();
}
std::string written(const ForgetRequest& request) {
  return nlohmann::json{{"do", "forget"}, {"publisher", request.publisher}}.dump();
}

std::string written(const ActionRequest& request) {
  const OperatorAction& action = request.action;
  nlohmann::json text{{"do", action_word(action.kind)}};
  std::string alarms;
  for (const ChangeNumber alarm : action.alarms) alarms += (alarms.empty() ? "" : ",") + std::to_string(alarm);
  if (!alarms.empty()) text["alarms"] = alarms;
  if (action.is_selection) text["selection"] = true;
  if (action.kind == ActionKind::kAcknowledgeMissed) text["through"] = action.through;
  if (!action.dn.empty()) text["dn"] = action.dn;
  if (action.comment) text["comment"] = *action.comment;
  if (action.id) text["id"] = *action.id;
  if (action.on_behalf_of) text["on_behalf_of"] = *action.on_behalf_of;
  if (request.ledger_id) text["ledger_id"] = *request.ledger_id;
  const bool lasts = action.kind == ActionKind::kShelve || action.kind == ActionKind::kMaintain;
  if (lasts && action.lasts > 0) text["for"] = action.lasts;
  if (lasts && action.lasts == 0) text["until"] = format_moment(action.until);
  return text.dump();
}

void check_name(std::string_view name) {
  check(!name.empty() && name.size() <= 32, "a publisher's name has 1 to 32 characters");
  check(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.") == std::string_view::npos,
        "a publisher's name is plain");
}

void check_request(const StatusRequest& /*request*/) {}
void check_request(const CursorRequest& request) {
  check_name(request.publisher);
  check(request.through >= 0, "a change has no negative number");
  const PublisherReport& report = request.report;
  check(!report.peer || (report.peer->size() <= 256 && is_printable(*report.peer)), "a peer is short and can be shown");
  check(!report.last_error || (report.last_error->size() <= 512 && is_printable(*report.last_error)),
        "an error is short and can be shown");
  for (const auto& count : {report.told, report.lost, report.cut}) {
    check(!count || *count <= std::uint64_t{INT64_MAX}, "a count fits into 63 bits");
  }
}
void check_request(const ForgetRequest& request) { check_name(request.publisher); }
void check_request(const ActionRequest& request) {
  const OperatorAction& action = request.action;
  check(action.person.empty(), "nobody says who he is");
  check(std::ranges::is_sorted(action.alarms), "alarms ascend");
  check(std::ranges::adjacent_find(action.alarms) == action.alarms.end(), "each alarm comes once");
  check(action.alarms.empty() || action.alarms.front() > 0, "an alarm has a positive number");
  check(action.through >= 0, "a change has no negative number");
  check(action.kind != ActionKind::kSettle, "only the engine itself says that a fault has settled");
  check(is_about_object(action.kind) != action.dn.empty(),
        "an action about an object has its DN, and no other has one");
  check(!action.comment || (action.comment->size() <= kMostCommentBytes && is_printable(*action.comment)),
        "a comment is short and can be shown");
  check(is_printable(action.dn), "a DN can be shown");
}

void check_complaint(std::string_view complaint) {
  check(!complaint.empty(), "a complaint says something");
  check(complaint.size() <= 250, "a complaint is short");
  check(is_printable(complaint), "a complaint can be shown");
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  std::optional<ControlRequest> request;
  try {
    request = parse_control_request(line);
  } catch (const BadRequest& bad) {
    check_complaint(bad.what());
  }
  if (!request) return 0;
  check(nlohmann::json::accept(line), "a request is JSON");
  std::visit([](const auto& one) { check_request(one); }, *request);
  const std::string text = std::visit([](const auto& one) { return written(one); }, *request);
  const ControlRequest again = parse_control_request(text);
  check(std::visit([](const auto& one) { return written(one); }, again) == text, "a request reads the same");
  return 0;
}
