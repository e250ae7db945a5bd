#include "base/signals.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <system_error>

namespace polaiga::engine {
namespace {

// What the handlers use. They are set before the handlers are.
int noted = -1;  // where the numbers of signals are written to
volatile sig_atomic_t seconds = 0;
const UnblockedOutput* last_output = nullptr;
const char* last_text = nullptr;
std::size_t last_size = 0;
int last_status = 0;

// The program may be waiting for a lock or for a disk, and not for signals. So the timer is set here, where nothing
// can hold it up.
extern "C" void note_signal(int signal) {
  const int error = errno;
  const auto number = static_cast<unsigned char>(signal);
  [[maybe_unused]] const auto written = ::write(noted, &number, sizeof number);
  if (signal != SIGHUP && seconds != 0) {
    ::alarm(static_cast<unsigned int>(seconds));
    seconds = 0;  // a second signal does not set the time anew
  }
  errno = error;
}

extern "C" void end_process(int /*signal*/) {
  last_output->write({last_text, last_size});
  ::_exit(last_status);
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  ::sigaction(signal, &action, nullptr);
}

}  // namespace

Signals::Signals(int status, std::chrono::seconds end_within, const UnblockedOutput& output,
                 const std::string& last_line) {
  for (const int end : {pipe_.in.get(), pipe_.out.get()}) {
    if (::fcntl(end, F_SETFL, O_NONBLOCK) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  }
  noted = pipe_.in.get();
  seconds = static_cast<sig_atomic_t>(end_within.count());
  last_output = &output;
  last_text = last_line.data();
  last_size = last_line.size();
  last_status = status;
  handle(SIGALRM, end_process);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) handle(signal, note_signal);
}

// The process is about to end, with the status that it has already.
Signals::~Signals() {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) handle(signal, SIG_IGN);
  ::alarm(0);
}

std::optional<int> Signals::take() const {
  unsigned char number = 0;
  if (::read(fd(), &number, sizeof number) != sizeof number) return std::nullopt;
  return number;
}

}  // namespace polaiga::engine
