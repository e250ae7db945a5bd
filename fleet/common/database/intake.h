// Takes what controllers send into the database.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "database/database.h"
#include "wire/message.h"

namespace polaiga::fleet {

struct Received {
  Sender sender;
  Message message;
};

// What is to be published after the transaction.
struct Answer {
  Sender sender;
  Kind kind = Kind::kAck;  // ack, replay or action
  std::string payload;
};

struct Taken {
  std::vector<Answer> answers;
  std::uint64_t changes = 0;  // that are new
  std::uint64_t repeats = 0;
  std::uint64_t early = 0;  // that came before others were there, and were asked for again
};

class Intake {
 public:
  // A request that is not answered is made again after so long.
  static constexpr std::chrono::seconds kAskAgainAfter{30};

  explicit Intake(Database& database) : database_(database) {}

  // All of them in one transaction, in which the rows of their controllers are locked, in the order of their ids. So
  // any number of collectors may take messages of one controller at once, and each change is there once. Messages may
  // come again, and in any order. When this throws, nothing was taken, unless the answer to the commit was lost.
  Taken take(std::span<const Received> messages, std::chrono::seconds within = Database::kAnswerWithin);

 private:
  Database& database_;
};

}  // namespace polaiga::fleet
