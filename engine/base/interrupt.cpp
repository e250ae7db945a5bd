#include "base/interrupt.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace polaiga::engine {
namespace {

volatile sig_atomic_t was_interrupted = 0;
std::array<int, 2> wake = {-1, -1};

extern "C" void note_interrupt(int /*signal*/) {
  const int saved = errno;
  was_interrupted = 1;
  [[maybe_unused]] const auto written = ::write(wake[1], "", 1);
  errno = saved;
}

}  // namespace

void watch_for_interrupt() {
  if (::pipe2(wake.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  struct sigaction action = {};
  action.sa_handler = note_interrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // without SA_RESTART, so that a wait ends
  ::sigaction(SIGINT, &action, nullptr);
}

bool interrupted() { return was_interrupted != 0; }

int interrupt_fd() { return wake[0]; }

}  // namespace polaiga::engine
