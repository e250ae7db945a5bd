// The body of a request for a subscription is either refused with a response that is JSON, or is a subscription that
// reads the same when it was stored, goes to an address of HTTP, and has no header that could end its line.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "check.h"
#include "redfish/errors.h"
#include "redfish/subscription.h"

namespace {

using namespace polaiga::web;
using polaiga::fuzz::check;

void try_body(std::string_view body) {
  Subscription read;
  try {
    read = parse_subscription(body);
  } catch (const Refusal& refusal) {
    const Response response = refusal_response(refusal);
    check(response.status >= 400, "a refusal is an error");
    check(nlohmann::json::accept(*response.body), "a refusal is JSON");
    return;
  }
  check(body.size() <= Subscription::kMostBytes, "a body is bounded");
  check(read.destination.starts_with("http://") || read.destination.starts_with("https://"),
        "the address is one of HTTP");
  for (const auto& [name, value] : read.headers) {
    check(!name.empty() && (name + value).find_first_of("\r\n") == std::string::npos, "a header ends in its line");
  }
  check(stored_form(read_stored(stored_form(read))) == stored_form(read), "a subscription is stored as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try_body({reinterpret_cast<const char*>(data), size});
  return 0;
}
