// A ledger on a disk that is full, or may not be written to.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "ledger/sqlite.h"
#include "support/client.h"
#include "support/forked_engine.h"
#include "support/shared_clock.h"
#include "support/small_disk.h"

namespace polaiga::engine::test {
namespace disk_test {

using Answers = std::vector<std::string>;

constexpr std::size_t kPage = 4096;
constexpr const char* kFull = "cannot write: database or disk is full; no event is taken until it can be written";

class DiskTest : public RunTest {
 protected:
  std::string on_disk(const std::string& name = "ledger.db") const { return disk_.file(name); }
  std::string run(const std::string& name, const std::string& more = "") const {
    return "$POLAIGA run --ledger '" + on_disk(name) + "' " + more;
  }
  std::string serve(const std::string& more = "") const {
    return run("ledger.db", "--socket '" + socket() + "' --control '" + control() + "' " + more);
  }

  static std::string id(int number) { return "event-" + std::to_string(number); }

  // Sends events, one when the one before is acknowledged, until one is not because the disk is full. Answers how
  // many were sent.
  int send_until_full(const Child& engine, Client& client, int first) const {
    const auto is_full = [&] { return dir_.read("err").find(kFull) != std::string::npos; };
    for (int number = first;; ++number) {
      client.send(slow(number, id(number)));
      if (!comes_true([&] { return client.has_answer() || is_full(); })) {
        ADD_FAILURE() << "event " << number << " is neither acknowledged, nor is the disk full: " << dir_.read("err");
        return number;
      }
      if (!client.has_answer()) {
        EXPECT_TRUE(engine.has_complained(kFull));
        return number;
      }
      EXPECT_EQ(client.answer(), taken(number));
    }
  }

  // Each event once and in order, and nothing else.
  void expect_events(int last) const {
    Answers want;
    for (int i = 1; i <= last; ++i) want.push_back(id(i));
    EXPECT_EQ(ask(on_disk(), "SELECT id FROM event ORDER BY seq"), want);
    EXPECT_EQ(ask(on_disk(), "SELECT number FROM change ORDER BY number").size(), want.size());
    EXPECT_EQ(ask(on_disk(), "PRAGMA integrity_check"), Answers({"ok"}));
  }

