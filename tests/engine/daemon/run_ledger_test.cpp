#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "ledger/sqlite.h"
#include "support/client.h"
#include "support/forked_engine.h"

namespace polaiga::engine::test {
namespace run_ledger_test {

using Answers = std::vector<std::string>;

constexpr const char* kAdvice = "is there a directory, and may this user write to it and to the file?";

class RunLedgerTest : public RunTest {
 protected:
  Ended run(const std::string& input) const { return Shell().run(without_socket(), input); }

  // A ledger of some dozens of pages, closed.
  void make_ledger() const {
    std::string input;
    for (int i = 1; i <= 300; ++i) input += slow(i, "event-" + std::to_string(i));
    ASSERT_EQ(run(input).status, 0);
    ASSERT_GT(std::filesystem::file_size(ledger()), 30U * 4096);
  }

  Answers set_aside() const {
    Answers found;
    for (const auto& file : std::filesystem::directory_iterator(dir_.path())) {
      const std::string name = file.path().filename();
      if (name.starts_with("ledger.db.damaged-") && !name.ends_with("-wal")) found.push_back(name);
    }
    return found;
  }

  // Runs the program on a ledger of 300 inputs that was made this content. It begins a
  // new one, and the numbers go on.
  void expect_set_aside(const std::string& content) const {
    dir_.write("ledger.db", content);
    const Ended got = run(slow());
    EXPECT_EQ(got.status, 0) << got.err;
    EXPECT_EQ(got.out, taken(301) + "\n");
    ASSERT_EQ(set_aside().size(), 1U);
    const std::string aside = set_aside()[0];
    EXPECT_NE(got.err.find("It was moved to " + std::filesystem::canonical(dir_.path()).string() + "/" + aside +
                           ", and a new one was begun in its place. Carried over: "),
              std::string::npos)
        << got.err;
    EXPECT_TRUE(dir_.read(aside) == content);
    EXPECT_EQ(ask("PRAGMA integrity_check"), Answers({"ok"}));
    EXPECT_EQ(ask("SELECT max(seq) FROM event"), Answers({"301"}));
  }

  void expect_left_alone(const std::string& complaint) const {
    const std::string before = dir_.read("ledger.db");
    const Ended got = run(slow());
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.out, "");
    EXPECT_NE(got.err.find(ledger() + ": " + complaint), std::string::npos) << got.err;
    EXPECT_TRUE(dir_.read("ledger.db") == before);
    EXPECT_EQ(set_aside(), Answers());
  }
};

// The user named the wrong file; nothing happens to it.
TEST_F(RunLedgerTest, ATextFileIsLeftAlone) {
  for (const std::string& text : {std::string("poem\n"), repeated("Not a ledger, but a poem.\n", 1000)}) {
    dir_.write("ledger.db", text);
    expect_left_alone("this is no ledger; it is left as it is. Name another file");
  }
}

TEST_F(RunLedgerTest, APageOfGarbage) {
  make_ledger();
  std::string content = dir_.read("ledger.db");
  content.replace(content.size() / 4096 / 2 * 4096, 4096, std::string(4096, '\xA5'));
  expect_set_aside(content);
}

TEST_F(RunLedgerTest, AHeaderOfGarbage) {
  make_ledger();
  expect_set_aside(std::string(100, '\xA5') + dir_.read("ledger.db").substr(100));
}

TEST_F(RunLedgerTest, ATruncatedFile) {
  make_ledger();
  expect_set_aside(dir_.read("ledger.db").substr(0, 20 * 4096));
}

TEST_F(RunLedgerTest, AFileTruncatedWithinAPage) {
  make_ledger();
  expect_set_aside(dir_.read("ledger.db").substr(0, 20 * 4096 + 1000));
}

TEST_F(RunLedgerTest, AnEmptyFileIsANewLedger) {
  dir_.write("ledger.db", "");
  const Ended got = run(slow());
  EXPECT_EQ(got.status, 0) << got.err;
  EXPECT_EQ(got.out, taken(1) + "\n");
  EXPECT_EQ(got.err.find("damaged"), std::string::npos) << got.err;
  EXPECT_EQ(set_aside(), Answers());
}

TEST_F(RunLedgerTest, AnotherDatabaseIsLeftAlone) {
  Database(ledger(), Access::kReadWriteCreate).exec("PRAGMA application_id = 1; CREATE TABLE poem (line TEXT)");
  expect_left_alone("this is no ledger, but another database");
}

TEST_F(RunLedgerTest, ANamelessDatabaseIsLeftAlone) {
  Database(ledger(), Access::kReadWriteCreate).exec("CREATE TABLE poem (line TEXT)");
  expect_left_alone("this is no ledger, but another database");
}

TEST_F(RunLedgerTest, ALaterVersionIsLeftAlone) {
  make_ledger();
  Database(ledger(), Access::kReadWriteCreate).exec("PRAGMA user_version = 99");
  expect_left_alone("this ledger is of version 99, of a later program; this one knows versions up to ");
}

TEST_F(RunLedgerTest, AMissingDirectory) {
  const std::string path = dir_.file("nowhere/ledger.db");
  const Ended got = Shell().run("$POLAIGA run --ledger '" + path + "'", slow());
  EXPECT_EQ(got.status, 2);
  EXPECT_NE(got.err.find(path), std::string::npos) << got.err;
  EXPECT_NE(got.err.find(kAdvice), std::string::npos) << got.err;
}

// As a user who may not write there.
class RunWithoutRightsTest : public RunLedgerTest {
 protected:
  void TearDown() override { ::chmod(dir_.path().c_str(), 0700); }

