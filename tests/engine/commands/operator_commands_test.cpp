// What operators do with the commands, and what the other commands tell of it, while an engine runs.
#include <csignal>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "model/moment.h"
#include "support/client.h"

namespace polaiga::engine::test {
namespace operator_commands_test {

using nlohmann::json;
using Words = std::vector<std::string>;

constexpr Moment kHour = 3'600;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string fan(int number) { return "sys/rack-unit-1/fan-module-1-" + std::to_string(number) + "/fan-1"; }
std::string slow_fan(int number) { return fan(number) + "/fault-F0395"; }

std::string quoted(const std::string& text) { return "'" + text + "'"; }

// Alarms 1, 2 and 3 are fans that are slow since an hour. The fourth one was slow, too, and alarm 4 is over.
class OperatorCommands : public RunTest {
 protected:
  void SetUp() override {
    engine_.emplace(command("", "--control " + quoted(control())), dir_);
    const std::string since = R"(,"time":)" + std::to_string(raised_);
    std::string events;
    for (int number = 1; number <= 4; ++number) events += with(slow(number), since);
    events += with(well(4), since);
    Client client(socket());
    client.send(events);
    ASSERT_EQ(client.answers(5).back(), taken(5));
  }

  std::string typed(const std::string& arguments) const {
    return "POLAIGA_LEDGER=" + quoted(ledger()) + " POLAIGA_CONTROL=" + quoted(control()) + " $POLAIGA " + arguments;
  }
  Ended ask(const std::string& arguments) const { return shell_.run(typed(arguments)); }

  void expect_answer(const std::string& arguments, const std::string& answer) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 0) << arguments;
    EXPECT_EQ(got.err, "") << arguments;
    EXPECT_EQ(got.out, answer) << arguments;
  }

  void expect_refusal(const std::string& arguments, const std::string& reason) const {
    const Ended got = ask(arguments);
    EXPECT_EQ(got.status, 2) << arguments;
    EXPECT_EQ(got.out, "") << arguments;
    EXPECT_TRUE(contains(got.err, reason)) << arguments << ": " << got.err;
  }

  std::vector<json> rows(const std::string& arguments) const {
    std::vector<json> found;
    std::istringstream lines(ask(arguments + " --json").out);
    for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line));
    return found;
  }

  // The numbers of the alarms that `active` lists, each with its operator state.
  Words states(const std::string& selection = "--all") const {
    Words found;
    for (const json& row : rows("active " + selection)) {
      const std::string alarm = row.at("alarm");
      found.push_back(alarm.substr(alarm.find('-') + 1) + " " + row.at("operator_state").get<std::string>());
    }
    return found;
  }

  std::string ledger_id() const { return ask_one("SELECT id FROM ledger"); }
  std::string ask_one(const std::string& sql) const { return RunTest::ask(sql).at(0); }
  std::string person() const {
    const std::string name = shell_.run("id -un").out;
    return name.substr(0, name.find('\n'));
  }

  static std::string with(const std::string& event, const std::string& member) {
    return event.substr(0, event.rfind('}')) + member + "}\n";
  }

  void send(const std::string& event) const {
    Client client(socket());
    client.send(event);
    ASSERT_NE(number_in(client.answer()), 0);
  }

  Moment raised_ = std::time(nullptr) - kHour;
  Shell shell_;
  std::optional<Child> engine_;
};

TEST_F(OperatorCommands, AnAlarmIsNamedByItsFaultItsIdOrItsNumber) {
  for (const std::string& name : {slow_fan(2), ledger_id() + "-2", std::string("2")}) {
    expect_answer("ack " + name, "Acknowledged 1 alarm.\n");
    EXPECT_EQ(states(), (Words{"1 none", "2 acknowledged", "3 none"})) << name;
    expect_answer("unack " + name, "Unacknowledged 1 alarm.\n");
    EXPECT_EQ(states(), (Words{"1 none", "2 none", "3 none"})) << name;
  }
  // Who is named twice is meant once.
  expect_answer("ack 1 " + slow_fan(1) + " 3", "Acknowledged 2 alarms.\n");
  EXPECT_EQ(states(), (Words{"1 acknowledged", "2 none", "3 acknowledged"}));
}

