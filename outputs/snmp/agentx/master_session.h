// The session of a subagent with the master agent (AgentX, RFC 2741), which is snmpd. It answers what managers ask, and
// tells notifications. It never waits: the master may be away, or hang.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agentx/notification_sink.h"
#include "agentx/wire.h"
#include "base/clock.h"
#include "base/messages.h"
#include "oids/value.h"
#include "publisher/back_off.h"
#include "tables/change_row.h"
#include "tables/tree.h"

namespace polaiga::snmp {

class MasterSession final : public NotificationSink {
 public:
  using Tell = std::function<void(engine::Priority, const std::string&)>;

  // How long to wait before another try to connect, at first and at most.
  static constexpr std::chrono::milliseconds kFirstPause{100};
  static constexpr std::chrono::milliseconds kLongestPause{1000};
  // A master that was silent for so long is asked whether it is there.
  static constexpr std::chrono::seconds kPingAfter{5};
  // One that has not answered for so long counts as one that hangs.
  static constexpr std::chrono::seconds kPatience{3};

  // `path` is that of the master's Unix socket. What is below `subtrees` is answered from `tree`, which must outlive
  // this, as the clock must.
  MasterSession(std::string path, std::vector<Oid> subtrees, const Tree& tree, const engine::Clock& clock, Tell tell,
                output::BackOff::Random random);
  ~MasterSession() override;

  // What to poll; -1: nothing.
  int fd() const;
  short poll_events() const;
  std::chrono::milliseconds until_next() const;
  // Connects if it is time to; reads and writes what is possible.
  void go_on();

  bool is_open() const override { return state_ == State::kOpen; }
  // Whether it was asked something, and has not answered for longer than it may take.
  bool is_hanging() const;
  bool is_answering() const { return is_open() && !is_hanging(); }
  // Whether there is something that take_answers() would return.
  bool has_answers() const { return !answers_.empty(); }
  std::uint64_t generation() const override { return generation_; }
  std::optional<long> notify(const Oid& type, const std::vector<Variable>& variables) override;
  std::vector<Answer> take_answers() override;

  // sysUpTime of the master now; 0 before it is known.
  std::uint32_t uptime() const;

  // Why there is no session; empty: there is one.
  const std::string& problem() const { return problem_; }

 private:
  enum class State : std::uint8_t { kAway, kOpening, kRegistering, kOpen };

  void connect();
  void fail(const std::string& problem);
  void close();
  bool exchange();
  void ping_if_due();
  void take(long id, int error, long session, std::uint32_t uptime);
  bool register_next();
  void heard();
  bool note_asked(std::optional<long> id);

  std::string path_;
  std::vector<Oid> subtrees_;
  const Tree& tree_;
  const engine::Clock& clock_;
  Tell tell_;
  output::BackOff back_off_;
  State state_ = State::kAway;
  std::unique_ptr<Wire> wire_;
  std::size_t registered_ = 0;  // subtrees
  std::uint64_t generation_ = 0;
  std::string refusal_;  // why the master does not want this session
  std::string problem_;
  std::vector<Answer> answers_;
  engine::Clock::Steady connect_at_{};
  engine::Clock::Steady heard_at_{};
  std::optional<engine::Clock::Steady> asked_at_;  // the first request since something was heard
  std::uint32_t uptime_ = 0;
  engine::Clock::Steady uptime_at_{};
};

}  // namespace polaiga::snmp
