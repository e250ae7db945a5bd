#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/client.h"

namespace polaiga::engine::test {
namespace run_bad_input_test {

constexpr std::size_t kLongest = 65536;
const std::string kTooLong = R"({"error":"the line is over 64 KiB long"})";

std::string error_in(const std::string& answer) { return nlohmann::json::parse(answer).at("error"); }

// An event in so many bytes.
std::string padded(std::size_t size) {
  std::string line = slow();
  line.pop_back();
  return line + std::string(size - line.size(), ' ') + "\n";
}

std::string content_of(const std::string& path) {
  std::ifstream input(path);
  return {std::istreambuf_iterator<char>(input), {}};
}

class RunBadInputTest : public RunTest {
 protected:
  // That all is well with the engine: a new client is answered.
  void expect_service(std::int64_t number) const {
    Client client(socket());
    client.send(slow());
    EXPECT_EQ(client.answer(), taken(number));
  }

  std::int64_t most_memory_used() const {  // KiB
    std::istringstream status(content_of("/proc/" + std::to_string(engine_.pid()) + "/status"));
    std::string line;
    while (std::getline(status, line)) {
      if (line.starts_with("VmHWM:")) return std::stoll(line.substr(6));
    }
    return -1;
  }

  // Sockets that the engine has open: where it listens, and one of each client.
  std::ptrdiff_t sockets() const {
    const std::filesystem::directory_iterator files("/proc/" + std::to_string(engine_.pid()) + "/fd");
    return std::count_if(begin(files), end(files), [](const auto& file) {
      std::error_code gone;
      return std::filesystem::read_symlink(file.path(), gone).string().starts_with("socket:");
    });
  }

