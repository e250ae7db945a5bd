// Messages as they come from the broker, made ready for the database.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "amqp/connection.h"
#include "database/intake.h"

namespace polaiga::fleet {

// A message that is not understood, and why.
struct DeadLetter {
  std::string routing_key;
  std::string body;
  std::string reason;
  std::uint64_t tag = 0;  // of its delivery
};

struct Batch {
  std::vector<Received> received;
  std::vector<DeadLetter>
      originals;  // of each of them, without a reason: what becomes of it if the database refuses it
  std::vector<DeadLetter> dead_letters;
  std::uint64_t messages = 0;
  std::uint64_t passed_over = 0;
  std::uint64_t last_tag = 0;  // up to here deliveries can be acknowledged when all this was kept; 0: it is empty

  // Parses the message, or makes a dead letter of it.
  void add(const Delivery& delivery);
  // The message is not looked at, and is acknowledged with the others.
  void pass_over(const Delivery& delivery);
};

}  // namespace polaiga::fleet