  void expect_complaint() const {
    ASSERT_EQ(::chmod(dir_.path().c_str(), 0555), 0);
    const Ended got = Shell().run(user_ + without_socket(), slow());
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.out, "");
    EXPECT_NE(got.err.find(ledger()), std::string::npos) << got.err;
    EXPECT_NE(got.err.find(kAdvice), std::string::npos) << got.err;
  }

  const std::string user_ = as_plain_user();
};

TEST_F(RunWithoutRightsTest, ANewLedger) { expect_complaint(); }

TEST_F(RunWithoutRightsTest, ALedgerOfSomebodyElse) {
  make_ledger();
  ASSERT_EQ(::chmod(ledger().c_str(), 0444), 0);
  ASSERT_EQ(::chmod((ledger() + "-mark").c_str(), 0444), 0);
  expect_complaint();
}

// Who may only read a ledger can ask it all the same, though there is no engine.
TEST_F(RunWithoutRightsTest, ALedgerToRead) {
  make_ledger();
  ASSERT_EQ(::chmod(ledger().c_str(), 0444), 0);
  ASSERT_EQ(::chmod(dir_.path().c_str(), 0555), 0);
  const Ended got = Shell().run(user_ + "$POLAIGA tail --no-follow --ledger " + ledger());
  EXPECT_EQ(got.err, "");
  EXPECT_EQ(got.status, 0);
  EXPECT_NE(got.out.find("F0395"), std::string::npos) << got.out;
}

// Becomes the owner of a namespace of its own, where file systems may be mounted.
bool enter_namespace() {
  const std::string user = "0 " + std::to_string(::geteuid()) + " 1\n";
  const std::string group = "0 " + std::to_string(::getegid()) + " 1\n";
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user;
  std::ofstream("/proc/self/gid_map") << group;
  return true;
}

