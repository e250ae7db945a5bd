// Where notifications go.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "oids/oid.h"
#include "tables/change_row.h"

namespace polaiga::snmp {

class NotificationSink {
 public:
  NotificationSink() = default;
  virtual ~NotificationSink() = default;
  NotificationSink(const NotificationSink&) = delete;
  NotificationSink& operator=(const NotificationSink&) = delete;

  // Whether it takes notifications.
  virtual bool is_open() const = 0;
  // Which session it is, counted from 1. What a former one was told and did not answer is never answered.
  virtual std::uint64_t generation() const = 0;

  // Hands over a notification. Answers with a number for its answer; nothing: it cannot be sent.
  virtual std::optional<long> notify(const Oid& type, const std::vector<Variable>& variables) = 0;

  struct Answer {
    long id = 0;
    int error = 0;  // of RFC 2741; 0: it was taken

    bool operator==(const Answer&) const = default;
  };
  // The answers that have come, in their order.
  virtual std::vector<Answer> take_answers() = 0;
};

}  // namespace polaiga::snmp
