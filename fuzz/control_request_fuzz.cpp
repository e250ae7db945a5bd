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

namespace polaiga::fuzz {
namespace {

using namespace engine;

std::string written(const StatusRequest& /*request*/) { return R"({"do":"status"})"; }
std::string written(const CursorRequest& request) {
  return nlohmann::json{{"do", "cursor"}, {"publisher", request.publisher}, {"through", request.through}}.dump();
}
std::string written(const ForgetRequest& request) {
  return nlohmann::json{{"do", "forget"}, {"publisher", request.publisher}}.dump();
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
}
void check_request(const ForgetRequest& request) { check_name(request.publisher); }

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
