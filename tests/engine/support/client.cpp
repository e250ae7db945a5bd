#include "support/client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "ledger/sqlite.h"

namespace polaiga::engine::test {
namespace {

constexpr int kPatience = 20'000;  // ms
constexpr int kWhile = 500;        // ms; nobody who takes anything takes longer

bool is_ready(int fd, short events, int patience) {
  pollfd polled{fd, events, 0};
  return ::poll(&polled, 1, patience) > 0;
}

int connect_to(const std::string& socket) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket.copy(address.sun_path, sizeof address.sun_path - 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  ::close(fd);
  return -1;
}

std::string fan_event(int fan, int state, const std::string& more) {
  return R"({"entity":"fan","sensor":"FAN1_TACH1","instance":)" + std::to_string(fan) + R"(,"offset":3,"state":)" +
         std::to_string(state) + more + "}\n";
}

}  // namespace

Client::Client(const std::string& socket) {
  if (!comes_true([&] { return (fd_ = connect_to(socket)) >= 0; })) throw std::runtime_error("nobody listens");
}

Client::Client(Client&& other) noexcept : fd_(std::exchange(other.fd_, -1)), received_(std::move(other.received_)) {}

void Client::send(std::string_view text) const {
  while (!text.empty()) {
    if (!is_ready(fd_, POLLOUT, kPatience)) throw std::runtime_error("nothing is taken");
    const auto sent = ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      text.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno != EAGAIN) {
      throw std::runtime_error("the connection is gone");
    }
  }
}

std::size_t Client::send_until_refused(const std::string& text, std::size_t most) const {
  std::size_t all = 0;
  std::size_t at = 0;
  while (all < most && is_ready(fd_, POLLOUT, kWhile)) {
    const auto sent = ::send(fd_, text.data() + at, text.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) continue;
    all += static_cast<std::size_t>(sent);
    at = (at + static_cast<std::size_t>(sent)) % text.size();
  }
  return all;
}

bool Client::receive() {
  std::array<char, 65536> buffer{};
  if (!is_ready(fd_, POLLIN, kPatience)) return false;
  const auto count = ::recv(fd_, buffer.data(), buffer.size(), 0);
  if (count > 0) received_.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

std::string Client::answer() {
  std::size_t end = 0;
  while ((end = received_.find('\n')) == std::string::npos) {
    if (!receive()) return "";
  }
  std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return line;
}

std::vector<std::string> Client::answers(std::size_t count) {
  std::vector<std::string> all;
  while (all.size() < count) {
    all.push_back(answer());
    if (all.back().empty()) break;
  }
  return all;
}

bool Client::has_answer() const { return !received_.empty() || is_ready(fd_, POLLIN, 0); }

bool Client::is_let_go() {
  char byte = 0;
  return received_.empty() && is_ready(fd_, POLLIN, kPatience) && ::recv(fd_, &byte, 1, 0) <= 0;
}

void Client::finish() const { ::shutdown(fd_, SHUT_WR); }

void Client::close() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

std::string RunTest::command(const std::string& environment, const std::string& more) const {
  return "env " + environment + " " + without_socket() + " --socket '" + socket() + "' " + more;
}

std::string RunTest::with_control(const std::string& more) const {
  return command("", "--control '" + control() + "' " + more);
}

std::string RunTest::answer(Client& client, const std::string& request) {
  client.send(request + "\n");
  return client.answer();
}

std::vector<std::string> RunTest::ask(const std::string& ledger, const std::string& sql) {
  const Database db(ledger, Access::kRead);
  Statement statement(db, sql);
  std::vector<std::string> found;
  while (statement.step()) found.emplace_back(statement.text(0));
  return found;
}

Ended stop(Child& engine, int signal) {
  engine.kill(signal);
  return engine.wait();
}

std::string slow(int fan) { return fan_event(fan, 1, ""); }
std::string well(int fan) { return fan_event(fan, 0, ""); }
std::string slow(int fan, const std::string& id) { return fan_event(fan, 1, R"(,"id":")" + id + '"'); }

std::string taken(std::int64_t sequence) { return "{\"seq\":" + std::to_string(sequence) + "}"; }
std::string known(std::int64_t sequence) { return "{\"seq\":" + std::to_string(sequence) + ",\"duplicate\":true}"; }

std::int64_t number_in(const std::string& answer) {
  constexpr std::string_view kBegin = "{\"seq\":";
  std::int64_t number = 0;
  if (answer.starts_with(kBegin)) std::from_chars(answer.data() + kBegin.size(), answer.data() + answer.size(), number);
  return number;
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

}  // namespace polaiga::engine::test
