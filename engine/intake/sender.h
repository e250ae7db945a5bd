// A sender of events to the engine: a client at the socket, or standard input. The sender sends lines and gets an
// answer to each of them. The memory for lines and for answers is bounded.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/descriptor.h"
#include "intake/event_line.h"
#include "intake/line_buffer.h"

namespace polaiga::engine {

class Sender {
 public:
  enum class Kind { kClient, kStandardInput };

  // A client has one socket for both directions, which must not block: pass it as `in`, and a closed `out`. The
  // descriptors of standard input and output may block.
  Sender(Kind kind, std::string name, Descriptor in, Descriptor out,
         std::size_t longest_line = LineBuffer::kLongestLine);

  const std::string& name() const { return name_; }  // for people
  bool is_standard_input() const { return kind_ == Kind::kStandardInput; }
  int in() const { return in_.get(); }
  int out() const { return out_.is_open() ? out_.get() : in_.get(); }

  // Whether receive() should be called when bytes arrive: only when all lines so far were taken. A sender that does not
  // read its answers is not listened to either, so that its answers cannot pile up.
  bool listens() const { return !ended_ && !is_full() && !lines_.has_line(); }

  // Whether next() has something to take, which may be the end of the input.
  bool has_line() const { return !is_full() && (lines_.has_line() || (ended_ && !finished_)); }

  // Whether send() should be called when the sender can take bytes.
  bool has_answers() const { return !unsent_.empty(); }

  // Whether the input has ended, all its lines were taken, and all answers were sent or can reach nobody any more.
  bool is_done() const { return ended_ && finished_ && unsent_.empty() && !lines_.has_line(); }

  // Whether a client has closed its connection in both directions, so that no answer can reach it.
  bool has_hung_up() const;

  // Both call read() or write() once. Call them when poll() says that they will not block.
  void receive();
  void send();

  // Takes the next line that is not blank, as an event or a complaint. nullopt: there is none now.
  std::optional<EventLine> next();

  // Takes the next line as it is; kNone: there is none now.
  LineBuffer::Result next(std::string_view& line);
  std::uint64_t line_number() const { return number_; }  // of the line that was taken last, from 1

  // Adds to what send() will send.
  void answer(std::string_view text);

  // Nothing more is received from a client. Its whole lines are taken yet, but not half a line at the end.
  void leave();
  bool is_leaving() const { return is_leaving_; }
  // Sends as many answers as can be sent at once, and drops the others.
  void send_the_last();

  // These are the caller's.
  std::uint64_t bad_lines = 0;
  uid_t user = 0;
  Clock::Steady heard{};  // when its last whole line was taken
  std::uint64_t lines_heard = 0;

 private:
  static constexpr std::size_t kMostUnsent = std::size_t{64} * 1024;  // bytes of answers; no line is taken beyond it

  bool is_full() const { return unsent_.size() >= kMostUnsent; }

  Kind kind_;
  std::string name_;
  Descriptor in_;
  Descriptor out_;  // closed for a client, whose answers go to in_
  LineBuffer lines_;
  std::uint64_t number_ = 0;
  bool ended_ = false;     // no more bytes will come
  bool finished_ = false;  // the last line was taken, which may lack its newline
  bool is_leaving_ = false;
  bool deaf_ = false;  // the sender cannot be reached any more, so answers are dropped
  std::string unsent_;
};

}  // namespace polaiga::engine
