// What polaiga-web bears, over TCP on this machine: requests a second, and event streams that are open all the time.
// Its clients run on the same cores.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "figures.h"
#include "running_engine.h"

namespace polaiga::engine {
namespace {

using Steady = std::chrono::steady_clock;
using std::chrono::milliseconds;

double milliseconds_since(Steady::time_point begin) {
  return std::chrono::duration<double, std::milli>(Steady::now() - begin).count();
}

class RunningServer {
 public:
  RunningServer(const Place& place, const std::string& ledger, const std::string& control) {
    const std::string said = place.file("web.said");
    pid_ = ::fork();
    if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "cannot start the server");
    if (pid_ == 0) {
      const int nothing = ::open("/dev/null", O_RDWR);
      const int messages = ::open(said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      for (const int standard : {STDIN_FILENO, STDOUT_FILENO}) ::dup2(nothing, standard);
      ::dup2(messages, STDERR_FILENO);
      ::execl(POLAIGA_WEB, "polaiga-web", "--ledger", ledger.c_str(), "--control", control.c_str(), "--listen",
              "127.0.0.1:0", "--program", POLAIGA_PROGRAM, "--connections-per-address", "2000", nullptr);
      std::perror(POLAIGA_WEB);
      ::_exit(127);
    }
    try {
      port_ = wait_for_port(said);
    } catch (...) {
      stop();
      throw;
    }
  }
  ~RunningServer() { stop(); }
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  std::uint16_t port() const { return port_; }

  // In microseconds.
  double processor_time() const {
    std::ifstream stat("/proc/" + std::to_string(pid_) + "/stat");
    std::string skipped;
    std::getline(stat, skipped, ')');
    constexpr int kBefore = 11;  // fields before the times of the program and of the system
    for (int i = 0; i < kBefore; ++i) stat >> skipped;
    double program = 0;
    double system = 0;
    if (!(stat >> program >> system)) throw std::runtime_error("the server has ended");
    return (program + system) * 1e6 / static_cast<double>(::sysconf(_SC_CLK_TCK));
  }

  // In MiB, the most that it had at once.
  double memory() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string name; status >> name;) {
      double kibibytes = 0;
      if (name == "VmHWM:" && status >> kibibytes) return kibibytes / 1024;
    }
    throw std::runtime_error("the server has ended");
  }

