// polaiga-web beside an engine, as those around it see them.
#pragma once

#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "support/client.h"

namespace polaiga::web::test {

using engine::test::Child;
using engine::test::Client;
using engine::test::Shell;
using engine::test::TempDir;

// What came back.
struct Answer {
  int status = 0;
  std::map<std::string, std::string> headers;  // by their names in small letters
  std::string body;

  nlohmann::json json() const;
  std::string header(const std::string& name) const;
};

// A connection of HTTP/1.1 without encryption, byte by byte as the test wants it.
class Connection {
 public:
  // "127.0.0.1:PORT" or the path of a Unix socket.
  explicit Connection(const std::string& address);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void send(const std::string& text) const;
  // The next whole response; status 0 when the connection ends before.
  Answer receive();
  Answer ask(const std::string& request);
  // The next part of a stream up to an empty line; "" when the connection ends before, or none comes within kPatience.
  std::string next_event();
  // Whether the server ends the connection within kPatience.
  bool is_ended();

 private:
  bool fill();
  bool next_chunk(std::string& text);

  int fd_ = -1;
  bool is_chunked_ = false;
  std::string received_;
  std::string stream_;
};

class WebTest : public engine::test::RunTest {
 protected:
  // Starts an engine with both sockets, and the server. `more` are options of the server. Its names are "test" and "x".
  // `before` is what the shell does first.
  void start_engine(const std::string& more_of_engine = "");
  void start_web(const std::string& more = "", const std::string& before = "");
  void stop_engine(int signal);
  void stop_web(int signal);

  // Gives the engine events, and waits until they are durable.
  void feed(const std::string& events) const;
  void feed_day() const;

  // "127.0.0.1:PORT"
  const std::string& address() const { return address_; }

  Answer get(const std::string& target, const std::string& headers = "") const;
  // Asks until the answer is as wanted, or kPatience is over; the last answer.
  Answer get_until(const std::string& target, const std::function<bool(const Answer&)>& wanted) const;

  TempDir web_dir_;
  std::unique_ptr<Child> engine_;
  std::unique_ptr<Child> web_;

 private:
  std::string address_;
};

}  // namespace polaiga::web::test
