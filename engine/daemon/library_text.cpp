#include "daemon/library_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "filter/services.h"

namespace polaiga::engine {
namespace {

constexpr std::size_t kLongest = 4096;  // a longer line is told in parts

}  // namespace

// Both ends belong to this process alone, so neither has to wait for the other: what does not fit is dropped.
LibraryText::LibraryText(Messages& messages) : messages_(messages) {
  for (const int end : {pipe_.in.get(), pipe_.out.get()}) {
    if (::fcntl(end, F_SETFL, O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  }
  if (::dup2(pipe_.in.get(), STDOUT_FILENO) < 0) throw std::system_error(errno, std::generic_category(), "dup2");
  line_.reserve(kLongest);
  log_to([this](std::string_view line) {
    tell();  // what was printed before
    messages_.say(Priority::kDebug, line);
  });
}

LibraryText::~LibraryText() { log_to({}); }

void LibraryText::tell() noexcept {
  std::fflush(stdout);
  std::array<char, 4096> buffer{};
  for (ssize_t count = 0; (count = ::read(pipe_.out.get(), buffer.data(), buffer.size())) > 0;) {
    for (const char c : std::string_view(buffer.data(), static_cast<std::size_t>(count))) {
      if (c != '\n') line_.push_back(c);  // within the room that it has
      if (c != '\n' && line_.size() < kLongest) continue;
      messages_.say(Priority::kDebug, line_);
      line_.clear();
    }
  }
}

}  // namespace polaiga::engine
