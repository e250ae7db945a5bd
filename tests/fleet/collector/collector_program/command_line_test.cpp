#include "collector_program/command_line.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace polaiga::fleet {
namespace command_line_test {

using std::chrono::hours;
using std::chrono::seconds;

struct Read {
  std::optional<CollectorOptions> options;
  int status = -1;
  std::string complaint;
};

Read read(std::vector<std::string> words) {
  std::vector<const char*> argv{"polaiga-collector"};
  for (const std::string& word : words) argv.push_back(word.c_str());
  Read result;
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  result.options = read_command_line(static_cast<int>(argv.size()), argv.data(), result.status);
  testing::internal::GetCapturedStdout();
  result.complaint = testing::internal::GetCapturedStderr();
  return result;
}

TEST(CollectorCommandLine, Least) {
  const auto options = read({"--amqp", "amqp://h", "--database", "postgresql://d/polaiga"}).options;
  ASSERT_TRUE(options);
  EXPECT_EQ(options->database, "postgresql://d/polaiga");
  EXPECT_FALSE(options->is_migration);
  const Collector::Options& collector = options->collector;
  EXPECT_EQ(collector.broker.nodes, (std::vector<BrokerNode>{{.host = "h", .port = 5672}}));
  EXPECT_EQ(collector.broker.user, "");
  EXPECT_EQ(collector.inboxes, 8);
  EXPECT_EQ(collector.silent_after, seconds(100));
  EXPECT_EQ(collector.group_window, seconds(60));
  EXPECT_EQ(collector.keep_changes, hours(24 * 30));
  EXPECT_EQ(collector.keep_alarms, hours(24 * 90));
}

TEST(CollectorCommandLine, All) {
  const auto options = read({"--amqp",          "amqps://a", "--amqp",         "amqps://b:7/x",
                             "--database",      "d",         "--user",         "anna",
                             "--password-file", "/p",        "--tls-ca",       "/ca",
                             "--tls-cert",      "/cert",     "--tls-key",      "/key",
                             "--queues",        "16",        "--silent-after", "5m",
                             "--group-window",  "2m",        "--keep-changes", "48h",
                             "--keep-alarms",   "7d"})
                           .options;
  ASSERT_TRUE(options);
  const Collector::Options& collector = options->collector;
  EXPECT_EQ(collector.broker.nodes,
            (std::vector<BrokerNode>{{.host = "a", .port = 5671, .is_encrypted = true},
                                     {.host = "b", .port = 7, .virtual_host = "x", .is_encrypted = true}}));
  EXPECT_EQ(collector.broker.user, "anna");
  EXPECT_EQ(collector.broker.password_file, "/p");
  EXPECT_EQ(collector.broker.tls_ca, "/ca");
  EXPECT_EQ(collector.broker.tls_cert, "/cert");
  EXPECT_EQ(collector.broker.tls_key, "/key");
  EXPECT_EQ(collector.inboxes, 16);
  EXPECT_EQ(collector.silent_after, seconds(300));
  EXPECT_EQ(collector.group_window, seconds(120));
  EXPECT_EQ(collector.keep_changes, hours(48));
  EXPECT_EQ(collector.keep_alarms, hours(7 * 24));
}

TEST(CollectorCommandLine, MigrationNeedsNoBroker) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"migrate", "--database", "d"},
                                                std::vector<std::string>{"--database", "d", "migrate"}}) {
    const Read got = read(words);
    ASSERT_TRUE(got.options) << got.complaint;
    EXPECT_TRUE(got.options->is_migration);
    EXPECT_EQ(got.options->database, "d");
  }
}

TEST(CollectorCommandLine, HelpAndVersionEndWell) {
  EXPECT_EQ(read({"--help"}).status, 0);
  EXPECT_EQ(read({"--version"}).status, 0);
}

struct Wrong {
  std::vector<std::string> words;  // after a broker and a database
  std::string complaint;           // a part of it
};

TEST(CollectorCommandLine, WrongOptions) {
  const std::vector<Wrong> cases{
      {{"--user", "anna"}, "--user requires --password-file"},
      {{"--password-file", "/p"}, "--password-file requires --user"},
      {{"--tls-cert", "/c"}, "--tls-cert requires --tls-key"},
      {{"--tls-key", "/k"}, "--tls-key requires --tls-cert"},
      {{"--amqp", "amqps://b"}, "amqps:// needs --tls-ca, by which the broker is known"},
      {{"--amqp", "anna:secret@b"}, "give amqp://HOST[:PORT][/VHOST] or amqps://..., and user and password by --user"},
      {{"--queues", "0"}, "--queues"},
      {{"--queues", "257"}, "--queues"},
      {{"--silent-after", "9s"}, "'9s' must be a whole number with s, m, h or d, from 10s to 1d"},
      {{"--silent-after", "25h"}, "'25h' must be a whole number with s, m, h or d, from 10s to 1d"},
      {{"--group-window", "0s"}, "from 1s to 1h"},
      {{"--group-window", "2h"}, "from 1s to 1h"},
      {{"--keep-changes", "23h"}, "from 1d to 3650d"},
      {{"--keep-alarms", "3651d"}, "from 1d to 3650d"},
      {{"--keep-alarms", "soon"}, "'soon' must be a whole number"},
      {{"--sideways"}, "--sideways"},
      {{"more"}, "more"},
  };
  for (const auto& [words, complaint] : cases) {
    std::vector<std::string> all{"--database", "d", "--amqp", "amqp://h"};
    all.insert(all.end(), words.begin(), words.end());
    const Read got = read(all);
    EXPECT_FALSE(got.options) << complaint;
    EXPECT_EQ(got.status, 2) << complaint;
    EXPECT_NE(got.complaint.find(complaint), std::string::npos) << complaint << "\n" << got.complaint;
  }
}

TEST(CollectorCommandLine, BrokerAndDatabaseMustBeNamed) {
  const Read no_broker = read({"--database", "d"});
  EXPECT_EQ(no_broker.status, 2);
  EXPECT_NE(no_broker.complaint.find("--amqp is required"), std::string::npos) << no_broker.complaint;
  const Read no_database = read({"--amqp", "amqp://h"});
  EXPECT_EQ(no_database.status, 2);
  EXPECT_NE(no_database.complaint.find("--database is required"), std::string::npos) << no_database.complaint;
}

TEST(CollectorCommandLine, APasswordInTheUrlIsNotShown) {
  const Read got = read({"--database", "d", "--amqp", "amqp://anna:secret@h"});
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.complaint.find("secret"), std::string::npos) << got.complaint;
}

}  // namespace command_line_test
}  // namespace polaiga::fleet
