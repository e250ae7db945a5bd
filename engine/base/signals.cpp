#include "base/signals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace polaiga::engine {

Signals::Signals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&wanted, signal);
  ::sigprocmask(SIG_BLOCK, &wanted, nullptr);
  fd_ = Descriptor(::signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!fd_.is_open()) throw std::system_error(errno, std::generic_category(), "signalfd");
}

std::optional<int> Signals::take() const {
  signalfd_siginfo info = {};
  if (::read(fd(), &info, sizeof info) != sizeof info) return std::nullopt;
  return static_cast<int>(info.ssi_signo);
}

}  // namespace polaiga::engine
