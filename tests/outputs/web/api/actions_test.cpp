// /api/v1/actions beside an engine: what operators do to several alarms at once, and what is told when it fails.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/web.h"

namespace polaiga::web::test {
namespace actions_test {

using nlohmann::json;

// At a Unix socket, whose peers are operators: they are the server's own user.
class ActionsTest : public WebTest {
 protected:
  void start_gateway() {
    engine_ = std::make_unique<Child>(with_control("--gateway " + std::to_string(::geteuid())), dir_);
    const Client client(control());
  }

  void start_server() {
    web_ = std::make_unique<Child>(POLAIGA_WEB " --ledger '" + ledger() + "' --control '" + control() +
                                       "' --program \"$POLAIGA\" --listen 'unix:" + path() + "'",
                                   web_dir_);
    ASSERT_TRUE(web_->has_complained("ready: "));
  }

  std::string path() const { return web_dir_.file("http.sock"); }

  Answer act(const std::string& body) const {
    return Connection(path()).ask(
        "POST /api/v1/actions HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\n\r\n" + body);
  }

  // The alarms that operators have brought into a state, once there are so many.
  std::vector<std::string> alarms_in(const std::string& state, std::size_t count) const {
    std::vector<std::string> ids;
    engine::test::comes_true([&] {
      const Answer answer =
          Connection(path()).ask("GET /api/v1/alarms?state=" + state + " HTTP/1.1\r\nHost: x\r\n\r\n");
      if (answer.status != 200) return false;  // the ledger was not read yet
      const json body = answer.json();
      ids.clear();
      for (const json& alarm : body.at("alarms")) {
        const std::string id = alarm.at("alarm");
        ids.push_back(id.substr(id.rfind('-') + 1));
      }
      return ids.size() == count;
    });
    return ids;
  }
};

using Numbers = std::vector<std::string>;

TEST_F(ActionsTest, SeveralAlarmsAtOnce) {
  start_gateway();
  start_server();
  feed(engine::test::slow(1) + engine::test::slow(2) + engine::test::slow(3) + engine::test::slow(4));
  const Answer done = act(R"({"do":"acknowledge","alarms":"1,+2","comment":"seen"})");
  EXPECT_EQ(done.body, R"({"changes":2,"seq":5})"
                       "\n");
  EXPECT_EQ(alarms_in("acknowledged", 2), (Numbers{"1", "3"}));
  // One of the alarms is not there: then nothing is done, or what is possible.
  EXPECT_EQ(act(R"({"do":"close","alarms":"2,9","comment":"replaced"})").status, 409);
  EXPECT_EQ(act(R"({"do":"close","alarms":"2,9","comment":"replaced","selection":true})").json().at("changes"), 1);
  EXPECT_EQ(alarms_in("closed", 1), Numbers{"2"});
}

// The commands of docs/web.md, with another socket.
TEST_F(ActionsTest, TheExampleOfTheDocumentWorks) {
  start_gateway();
  start_server();
  feed(engine::test::slow(1) + engine::test::slow(2) + engine::test::slow(2) +
       R"({"entity":"fan","sensor":"FAN1_TACH1","instance":3,"offset":4,"state":5})"
       "\n" +
       R"({"entity":"ps","sensor":"PS1_STATUS","offset":30,"state":1})"
       "\n");
  ASSERT_EQ(alarms_in("none", 4), (Numbers{"1", "2", "4", "5"}));
  std::ifstream document(POLAIGA_SOURCE_DIR "/docs/web.md");
  std::stringstream text;
  text << document.rdbuf();
  const std::string all = text.str();
  const std::string first = "```sh\nweb='curl ";
  const std::size_t begin = all.find(first);
  ASSERT_NE(begin, std::string::npos);
  std::string commands = all.substr(begin + 6, all.find("```", begin + first.size()) - begin - 6);
  const std::string socket = "/run/polaiga-web/http.sock";
  ASSERT_NE(commands.find(socket), std::string::npos);
  commands.replace(commands.find(socket), socket.size(), path());
  const auto got = Shell().run("set -e\n" + commands);
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(got.out, R"({"changes":3,"seq":6})"
                     "\n");
  EXPECT_EQ(alarms_in("acknowledged", 3), (Numbers{"1", "2", "4"}));
  EXPECT_EQ(alarms_in("none", 1), Numbers{"5"});
}

TEST_F(ActionsTest, AnActionIsThatOfTheCaller) {
  start_gateway();
  start_server();
  feed(engine::test::slow(1));
  const Answer refused = act(R"({"do":"acknowledge","alarms":"1","on_behalf_of":"somebody"})");
  EXPECT_EQ(refused.status, 400);
  EXPECT_EQ(refused.json().at("detail"), "The member 'on_behalf_of' is not taken: an action is that of the caller.");
  EXPECT_EQ(count("action"), 0);
}

// Something answers at the control socket, but not as an engine does.
TEST_F(ActionsTest, AnAnswerThatIsNotUnderstoodIsTold) {
  for (const std::string said : {"[]", "no JSON", R"({"error":7})", "{}", "7"}) {
    const Child pretended(
        [&] {
          sockaddr_un at = {.sun_family = AF_UNIX, .sun_path = {}};
          control().copy(at.sun_path, sizeof at.sun_path - 1);
          ::unlink(at.sun_path);
          const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
          if (::bind(listener, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0 || ::listen(listener, 16) != 0)
            return 1;
          for (;;) {
            const int client = ::accept(listener, nullptr, nullptr);
            char byte = 0;
            while (::read(client, &byte, 1) == 1 && byte != '\n') {
            }
            const std::string line = said + "\n";
            if (::write(client, line.data(), line.size()) < 0) return 1;
            ::close(client);
          }
        },
        dir_);
    web_dir_.write("err", "");
    start_server();
    ASSERT_TRUE(engine::test::comes_true([&] { return act(R"({"do":"acknowledge","alarms":"1"})").status == 503; }));
    const json told = act(R"({"do":"acknowledge","alarms":"1"})").json();
    const std::string detail = told.at("detail");
    EXPECT_TRUE(detail.starts_with("The engine's answer is not understood")) << said << ": " << detail;
    web_->kill(SIGTERM);
    web_->wait();
  }
}

}  // namespace actions_test
}  // namespace polaiga::web::test