TEST_F(OperatorCommands, EachCommandGivesItsState) {
  const struct {
    const char* arguments;
    const char* answer;
    const char* state;
  } kSteps[] = {
      {"comment 1 --comment 'looks odd'", "Commented on 1 alarm.\n", "1 none"},
      {"ack 1 --comment 'spare part ordered'", "Acknowledged 1 alarm.\n", "1 acknowledged"},
      {"comment 1 --comment 'ticket 4711'", "Commented on 1 alarm.\n", "1 acknowledged"},
      {"close 1 --yes --comment replaced", "Closed 1 alarm.\n", "1 closed"},
      {"unack 1", "Unacknowledged 1 alarm.\n", "1 none"},
      {"shelve 1 --for 2h --comment noise", "Shelved 1 alarm.\n", "1 shelved"},
      {"unshelve 1", "Unshelved 1 alarm.\n", "1 unshelved"},
      {"ack 1", "Acknowledged 1 alarm.\n", "1 acknowledged"},
  };
  for (const auto& [arguments, answer, state] : kSteps) {
    expect_answer(arguments, answer);
    EXPECT_EQ(states("--all --under " + fan(1)), Words{state}) << arguments;
  }
  EXPECT_EQ(states("--all --under " + fan(2)), Words{"2 none"});
}

TEST_F(OperatorCommands, AShelfEndsWhenItIsSaid) {
  expect_answer("shelve 1 --for 90m --comment noise", "Shelved 1 alarm.\n");
  const Moment until = std::time(nullptr) + 3 * kHour;
  expect_answer("shelve 2 --until " + format_moment(until) + " --comment noise", "Shelved 1 alarm.\n");
  const auto found = rows("active --all");
  ASSERT_EQ(found.size(), 3U);
  const json& first = found[0].at("state_by");
  const Moment lasts =
      *parse_moment(first.at("until").get<std::string>()) - *parse_moment(first.at("at").get<std::string>());
  EXPECT_EQ(lasts, 90 * 60);
  EXPECT_EQ(found[1].at("state_by").at("until"), format_moment(until));
  EXPECT_TRUE(contains(ask("active --all").out, "  shelved until " + format_moment(until) + "  "));
}

TEST_F(OperatorCommands, AlarmsAreSelected) {
  expect_answer("ack --under " + fan(1), "Acknowledged 1 alarm.\n");
  expect_answer("ack --unacknowledged", "Acknowledged 2 alarms.\n");
  EXPECT_EQ(states(), (Words{"1 acknowledged", "2 acknowledged", "3 acknowledged"}));
  // Of those that are selected, only what can be taken back is.
  expect_answer("unack --under " + fan(3), "Unacknowledged 1 alarm.\n");
  expect_answer("unack --all", "Unacknowledged 2 alarms.\n");
  expect_answer("unack --all", "No active alarm is selected.\n");
  // What is silenced is selected when it is asked for.
  expect_answer("shelve --under " + fan(1) + " --for 1h --comment noise", "Shelved 1 alarm.\n");
  expect_answer("ack --severity minor", "Acknowledged 2 alarms.\n");
  expect_answer("ack --all", "Acknowledged 3 alarms.\n");
  expect_answer("unshelve --severity minor", "Unshelved 1 alarm.\n");
  expect_answer("ack --severity critical", "No active alarm is selected.\n");
  expect_answer("ack --newer-than 30m", "No active alarm is selected.\n");
  expect_answer("comment --older-than 30m --entity fan --comment x", "Commented on 3 alarms.\n");
}

