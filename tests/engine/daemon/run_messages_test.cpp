// The engine's messages, and a standard error that takes none.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "base/descriptor.h"
#include "base/unblocked_output.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace run_messages_test {

constexpr int kInherited = 9;  // by the engine, from the test

// Standard error is a file that the test holds the other end of.
class RunMessagesTest : public RunTest {
 protected:
  ~RunMessagesTest() override { ::close(kInherited); }

  static void inherit(int fd) { ASSERT_EQ(::dup2(fd, kInherited), kInherited); }

  std::string command(const std::string& environment = "", const std::string& more = "") const {
    return RunTest::command(environment, more) + " 2>&9";
  }

  // Until it takes nothing more, also after a while: the kernel moves what a terminal is sent from one buffer to the
  // next by and by.
  static std::size_t fill(int fd) {
    const UnblockedOutput output(fd);
    const std::string page(4096, '.');
    std::size_t all = 0;
    pollfd polled{output.fd(), POLLOUT, 0};
    do {
      for (ssize_t count = 0; (count = output.write(page)) > 0;) all += static_cast<std::size_t>(count);
    } while (::poll(&polled, 1, 500) > 0);
    return all;
  }

  static int times(const std::string& text, const std::string& part) {
    int found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++found;
    return found;
  }

  // All numbers that stand before this part of the text, added up.
  static int number_before(const std::string& text, const std::string& part) {
    int all = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
      all += std::stoi(text.substr(text.rfind(' ', at - 1) + 1));
    }
    return all;
  }

  // What comes until the text has come.
  static std::string read_until(int fd, const std::string& text) {
    std::string all;
    ::fcntl(fd, F_SETFL, O_NONBLOCK);
    comes_true([&] {
      std::array<char, 4096> buffer{};
      for (ssize_t count = 0; (count = ::read(fd, buffer.data(), buffer.size())) > 0;) {
        all.append(buffer.data(), static_cast<std::size_t>(count));
      }
      return all.find(text) != std::string::npos;
    });
    return all;
  }

  // That events are taken, and messages left out, until somebody reads.
  void expect_service(int reader) {
    Child engine(command(), dir_);
    Client client(socket());
    for (int i = 1; i <= 50; ++i) {
      client.send(slow() + "[]\n");
      ASSERT_EQ(client.answers(2).front(), taken(i));
      Client other(socket());
      other.send("[]\n");  // of each client's bad lines the first is told
      ASSERT_NE(other.answer(), "");
    }
    std::string told = read_until(reader, "messages were left out");
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
    told += read_until(reader, "stopped: ");
    const std::string messages = told.substr(std::min(told.size(), told.find("polaiga: ")));
    // A terminal may have taken some after all.
    const int left_out = number_before(messages, " messages were left out, because standard error did not take them");
    EXPECT_GT(left_out, 0) << messages;
    EXPECT_EQ(left_out + times(messages, "polaiga: ready: ") + times(messages, ": not an object"), 52) << messages;
    EXPECT_EQ(times(messages, "polaiga: stopping"), 1) << messages;
  }
};

TEST_F(RunMessagesTest, APipeThatNobodyReadsDoesNotStopTheEngine) {
  Pipe pipe;
  inherit(pipe.in.get());
  ASSERT_GT(fill(kInherited), 0U);
  expect_service(pipe.out.get());
  EXPECT_EQ(::fcntl(kInherited, F_GETFL) & O_NONBLOCK, 0);  // which the test and the engine share
}

TEST_F(RunMessagesTest, NorDoesASocket) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor reader(ends[0]);
  const Descriptor error(ends[1]);
  inherit(error.get());
  ASSERT_GT(fill(kInherited), 0U);
  expect_service(reader.get());
}

TEST_F(RunMessagesTest, NorDoesATerminal) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  const Descriptor reader(master);
  const Descriptor error(slave);
  inherit(error.get());
  ASSERT_GT(fill(kInherited), 0U);
  expect_service(reader.get());
}