// A ledger on a disk of two megabytes, some of which a filler takes.
class FullDiskTest : public RunTest {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(disk());
    mounted_ = mount() || (enter_namespace() && mount());
    ASSERT_TRUE(mounted_) << "a small disk cannot be mounted: " << std::strerror(errno)
                          << "; run this test as root, with the capability CAP_SYS_ADMIN, or where any user may make "
                             "namespaces";
    ASSERT_TRUE(std::ofstream(filler()) << std::string(1'600'000, 'x') << std::flush);
  }
  void TearDown() override {
    if (mounted_) ::umount2(disk().c_str(), MNT_DETACH);
  }

  std::string disk() const { return dir_.file("disk"); }
  std::string filler() const { return disk() + "/filler"; }
  std::string on_disk() const { return disk() + "/ledger.db"; }
  std::string command() const {
    return "env " + manager_.environment() + " $POLAIGA run --ledger '" + on_disk() + "' --socket '" + socket() + "'";
  }

  // The same, with so much time for a stop that only what is said and done counts.
  std::function<int()> with_time_to_end() const {
    RunOptions with = options();
    with.ledger = on_disk();
    with.drain = std::chrono::seconds(1);
    return [this, run = forked_engine(with)] {
      ::setenv("NOTIFY_SOCKET", manager_.path().c_str(), 1);
      return run();
    };
  }

  static std::string id(int number) { return "event-" + std::to_string(number); }

  // Sends events, one when the one before is acknowledged, until the disk is full.
  // That last one is not acknowledged.
  void fill(const Child& engine, Client& client) {
    const std::string complaint =
        on_disk() + ": cannot write: database or disk is full; no event is taken until it can be written";
    const auto is_full = [&] { return dir_.read("err").find(complaint) != std::string::npos; };
    while (!is_full()) {
      ASSERT_LT(sent_, 10'000);
      if (sent_ == 10) take_the_rest();
      client.send(slow(1, id(++sent_)));
      ASSERT_TRUE(comes_true([&] { return client.has_answer() || is_full(); }));
      if (client.has_answer()) {
        ASSERT_EQ(client.answer(), taken(sent_));
      }
    }
    EXPECT_TRUE(engine.has_complained(complaint));
    EXPECT_FALSE(client.has_answer());
    EXPECT_GT(sent_, 10);
    EXPECT_NE(manager_.next("STATUS=" + on_disk() + ": cannot write: database or disk is full"), "");
  }

  // The filler takes what the ledger has not taken yet.
  void take_the_rest() const {
    std::ofstream file(filler(), std::ios::binary | std::ios::app);
    while (file << std::string(4096, 'x') << std::flush) {
    }
  }

  // Each that was acknowledged, and nothing else.
  void expect_events(int last) const {
    Answers want;
    for (int i = 1; i <= last; ++i) want.push_back(id(i));
    EXPECT_EQ(ask(on_disk(), "SELECT id FROM event ORDER BY seq"), want);
    EXPECT_EQ(ask(on_disk(), "SELECT count(*) FROM change"), Answers({std::to_string(last)}));
  }

  NotifySocket manager_{dir_.file("notify")};
  int sent_ = 0;

 private:
  bool mount() const { return ::mount("none", disk().c_str(), "tmpfs", 0, "size=2m") == 0; }

  bool mounted_ = false;
};

TEST_F(FullDiskTest, GoesOnByItselfWhenThereIsSpace) {
  Child engine(command(), dir_);
  Client client(socket());
  ASSERT_NO_FATAL_FAILURE(fill(engine, client));
  expect_events(sent_ - 1);
  const int pending = sent_;
  while (sent_ < pending + 30) client.send(slow(1, id(++sent_)));
  Client other(socket());
  other.send("[]\n" + slow(1, id(pending)));
  EXPECT_FALSE(client.has_answer());

  ASSERT_TRUE(std::filesystem::remove(filler()));
  for (int i = pending; i <= sent_; ++i) ASSERT_EQ(client.answer(), taken(i));
  EXPECT_EQ(other.answers(2), Answers({R"({"error":"not an object"})", known(pending)}));
  EXPECT_TRUE(engine.has_complained("The ledger can be written again.\n"));
  EXPECT_NE(manager_.next("STATUS=1 active fault, " + std::to_string(sent_) + " inputs, 1 bad line"), "");
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  expect_events(sent_);
}

TEST_F(FullDiskTest, AStopMeanwhileLosesNothingThatWasAcknowledged) {
  {
    Child engine(with_time_to_end(), dir_);
    Client client(socket());
    ASSERT_NO_FATAL_FAILURE(fill(engine, client));
    const Ended got = stop(engine, SIGTERM);
    EXPECT_EQ(got.status, 2);
    EXPECT_NE(got.err.find("1 input could not be written and was not acknowledged. Send it again.\n"),
              std::string::npos)
        << got.err;
    EXPECT_TRUE(client.is_let_go());
  }
  EXPECT_FALSE(std::filesystem::exists(socket()));
  ASSERT_TRUE(std::filesystem::remove(filler()));
  Child engine(command(), dir_);
  Client client(socket());
  client.send("[]\n");
  EXPECT_EQ(client.answer(), R"({"error":"not an object"})");
  EXPECT_EQ(ask(on_disk(), "PRAGMA integrity_check"), Answers({"ok"}));
  expect_events(sent_ - 1);
  client.send(slow(1, id(sent_)));
  EXPECT_EQ(client.answer(), taken(sent_));
  expect_events(sent_);
}

}  // namespace run_ledger_test
}  // namespace polaiga::engine::test