TEST_F(OperatorCommands, ADryRunOnlyLists) {
  const std::string since = format_moment(raised_);
  const std::string description = "  FAN1_TACH1: Fan speed for fan-";
  for (const char* action : {"ack", "close --comment x", "shelve --for 1h --comment x", "comment --comment x"}) {
    const Ended got = ask(std::string(action) + " --dry-run 1 3");
    EXPECT_EQ(got.status, 0) << action;
    std::istringstream lines(got.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_TRUE(line.starts_with("SINCE                 SEVERITY  ALARM  OBJECT ")) << line;
    for (const int number : {1, 3}) {
      std::getline(lines, line);
      EXPECT_TRUE(line.starts_with(since + "  minor     " + std::to_string(number) + "      " + slow_fan(number)))
          << line;
      EXPECT_TRUE(contains(line, description)) << line;
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
  }
  EXPECT_EQ(states(), (Words{"1 none", "2 none", "3 none"}));
  EXPECT_EQ(events(), 5);
  expect_answer("ack --missed --dry-run", "Would acknowledge 1 missed alarm.\n");
  EXPECT_EQ(events(), 5);
}

TEST_F(OperatorCommands, WhatComesAgainUnderItsIdIsDoneOnce) {
  const std::string again = "This was done before, under the same id.\n";
  expect_answer("comment 1 --comment first --id t-1", "Commented on 1 alarm.\n");
  expect_answer("comment 1 --comment first --id t-1", again);
  // The same id for something else would pass for done.
  const std::string other =
      "The id 't-1' belongs to input 6, which was another action: comment, 'first'. Choose another id";
  expect_refusal("comment 1 --comment second --id t-1", other);
  expect_refusal("shelve 1 --for 1h --comment first --id t-1", other);
  expect_answer("comment 1 --comment third --id t-2", "Commented on 1 alarm.\n");
  EXPECT_EQ(RunTest::ask("SELECT comment FROM action ORDER BY seq"), (Words{"first", "third"}));
  expect_answer("maintain sys/a --for 1h --comment x --id t-3",
                "sys/a is out of service; 0 active alarms are silenced.\n");
  expect_answer("maintain sys/a --for 1h --comment x --id t-3", again);
  EXPECT_EQ(count("action"), 3);
}

// Each of these is refused with the reason, and nothing of it is done.
TEST_F(OperatorCommands, WhatIsNotPossibleIsRefused) {
  expect_answer("ack 2", "Acknowledged 1 alarm.\n");
  const std::string over = ": it is over, or there never was one. `polaiga active --all` lists those that are active";
  const struct {
    std::string arguments;
    std::string reason;
  } kRows[] = {
      {"ack " + slow_fan(4), "There is no active alarm '" + slow_fan(4) + "'" + over},
      {"ack 4", "There is no active alarm '4'" + over},
      {"ack 99", "There is no active alarm '99'" + over},
      {"ack 0", "There is no active alarm '0'" + over},
      {"ack " + std::string(32, '0') + "-1", "There is no active alarm '" + std::string(32, '0') + "-1'"},
      {"ack 1 " + slow_fan(4) + " 3", "There is no active alarm '" + slow_fan(4) + "'" + over},
      {"ack", "Name the alarms"},
      {"ack 1 --all", "Name the alarms"},
      {"unack 1", "Alarm 1 is neither acknowledged nor closed"},
      {"unack 2 3", "Alarm 3 is neither acknowledged nor closed"},
      {"unshelve 1", "Alarm 1 is not shelved"},
      {"close 1 --yes", "--comment"},
      {"close 1 --comment x", "It is still active. To close what is still active, add --yes"},
      {"close 1 3 --comment x", "They are still active. To close what is still active, add --yes"},
      {"comment 1", "--comment"},
      {"shelve 1 --for 1h", "--comment"},
      {"shelve 1 --comment x", "Say how long, with --for, or until when, with --until"},
      {"shelve 1 --comment x --for 1h --until 2999-01-01T00:00:00Z", "--until"},
      {"shelve 1 --comment x --for 0s", "--for"},
      {"shelve 1 --comment x --for 31d", "--for"},
      {"shelve 1 --comment x --for 2592001s", "--for"},
      {"shelve 1 --comment x --until 2020-01-01T00:00:00Z", "The end is in the past; it is 20"},
      {"shelve 1 --comment x --until " + format_moment(std::time(nullptr) + 31 * 24 * kHour),
       "The end is more than 30 days ahead"},
      {"shelve 1 --comment x --until soon", "--until"},
      {"ack --missed 1", "--missed is about all alarms that were missed"},
      {"ack --missed --all", "--missed is about all alarms that were missed"},
      {"ack 1 --on-behalf-of anna", person() + " may not act on behalf of others; --gateway of the engine allows it"},
      {"maintain", "Name the object"},
      {"maintain sys/a --end sys/b", "Name the object"},
      {"maintain sys/a --for 1h", "Say why, with --comment"},
      {"maintain sys/a --comment x", "Say how long, with --for, or until when, with --until"},
      {"maintain sys/a --until 2020-01-01T00:00:00Z --comment x", "The end is in the past; it is 20"},
      {"maintain --end sys/a", "The object is not out of service: sys/a"},
      {"maintain --end sys/a --for 1h", "--for and --end do not go together; leave one of them out"},
      {"maintain --end sys/a --until 2999-01-01T00:00:00Z",
       "--until and --end do not go together; leave one of them out"},
  };
  for (const auto& [arguments, reason] : kRows) expect_refusal(arguments, reason);
  EXPECT_EQ(states(), (Words{"1 none", "2 acknowledged", "3 none"}));
  EXPECT_EQ(events(), 6);
  EXPECT_EQ(ask("maintenance").out, "No object is out of service.\n");
}

TEST_F(OperatorCommands, ACommentIsALineThatCanBeShown) {
  const std::string hidden = "The member 'comment' has a character that cannot be shown, such as a control character";
  const std::string length = "a line of text of at most 1024 bytes";
  const struct {
    const char* what;
    std::string comment;
    std::string reason;
  } kRefused[] = {
      {"an escape sequence", "\x1b[2J", hidden},
      {"a tab", "a\tb", hidden},
      {"two lines", "a\nb", hidden},
      {"a carriage return", "a\rb", hidden},
      {"a delete", "a\x7f", hidden},
      {"a mark that turns the direction", "a\xe2\x80\xae", hidden},
      {"a character that is not seen", "a\xe2\x80\x8b", hidden},
      {"a separator of lines", "a\xe2\x80\xa8", hidden},
      {"a control character of two bytes", "a\xc2\x9b", hidden},
      {"blanks alone", "  ", "The member 'comment' is empty"},
      {"nothing", "", length},
      {"1,025 bytes", std::string(1025, 'x'), length},
      {"1,026 bytes of 513 characters", repeated("\xc3\xa9", 513), length},
  };
  for (const auto& [what, comment, reason] : kRefused) {
    for (const char* action : {"comment 1", "maintain sys/a --for 1h"}) {
      const Ended got = ask(std::string(action) + " --comment " + quoted(comment));
      EXPECT_EQ(got.status, 2) << what;
      EXPECT_EQ(got.out, "") << what;
      EXPECT_TRUE(contains(got.err, reason)) << what << ": " << got.err;
      for (const char* part : {"\x1b", "\t", "\r", "\x7f", "\xe2\x80", "\xc2\x9b"}) {
        EXPECT_FALSE(contains(got.err, part)) << what << ": " << got.err;
      }
    }
  }
  EXPECT_EQ(count("action"), 0);
  const std::string longest(1024, 'x');
  const std::string accents = "\xc3\xa9t\xc3\xa9 \xe6\x97\xa5\xe6\x9c\xac \"so\" \\ <b>";
  expect_answer("comment 1 --comment " + quoted(longest), "Commented on 1 alarm.\n");
  expect_answer("comment 1 --comment " + quoted(accents), "Commented on 1 alarm.\n");
  const json alarm = rows("history " + slow_fan(1)).at(0);
  ASSERT_EQ(alarm.at("actions").size(), 2U);
  EXPECT_EQ(alarm.at("actions")[0].at("comment"), longest);
  EXPECT_EQ(alarm.at("actions")[1].at("comment"), accents);
  EXPECT_TRUE(contains(ask("history " + slow_fan(1)).out, "by " + person() + ": " + accents + "\n"));
}

TEST_F(OperatorCommands, WhereNoEngineListens) {
  const std::string nobody = control() + ": no engine listens here. Start `polaiga run` with --control";
  EXPECT_EQ(stop(*engine_, SIGKILL).status, 128 + SIGKILL);  // its socket stays
  expect_refusal("ack 1", nobody);
  expect_refusal("maintain sys/a --for 1h --comment x", nobody);
  EXPECT_EQ(std::remove(control().c_str()), 0);
  expect_refusal("ack 1", nobody);
  expect_refusal("ack --missed", nobody);
  expect_refusal("ack 1 --control " + quoted(dir_.file(std::string(120, 'x'))), "the path of a socket cannot be that");
  expect_refusal("ack 1 --control " + quoted(ledger()), "ledger.db: ");
  // To look, no engine is needed.
  EXPECT_EQ(ask("ack 1 --dry-run").status, 0);
  EXPECT_EQ(states(), (Words{"1 none", "2 none", "3 none"}));
}

TEST_F(OperatorCommands, AtATerminalManyAreAskedAbout) {
  const struct {
    const char* arguments;
    const char* question;
    const char* answer;
    const char* told;
    Words states;
  } kRows[] = {
      {"ack 1 2", "Acknowledge these 2 alarms? [y/N] ", "n\n", "Nothing was done.", {"1 none", "2 none", "3 none"}},
      {"ack 1 2", "Acknowledge these 2 alarms? [y/N] ", "\n", "Nothing was done.", {"1 none", "2 none", "3 none"}},
      {"ack 1 2", "Acknowledge these 2 alarms? [y/N] ", "\x04", "Nothing was done.", {"1 none", "2 none", "3 none"}},
      {"ack 1 2",
       "Acknowledge these 2 alarms? [y/N] ",
       "nyet, yes\n",
       "Nothing was done.",
       {"1 none", "2 none", "3 none"}},
      {"ack 1 2",
       "Acknowledge these 2 alarms? [y/N] ",
       "y\n",
       "Acknowledged 2 alarms.",
       {"1 acknowledged", "2 acknowledged", "3 none"}},
      {"unack --all",
       "Unacknowledge these 2 alarms? [y/N] ",
       "yes\n",
       "Unacknowledged 2 alarms.",
       {"1 none", "2 none", "3 none"}},
      {"close 1 --comment x",
       "It is still active. Close this alarm? [y/N] ",
       "n\n",
       "Nothing was done.",
       {"1 none", "2 none", "3 none"}},
      {"close 1 --comment x",
       "It is still active. Close this alarm? [y/N] ",
       "y\n",
       "Closed 1 alarm.",
       {"1 closed", "2 none", "3 none"}},
      {"close 2 3 --comment x",
       "They are still active. Close these 2 alarms? [y/N] ",
       "Y\n",
       "Closed 2 alarms.",
       {"1 closed", "2 closed", "3 closed"}},
  };
  for (const auto& [arguments, question, answer, told, after] : kRows) {
    const Ended got = shell_.run_on_terminal(typed(arguments), 132, answer);
    EXPECT_EQ(got.status, 0) << arguments;
    const auto list = got.out.find("SINCE ");
    const auto asked = got.out.find(question);
    EXPECT_LT(list, asked) << arguments << ": " << got.out;
    EXPECT_NE(asked, std::string::npos) << arguments << ": " << got.out;
    EXPECT_TRUE(contains(got.out, told)) << arguments << ": " << got.out;
    EXPECT_EQ(states(), after) << arguments << " " << answer;
  }
}

TEST_F(OperatorCommands, AtATerminalOneAloneOrWithYesIsNotAskedAbout) {
  for (const char* arguments : {"ack 1", "ack --yes 1 2", "ack --all --yes", "close 1 2 --yes --comment x"}) {
    const Ended got = shell_.run_on_terminal(typed(arguments), 132, "");
    EXPECT_EQ(got.status, 0) << arguments;
    EXPECT_FALSE(contains(got.out, "[y/N]")) << got.out;
  }
  EXPECT_EQ(states(), (Words{"1 closed", "2 closed", "3 acknowledged"}));
}

// Those that are silenced leave the list and are counted beside it.
TEST_F(OperatorCommands, ActiveShowsTheStateAndCountsWhatIsSilenced) {
  EXPECT_FALSE(contains(ask("active").out, "STATE"));  // as long as there is none
  EXPECT_FALSE(contains(ask("active").out, "Silenced"));
  expect_answer("ack 1", "Acknowledged 1 alarm.\n");
  Ended got = ask("active");
  EXPECT_TRUE(got.out.starts_with("SINCE                 SEVERITY  CODE   REPORTERS  OBJECT ")) << got.out;
  EXPECT_TRUE(contains(got.out.substr(0, got.out.find('\n')), "  STATE  ")) << got.out;
  EXPECT_TRUE(contains(got.out, "  acknowledged by " + person() + ", ")) << got.out;
  EXPECT_TRUE(contains(got.out, " ago  FAN1_TACH1: ")) << got.out;
  EXPECT_FALSE(contains(got.out, "Silenced")) << got.out;

  expect_answer("shelve 2 --for 1h --comment noise", "Shelved 1 alarm.\n");
  got = ask("active");
  EXPECT_FALSE(contains(got.out, fan(2))) << got.out;
  EXPECT_TRUE(got.out.ends_with("\nSilenced: 1 shelved. --shelved lists them.\n")) << got.out;
  expect_answer("maintain " + fan(3) + " --for 1h --comment noise",
                fan(3) + " is out of service; 1 active alarm is silenced.\n");
  got = ask("active");
  EXPECT_FALSE(contains(got.out, fan(3))) << got.out;
  EXPECT_TRUE(got.out.ends_with("\nSilenced: 1 shelved, 1 out of service. --shelved lists them.\n")) << got.out;

  got = ask("active --all");
  for (const int number : {1, 2, 3}) EXPECT_TRUE(contains(got.out, fan(number))) << got.out;
  EXPECT_TRUE(contains(got.out, "  out of service  ")) << got.out;
  EXPECT_FALSE(contains(got.out, "Silenced")) << got.out;

  EXPECT_EQ(states(""), Words{"1 acknowledged"});
  EXPECT_EQ(states("--all"), (Words{"1 acknowledged", "2 shelved", "3 none"}));
  EXPECT_EQ(states("--shelved"), (Words{"2 shelved", "3 none"}));
  EXPECT_EQ(states("--state shelved"), Words{"2 shelved"});
  EXPECT_EQ(states("--state acknowledged"), Words{"1 acknowledged"});
  EXPECT_EQ(states("--state none"), Words{});
  EXPECT_EQ(states("--state none --all"), Words{"3 none"});
  EXPECT_EQ(states("--unacknowledged"), Words{});
  EXPECT_EQ(states("--unacknowledged --all"), (Words{"2 shelved", "3 none"}));
  EXPECT_EQ(ask("active --under " + fan(2)).out,
            "No other faults are active.\nSilenced: 1 shelved. --shelved lists them.\n");
  // What is not looked for is not counted either.
  EXPECT_FALSE(contains(ask("active --under " + fan(1)).out, "Silenced"));
}

TEST_F(OperatorCommands, ActiveAsJson) {
  expect_answer("ack 1 --comment 'spare part ordered'", "Acknowledged 1 alarm.\n");
  expect_answer("maintain sys/rack-unit-1/fan-module-1-3 --for 1h --comment x",
                "sys/rack-unit-1/fan-module-1-3 is out of service; 1 active alarm is silenced.\n");
  const auto found = rows("active --all");
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].at("operator_state"), "acknowledged");
  EXPECT_EQ(found[0].at("out_of_service"), false);
  const json& by = found[0].at("state_by");
  EXPECT_EQ(by.at("change"), "acknowledged");
  EXPECT_EQ(by.at("action"), "acknowledge");
  EXPECT_EQ(by.at("person"), person());
  EXPECT_EQ(by.at("comment"), "spare part ordered");
  EXPECT_EQ(by.at("seq"), 6);
  EXPECT_EQ(by.at("number"), 6);  // four raises and a clear came before
  EXPECT_FALSE(by.contains("on_behalf_of"));
  EXPECT_EQ(found[1].at("operator_state"), "none");
  EXPECT_FALSE(found[1].contains("state_by"));
  EXPECT_EQ(found[2].at("operator_state"), "none");
  EXPECT_EQ(found[2].at("out_of_service"), true);
}

