#include "redfish/event_stream.h"

#include <charconv>
#include <utility>

#include "ledger/ledger.h"

namespace polaiga::web {
namespace {

constexpr std::size_t kChangesAtOnce = 50;    // changes
constexpr std::chrono::seconds kSilence{10};  // after which a comment tells that the stream is alive

std::string frame(const EventRecord& event) { return "data: " + event_payload({event}, "") + "\n\n"; }

}  // namespace

std::shared_ptr<OpenStreams::One> OpenStreams::open(std::string client) {
  const std::lock_guard lock(mutex_);
  auto one = std::make_shared<One>();
  one->id = "sse-" + std::to_string(++last_);
  one->client = std::move(client);
  open_.emplace(last_, one);
  return one;
}

void OpenStreams::forget(const std::string& id) {
  const std::lock_guard lock(mutex_);
  std::erase_if(open_, [&](const auto& one) { return one.second->id == id; });
}

std::vector<std::shared_ptr<OpenStreams::One>> OpenStreams::all() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<One>> list;
  for (const auto& [number, one] : open_) list.push_back(one);
  return list;
}

std::shared_ptr<OpenStreams::One> OpenStreams::find(const std::string& id) const {
  for (auto& one : all()) {
    if (one->id == id) return one;
  }
  return nullptr;
}

EventStream::EventStream(LiveLedger& live, OpenStreams& streams, const TestEvents& tests, std::string client,
                         EventCursor cursor)
    : live_(live),
      streams_(streams),
      tests_(tests),
      self_(streams.open(std::move(client))),
      cursor_(std::move(cursor)),
      test_(tests.last()) {}

EventStream::~EventStream() { streams_.forget(self_->id); }

std::string EventStream::next() {
  if (self_->is_ended) return "";
  std::string frames;
  // Whoever connects sees at once that the stream is open.
  if (!std::exchange(has_begun_, true)) frames = ": changes of alarms\n\n";
  try {
    for (const EventRecord& event : tests_.after(test_))
      frames += frame(event);  // without an id: a client goes on after the last change that it got, not after a test
    // Some changes make no event, so a part without events is not the end of the changes.
    for (bool goes_on = true; goes_on && frames.size() < std::size_t{64} * 1024;) {
      EventsRead read = read_events(live_, cursor_, kChangesAtOnce);
      goes_on = read.through != cursor_;
      cursor_ = std::move(read.through);
      for (const EventRecord& event : read.events) frames += "id: " + event.id + "\n" + frame(event);
    }
  } catch (const std::exception&) {
    // Who follows connects again with the id of the last event that came.
    is_over_ = true;
  }
  const auto now = std::chrono::steady_clock::now();
  if (frames.empty() && now - sent_ >= kSilence) frames = ": still here\n\n";
  if (!frames.empty()) sent_ = now;
  return frames;
}

std::optional<EventCursor> cursor_after(std::string_view event_id) {
  constexpr std::size_t kMostBytes = 100;
  const std::size_t hyphen = event_id.rfind('-');
  if (event_id.size() > kMostBytes || hyphen == std::string_view::npos || hyphen == 0 || event_id.find('-') != hyphen)
    return std::nullopt;
  EventCursor cursor{.ledger_id = std::string(event_id.substr(0, hyphen)), .number = 0};
  const char* const end = event_id.data() + event_id.size();
  const auto [stop, error] = std::from_chars(event_id.data() + hyphen + 1, end, cursor.number);
  if (error != std::errc() || stop != end || cursor.number < 0) return std::nullopt;
  return cursor;
}

}  // namespace polaiga::web