// It would otherwise end with the first message.
TEST_F(RunMessagesTest, NorDoesAPipeWhoseReaderHasGone) {
  Pipe pipe;
  inherit(pipe.in.get());
  pipe.in.close();
  pipe.out.close();
  Child engine(command(), dir_);
  Client client(socket());
  client.send(slow());
  EXPECT_EQ(client.answer(), taken(1));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunMessagesTest, TheLibrarysDiagnosticsDoNotStopTheEngineEither) {
  Pipe pipe;
  inherit(pipe.in.get());
  Child engine(command("", "--log debug"), dir_);
  Client client(socket());
  const std::string storage = R"({"entity":"storage","sensor":"HDD1_STATUS","offset":12,"state":1})"
                              "\n";
  for (int i = 1; i <= 2000; ++i) {
    client.send(storage);
    ASSERT_EQ(client.answer(), taken(i));
  }
  const std::string told = read_until(pipe.out.get(), "messages were left out");
  EXPECT_NE(told.find("polaiga: process_storage_fault\n"), std::string::npos);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

TEST_F(RunMessagesTest, TheJournalIsToldHowGraveAMessageIs) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor reader(ends[0]);
  const Descriptor error(ends[1]);
  inherit(error.get());
  struct stat status = {};
  ASSERT_EQ(::fstat(error.get(), &status), 0);
  const std::string journal =
      "JOURNAL_STREAM=" + std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) + " ";
  {
    Child engine(command(journal), dir_);
    Client client(socket());
    client.send("[]\n");
    EXPECT_NE(client.answer(), "");
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
    EXPECT_EQ(read_until(reader.get(), "stopped"),
              "<6>ready: 0 active faults, 0 inputs, 0 bad lines\n<4>client 1:1: not an object\n<6>stopping\n"
              "<6>stopped: 0 active faults, 0 inputs, 1 bad line\n");
  }
  Child engine(command(journal, "--tables '" + dir_.file("nowhere") + "'"), dir_);
  EXPECT_EQ(engine.wait().status, 2);
  EXPECT_TRUE(read_until(reader.get(), "\n").starts_with("<3>" + dir_.file("nowhere")));
}

TEST_F(RunMessagesTest, MessagesAreLimitedInNumber) {
  const Ended got = Shell().run(without_socket(), repeated("[]\n", 1000));
  EXPECT_EQ(got.status, 1);
  EXPECT_NE(got.err.find("polaiga: <stdin>:100: not an object\n"), std::string::npos);
  EXPECT_NE(got.err.find("polaiga: stopped: 0 active faults, 0 inputs, 1000 bad lines\n"), std::string::npos);
  // After ten seconds some more are told.
  const int left_out =
      number_before(got.err, " messages were left out, because more than 100 of a kind came within 10 s\n");
  EXPECT_GT(left_out, 0) << got.err;
  EXPECT_EQ(left_out + times(got.err, ": not an object\n"), 1000) << got.err;
}

// The queue of a socket for datagrams has room for few.
TEST_F(RunMessagesTest, AServiceManagerThatDoesNotListenDoesNotStopTheEngine) {
  NotifySocket manager(dir_.file("notify"));
  inherit(STDERR_FILENO);
  Child engine(command(manager.environment() + " WATCHDOG_USEC=2000"), dir_);
  Client client(socket());
  for (int i = 1; i <= 2000; ++i) {
    client.send(slow());
    ASSERT_EQ(client.answer(), taken(i));
  }
  EXPECT_NE(manager.next("STATUS=", " 2000 inputs"), "");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_NE(manager.next("STOPPING=1"), "");
}

TEST_F(RunMessagesTest, AStandardOutputThatNobodyReadsDoesNotStopTheEngine) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  const Descriptor reader(master);
  const Descriptor output(slave);
  inherit(output.get());
  Child engine(RunTest::command() + " >&9", dir_);
  for (int i = 0; i < 1000; ++i) engine.send(slow());
  ASSERT_TRUE(comes_true([this] { return events() == 1000; }));
  Client client(socket());
  client.send(slow());
  EXPECT_EQ(client.answer(), taken(1001));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
}

}  // namespace run_messages_test
}  // namespace polaiga::engine::test