TEST_F(OperatorCommands, HistoryAndExplainTellEveryAction) {
  expect_answer("ack 1 --comment 'spare part ordered'", "Acknowledged 1 alarm.\n");
  expect_answer("shelve 1 --for 1h --comment noise", "Shelved 1 alarm.\n");
  expect_answer("unshelve 1", "Unshelved 1 alarm.\n");
  const json alarm = rows("history " + slow_fan(1)).at(0);
  EXPECT_EQ(alarm.at("operator_state"), "acknowledged");
  EXPECT_EQ(alarm.at("out_of_service"), false);
  Words told;
  for (const json& one : alarm.at("actions")) {
    told.push_back(one.at("change").get<std::string>() + " by " + one.at("person").get<std::string>() + ": " +
                   one.value("comment", "-"));
  }
  EXPECT_EQ(told, (Words{"acknowledged by " + person() + ": spare part ordered", "shelved by " + person() + ": noise",
                         "unshelved by " + person() + ": -"}));
  EXPECT_TRUE(rows("history " + slow_fan(2)).at(0).at("actions").empty());

  const std::string until = alarm.at("actions")[1].at("until");
  const Words texts{"by " + person() + ": spare part ordered", "by " + person() + " until " + until + ": noise",
                    "by " + person() + "\n"};
  const Ended history = ask("history " + slow_fan(1));
  const Ended explained = ask("explain " + slow_fan(1));
  for (const std::string& text : texts) {
    EXPECT_TRUE(contains(history.out, text)) << text << "\n" << history.out;
    EXPECT_TRUE(contains(explained.out, text)) << text << "\n" << explained.out;
  }
  EXPECT_TRUE(contains(explained.out, "\nWhat operators did\n")) << explained.out;
  const json explanation = rows("explain " + slow_fan(1)).at(0);
  EXPECT_EQ(explanation.at("history").at("actions"), alarm.at("actions"));
  // The alarm's changes tell of it, too.
  Words changes;
  for (const json& change : explanation.at("changes")) changes.push_back(change.at("change"));
  EXPECT_EQ(changes, (Words{"raised", "acknowledged", "shelved", "unshelved"}));
}

