// `polaiga outputs`, while an engine runs and while none does.
#include <ctime>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "base/text_width.h"
#include "daemon/run.h"
#include "model/moment.h"
#include "support/client.h"
#include "support/forked_engine.h"
#include "support/shared_clock.h"

namespace polaiga::engine::test {
namespace outputs_command_test {

using nlohmann::json;

class OutputsCommand : public RunTest {
 protected:
  std::string typed(const std::string& arguments = "") const {
    return "POLAIGA_CONTROL='" + control() + "' $POLAIGA outputs " + arguments;
  }
  Ended ask(const std::string& arguments = "") const { return shell_.run(typed(arguments)); }

  void report(const std::string& members) const {
    Client client(control());
    EXPECT_EQ(answer(client, R"({"do":"cursor",)" + members + "}"), R"({"ok":true})");
  }

  // The table, with "~" in place of how long ago something was.
  std::vector<std::string> table() const {
    const Ended got = ask();
    EXPECT_EQ(got.status, 0) << got.err;
    return lines_of(std::regex_replace(got.out, std::regex("[0-9]+[smhd]( [0-9]+[smhd])?( ago)"), "~$2"));
  }

  Shell shell_;
};

std::string before_now(Moment seconds) { return format_moment(std::time(nullptr) - seconds); }

TEST_F(OutputsCommand, ListsThem) {
  SharedClock clock;
  Child engine(forked_engine(options(), clock), dir_);
  Client events(socket());
  events.send(slow(1) + slow(2) + slow(3));
  ASSERT_EQ(events.answers(3).back(), taken(3));
  report(R"("publisher":"gone","through":1)");
  clock.pass(3'725);
  report(R"("publisher":"mqtt","through":3,"peer":"mqtt.example:8883","connected":true,"told":3,"lost":0,"cut":1,)"
         R"("last_success":")" +
         before_now(5) + "\"");
  report(R"("publisher":"snmp","through":2,"peer":"/var/agentx/master","connected":false,"told":0,"lost":7,"cut":0,)"
         R"("last_error":"connection refused","last_error_at":")" +
         before_now(61) + "\"");
  const auto lines = table();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0],
            "OUTPUT  STATE                BEHIND  THROUGH  LAST SUCCESS  LOST  CUT  PEER                LAST ERROR");
  EXPECT_TRUE(std::regex_match(lines[1], std::regex("gone    not heard for 1h 2m  2       1        -             -     "
                                                    "-    -                   -")))
      << lines[1];
  EXPECT_TRUE(lines[2].starts_with("mqtt    connected            0       3        ~ ago ")) << lines[2];
  EXPECT_TRUE(lines[2].ends_with("  0     1    mqtt.example:8883   -")) << lines[2];
  EXPECT_TRUE(
      lines[3].starts_with("snmp    not connected        1       2        -             7     0    "
                           "/var/agentx/master  ~ ago: connection refused"))
      << lines[3];
}

TEST_F(OutputsCommand, AsJson) {
  Child engine(with_control(), dir_);
  report(R"("publisher":"a","through":0,"peer":"b\u00e4r","connected":true)");
  report(R"("publisher":"b","through":0)");
  const Ended got = ask("--json");
  EXPECT_EQ(got.status, 0);
  const auto lines = lines_of(got.out);
  ASSERT_EQ(lines.size(), 2U);
  const json told = json::parse(lines[0]);
  EXPECT_EQ(told.at("publisher"), "a");
  EXPECT_EQ(told.at("peer"), "b\u00e4r");
  EXPECT_EQ(told.at("connected"), true);
  EXPECT_LE(told.at("silent_s"), 30);
  EXPECT_FALSE(told.contains("told"));
  const json now = status().at("publishers");
  EXPECT_EQ(now.at(0).at("updated"), told.at("updated"));
}

