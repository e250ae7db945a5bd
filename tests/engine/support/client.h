// `polaiga run` as those around it see it: its clients, its ledger, its files.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/notify_socket.h"
#include "support/program.h"
#include "support/temp_dir.h"

namespace polaiga::engine::test {

// A client of the socket.
class Client {
 public:
  // Waits until somebody listens there.
  explicit Client(const std::string& socket);
  ~Client() { close(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  Client(Client&& other) noexcept;
  Client& operator=(Client&&) = delete;

  void send(std::string_view text) const;

  // Sends again and again, until nothing has been taken for a while; answers how
  // many bytes were. At most so many.
  std::size_t send_until_refused(const std::string& text, std::size_t most) const;

  // The next answer, without its newline; "" when none has come after some seconds,
  // or none will come.
  std::string answer();
  std::vector<std::string> answers(std::size_t count);
  // Whether a byte of an answer is there now.
  bool has_answer() const;
  // Whether the engine closes the connection, with nothing more to say.
  bool is_let_go();

  void finish() const;  // nothing more will be sent
  void close();

 private:
  bool receive();

  int fd_ = -1;
  std::string received_;
};

// A ledger, a socket, and the program on them.
class RunTest : public ::testing::Test {
 protected:
  std::string ledger() const { return dir_.file("ledger.db"); }
  std::string socket() const { return dir_.file("events.sock"); }
  std::string control() const { return dir_.file("control.sock"); }

  // The command that runs the program with the ledger and the socket.
  std::string command(const std::string& environment = "", const std::string& more = "") const;
  // The same with the control socket.
  std::string with_control(const std::string& more = "") const;
  // What the engine answers to a request at the control socket.
  static std::string answer(Client& client, const std::string& request);
  // The same without the socket.
  std::string without_socket() const { return "$POLAIGA run --ledger '" + ledger() + "'"; }

  // What a question in SQL finds, in the first column of each row.
  std::vector<std::string> ask(const std::string& sql) const { return ask(ledger(), sql); }
  static std::vector<std::string> ask(const std::string& ledger, const std::string& sql);
  std::int64_t events() const { return count("event"); }
  // What the record of each event did, in the order of the events.
  std::vector<std::string> outcomes() const { return ask("SELECT change FROM records ORDER BY seq"); }
  std::int64_t count(const std::string& table) const { return std::stoll(ask("SELECT count(*) FROM " + table).at(0)); }

  TempDir dir_;
};

// Ends the program with the signal; all is well if it ends with this status.
Ended stop(Child& engine, int signal);

// Lines of events: the speed of a fan is low, or is not.
std::string slow(int fan = 1);
std::string well(int fan = 1);
// The same with an id.
std::string slow(int fan, const std::string& id);

// {"seq":N}
std::string taken(std::int64_t sequence);
std::string known(std::int64_t sequence);  // the same of a duplicate

// The number in an answer; 0 when there is none.
std::int64_t number_in(const std::string& answer);

std::string repeated(const std::string& text, int times);

}  // namespace polaiga::engine::test
