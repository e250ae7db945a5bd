// Who sends events: a client at the socket, or standard input. Lines come in,
// one answer to each goes out, and neither may pile up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "intake/event_line.h"
#include "intake/line_buffer.h"

namespace polaiga::engine {

class Sender {
 public:
  enum class Kind { kClient, kStandardInput };

  // Of a client both are the same socket, which does not block.
  Sender(Kind kind, std::string name, Descriptor in, Descriptor out);

  const std::string& name() const { return name_; }  // for people
  bool is_standard_input() const { return kind_ == Kind::kStandardInput; }
  int in() const { return in_.get(); }
  int out() const { return out_.is_open() ? out_.get() : in_.get(); }

  // Whether bytes would be taken, and whether some are there to be sent. One who
  // does not read the answers is not listened to.
  bool listens() const { return !ended_ && !is_full() && !lines_.has_line(); }
  bool has_line() const { return !is_full() && (lines_.has_line() || (ended_ && !finished_)); }
  bool has_answers() const { return !unsent_.empty(); }

  // All has been taken and answered, or nobody is there to be answered.
  bool is_done() const { return ended_ && finished_ && unsent_.empty(); }

  // When poll() says that it will not block.
  void receive();
  void send();

  // The next line, with its number; kNone: not now.
  LineBuffer::Result next(std::string_view& line);
  std::uint64_t line_number() const { return number_; }

  // The next line that is not blank, as an event or a complaint; nullopt: not now.
  std::optional<EventLine> next();

  void answer(std::string_view text);

  std::uint64_t bad_lines = 0;

 private:
  static constexpr std::size_t kMostUnsent = std::size_t{64} * 1024;

  bool is_full() const { return unsent_.size() >= kMostUnsent; }

  Kind kind_;
  std::string name_;
  Descriptor in_;
  Descriptor out_;  // closed: in_ is both
  LineBuffer lines_;
  std::uint64_t number_ = 0;
  bool ended_ = false;     // no more bytes will come
  bool finished_ = false;  // and their last line has been taken
  bool deaf_ = false;      // answers reach nobody
  std::string unsent_;
};

}  // namespace polaiga::engine
