#include "collecting/batch.h"

namespace polaiga::fleet {

void Batch::add(const Delivery& delivery) {
  ++messages;
  last_tag = delivery.tag;
  const auto route = parse_routing_key(delivery.routing_key);
  if (!route) {
    dead_letters.push_back({.routing_key = delivery.routing_key,
                            .body = delivery.body,
                            .reason = "The routing key is none of a controller: polaiga.v1.SITE.CONTROLLER.KIND, whose "
                                      "names have 1 to 64 letters, digits, '_' and '-'",
                            .tag = delivery.tag});
    return;
  }
  try {
    received.push_back({.sender = route->sender, .message = parse_message(*route, delivery.body)});
    originals.push_back(
        {.routing_key = delivery.routing_key, .body = delivery.body, .reason = {}, .tag = delivery.tag});
  } catch (const BadMessage& error) {
    dead_letters.push_back(
        {.routing_key = delivery.routing_key, .body = delivery.body, .reason = error.what(), .tag = delivery.tag});
    // The changes that follow are to be taken all the same.
    if (error.gap()) {
      received.push_back({.sender = route->sender, .message = *error.gap()});
      originals.push_back(
          {.routing_key = delivery.routing_key, .body = delivery.body, .reason = {}, .tag = delivery.tag});
    }
  }
}

void Batch::pass_over(const Delivery& delivery) {
  ++messages;
  ++passed_over;
  last_tag = delivery.tag;
}

}  // namespace polaiga::fleet