TEST_F(OperatorCommands, WhatWasActiveAtATimeHasTheStateOfThatTime) {
  expect_answer("ack 1", "Acknowledged 1 alarm.\n");
  const Moment before = raised_ + kHour / 2;
  const Moment after = std::time(nullptr) + 1;
  EXPECT_EQ(states("--at " + format_moment(before)), (Words{"1 none", "2 none", "3 none"}));
  EXPECT_EQ(states("--at " + format_moment(after)), (Words{"1 acknowledged", "2 none", "3 none"}));
  EXPECT_EQ(states("--state acknowledged --at " + format_moment(before)), Words{});
  expect_answer("shelve 2 --for 1h --comment x", "Shelved 1 alarm.\n");
  EXPECT_EQ(states("--at " + format_moment(before)), (Words{"1 none", "2 none", "3 none"}));
  EXPECT_EQ(states("--at " + format_moment(std::time(nullptr) + 1)), (Words{"1 acknowledged", "3 none"}));
}

TEST_F(OperatorCommands, TailTellsWhoDidWhat) {
  expect_answer("ack 1 --comment 'spare part ordered'", "Acknowledged 1 alarm.\n");
  expect_answer("maintain " + fan(3) + " --for 1h --comment noise",
                fan(3) + " is out of service; 1 active alarm is silenced.\n");
  expect_answer("maintain --end " + fan(3),
                fan(3) + " is back in service; 1 active alarm is no longer silenced by it.\n");
  const Ended got = ask("tail --no-follow --after 5");
  std::istringstream lines(got.out);
  Words told;
  for (std::string line; std::getline(lines, line);) told.push_back(line);
  ASSERT_EQ(told.size(), 5U) << got.out;
  const auto expect_told = [](const std::string& line, const Words& parts) {
    std::size_t at = 0;
    for (const std::string& part : parts) {
      at = line.find(part, at);
      ASSERT_NE(at, std::string::npos) << part << " in " << line;
    }
  };
  expect_told(told[0], {"     6  20", "  minor  ", "  F0395  ", fan(1),
                        "(acknowledged by " + person() + ": spare part ordered)"});
  expect_told(told[1], {"     7  20", "  minor  ", "  F0395  ", fan(3), "(out of service by " + person() + " until ",
                        ": noise)"});
  expect_told(told[2], {"     8  20", "  " + fan(3), "(out of service by " + person() + " until ", ": noise)"});
  expect_told(told[3], {"     9  20", "  minor  ", fan(3), "(back in service by " + person() + ")"});
  expect_told(told[4], {"    10  20", "  " + fan(3), "(back in service by " + person() + ")"});
  EXPECT_FALSE(contains(told[0], "Fan speed")) << told[0];

  const auto changes = rows("tail --no-follow --after 5");
  ASSERT_EQ(changes.size(), 5U);
  EXPECT_EQ(changes[0].at("change"), "acknowledged");
  EXPECT_EQ(changes[0].at("action").at("person"), person());
  EXPECT_EQ(changes[0].at("before"), "minor");
  EXPECT_EQ(changes[0].at("after"), "minor");
  EXPECT_FALSE(changes[0].contains("event"));
  // The output that was told of the raise is told that the alarm is silenced.
  EXPECT_EQ(changes[1].at("quiet"), false);
  EXPECT_EQ(changes[2].at("dn"), fan(3));
  EXPECT_FALSE(changes[2].contains("alarm"));
}

