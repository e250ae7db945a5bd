// Operators' actions at the control socket of the running engine: who may act, who is said to have acted, and what
// outlives a restart.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/client.h"
#include "support/forked_engine.h"
#include "support/shared_clock.h"

namespace polaiga::engine::test {
namespace run_actions_test {

using namespace std::chrono_literals;
using Answers = std::vector<std::string>;
using nlohmann::json;

// The fan that slow() tells of has become worse, and is better again.
const std::string kWorse = R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":4,"state":5})"
                           "\n";
const std::string kBetter = R"({"entity":"fan","sensor":"FAN1_TACH1","instance":1,"offset":4,"state":4})"
                            "\n";

class RunActionsTest : public RunTest {
 protected:
  std::string act(const std::string& request) const {
    Client client(control());
    return answer(client, request);
  }
  void send(const std::string& events, std::int64_t last) const {
    Client client(socket());
    client.send(events);
    const auto lines = static_cast<std::size_t>(std::count(events.begin(), events.end(), '\n'));
    ASSERT_EQ(client.answers(lines).back(), taken(last));
  }

  std::vector<json> rows(const std::string& arguments) const {
    std::vector<json> found;
    std::istringstream lines(shell_.run("$POLAIGA " + arguments + " --json --ledger '" + ledger() + "'").out);
    for (std::string line; std::getline(lines, line);) found.push_back(json::parse(line));
    return found;
  }
  Answers states() const {
    Answers found;
    for (const json& row : rows("active --all")) found.push_back(row.at("operator_state"));
    return found;
  }
  // The changes of the kind, of all alarms and objects, each with the person; "-": nobody.
  Answers persons(const std::string& kind) const {
    Answers found;
    for (const json& change : rows("tail --no-follow --after 0")) {
      if (change.at("change") != kind) continue;
      found.push_back(change.contains("action") ? change.at("action").value("person", "-") : "no action");
    }
    return found;
  }

