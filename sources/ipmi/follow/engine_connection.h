// The connection to the engine's socket for events, over which each of them is acknowledged.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/descriptor.h"
#include "base/messages.h"
#include "follow/event_sink.h"

namespace polaiga::ipmi {

class EngineConnection final : public EventSink {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // So many events may wait for their answers.
  static constexpr std::size_t kMostInFlight = 128;
  static constexpr std::chrono::milliseconds kFirstPause{100};
  static constexpr std::chrono::milliseconds kLongestPause{5000};
  // After this time without an answer people are told.
  static constexpr std::chrono::seconds kPatience{30};

  // The clock must outlive this. The socket's path is tried when there is something to send.
  EngineConnection(std::string path, const engine::Clock& clock, Tell tell);

  std::size_t deliver(const std::deque<std::string>& lines, std::size_t sendable) override;
  int fd() const override { return socket_.get(); }
  short poll_events() const override;
  std::optional<std::chrono::milliseconds> until_next() const override;

  bool is_connected() const { return socket_.is_open(); }
  std::uint64_t refused() const override { return refused_; }

 private:
  void connect();
  void lose(const std::string& why);
  void take_lines(const std::deque<std::string>& lines, std::size_t sendable);
  void write();
  void read();
  bool take_answer(const std::string& answer, const std::string& line);
  void tell_of_silence();

  std::string path_;
  const engine::Clock& clock_;
  Tell tell_;
  engine::Descriptor socket_;
  std::string unsent_;         // of the lines in flight
  std::size_t in_flight_ = 0;  // so many of the first lines were taken to be sent
  std::string received_;       // an answer that is not complete
  bool has_work_ = false;
  bool is_away_told_ = false;
  bool is_silence_told_ = false;
  engine::Clock::Steady answered_{};    // when the last answer came, or the first of the lines in flight was taken
  engine::Clock::Steady try_again_{};   // not before
  std::chrono::milliseconds pause_{0};  // before the next try
  std::uint64_t refused_ = 0;
};

}  // namespace polaiga::ipmi
