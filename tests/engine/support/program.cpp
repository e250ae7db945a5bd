#include "support/program.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace polaiga::engine::test {
namespace {

using namespace std::chrono_literals;

int status_of(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

[[noreturn]] void become(const std::string& command) {
  ::setenv("POLAIGA", POLAIGA_PROGRAM, 1);
  ::signal(SIGINT, SIG_DFL);
  ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  ::_exit(127);
}

void redirect(const std::string& path, int flags, int fd) {
  const int file = ::open(path.c_str(), flags, 0600);
  if (file < 0 || ::dup2(file, fd) < 0) ::_exit(127);
  ::close(file);
}

void redirect_output(const TempDir& dir) {
  redirect(dir.file("out"), O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
  redirect(dir.file("err"), O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
}

// What it throws would otherwise be caught by the test that was forked.
int status_of_run(const std::function<int()>& program) {
  try {
    return program();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 100;
  }
}

Ended wait_for(int pid, const TempDir& dir) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {status_of(status), dir.read("out"), dir.read("err")};
}

}  // namespace

std::vector<std::string> lines_of(std::string text) {
  std::erase(text, '\r');
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool comes_true(const std::function<bool()>& condition, std::chrono::seconds patience) {
  for (const auto end = std::chrono::steady_clock::now() + patience; std::chrono::steady_clock::now() < end;) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

Child::Child(const std::string& command, const TempDir& dir)
    : Child([command]() -> int { become("exec " + command); }, dir) {}

Child::Child(const std::function<int()>& program, const TempDir& dir) : dir_(dir) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return;
  input_ = ends[1];
  pid_ = ::fork();
  if (pid_ == 0) {
    ::dup2(ends[0], STDIN_FILENO);
    for (const int end : ends) ::close(end);
    redirect_output(dir);
    ::_exit(status_of_run(program));
  }
  ::close(ends[0]);
}

Child::~Child() {
  close_input();
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

void Child::send(const std::string& text) const {
  if (::write(input_, text.data(), text.size()) < 0) throw std::runtime_error("write");
}

void Child::close_input() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void Child::interrupt() const { kill(SIGINT); }

void Child::kill(int signal) const { ::kill(pid_, signal); }

bool Child::has(const std::string& text, const char* file) const {
  return comes_true([&] { return dir_.read(file).find(text) != std::string::npos; });
}

bool Child::has_ended() const {
  siginfo_t info = {};
  return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == pid_;
}

Ended Child::wait() {
  if (!comes_true([this] { return has_ended(); })) kill(SIGKILL);
  const Ended run = wait_for(pid_, dir_);
  pid_ = -1;
  return run;
}

std::string as_plain_user() {
  if (::geteuid() != 0) return "";
  const std::string user = "setpriv --reuid=65534 --regid=65534 --clear-groups ";
  const Ended got = Shell().run(user + "$POLAIGA --version");
  if (got.status == 0) return user;
  throw std::runtime_error("user 65534 cannot run " POLAIGA_PROGRAM
                           "; this test needs the command setpriv, and directories down to the program that every user "
                           "may enter: " +
                           got.err);
}

Ended Shell::run(const std::string& command, const std::string& input) const {
  dir_.write("in", input);
  const int pid = ::fork();
  if (pid == 0) {
    redirect(dir_.file("in"), O_RDONLY, STDIN_FILENO);
    redirect_output(dir_);
    become(command);
  }
  return wait_for(pid, dir_);
}

Ended Shell::run_on_terminal(const std::string& command, std::uint16_t columns, const std::string& typed) const {
  return run_on_terminal(command, columns, typed, [](const std::string& /*sent*/) {});
}

Ended Shell::watch_on_terminal(const std::string& command,
                               const std::function<void(const std::string& sent)>& watch) const {
  return run_on_terminal(command, 0, "", watch);
}

Ended Shell::run_on_terminal(const std::string& command, std::uint16_t columns, const std::string& typed,
                             const std::function<void(const std::string& sent)>& watch) const {
  int terminal = -1;
  const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
  const int pid = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (pid == 0) {
    ::unsetenv("COLUMNS");
    ::setenv("TERM", "xterm", 1);
    ::unsetenv("NO_COLOR");
    become(command);
  }
  // The terminal keeps it until the program reads it.
  if (::write(terminal, typed.data(), typed.size()) < 0) throw std::runtime_error("write");
  Ended run;
  std::array<char, 4096> buffer{};
  for (;;) {
    const auto count = ::read(terminal, buffer.data(), buffer.size());
    if (count <= 0) break;  // the end of a terminal is an error
    run.out.append(buffer.data(), static_cast<std::size_t>(count));
    watch(run.out);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  ::close(terminal);
  run.status = status_of(status);
  return run;
}

}  // namespace polaiga::engine::test
