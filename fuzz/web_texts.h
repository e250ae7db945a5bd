// What the web server reads in parts of a request: each is refused, or reads the same when it is written again, and
// keeps to its limits. Whoever finds otherwise ends the fuzzer.
#pragma once

#include <string_view>

#include "http/message.h"

namespace polaiga::fuzz {

// The path with the query of an address.
void check_target(std::string_view text);

// What strangers send to log in: the headers Authorization, Cookie and Origin, forms and JSON.
void check_credentials(const web::Request& request);

// The query as each part that takes one reads it, whatever the path is.
void check_queries(const web::Target& target);

// The body, as a request for a subscription to Redfish's events.
void check_subscription(std::string_view body);

// The body, as a request for a test event.
void check_test_event(std::string_view body);

}  // namespace polaiga::fuzz
