#include "running_engine.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "base/descriptor.h"

namespace polaiga::engine {
namespace {

Descriptor connected_to(const std::string& path) {
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("the path of a socket is too long: " + path);
  path.copy(address.sun_path, path.size());
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return Descriptor(-1);
  return socket;
}

void wait_until_it_listens(const std::string& path) {
  constexpr std::chrono::milliseconds kBetween(10);
  constexpr int kTurns = 3000;
  for (int turn = 0; turn < kTurns; ++turn) {
    if (connected_to(path).is_open()) return;
    std::this_thread::sleep_for(kBetween);
  }
  throw std::runtime_error("the engine does not listen at " + path);
}

}  // namespace

RunningEngine::RunningEngine(const std::string& ledger) : events_(ledger + ".ev"), control_(ledger + ".ctl") {
  pid_ = ::fork();
  if (pid_ == 0) {
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nothing, standard);
    ::execl(POLAIGA_PROGRAM, "polaiga", "run", "--ledger", ledger.c_str(), "--socket", events_.c_str(), "--control",
            control_.c_str(), nullptr);
    ::_exit(127);
  }
  wait_until_it_listens(events_);
  wait_until_it_listens(control_);
}

RunningEngine::~RunningEngine() {
  ::kill(pid_, SIGTERM);
  ::waitpid(pid_, nullptr, 0);
}

void RunningEngine::send(const std::string& lines) const {
  const Descriptor socket = connected_to(events_);
  std::thread sender([&] {
    for (std::size_t sent = 0; sent < lines.size();) {
      const ssize_t now = ::send(socket.get(), lines.data() + sent, lines.size() - sent, MSG_NOSIGNAL);
      if (now <= 0) return;
      sent += static_cast<std::size_t>(now);
    }
    ::shutdown(socket.get(), SHUT_WR);
  });
  std::string answers;
  char part[65'536];
  for (ssize_t now = 0; (now = ::recv(socket.get(), part, sizeof part, 0)) > 0;) {
    answers.append(part, static_cast<std::size_t>(now));
  }
  sender.join();
  const auto count = [](std::string_view text, char letter) { return std::ranges::count(text, letter); };
  if (count(answers, '\n') != count(lines, '\n')) throw std::runtime_error("events were not acknowledged");
  if (answers.find("error") != std::string::npos) throw std::runtime_error("events were refused");
}

}  // namespace polaiga::engine
