// The body of a request for a subscription is either refused with a response that is JSON, or is a subscription that
// reads the same when it was stored, goes to an address of HTTP, and has no header that could end its line. The body of
// a request for a test event is refused like that, or is an event that can be told.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "check.h"
#include "redfish/errors.h"
#include "redfish/push_addresses.h"
#include "redfish/request_body.h"
#include "redfish/subscription.h"
#include "redfish/test_event.h"
#include "report/json_text.h"

namespace {

using namespace polaiga::web;
using polaiga::fuzz::check;

void check_refusal(const Refusal& refusal) {
  const Response response = refusal_response(refusal);
  check(response.status >= 400, "a refusal is an error");
  check(nlohmann::json::accept(*response.body), "a refusal is JSON");
}

void try_test_event(std::string_view body) {
  try {
    const EventRecord event = parse_test_event(body);
    check(polaiga::engine::json_text(event.json).find('\n') == std::string::npos, "an event is one line");
  } catch (const Refusal& refusal) {
    check_refusal(refusal);
  }
}

void try_subscription(std::string_view body) {
  Subscription read;
  try {
    read = parse_subscription(body);
  } catch (const Refusal& refusal) {
    return check_refusal(refusal);
  }
  check(body.size() <= kMostBodyBytes, "a body is bounded");
  const auto host = destination_host(read.destination);
  check(host && !host->empty(), "the address has a host");
  why_not_pushed_to(*host);
  check(read.destination.starts_with("http://") || read.destination.starts_with("https://"),
        "the address is one of HTTP");
  for (const auto& [name, value] : read.headers) {
    check(!name.empty() && (name + value).find_first_of("\r\n") == std::string::npos, "a header ends in its line");
  }
  check(stored_form(read_stored(stored_form(read))) == stored_form(read), "a subscription is stored as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  try_subscription(body);
  try_test_event(body);
  return 0;
}
