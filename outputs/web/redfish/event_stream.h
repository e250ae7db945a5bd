// Events over server-sent events, and the streams that are open.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "http/message.h"
#include "redfish/events.h"

namespace polaiga::web {

// The open streams. Each is a subscription as long as it is open.
class OpenStreams {
 public:
  struct One {
    std::string id;      // "sse-1"
    std::string client;  // the address of whoever reads it; maybe empty
    std::atomic<bool> is_ended = false;
  };

  std::shared_ptr<One> open(std::string client);
  void forget(const std::string& id);

  // In the order of their ids.
  std::vector<std::shared_ptr<One>> all() const;
  std::shared_ptr<One> find(const std::string& id) const;  // null: there is none

 private:
  mutable std::mutex mutex_;
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, std::shared_ptr<One>> open_;
};

class EventStream final : public Stream {
 public:
  // All of them must outlive this.
  EventStream(LiveLedger& live, OpenStreams& streams, const TestEvents& tests, std::string client, EventCursor cursor);
  ~EventStream() override;

  std::string next() override;
  bool is_over() const override { return is_over_ || self_->is_ended; }

 private:
  LiveLedger& live_;
  OpenStreams& streams_;
  const TestEvents& tests_;
  std::shared_ptr<OpenStreams::One> self_;
  EventCursor cursor_;
  std::uint64_t test_;
  bool has_begun_ = false;
  bool is_over_ = false;
  std::chrono::steady_clock::time_point sent_;
};

// Where a stream goes on after the event with this id, the value of a Last-Event-ID header; nothing: it is no such id.
std::optional<EventCursor> cursor_after(std::string_view event_id);

}  // namespace polaiga::web