TEST_F(OperatorCommands, WhatCameAndWentWhileNobodyLooked) {
  Ended got = ask("missed");
  EXPECT_EQ(got.status, 0);
  EXPECT_TRUE(contains(got.out, "  F0395  " + fan(4) + "  ")) << got.out;
  EXPECT_TRUE(got.out.ends_with("\n\nWhen you have seen them, type: polaiga ack --missed\n")) << got.out;
  EXPECT_EQ(rows("missed").at(0).at("alarm"), ledger_id() + "-4");

  // One that somebody acknowledged, or silenced before it was raised, is not missed.
  expect_answer("ack 1", "Acknowledged 1 alarm.\n");
  expect_answer("maintain " + fan(5) + " --for 1h --comment x",
                fan(5) + " is out of service; 0 active alarms are silenced.\n");
  send(slow(5));
  send(well(5));
  send(well(1));
  send(well(2));
  // In the order of their numbers, as in `history`.
  const auto found = rows("missed");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].at("alarm"), ledger_id() + "-2");
  EXPECT_EQ(found[1].at("alarm"), ledger_id() + "-4");
  const auto latest = rows("missed --limit 1");
  ASSERT_EQ(latest.size(), 1U);
  EXPECT_EQ(latest[0].at("alarm"), ledger_id() + "-4");

  expect_answer("ack --missed --comment 'read at 8'", "Acknowledged 2 missed alarms.\n");
  expect_answer("missed", "No alarm was missed.\n");
  EXPECT_EQ(RunTest::ask("SELECT person || ': ' || comment FROM action ORDER BY seq DESC LIMIT 1"),
            Words{person() + ": read at 8"});
  expect_answer("ack --missed", "Acknowledged 0 missed alarms.\n");
  send(well(3));
  ASSERT_EQ(rows("missed").size(), 1U);
  EXPECT_EQ(rows("missed").at(0).at("alarm"), ledger_id() + "-3");
}