  SmallDisk disk_{dir_, 2};
};

// The log may still find space for an event when the file finds none for what the log is to bring into it. Such an
// event is durable, so it must be acknowledged, and must not be written once more. Where the one ends and the other
// begins depends on the space that is left, so it is tried page by page.
TEST_F(DiskTest, IsFullWhenTheLogIsToBeBroughtIntoTheFile) {
  constexpr std::size_t kMostPages = 44;
  for (std::size_t pages = 0; pages < kMostPages; pages += 8) {
    SCOPED_TRACE(std::to_string(pages) + " pages were left");
    Child engine(serve("--keep-bytes 512KiB"), dir_);
    Client client(socket());
    disk_.fill(pages * kPage);
    const int waiting = send_until_full(engine, client, 1);
    ASSERT_NO_FATAL_FAILURE(expect_events(waiting - 1));
    disk_.make_room();
    EXPECT_EQ(stop(engine, SIGTERM).status, 0) << dir_.read("err");
    EXPECT_EQ(client.answer(), taken(waiting));
    expect_events(waiting);
    disk_.remove_all();
  }
}

// The log may become longer than the disk is large. It is emptied before that.
TEST_F(DiskTest, ALogThatHasNoSpaceToGrowIsEmptied) {
  constexpr int kEvents = 1500;
  Child engine(serve("--keep-events 100"), dir_);
  Client client(socket());
  for (int i = 1; i <= kEvents; ++i) {
    client.send(slow(i, id(i)));
    ASSERT_EQ(client.answer(), taken(i)) << dir_.read("err");
  }
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  EXPECT_EQ(dir_.read("err").find("cannot write"), std::string::npos) << dir_.read("err");
}

// As long as another program reads, the log grows, until it has taken the whole disk. When that program is done, the
// engine empties the log and goes on by itself.
TEST_F(DiskTest, ALogThatFilledTheDiskIsEmptiedWhenItsReaderHasGone) {
  constexpr int kBefore = 400;
  Child engine(serve("--keep-events 100 --keep-bytes 512KiB"), dir_);
  Client client(socket());
  for (int i = 1; i <= kBefore; ++i) {
    client.send(slow(i, id(i)));
    ASSERT_EQ(client.answer(), taken(i));
  }
  int waiting = 0;
  {
    Database other(on_disk(), Access::kRead);
    other.exec("BEGIN");
    Statement question(other, "SELECT count(*) FROM event");
    ASSERT_TRUE(question.step());
    waiting = send_until_full(engine, client, kBefore + 1);
    EXPECT_GT(waiting, kBefore + 10);
  }
  EXPECT_EQ(client.answer(), taken(waiting));
  EXPECT_TRUE(engine.has_complained("The ledger can be written again.\n"));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0) << dir_.read("err");
  EXPECT_EQ(ask(on_disk(), "SELECT max(seq) FROM event"), Answers({std::to_string(waiting)}));
}

TEST_F(DiskTest, AnEngineThatIsKilledStartsOnTheFullDiskAndGoesOn) {
  constexpr int kWaiting = 20;
  int sent = 0;
  {
    Child engine(serve(), dir_);
    Client client(socket());
    disk_.fill(20 * kPage);
    sent = send_until_full(engine, client, 1);
    for (int more = 0; more < kWaiting; ++more) {
      ++sent;
      client.send(slow(sent, id(sent)));
    }
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
    EXPECT_FALSE(client.has_answer() && !client.answer().empty());
  }
  const int written = std::stoi(ask(on_disk(), "SELECT max(seq) FROM event").at(0));
  Child engine(serve(), dir_);
  Client client(socket());
  Client asking(control());
  asking.send("{\"do\":\"status\"}\n");
  EXPECT_EQ(nlohmann::json::parse(asking.answer()).at("last_seq"), written);
  // What is known needs no space; the rest waits for it.
  for (int i = 1; i <= sent; ++i) client.send(slow(i, id(i)));
  disk_.make_room();
  for (int i = 1; i <= sent; ++i) ASSERT_EQ(client.answer(), i <= written ? known(i) : taken(i));
  EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  expect_events(sent);
}

TEST_F(DiskTest, QuestionsAreAnsweredWhileTheDiskIsFull) {
  Child engine(serve(), dir_);
  Client client(socket());
  disk_.fill(20 * kPage);
  const int waiting = send_until_full(engine, client, 1);
  for (const char* question :
       {"active", "history", "tail --no-follow", "explain sys/rack-unit-1/fan-module-1-1/fan-1/fault-F0395"}) {
    const Ended got = Shell().run("$POLAIGA " + std::string(question) + " --ledger '" + on_disk() + "'");
    EXPECT_EQ(got.status, 0) << question << ": " << got.err;
    EXPECT_NE(got.out.find("F0395"), std::string::npos) << question << ": " << got.out;
  }
  Client asking(control());
  asking.send("{\"do\":\"status\"}\n");
  const auto status = nlohmann::json::parse(asking.answer());
  EXPECT_EQ(status.at("last_seq"), waiting - 1);  // what is not durable is not told
  EXPECT_NE(status.at("problem").get<std::string>().find("database or disk is full"), std::string::npos);
}

// Operators who gave up waiting do not keep the few places of those who want to know how the engine is.
TEST_F(DiskTest, WhoHangsUpWhileTheDiskIsFullLeavesHisPlace) {
  constexpr int kPlaces = 16;
  SharedClock clock;
  RunOptions patient = options();
  patient.ledger = on_disk();
  patient.commit_within = std::chrono::seconds(1000);
  patient.idle_within = std::chrono::seconds(1000);
  {
    Child engine(serve(), dir_);
    Client client(socket());
    client.send(slow(1));
    ASSERT_EQ(client.answer(), taken(1));
    EXPECT_EQ(stop(engine, SIGTERM).status, 0);
  }
  Child engine(forked_engine(patient, clock), dir_);
  {
    std::vector<Client> operators;
    for (int i = 1; i < kPlaces; ++i) {
      operators.emplace_back(control()).send(R"({"do":"comment","alarms":"1","comment":"one of many"})"
                                             "\n");
    }
    ASSERT_TRUE(wait_until("unwritten", kPlaces - 1));
    disk_.fill(0);
    clock.pass(1000);
    status();  // wakes it
    ASSERT_TRUE(engine.has_complained(kFull)) << dir_.read("err");
  }
  std::vector<Client> asking;
  for (int i = 0; i < kPlaces; ++i) {
    asking.emplace_back(control()).send("{\"do\":\"status\"}\n");
    EXPECT_NE(asking.back().answer().find("\"problem\""), std::string::npos) << i;
  }
  asking.clear();
  disk_.make_room();
  clock.pass(1000);
  EXPECT_TRUE(wait_until("unwritten", 0));
  EXPECT_EQ(ask(on_disk(), "SELECT count(*) FROM action"), Answers({std::to_string(kPlaces - 1)}));
}

TEST_F(DiskTest, ANewLedgerNeedsSpace) {
  disk_.fill(0);
  const Ended got = Shell().run(run("ledger.db"), slow());
  EXPECT_EQ(got.status, 2);
  EXPECT_EQ(got.out, "");
  EXPECT_NE(got.err.find(on_disk()), std::string::npos) << got.err;
  EXPECT_NE(got.err.find("full"), std::string::npos) << got.err;
  disk_.make_room();
  const Ended then = Shell().run(run("ledger.db"), slow());
  EXPECT_EQ(then.status, 0) << then.err;
  EXPECT_EQ(then.out, taken(1) + "\n");
  EXPECT_EQ(then.err.find("damaged"), std::string::npos) << then.err;
}

TEST_F(DiskTest, AReadOnlyMountIsToldAndCanBeAsked) {
  ASSERT_EQ(Shell().run(run("ledger.db"), slow(1)).status, 0);
  disk_.make_read_only(true);
  for (const char* name : {"ledger.db", "new.db"}) {
    const Ended got = Shell().run(run(name), slow(2));
    EXPECT_EQ(got.status, 2);
    EXPECT_EQ(got.out, "");
    EXPECT_NE(got.err.find(on_disk(name)), std::string::npos) << got.err;
    EXPECT_NE(got.err.find("Read-only file system"), std::string::npos) << got.err;
  }
  const Ended active = Shell().run("$POLAIGA active --ledger '" + on_disk() + "'");
  EXPECT_EQ(active.status, 0) << active.err;
  EXPECT_NE(active.out.find("F0395"), std::string::npos) << active.out;
  disk_.make_read_only(false);
  EXPECT_EQ(Shell().run(run("ledger.db"), slow(2)).out, taken(2) + "\n");
}

// A copy of a ledger that was in use, on a medium that cannot be written to: what its log has is told, too.
TEST_F(DiskTest, ALogWithoutItsIndexOnAReadOnlyMountCanBeAsked) {
  {
    Child engine(serve(), dir_);
    Client client(socket());
    client.send(slow(1, id(1)) + slow(2, id(2)));
    ASSERT_EQ(client.answers(2), Answers({taken(1), taken(2)}));
    EXPECT_EQ(stop(engine, SIGKILL).status, 128 + SIGKILL);
  }
  ASSERT_GT(std::filesystem::file_size(on_disk("ledger.db-wal")), 0U);
  ASSERT_TRUE(std::filesystem::remove(on_disk("ledger.db-shm")));
  disk_.make_read_only(true);
  for (const char* question : {"active", "history", "tail --no-follow",
                               "explain sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0395", "verify", "stats"}) {
    const Ended got = Shell().run("$POLAIGA " + std::string(question) + " --ledger '" + on_disk() + "'");
    EXPECT_EQ(got.status, 0) << question << ": " << got.err;
    EXPECT_EQ(got.err, "") << question;
  }
  const Ended active = Shell().run("$POLAIGA active --ledger '" + on_disk() + "'");
  EXPECT_NE(active.out.find("fan-module-1-1/"), std::string::npos) << active.out;
  EXPECT_NE(active.out.find("fan-module-1-2/"), std::string::npos) << active.out;
  disk_.make_read_only(false);
  EXPECT_EQ(Shell().run(run("ledger.db"), slow(3)).out, taken(3) + "\n");
}

}  // namespace disk_test
}  // namespace polaiga::engine::test
