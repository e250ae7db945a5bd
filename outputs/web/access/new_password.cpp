#include "access/new_password.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include "access/names.h"
#include "base/descriptor.h"
#include "base/printable.h"

namespace polaiga::web {
namespace {

volatile std::sig_atomic_t came = 0;  // the signal that came while the terminal showed nothing

void note(int signal) { came = signal; }

// As long as this lives, the terminal does not show what is typed. A signal that would end the program meanwhile does
// so after the terminal shows it again.
class HiddenTyping {
 public:
  HiddenTyping() {
    came = 0;
    struct sigaction action = {};
    action.sa_handler = &note;
    for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals.at(i), &action, &former_.at(i));
    if (::tcgetattr(STDIN_FILENO, &shown_) != 0) throw std::runtime_error("the terminal does not tell its settings");
    termios hidden = shown_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  }
  ~HiddenTyping() {
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown_);
    for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals.at(i), &former_.at(i), nullptr);
    if (came != 0) std::raise(came);
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

 private:
  static constexpr std::array<int, 5> kSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

  std::array<struct sigaction, kSignals.size()> former_{};
  termios shown_{};
};

Secret read_line() {
  std::string line;
  line.reserve(kLongestPassword + 2);  // so that no copy is left behind
  char byte = 0;
  while (line.size() <= kLongestPassword && came == 0) {
    const ssize_t size = ::read(STDIN_FILENO, &byte, 1);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0 || byte == '\n') break;
    line += byte;
  }
  ::explicit_bzero(&byte, 1);
  return Secret(std::move(line));
}

Secret ask(const std::string& question) {
  const HiddenTyping hidden;
  engine::write_all(STDERR_FILENO, question.data(), question.size());
  return read_line();
}

}  // namespace

Secret ask_new_password(const std::string& name) {
  const bool is_terminal = ::isatty(STDIN_FILENO) == 1;
  Secret password = is_terminal ? ask("New password of " + engine::printable(name) + ": ") : read_line();
  if (!is_password(password.view())) {
    throw std::runtime_error("a password has " + std::to_string(kShortestPassword) + " to " +
                             std::to_string(kLongestPassword) + " bytes of UTF-8 that can be shown");
  }
  if (is_terminal && !are_equal(ask("The same again: ").view(), password.view())) {
    throw std::runtime_error("the two passwords are not the same; nothing was changed");
  }
  return password;
}

}  // namespace polaiga::web
