#include "app/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <optional>
#include <semaphore>

#include "base/descriptor.h"
#include "base/printable.h"

namespace polaiga::web {
namespace {

using Time = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongest{20};
constexpr std::chrono::seconds kLongestInBackground{300};
constexpr std::size_t kMostOutput = std::size_t{16} * 1024 * 1024;
constexpr std::size_t kMostComplaint = 2000;

constexpr std::ptrdiff_t kMostRunning = 2;
constexpr std::ptrdiff_t kMostWaiting = 2;

std::counting_semaphore<kMostRunning> running(kMostRunning);
std::counting_semaphore<kMostRunning + kMostWaiting> asking(kMostRunning + kMostWaiting);

// A place among those that run at once.
class Place {
 public:
  explicit Place(const std::string& program) {
    if (!asking.try_acquire()) throw ProgramFailed(program + " is asked for too much at once; try again");
    running.acquire();
  }
  ~Place() {
    running.release();
    asking.release();
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
};

// A program that is killed when nobody waits for it any more.
class Process {
 public:
  Process(const std::vector<std::string>& arguments, const engine::Pipe& output, const engine::Pipe& errors) {
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (const std::string& one : arguments) words.push_back(const_cast<char*>(one.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&files, output.in.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, errors.in.get(), STDERR_FILENO);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t signals;
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int error = ::posix_spawnp(&pid_, words[0], &files, &attributes, words.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw ProgramFailed(arguments[0] + " cannot be run: " + std::strerror(error));
  }
  ~Process() {
    if (pid_ < 0) return;
    kill();
    wait();
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void kill() const { ::kill(pid_, SIGKILL); }

  // Its exit status; -1 when it was killed.
  int wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
};

// Appends what there is to read; answers whether more may follow.
bool take(int fd, std::string& text, std::size_t most) {
  std::array<char, 65536> part;
  const ssize_t size = ::read(fd, part.data(), part.size());
  if (size < 0 && errno == EINTR) return true;
  if (size <= 0) return false;
  text.append(part.data(), std::min(static_cast<std::size_t>(size), most - std::min(most, text.size())));
  return true;
}

// Without the end of the last line, and with a blank for that of each other one.
std::string one_line(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  std::ranges::replace(text, '\n', ' ');
  return engine::printable(text);
}

}  // namespace

ProgramAnswer run_program(const std::vector<std::string>& arguments, const RunHow& how) {
  std::optional<Place> place;
  if (!how.in_background) place.emplace(arguments[0]);
  const std::chrono::seconds longest = how.in_background ? kLongestInBackground : kLongest;
  const Time::time_point end = Time::now() + longest;
  engine::Pipe output;
  engine::Pipe errors;
  Process process(arguments, output, errors);
  std::optional<std::stop_callback<std::function<void()>>> killer(std::in_place, how.stop, [&] { process.kill(); });
  output.in.close();
  errors.in.close();
  std::string said;
  std::string complaint;
  for (bool more = true, more_errors = true; more || more_errors;) {
    std::array<pollfd, 2> ready{
        {{more ? output.out.get() : -1, POLLIN, 0}, {more_errors ? errors.out.get() : -1, POLLIN, 0}}};
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Time::now()).count();
    if (left <= 0)
      throw ProgramFailed(arguments[0] + " did not answer within " + std::to_string(longest.count()) + " s");
    if (::poll(ready.data(), ready.size(), static_cast<int>(left)) < 0) {
      if (errno == EINTR) continue;  // nothing is known of what there is to read
      throw ProgramFailed(arguments[0] + " cannot be waited for: " + std::strerror(errno));
    }
    if (ready[0].revents != 0) more = take(output.out.get(), said, kMostOutput + 1);
    if (ready[1].revents != 0) more_errors = take(errors.out.get(), complaint, kMostComplaint);
    if (said.size() > kMostOutput) throw ProgramFailed(arguments[0] + " answered more than 16 MiB");
  }
  killer.reset();  // once the process was waited for, its number may be another's
  return {process.wait(), std::move(said), one_line(std::move(complaint))};
}

}  // namespace polaiga::web