 private:
  void stop() {
    if (pid_ < 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  static std::string text_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // The file with what the server says is deleted with its directory, so the complaint has its text.
  std::uint16_t wait_for_port(const std::string& said) {
    constexpr int kTurns = 3000;
    constexpr std::string_view kReady = "ready: http://127.0.0.1:";
    for (int turn = 0; turn < kTurns; ++turn) {
      const bool has_ended = ::waitpid(pid_, nullptr, WNOHANG) == pid_;
      const std::string text = text_of(said);
      if (has_ended) {
        pid_ = -1;
        throw std::runtime_error("the server has ended at its start; it said: " + text);
      }
      const std::size_t at = text.find(kReady);
      if (at != std::string::npos) return static_cast<std::uint16_t>(std::stoi(text.substr(at + kReady.size())));
      std::this_thread::sleep_for(milliseconds(10));
    }
    throw std::runtime_error("the server is not ready after 30 s; it said: " + text_of(said));
  }

  int pid_ = -1;
  std::uint16_t port_ = 0;
};

class Client {
 public:
  explicit Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("nobody listens at the server's port");
    }
    const int yes = 1;
    ::setsockopt(socket_.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  }

  // The body; throws unless the status is 200.
  std::string ask(const std::string& target) {
    send("GET " + target + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string head = receive_until("\r\n\r\n");
    constexpr std::string_view kLength = "Content-Length: ";
    const std::size_t length = head.find(kLength);
    if (!head.starts_with("HTTP/1.1 200 ") || length == std::string::npos) throw std::runtime_error(head);
    const std::size_t size = std::stoul(head.substr(length + kLength.size()));
    while (received_.size() < size) fill();
    std::string body = received_.substr(0, size);
    received_.erase(0, size);
    return body;
  }

  void follow() {
    send("GET /api/v1/changes HTTP/1.1\r\nHost: localhost\r\nAccept: text/event-stream\r\n\r\n");
    const std::string head = receive_until("\r\n\r\n");
    if (!head.starts_with("HTTP/1.1 200 ")) throw std::runtime_error(head);
    receive_until("event: view");
  }

  // Up to the text, and with it.
  std::string receive_until(std::string_view text) {
    std::size_t at = 0;
    while ((at = received_.find(text)) == std::string::npos) fill();
    std::string found = received_.substr(0, at + text.size());
    received_.erase(0, found.size());
    return found;
  }

 private:
  void send(const std::string& text) const { write_all(socket_.get(), text.data(), text.size()); }

  void fill() {
    char part[65'536];
    const ssize_t size = ::recv(socket_.get(), part, sizeof part, 0);
    if (size <= 0) throw std::runtime_error("the server has closed a connection");
    received_.append(part, static_cast<std::size_t>(size));
  }

  Descriptor socket_;
  std::string received_;
};

std::string slow_fan(int unit) {
  return R"({"entity":"fan","sensor":"FAN1_TACH1","instance":)" + std::to_string(unit) +
         R"(,"offset":3,"state":1})"
         "\n";
}

class Bench : Figures {
 public:
  int run() {
    constexpr int kAlarms = 100;
    const std::string ledger = place_.file("web.db");
    const RunningEngine engine(ledger);
    std::string all;
    for (int unit = 1; unit <= kAlarms; ++unit) all += slow_fan(unit);
    engine.send(all);
    const RunningServer server(place_, ledger, engine.control());
    Client client(server.port());
    while (client.ask(kAlarmList).find("\"found\":100,") == std::string::npos)
      std::this_thread::sleep_for(milliseconds(10));
    note("bytes of the list of 100 alarms", static_cast<double>(client.ask(kAlarmList).size()));
    requests(server);
    streams(server, engine);
    return missed() == 0 ? 0 : 1;
  }

 private:
  static constexpr const char* kAlarmList = "/api/v1/alarms";

  void requests(const RunningServer& server) {
    constexpr int kClients = 8;
    constexpr std::chrono::seconds kFor{5};
    constexpr double kThousand = 1000;
    std::atomic<std::uint64_t> answered = 0;
    std::array<std::optional<std::string>, kClients> failures;  // each is written by its client alone
    const double before = server.processor_time();
    const auto begin = Steady::now();
    {
      std::vector<std::jthread> clients;
      clients.reserve(kClients);
      for (int i = 0; i < kClients; ++i) {
        clients.emplace_back([&, i] {
          try {
            Client client(server.port());
            for (; Steady::now() - begin < kFor; ++answered) client.ask(kAlarmList);
          } catch (const std::exception& error) {
            failures.at(static_cast<std::size_t>(i)) = error.what();
          }
        });
      }
    }
    std::string failed;
    for (std::size_t i = 0; i < failures.size(); ++i) {
      if (failures[i]) failed += "\n  client " + std::to_string(i) + ": " + *failures[i];
    }
    if (!failed.empty()) throw std::runtime_error("these clients failed:" + failed);
    note("processor time of the server for each, us",
         (server.processor_time() - before) / static_cast<double>(answered));
    at_least("requests for 100 alarms, a second", static_cast<double>(answered) / milliseconds_since(begin) * kThousand,
             5 * kThousand);
  }

  // Each follower gets each change, and who only asks does not notice them.
  void streams(const RunningServer& server, const RunningEngine& engine) {
    constexpr int kStreams = 1000;
    constexpr int kReads = 200;
    constexpr milliseconds kBetween{10};
    std::vector<Client> followers;
    for (int i = 0; i < kStreams; ++i) {
      followers.emplace_back(server.port());
      followers.back().follow();
    }
    std::vector<double> quiet;
    std::vector<double> busy;
    Client client(server.port());
    const auto read = [&](std::vector<double>& times) {
      const auto begin = Steady::now();
      client.ask(kAlarmList);
      times.push_back(milliseconds_since(begin));
      std::this_thread::sleep_for(kBetween);
    };
    for (int i = 0; i < kReads; ++i) read(quiet);
    std::exception_ptr failure;
    {
      // It stops at the end of this block, also when a read throws.
      const std::jthread source([&](const std::stop_token& stop) {
        try {
          for (int unit = 1001; !stop.stop_requested(); ++unit) {
            engine.send(slow_fan(unit));
            std::this_thread::sleep_for(milliseconds(100));
          }
        } catch (...) {
          failure = std::current_exception();
        }
      });
      for (int i = 0; i < kReads; ++i) read(busy);
    }
    if (failure) std::rethrow_exception(failure);
    const auto begin = Steady::now();
    engine.send(slow_fan(9999));
    for (Client& follower : followers) follower.receive_until("\"instance\":9999");
    note("ms until 1000 streams have a change", milliseconds_since(begin));
    std::ranges::sort(quiet);
    std::ranges::sort(busy);
    note("median of a read beside 1000 streams, us", quiet.at(kReads / 2) * 1000);
    at_most("slowest of 200 such reads, ms", quiet.back(), 100);
    at_most("the same beside ten changes a second, ms", busy.back(), 100);
    at_most("memory of the server, MiB", server.memory(), 64);
  }

  Place place_;
};

}  // namespace
}  // namespace polaiga::engine

int main() {
  std::signal(SIGPIPE, SIG_IGN);
  rlimit files = {};
  ::getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &files);  // for a thousand clients
  try {
    return polaiga::engine::Bench().run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "web_bench: %s\n", error.what());
    return 2;
  }
}
