// Messages of the engine to whoever watches its standard error. A message never makes the engine wait and takes no
// memory, so it can also tell that there is no memory left.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/unblocked_output.h"

namespace polaiga::engine {

// As syslog(3) and the journal number them.
enum class Priority : std::uint8_t { kError = 3, kWarning = 4, kNotice = 5, kInfo = 6, kDebug = 7 };

class Messages {
 public:
  // So many messages of each priority are told within such a time; those for debugging have no limit.
  static constexpr std::uint64_t kMost = 100;
  static constexpr std::chrono::seconds kWindow{10};

  // The clock must outlive this.
  explicit Messages(const Clock& clock, int fd = 2);
  ~Messages();  // tells how many messages were left out
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  // Writes one line, with "polaiga: " before it, or with "<6>" or the like before it if the journal reads standard
  // error. Control characters are shown as "?". A line that standard error does not take at once, and one beyond the
  // limit, is left out and counted; how many were is told as soon as that is possible.
  void say(Priority priority, std::string_view text) noexcept;

  // Tells how many messages were left out, if it is time to.
  void tick() noexcept;
  // How long it is until tick() has something to tell; nothing: it has nothing.
  std::optional<std::chrono::milliseconds> until_tick() const;
  // What to poll for POLLOUT before tick() is called again; -1: nothing.
  int waits_for() const { return is_stuck_ ? output_.fd() : -1; }

  const UnblockedOutput& output() const { return output_; }
  std::string_view prefix(Priority priority) const;

 private:
  static constexpr std::size_t kPriorities = 8;

  bool is_over_limit(Priority priority);
  void begin_window();
  bool write_line(Priority priority, std::string_view text);
  bool write_rest();
  void tell_left_out();
  bool tell_count(std::uint64_t& count, std::string_view why);

  const Clock& clock_;
  UnblockedOutput output_;
  bool is_journal_;
  std::string line_;       // the line that is being written; its memory was taken at the start
  std::size_t begin_ = 0;  // of what was not written yet
  bool is_stuck_ = false;  // standard error takes nothing now

  Clock::Steady window_{};  // when it began
  std::array<std::uint64_t, kPriorities> told_{};
  std::uint64_t too_many_ = 0;   // left out in this window because of the limit
  std::uint64_t not_taken_ = 0;  // left out because standard error did not take them
};

// One line on standard error, "polaiga: " before it, of a command that ends soon. What
// may not reach a terminal is shown as "?".
void say(const std::string& message);

// The same for a complaint that begins with the file and the line that it is about, or
// needs no name before it.
void complain(const std::string& complaint);

}  // namespace polaiga::engine
