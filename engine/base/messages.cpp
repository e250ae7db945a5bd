#include "base/messages.h"

#include <limits.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

constexpr std::string_view kPrefix = "polaiga: ";
constexpr std::string_view kJournalPrefixes[] = {"<0>", "<1>", "<2>", "<3>", "<4>", "<5>", "<6>", "<7>"};

// A line is written as a whole or not at all, so it may not be longer than what a pipe takes as a whole.
constexpr std::size_t kLongest = PIPE_BUF - 1;
// A character that is not printable may become several.
constexpr std::size_t kRoom = std::size_t{4} * PIPE_BUF;

constexpr std::string_view kNotTaken = " messages were left out, because standard error did not take them";
constexpr std::string_view kTooMany = " messages were left out, because more than 100 of a kind came within 10 s";
static_assert(Messages::kMost == 100 && Messages::kWindow == std::chrono::seconds(10));

// JOURNAL_STREAM names the device and the inode of the socket that a service manager has connected to the journal. The
// standard error of this process may be another file.
bool is_journal(int fd) {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status = {};
  if (stream == nullptr || ::fstat(fd, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

}  // namespace

Messages::Messages(const Clock& clock, int fd)
    : clock_(clock), output_(fd), is_journal_(is_journal(fd)), window_(clock.steady()) {
  line_.reserve(kRoom);
}

Messages::~Messages() {
  tell_left_out();
  if (too_many_ > 0) tell_count(too_many_, kTooMany);
}

std::string_view Messages::prefix(Priority priority) const {
  return is_journal_ ? kJournalPrefixes[static_cast<std::size_t>(priority)] : kPrefix;
}

void Messages::say(Priority priority, std::string_view text) noexcept {
  begin_window();
  if (is_over_limit(priority)) {
    ++too_many_;
    return;
  }
  tell_left_out();
  if (!write_line(priority, text)) ++not_taken_;
}

bool Messages::is_over_limit(Priority priority) {
  return priority != Priority::kDebug && ++told_[static_cast<std::size_t>(priority)] > kMost;
}

// What was left out of the last window is told in the next.
void Messages::begin_window() {
  const Clock::Steady now = clock_.steady();
  if (now < window_ + kWindow) return;
  window_ = now;
  told_ = {};
  if (too_many_ > 0) tell_count(too_many_, kTooMany);
}

void Messages::tick() noexcept {
  begin_window();
  if (is_stuck_) tell_left_out();
}

std::optional<std::chrono::milliseconds> Messages::until_tick() const {
  if (too_many_ == 0) return std::nullopt;
  return std::max(std::chrono::milliseconds(0),
                  std::chrono::ceil<std::chrono::milliseconds>(window_ + kWindow - clock_.steady()));
}

void Messages::tell_left_out() {
  if (write_rest() && not_taken_ > 0) tell_count(not_taken_, kNotTaken);
}

// Answers whether the line was written; then the count begins anew.
bool Messages::tell_count(std::uint64_t& count, std::string_view why) {
  std::array<char, 128> text{};
  char* const end = std::to_chars(text.begin(), text.end(), count).ptr;
  const auto length = static_cast<std::size_t>(std::ranges::copy(why, end).out - text.data());
  if (!write_line(Priority::kWarning, {text.data(), length})) return false;
  count = 0;
  return true;
}

bool Messages::write_line(Priority priority, std::string_view text) {
  if (!write_rest()) return false;
  try {
    line_.clear();
    line_ += prefix(priority);
    add_printable(line_, text.substr(0, kLongest));
    if (line_.size() > kLongest) line_.resize(kLongest);
    line_ += '\n';
  } catch (const std::exception&) {  // the room is enough for all that add_printable() does
    line_.clear();
    return false;
  }
  begin_ = 0;
  if (write_rest() || begin_ > 0) return true;
  line_.clear();
  return false;
}

// Of the line at hand. Answers whether nothing of it is left.
bool Messages::write_rest() {
  while (begin_ < line_.size()) {
    const auto written = output_.write(std::string_view(line_).substr(begin_));
    if (written > 0) {
      begin_ += static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      // After any other error, as of a full disk, poll() would not wait: then the next message tries again.
      is_stuck_ = written < 0 && errno == EAGAIN;
      return false;
    }
  }
  is_stuck_ = false;
  return true;
}

void say(const std::string& message) { std::fprintf(stderr, "polaiga: %s\n", printable(message).c_str()); }

void complain(const std::string& complaint) { std::fprintf(stderr, "%s\n", printable(complaint).c_str()); }

}  // namespace polaiga::engine
