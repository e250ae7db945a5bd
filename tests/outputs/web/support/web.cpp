#include "support/web.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <arpa/inet.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "support/patience.h"

namespace polaiga::web::test {

using engine::test::comes_true;
using engine::test::kPatience;

nlohmann::json Answer::json() const { return nlohmann::json::parse(body); }

std::string Answer::header(const std::string& name) const {
  const auto found = headers.find(name);
  return found == headers.end() ? "" : found->second;
}

Connection::Connection(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (address.starts_with('/')) {
    sockaddr_un at = {.sun_family = AF_UNIX, .sun_path = {}};
    address.copy(at.sun_path, sizeof at.sun_path - 1);
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&at), sizeof at) == 0) return;
  } else {
    sockaddr_in at = {};
    at.sin_family = AF_INET;
    at.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(colon + 1))));
    ::inet_pton(AF_INET, address.substr(0, colon).c_str(), &at.sin_addr);
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&at), sizeof at) == 0) return;
  }
  throw std::runtime_error("nobody listens at " + address);
}

Connection::~Connection() { ::close(fd_); }

void Connection::send(const std::string& text) const {
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t now = ::send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (now <= 0) return;  // what the server thinks of it is told by what it answers
    sent += static_cast<std::size_t>(now);
  }
}

bool Connection::fill() {
  pollfd ready{.fd = fd_, .events = POLLIN, .revents = 0};
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (::poll(&ready, 1, static_cast<int>(patience.count())) <= 0) return false;
  std::string part(65536, '\0');
  const ssize_t size = ::recv(fd_, part.data(), part.size(), 0);
  if (size <= 0) return false;
  received_.append(part, 0, static_cast<std::size_t>(size));
  return true;
}

Answer Connection::receive() {
  std::size_t end = 0;
  while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
    if (!fill()) return {};
  }
  Answer answer;
  std::istringstream head(received_.substr(0, end + 2));
  received_.erase(0, end + 4);
  std::string line;
  std::getline(head, line);
  answer.status = std::stoi(line.substr(line.find(' ') + 1));
  while (std::getline(head, line) && line.size() > 1) {
    const std::size_t colon = line.find(':');
    std::string name = line.substr(0, colon);
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::string& value = answer.headers[name];
    value += (value.empty() ? "" : ", ") + line.substr(colon + 2, line.size() - colon - 3);
  }
  is_chunked_ = answer.header("transfer-encoding") == "chunked";
  const std::string length = answer.header("content-length");
  const std::size_t size = length.empty() || answer.status == 304 ? 0 : std::stoul(length);
  while (received_.size() < size) {
    if (!fill()) return {};
  }
  answer.body = received_.substr(0, size);
  received_.erase(0, size);
  if (is_chunked_ && answer.header("content-type") != "text/event-stream") {
    while (next_chunk(answer.body)) {
    }
  }
  return answer;
}

bool Connection::next_chunk(std::string& text) {
  for (;;) {
    const std::size_t line = received_.find("\r\n");
    const std::size_t size = line == std::string::npos ? 0 : std::stoul(received_.substr(0, line), nullptr, 16);
    if (line != std::string::npos && received_.size() >= line + 2 + size + 2) {
      text += received_.substr(line + 2, size);
      received_.erase(0, line + 2 + size + 2);
      return size > 0;
    }
    if (!fill()) return false;
  }
}

Answer Connection::ask(const std::string& request) {
  send(request);
  return receive();
}

std::string Connection::next_event() {
  for (;;) {
    const std::size_t end = stream_.find("\n\n");
    if (end != std::string::npos) {
      const std::string event = stream_.substr(0, end);
      stream_.erase(0, end + 2);
      return event;
    }
    if (!next_chunk(stream_)) return "";
  }
}

bool Connection::is_ended() {
  while (fill()) {
  }
  char byte = 0;
  return ::recv(fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) == 0;
}

void WebTest::start_engine(const std::string& more_of_engine) {
  engine_ = std::make_unique<Child>(with_control(more_of_engine), dir_);
  const Client client(control());  // waits until it listens
}

void WebTest::start_web(const std::string& more, const std::string& before) {
  web_dir_.write("err", "");
  web_ = std::make_unique<Child>(before + POLAIGA_WEB " --ledger '" + ledger() + "' --control '" + control() +
                                     "' --listen 127.0.0.1:0 --host test --host x --program \"$POLAIGA\" " + more,
                                 web_dir_);
  ASSERT_TRUE(
      comes_true([this] { return web_->has_ended() || web_dir_.read("err").find("ready: ") != std::string::npos; }));
  ASSERT_FALSE(web_->has_ended()) << web_dir_.read("err");
  const std::string said = web_dir_.read("err");
  const std::size_t begin = said.find("://", said.find("ready: ")) + 3;
  address_ = said.substr(begin, said.find('/', begin) - begin);
}

void WebTest::stop_engine(int signal) {
  engine_->kill(signal);
  engine_->wait();
  engine_.reset();
}

void WebTest::stop_web(int signal) {
  web_->kill(signal);
  EXPECT_EQ(web_->wait().status, signal == SIGKILL ? 128 + SIGKILL : 0) << web_dir_.read("err");
  web_.reset();
}

void WebTest::feed(const std::string& events) const {
  Client client(socket());
  client.send(events);
  client.finish();
  for (auto lines = std::ranges::count(events, '\n'); lines > 0; --lines) {
    ASSERT_GT(engine::test::number_in(client.answer()), 0);
  }
}

void WebTest::feed_day() const {
  std::ifstream day(POLAIGA_DAY);
  std::stringstream events;
  events << day.rdbuf();
  feed(events.str());
}

Answer WebTest::get(const std::string& target, const std::string& headers) const {
  return Connection(address()).ask("GET " + target + " HTTP/1.1\r\nHost: test\r\n" + headers + "\r\n");
}

Answer WebTest::get_until(const std::string& target, const std::function<bool(const Answer&)>& wanted) const {
  Answer answer;
  comes_true([&] {
    answer = get(target);
    return wanted(answer);
  });
  return answer;
}

}  // namespace polaiga::web::test