TEST_F(OperatorCommands, ObjectsGoOutOfServiceWithAllBelowThem) {
  const std::string module = "sys/rack-unit-1/fan-module-1-1";
  expect_answer("maintenance", "No object is out of service.\n");
  expect_answer("maintain " + module + "/ --for 4h --comment 'fan is replaced'",
                module + "/ is out of service; 1 active alarm is silenced.\n");
  Ended got = ask("maintenance");
  EXPECT_TRUE(got.out.starts_with("SINCE                 UNTIL                 PERSON")) << got.out;
  EXPECT_TRUE(contains(got.out, "Z  " + person() + " ")) << got.out;
  EXPECT_TRUE(got.out.ends_with("  " + module + "  fan is replaced\n")) << got.out;
  const auto objects = rows("maintenance");
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects[0].at("dn"), module);
  EXPECT_EQ(objects[0].at("person"), person());
  EXPECT_EQ(objects[0].at("comment"), "fan is replaced");
  EXPECT_EQ(*parse_moment(objects[0].at("until").get<std::string>()) -
                *parse_moment(objects[0].at("since").get<std::string>()),
            4 * kHour);
  EXPECT_EQ(states(""), (Words{"2 none", "3 none"}));
  expect_answer("maintain --end " + module,
                module + " is back in service; 1 active alarm is no longer silenced by it.\n");
  EXPECT_EQ(states(""), (Words{"1 none", "2 none", "3 none"}));
  expect_answer("maintenance", "No object is out of service.\n");
}

// An acknowledgement is that of an alarm, and goes with it.
TEST_F(OperatorCommands, AnAcknowledgementLastsUntilTheAlarmIsOver) {
  expect_answer("ack 1", "Acknowledged 1 alarm.\n");
  send(slow(1));
  EXPECT_EQ(states("--under " + fan(1)), Words{"1 acknowledged"});
  send(R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":4,"state":5})"
       "\n");
  EXPECT_EQ(states("--under " + fan(1)), Words{"1 acknowledged"});
  EXPECT_EQ(rows("active --under " + fan(1)).at(0).at("severity"), "major");
  send(R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":4,"state":4})"
       "\n");
  EXPECT_EQ(states("--under " + fan(1)), Words{"1 acknowledged"});
  send(well(1));
  EXPECT_EQ(states("--under " + fan(1)), Words{});
  send(slow(1));
  const Words now = states("--under " + fan(1));
  ASSERT_EQ(now.size(), 1U);
  EXPECT_TRUE(now[0].ends_with(" none")) << now[0];
}

}  // namespace operator_commands_test
}  // namespace polaiga::engine::test