// After a start the engine knows the cursors alone.
TEST_F(OutputsCommand, AfterAStartTheyAreNotHeardYet) {
  {
    Child engine(with_control(), dir_);
    report(R"("publisher":"a","through":0,"peer":"b","connected":true)");
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(with_control(), dir_);
  { const Client waits(control()); }
  const auto lines = table();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1], "a       not heard yet  0       0        -             -     -    -     -");
}

TEST_F(OutputsCommand, ThereMayBeNone) {
  Child engine(with_control(), dir_);
  { const Client waits(control()); }
  const Ended got = ask();
  EXPECT_EQ(got.status, 0);
  EXPECT_EQ(got.out, "No output has told the engine how far it has come.\n");
  EXPECT_EQ(ask("--json").out, "");
}

TEST_F(OutputsCommand, OneThatIsNotUsedIsForgotten) {
  Child engine(with_control(), dir_);
  report(R"("publisher":"a","through":0)");
  report(R"("publisher":"b","through":0)");
  const Ended got = ask("--forget a");
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(got.out, "The output 'a' is forgotten. Retention waits for it no longer.\n");
  const json now = status().at("publishers");
  ASSERT_EQ(now.size(), 1U);
  EXPECT_EQ(now.at(0).at("publisher"), "b");
  const Ended again = ask("--forget a");
  EXPECT_EQ(again.status, 2);
  EXPECT_EQ(again.out, "");
  EXPECT_EQ(again.err, "polaiga: There is no publisher 'a'\n");
  const Ended wrong = ask("--forget 'A\"B'");
  EXPECT_EQ(wrong.status, 2);
  EXPECT_NE(wrong.err.find("The publisher is 'A\"B'; its name has 1 to 32"), std::string::npos) << wrong.err;
}

TEST_F(OutputsCommand, WithoutAnEngine) {
  const Ended got = ask();
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_NE(got.err.find(control() + ": no engine listens here. Start `polaiga run` with --control"), std::string::npos)
      << got.err;
}

// What answers is no engine.
TEST_F(OutputsCommand, AnAnswerThatIsNoneIsRefused) {
  const Child other(
      "python3 -c 'import socket, sys; s = socket.socket(socket.AF_UNIX); s.bind(sys.argv[1]); "
      "s.listen(); c = s.accept()[0]; c.recv(99); c.sendall(b\"{\\\"publishers\\\":7}\\n\"); c.recv(99)' '" +
          control() + "'",
      dir_);
  ASSERT_TRUE(comes_true([&] { return shell_.run("test -S '" + control() + "'").status == 0; }));
  const Ended got = ask();
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_NE(got.err.find("the engine's answer is not understood: '{\"publishers\":7}'"), std::string::npos) << got.err;
}

TEST_F(OutputsCommand, FitsTheTerminal) {
  Child engine(with_control(), dir_);
  report(R"("publisher":"alertmanager-0123456789ab","through":0,"peer":")" + std::string(256, 'p') +
         R"(","connected":true,"told":3,"lost":123456,"cut":1,"last_success":")" + before_now(5) +
         R"(","last_error":")" + std::string(512, 'e') + R"(","last_error_at":")" + before_now(61) + "\"");
  for (const std::uint16_t columns : std::initializer_list<std::uint16_t>{80, 90, 100, 132}) {
    const Ended got = shell_.run_on_terminal(typed(), columns);
    EXPECT_EQ(got.status, 0) << got.out;
    const auto lines = lines_of(got.out);
    EXPECT_EQ(lines.size(), 2U);
    for (const std::string& line : lines) EXPECT_LE(text_width(line), columns) << line;
    EXPECT_NE(got.out.find("alertmanager-0123456789ab  connected"), std::string::npos) << got.out;
  }
  EXPECT_NE(ask().out.find(std::string(512, 'e')), std::string::npos) << "whole where there is no terminal";
}

}  // namespace outputs_command_test
}  // namespace polaiga::engine::test