  // Nobody is silent for so long that another one gets the place.
  Child engine_{command("", "--idle-within 1000s"), dir_};
};

TEST_F(RunBadInputTest, BlankLinesGetNoAnswer) {
  Client client(socket());
  client.send("\n \t\r\n\r\n" + slow() + "\n" + well());
  EXPECT_EQ(client.answer(), taken(1));
  EXPECT_EQ(client.answer(), taken(2));
}

TEST_F(RunBadInputTest, ErrorsAreWordedAsInAReplay) {
  const std::vector<std::string> lines = {
      "nonsense",
      "[]",
      "{}",
      R"({"entity":"fan","sensor":"S","offset":3})",
      R"({"entity":"fam","sensor":"S","offset":3,"state":1})",
      R"({"entity":"fan","sensor":"S","offset":3,"state":1,"state":0})",
      R"({"entity":"fan","sensor":"S","offset":3,"state":1e999})",
      R"({"entity":"fan","sensor":"S","offset":3,"state":1,"id":""})",
      R"({"entity":"fan","sensor":"S","offset":3,"state":1,"what":0})",
      R"({"entity":"fan","sensor":"S","offset":3,"state":1)",
      "{\"entity\":\"\xFF\"}",
      "\xEF\xBB\xBF\xC3(",
      std::string("{\0}", 3),
      std::string("\0", 1),
      std::string(60'000, '['),
      std::string(30'000, '[') + std::string(30'000, ']'),
      repeated(R"({"a":)", 10'000),
  };
  std::string input;
  for (const std::string& line : lines) input += line + "\n";
  const Ended replay = Shell().run("$POLAIGA replay -", input);
  EXPECT_EQ(replay.status, 1);
  Client client(socket());
  client.send(input + slow());
  std::istringstream complaints(replay.err);
  std::string complaint;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    ASSERT_TRUE(std::getline(complaints, complaint));
    EXPECT_EQ("<stdin>:" + std::to_string(i + 1) + ": " + error_in(client.answer()), complaint);
  }
  EXPECT_EQ(client.answer(), taken(1));
}

TEST_F(RunBadInputTest, ErrorsSayWhatIsWrong) {
  Client client(socket());
  client.send("[]\n\xFF\n" + std::string("\0\n", 2) +
              R"({"entity":"fan","sensor":"S","offset":3})"
              "\n");
  EXPECT_EQ(error_in(client.answer()), "not an object");
  EXPECT_EQ(error_in(client.answer()), "not UTF-8");
  EXPECT_EQ(error_in(client.answer()).substr(0, 8), "not JSON");
  EXPECT_EQ(error_in(client.answer()), "member 'state' is missing");
  // Of a client's the first is told here, and all are counted.
  const Ended got = stop(engine_, SIGTERM);
  EXPECT_NE(got.err.find("client 1:1: not an object\n"), std::string::npos) << got.err;
  EXPECT_EQ(got.err.find("client 1:4"), std::string::npos) << got.err;
  EXPECT_NE(got.err.find("4 bad lines"), std::string::npos) << got.err;
}

TEST_F(RunBadInputTest, LinesOver64KiBArePassedOverWhole) {
  Client client(socket());
  client.send(padded(kLongest) + padded(kLongest + 1) + slow() + padded(300'000) + std::string(kLongest + 1, '\n') +
              well());
  const std::vector<std::string> want = {taken(1), kTooLong, taken(2), kTooLong, taken(3)};
  EXPECT_EQ(client.answers(5), want);
  client.send(padded(kLongest + 1).substr(0, kLongest + 1));
  client.finish();
  EXPECT_EQ(client.answer(), kTooLong);
  EXPECT_TRUE(client.is_let_go());
}

TEST_F(RunBadInputTest, ALineWithoutEndTakesNoMemory) {
  Client client(socket());
  client.send(slow());
  EXPECT_EQ(client.answer(), taken(1));
  const std::int64_t before = most_memory_used();
  ASSERT_GT(before, 0);
  const std::string megabyte(1'000'000, 'x');
  for (int i = 0; i < 50; ++i) client.send(megabyte);
  client.send("\n" + slow());
  EXPECT_EQ(client.answer(), kTooLong);
  EXPECT_EQ(client.answer(), taken(2));
  EXPECT_LT(most_memory_used() - before, 8 * 1024);
}

TEST_F(RunBadInputTest, HalfALineIsNoEvent) {
  {
    const Client client(socket());
    client.send(slow().substr(0, 30));
  }
  EXPECT_TRUE(engine_.has_complained("client 1:1: not JSON"));
  expect_service(1);
}

TEST_F(RunBadInputTest, SilenceInTheMidstOfALineDelaysNobody) {
  Client silent(socket());
  silent.send(slow().substr(0, 30));
  for (int i = 1; i <= 10; ++i) expect_service(i);
  silent.send(slow().substr(30));
  EXPECT_EQ(silent.answer(), taken(11));
}

TEST_F(RunBadInputTest, OneWhoDoesNotReadIsNotListenedTo) {
  {
    constexpr std::size_t kMost = 100'000'000;
    const Client deaf(socket());
    ASSERT_LT(deaf.send_until_refused("[]\n", kMost), kMost);
    expect_service(1);
    expect_service(2);
    EXPECT_TRUE(comes_true([this] { return sockets() == 2; }));
  }
  EXPECT_TRUE(comes_true([this] { return sockets() == 1; }));  // and then it is gone
  expect_service(3);
}

TEST_F(RunBadInputTest, TheLinesOfOneWhoLeavesCount) {
  constexpr int kLines = 300;
  {
    const Client client(socket());
    client.send(repeated(slow(), kLines) + slow().substr(0, 10));
  }
  EXPECT_TRUE(comes_true([this] { return events() == kLines; }));
  expect_service(kLines + 1);
}

TEST_F(RunBadInputTest, TheSixtyFifthClientWaits) {
  std::vector<Client> clients;
  for (int i = 1; i <= 64; ++i) {
    clients.emplace_back(socket());
    clients.back().send(slow());
    ASSERT_EQ(clients.back().answer(), taken(i));
  }
  Client late(socket());
  late.send(slow());
  for (int i = 65; i <= 100; ++i) {
    clients[63].send(well());
    ASSERT_EQ(clients[63].answer(), taken(i));
    ASSERT_FALSE(late.has_answer());
  }
  clients[10].close();
  EXPECT_EQ(late.answer(), taken(101));
}

}  // namespace run_bad_input_test
}  // namespace polaiga::engine::test