  Shell shell_;
};

TEST_F(RunActionsTest, AnActionIsDurableBeforeItIsAnswered) {
  {
    Child engine(with_control(), dir_);
    send(slow(1) + slow(2), 2);
    Client client(control());
    EXPECT_EQ(answer(client, R"({"do":"acknowledge","alarms":"1,2","comment":"seen","id":"a-1"})"),
              R"({"seq":3,"changes":2})");
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  {
    Child engine(with_control(), dir_);
    Client client(control());
    EXPECT_EQ(answer(client, R"({"do":"acknowledge","alarms":"1,2","comment":"seen","id":"a-1"})"),
              R"({"seq":3,"duplicate":true})");
    EXPECT_EQ(states(), (Answers{"acknowledged", "acknowledged"}));
    EXPECT_EQ(answer(client, R"({"do":"shelve","alarms":"2","comment":"noise","for":3600})"),
              R"({"seq":4,"changes":1})");
    EXPECT_EQ(answer(client, R"({"do":"maintain","dn":"sys/a","comment":"swap","for":3600})"),
              R"({"seq":5,"changes":1})");
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  Child engine(with_control(), dir_);
  Client client(control());
  EXPECT_EQ(answer(client, R"({"do":"unacknowledge","alarms":"1"})"), R"({"seq":6,"changes":1})");
  EXPECT_EQ(states(), (Answers{"none", "shelved"}));
  EXPECT_EQ(answer(client, R"({"do":"end_maintenance","dn":"sys/a"})"), R"({"seq":7,"changes":1})");
  EXPECT_EQ(answer(client, R"({"do":"end_maintenance","dn":"sys/a"})"),
            R"({"error":"The object is not out of service: sys/a"})");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(shell_.run("$POLAIGA verify --ledger '" + ledger() + "'").status, 0);
}

TEST_F(RunActionsTest, AnActionWaitsForItsWriteLikeAnEvent) {
  SharedClock clock;
  RunOptions patient = options();
  patient.commit_within = 1000s;
  {
    Child engine(with_control(), dir_);
    send(slow(1), 1);
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(forked_engine(patient, clock), dir_);
  Client client(control());
  client.send(R"({"do":"acknowledge","alarms":"1"})"
              "\n");
  ASSERT_TRUE(wait_until("unwritten", 1));
  EXPECT_EQ(count("action"), 0);
  EXPECT_FALSE(client.has_answer());
  clock.pass(1000);
  ASSERT_TRUE(wait_until("unwritten", 0));
  EXPECT_EQ(client.answer(), R"({"seq":2,"changes":1})");
  EXPECT_EQ(count("action"), 1);
}

// The engine knows that alarm 1 is over, and the ledger does not yet when the operator's command reads it.
TEST_F(RunActionsTest, OfASelectionWhatHasEndedIsLeftOut) {
  {
    Child engine(with_control(), dir_);
    send(slow(1) + slow(2), 2);
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  SharedClock clock;
  RunOptions patient = options();
  patient.commit_within = 1000s;
  Child engine(forked_engine(patient, clock), dir_);
  Client client(socket());
  client.send(well(1));
  ASSERT_TRUE(wait_until("unwritten", 1));
  const std::string at = " --ledger '" + ledger() + "' --control '" + control() + "'";
  const Ended named = shell_.run("$POLAIGA ack 1 2 --yes" + at);
  EXPECT_EQ(named.status, 2);
  EXPECT_EQ(named.err, "polaiga: Alarm 1 is not active: it is over, or there never was one\n");
  TempDir of_operator;
  Child selecting("$POLAIGA ack --all --yes" + at, of_operator);
  ASSERT_TRUE(wait_until("unwritten", 2));
  clock.pass(1000);
  ASSERT_TRUE(wait_until("unwritten", 0));
  const Ended done = selecting.wait();
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_EQ(done.out, "Acknowledged 1 alarm.\n");
  EXPECT_EQ(states(), Answers{"acknowledged"});
}

TEST_F(RunActionsTest, AnswersComeInTheOrderOfTheRequests) {
  Child engine(with_control("--commit-within 100ms"), dir_);
  send(slow(1), 1);
  Client client(control());
  client.send(R"({"do":"acknowledge","alarms":"1","id":"a"})"
              "\n"
              R"({"do":"status"})"
              "\n"
              "stop\n"
              R"({"do":"acknowledge","alarms":"9"})"
              "\n"
              R"({"do":"cursor","publisher":"snmp","through":0})"
              "\n"
              R"({"do":"acknowledge","alarms":"1","id":"a"})"
              "\n" +
              std::string(300'000, 'x') +
              "\n"
              R"({"do":"comment","alarms":"1","comment":"b"})"
              "\n");
  const Answers answers = client.answers(8);
  ASSERT_EQ(answers.size(), 8U);
  EXPECT_EQ(answers[0], R"({"seq":2,"changes":1})");
  EXPECT_TRUE(json::parse(answers[1]).contains("last_seq")) << answers[1];
  EXPECT_EQ(answers[2], R"({"error":"The request is not JSON"})");
  EXPECT_EQ(answers[3], R"({"error":"Alarm 9 is not active: it is over, or there never was one"})");
  EXPECT_EQ(answers[4], R"({"ok":true})");
  EXPECT_EQ(answers[5], R"({"seq":2,"duplicate":true})");
  EXPECT_EQ(answers[6], R"({"error":"The line is longer than 256 KiB, which is the limit; select fewer alarms"})");
  EXPECT_EQ(answers[7], R"({"seq":3,"changes":1})");
}

// There are 16 places at the control socket. They are given back while others wait for a write.
TEST_F(RunActionsTest, ClientsComeAndGoWhileAnAnswerWaits) {
  RunOptions patient = options();
  patient.commit_within = 1000s;
  Child engine(forked_engine(patient), dir_);
  Client events(socket());
  events.send(slow(1));
  ASSERT_TRUE(wait_until("unwritten", 1));
  Client waiting(control());
  waiting.send(R"({"do":"acknowledge","alarms":"1"})"
               "\n");
  waiting.finish();
  {
    Client gone(control());
    gone.send(R"({"do":"comment","alarms":"1","comment":"bye"})"
              "\n");
  }
  ASSERT_TRUE(wait_until("unwritten", 3));
  for (int i = 0; i < 20; ++i) ASSERT_NE(act(R"({"do":"status"})"), "") << i;
  EXPECT_EQ(count("action"), 0);
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  const Answers answers = waiting.answers(1);
  EXPECT_TRUE(answers[0] == R"({"seq":2,"changes":1})" || answers[0] == R"({"seq":3,"changes":1})") << answers[0];
  EXPECT_EQ(count("action"), 2);
}

TEST_F(RunActionsTest, WhenOneOfSeveralIsNotPossibleNothingIsDone) {
  Child engine(with_control(), dir_);
  send(slow(1) + slow(2) + slow(3) + well(3), 4);
  const std::string over = R"({"error":"Alarm 3 is not active: it is over, or there never was one"})";
  EXPECT_EQ(act(R"({"do":"acknowledge","alarms":"1,2,3"})"), over);
  EXPECT_EQ(act(R"({"do":"acknowledge","alarms":"1,+1,+1"})"), over);
  EXPECT_EQ(act(R"({"do":"shelve","alarms":"3,1","comment":"x","for":60})"), over);
  EXPECT_EQ(act(R"({"do":"shelve","alarms":"1","comment":"x","for":2592001})"),
            R"({"error":"The end is more than 30 days ahead"})");
  const std::string past = act(R"({"do":"shelve","alarms":"1","comment":"x","until":"2020-01-01T00:00:00Z"})");
  EXPECT_TRUE(past.starts_with(R"({"error":"The end is in the past; it is 20)")) << past;
  const std::string other = act(R"({"do":"acknowledge","alarms":"1","ledger_id":"00000000000000000000000000000000"})");
  EXPECT_TRUE(other.starts_with(
      R"({"error":"The request is for the ledger 00000000000000000000000000000000, but this one is )"))
      << other;
  EXPECT_EQ(states(), (Answers{"none", "none"}));
  EXPECT_EQ(count("action"), 0);
  EXPECT_EQ(act(R"({"do":"acknowledge","alarms":"1,2"})"), R"({"seq":5,"changes":2})");
}

TEST_F(RunActionsTest, AnEscalationAsksForANewAcknowledgementIfThatIsWanted) {
  for (const bool renews : {false, true}) {
    std::filesystem::remove(ledger());
    for (const char* part : {"-wal", "-shm", "-mark"}) std::filesystem::remove(ledger() + part);
    Child engine(with_control(renews ? "--renew-acknowledgements" : ""), dir_);
    send(slow(1), 1);
    EXPECT_EQ(act(R"({"do":"acknowledge","alarms":"1"})"), R"({"seq":2,"changes":1})");
    send(slow(1), 3);
    EXPECT_EQ(states(), Answers{"acknowledged"}) << "a refresh takes nothing back";
    send(kWorse, 4);
    EXPECT_EQ(states(), Answers{renews ? "none" : "acknowledged"});
    EXPECT_EQ(persons("unacknowledged").size(), renews ? 1U : 0U);
    if (renews) {
      const Ended told = shell_.run("$POLAIGA history --ledger '" + ledger() + "'");
      EXPECT_NE(told.out.find("because the alarm got worse\n"), std::string::npos) << told.out;
      EXPECT_EQ(act(R"({"do":"acknowledge","alarms":"1"})"), R"({"seq":5,"changes":1})");
      send(kBetter, 6);
      EXPECT_EQ(states(), Answers{"acknowledged"});
    }
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
}

// Two users of the machine: one that /etc/passwd knows, and one that it does not.
class RunUsersTest : public RunActionsTest {
 protected:
  static constexpr const char* kKnown = "65534";
  static constexpr const char* kUnknown = "65533";

  void SetUp() override {
    ASSERT_EQ(::geteuid(), 0U) << "this test needs root, to become another user";
    ASSERT_EQ(shell_.run(as(kKnown, kKnown) + "$POLAIGA --version").status, 0)
        << "another user must be able to run the program";
    ASSERT_NE(shell_.run("getent passwd " + std::string(kUnknown)).status, 0) << "this user must not exist";
    name_ = shell_.run("id -un " + std::string(kKnown)).out;
    name_ = name_.substr(0, name_.find('\n'));
    ASSERT_EQ(::chmod(dir_.path().c_str(), 0755), 0);
  }

  static std::string as(const std::string& user, const std::string& group) {
    return "setpriv --reuid=" + user + " --regid=" + group + " --clear-groups ";
  }
  Ended maintain(const std::string& user, const std::string& group, const std::string& more) const {
    return shell_.run(as(user, group) + "$POLAIGA maintain --control '" + control() + "' " + more);
  }
  std::string who(const std::string& dn) const {
    for (const json& row : rows("maintenance")) {
      if (row.at("dn") == dn) return row.at("person").get<std::string>() + " for " + row.value("on_behalf_of", "-");
    }
    return "nobody";
  }
  bool has_socket(Child& engine) const { return engine.has_complained("ready: "); }
  // What the engine answers to a request of this user.
  std::string answer_to(const std::string& user, const std::string& request) const {
    constexpr const char* kAsk = R"('import socket, sys; s = socket.socket(socket.AF_UNIX); s.connect(sys.argv[1]); )"
                                 R"(s.sendall(sys.argv[2].encode() + b"\n"); print(s.makefile().readline(), end="")')";
    return shell_
        .run(as(user, "65533") + "env PATH=/usr/bin:/bin python3 -c " + kAsk + " '" + control() + "' '" + request + "'")
        .out;
  }

  std::string name_;
};

TEST_F(RunUsersTest, ThePersonIsWhoConnects) {
  Child engine(with_control("--control-group 65533"), dir_);
  ASSERT_TRUE(has_socket(engine));
  struct stat made = {};
  ASSERT_EQ(::stat(control().c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 07777U, 0660U);
  EXPECT_EQ(made.st_gid, 65533U);
  ASSERT_EQ(::stat(socket().c_str(), &made), 0);
  EXPECT_EQ(made.st_gid, ::getegid()) << "the events' socket has another group";

  EXPECT_EQ(maintain(kUnknown, "65533", "sys/a --for 1h --comment x").status, 0);
  EXPECT_EQ(who("sys/a"), "user 65533 for -");
  EXPECT_EQ(maintain(kKnown, "65533", "sys/b --for 1h --comment x").status, 0);
  EXPECT_EQ(who("sys/b"), name_ + " for -");
  EXPECT_EQ(shell_.run("$POLAIGA maintain --control '" + control() + "' sys/c --for 1h --comment x").status, 0);
  EXPECT_EQ(who("sys/c"), "root for -");
  // A member by an additional group, as operators are.
  EXPECT_EQ(shell_
                .run("setpriv --reuid=65534 --regid=65534 --groups=65533 $POLAIGA maintain --control '" + control() +
                     "' sys/d --for 1h --comment x")
                .status,
            0);
  EXPECT_EQ(who("sys/d"), name_ + " for -");
}

TEST_F(RunUsersTest, OthersAreToldWhoMayAct) {
  Child engine(with_control("--control-group 65533"), dir_);
  ASSERT_TRUE(has_socket(engine));
  const Ended got = maintain(kKnown, "65534", "sys/a --for 1h --comment x");
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_EQ(got.err, "polaiga: " + control() +
                         ": You may not act on alarms here: the engine's control socket is open only to members of "
                         "group 65533. Ask to become one\n");
  ASSERT_EQ(::chmod(dir_.path().c_str(), 0700), 0);
  const Ended closed = maintain(kUnknown, "65533", "sys/a --for 1h --comment x");
  EXPECT_EQ(closed.status, 2);
  EXPECT_NE(closed.err.find("the directory of the engine's control socket is closed to you"), std::string::npos)
      << closed.err;
  EXPECT_EQ(count("action"), 0);
}

TEST_F(RunUsersTest, WithoutTheOptionOnlyTheEnginesOwnGroupMayAct) {
  Child engine(with_control(), dir_);
  ASSERT_TRUE(has_socket(engine));
  EXPECT_EQ(maintain(kUnknown, "65533", "sys/a --for 1h --comment x").status, 2);
  EXPECT_EQ(maintain(kUnknown, std::to_string(::getegid()), "sys/a --for 1h --comment x").status, 0);
  EXPECT_EQ(who("sys/a"), "user 65533 for -");
}

TEST_F(RunUsersTest, AGatewayMaySpeakForAnother) {
  Child engine(with_control("--control-group 65533 --gateway 65533"), dir_);
  ASSERT_TRUE(has_socket(engine));
  EXPECT_EQ(maintain(kUnknown, "65533", "sys/a --for 1h --comment x --on-behalf-of anna").status, 0);
  EXPECT_EQ(who("sys/a"), "user 65533 for anna");
  EXPECT_EQ(maintain(kUnknown, "65533", "sys/b --for 1h --comment x").status, 0);
  EXPECT_EQ(who("sys/b"), "user 65533 for -");
  for (const std::string& user : {std::string(kKnown), std::string("0")}) {
    const Ended got = maintain(user, "65533", "sys/c --for 1h --comment x --on-behalf-of anna");
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.err, "polaiga: " + (user == "0" ? "root" : name_) +
                           " may not act on behalf of others; --gateway of the engine allows it\n");
  }
  EXPECT_EQ(who("sys/c"), "nobody");
  const Ended listed = shell_.run("$POLAIGA maintenance --ledger '" + ledger() + "'");
  EXPECT_NE(listed.out.find("  anna        sys/a   x\n"), std::string::npos) << listed.out;
}

// The unit for systemd gives the option of the web server's package before those of the user.
TEST_F(RunUsersTest, EachOfSeveralGatewaysMaySpeakForAnother) {
  Child engine(with_control("--control-group 65533 --gateway 65534 --gateway 65533"), dir_);
  ASSERT_TRUE(has_socket(engine));
  EXPECT_EQ(maintain(kKnown, "65533", "sys/a --for 1h --comment x --on-behalf-of anna").status, 0);
  EXPECT_EQ(who("sys/a"), name_ + " for anna");
  EXPECT_EQ(maintain(kUnknown, "65533", "sys/b --for 1h --comment x --on-behalf-of ben").status, 0);
  EXPECT_EQ(who("sys/b"), "user 65533 for ben");
  EXPECT_EQ(maintain("0", "65533", "sys/c --for 1h --comment x --on-behalf-of anna").status, 2);
  EXPECT_EQ(who("sys/c"), "nobody");
}

TEST_F(RunUsersTest, GatewaysAreFew) {
  std::string gateways;
  for (int user = 65501; user <= 65508; ++user) gateways += " --gateway " + std::to_string(user);
  const Ended many = shell_.run(with_control(gateways + " --gateway 65508 --gateway 65509"));
  EXPECT_EQ(many.status, 2);
  EXPECT_NE(many.err.find("--gateway names more than 8 users; leave out some of them"), std::string::npos) << many.err;
  // One user who is named twice counts once.
  Child engine(with_control("--control-group 65533 --gateway 65501" + gateways), dir_);
  ASSERT_TRUE(has_socket(engine));
  EXPECT_EQ(maintain("65508", "65533", "sys/a --for 1h --comment x --on-behalf-of anna").status, 0);
}

// A cursor decides what retention may take, so it is not for every operator to change.
TEST_F(RunUsersTest, OperatorsCannotMoveTheCursorsOfPublishers) {
  Child engine(with_control("--control-group 65533 --gateway 65533"), dir_);
  ASSERT_TRUE(has_socket(engine));
  const std::string moves = R"({"do":"cursor","publisher":"snmp","through":0})";
  const std::string forgets = R"({"do":"forget","publisher":"snmp"})";
  const std::string refused = R"({"error":")" + name_ +
                              " may not change the cursors of publishers; root, the engine's own user and the users "
                              "of --gateway and --publisher may\"}\n";
  EXPECT_EQ(answer_to(kKnown, moves), refused);
  EXPECT_EQ(status().at("publishers").size(), 0U);
  EXPECT_EQ(answer_to("0", moves), "{\"ok\":true}\n");
  EXPECT_EQ(answer_to(kKnown, forgets), refused);
  EXPECT_EQ(status().at("publishers").size(), 1U);
  EXPECT_EQ(answer_to(kUnknown, forgets), "{\"ok\":true}\n") << "the gateway's user may";
  EXPECT_EQ(status().at("publishers").size(), 0U);
}

// A publisher's program needs to say how far it has come, and nothing else.
TEST_F(RunUsersTest, AUserOfAPublisherMovesCursorsAndDoesNotActOnAlarms) {
  Child engine(with_control("--control-group 65533 --publisher 65532 --publisher " + std::string(kUnknown)), dir_);
  ASSERT_TRUE(has_socket(engine));
  for (const std::string& user : {std::string("65532"), std::string(kUnknown)}) {
    EXPECT_EQ(answer_to(user, R"({"do":"cursor","publisher":"snmp","through":0})"), "{\"ok\":true}\n");
    EXPECT_EQ(status().at("publishers").size(), 1U);
    EXPECT_TRUE(answer_to(user, R"({"do":"status"})").starts_with("{\"ledger_id\":")) << user;
    EXPECT_EQ(answer_to(user, R"({"do":"forget","publisher":"snmp"})"), "{\"ok\":true}\n");
    EXPECT_EQ(answer_to(user, R"({"do":"maintain","dn":"sys/a","for":60,"comment":"x"})"),
              R"({"error":"user )" + user + " is the user of a publisher (--publisher) and may not act on alarms\"}\n");
    EXPECT_EQ(who("sys/a"), "nobody");
  }
  EXPECT_EQ(answer_to(kKnown, R"({"do":"maintain","dn":"sys/b","for":60,"comment":"x"})").substr(0, 7), "{\"seq\":")
      << "operators act as before";
}

// Whoever may do everything loses nothing by being the user of a publisher, too.
TEST_F(RunUsersTest, AGatewayThatIsAPublisherStaysAGateway) {
  Child engine(with_control("--control-group 65533 --gateway 65533 --publisher 65533 --publisher 0"), dir_);
  ASSERT_TRUE(has_socket(engine));
  EXPECT_EQ(maintain(kUnknown, "65533", "sys/a --for 1h --comment x --on-behalf-of anna").status, 0);
  EXPECT_EQ(maintain("0", "65533", "sys/b --for 1h --comment x").status, 0);
}

TEST_F(RunUsersTest, APublisherThatIsNoUserKeepsTheEngineFromItsStart) {
  const Ended got = shell_.run(with_control("--publisher nobody-has-this-name"));
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(
      got.err.find("--publisher is 'nobody-has-this-name'; give the name or the number of a user of this machine, "
                   "as in: --publisher polaiga-snmp"),
      std::string::npos)
      << got.err;
}

// Two operators act on one alarm, and both are told with what they did.
TEST_F(RunUsersTest, WhoDidWhatIsToldOfEachAlarm) {
  Child engine(with_control("--control-group 65533"), dir_);
  send(slow(1), 1);
  ASSERT_TRUE(has_socket(engine));
  for (const char* part : {"", "-wal", "-shm"}) ASSERT_EQ(::chmod((ledger() + part).c_str(), 0644), 0) << part;
  const auto act_as = [&](const char* user, const std::string& what) {
    const Ended got = shell_.run(as(user, "65533") + "$POLAIGA " + what + " 1 --ledger '" + ledger() + "' --control '" +
                                 control() + "'");
    EXPECT_EQ(got.status, 0) << got.err;
  };
  act_as(kUnknown, "ack --comment seen");
  act_as(kKnown, "comment --comment 'I look at it'");
  Answers told;
  const json alarm = rows("history").at(0);
  for (const json& action : alarm.at("actions")) {
    told.push_back(action.at("person").get<std::string>() + ": " + action.at("comment").get<std::string>());
  }
  EXPECT_EQ(told, (Answers{"user 65533: seen", name_ + ": I look at it"}));
}

TEST_F(RunUsersTest, AnEngineThatMayNotGiveItsSocketToTheGroupDoesNotStart) {
  const std::string own = dir_.file("own");
  ASSERT_EQ(::mkdir(own.c_str(), 0755), 0);
  ASSERT_EQ(::chown(own.c_str(), 65534, 65534), 0);
  const std::string engine = "setpriv --reuid=65534 --regid=65534 %s $POLAIGA run --ledger '" + own +
                             "/ledger.db' --control '" + own + "/control.sock' --control-group 65533 </dev/null";
  const auto started = [&](const std::string& groups) {
    std::string line = engine;
    return shell_.run(line.replace(line.find("%s"), 2, groups));
  };
  const Ended refused = started("--clear-groups");
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("control.sock: cannot give the socket to group 65533: Operation not permitted; the "
                             "engine's user must be a member of that group"),
            std::string::npos)
      << refused.err;
  struct stat left = {};
  EXPECT_NE(::stat((own + "/control.sock").c_str(), &left), 0) << "the socket is left behind";
  EXPECT_EQ(started("--groups=65533").status, 0);
}

TEST_F(RunActionsTest, AGroupAndAUserMustExist) {
  for (const char* option : {"--control-group", "--gateway"}) {
    for (const char* name : {"no-such-name", "-1", "''", "65533x"}) {
      const Ended got = shell_.run(with_control(std::string(option) + " " + name));
      EXPECT_EQ(got.status, 2) << option << " " << name;
      EXPECT_NE(got.err.find(option), std::string::npos) << got.err;
    }
  }
}

}  // namespace run_actions_test
}  // namespace polaiga::engine::test
