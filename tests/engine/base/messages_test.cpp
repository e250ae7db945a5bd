#include "base/messages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>

#include "base/descriptor.h"
#include "support/manual_clock.h"

namespace polaiga::engine {
namespace messages_test {

using namespace std::chrono_literals;

constexpr const char* kNotTaken = " messages were left out, because standard error did not take them\n";

std::string read_now(int fd) {
  std::string text(1U << 20U, '\0');
  ::fcntl(fd, F_SETFL, O_NONBLOCK);
  const auto count = ::read(fd, text.data(), text.size());
  return text.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0);
}

// A pipe stands for standard error.
class MessagesTest : public ::testing::Test {
 protected:
  ~MessagesTest() override { ::unsetenv("JOURNAL_STREAM"); }

  std::string told() const { return read_now(pipe_.out.get()); }

  // Until the pipe takes nothing more. Through a description of its own, so that the pipe is as it was.
  void fill() const {
    const Descriptor own = reopened_without_waiting(pipe_.in.get());
    ASSERT_TRUE(own.is_open());
    const std::string page(4096, '.');
    while (::write(own.get(), page.data(), page.size()) > 0) {
    }
  }

  Pipe pipe_;
  test::ManualClock clock_{0};
};

TEST_F(MessagesTest, ALineForEach) {
  Messages messages(clock_, pipe_.in.get());
  messages.say(Priority::kError, "one");
  messages.say(Priority::kInfo, "two\nlines\x1B[31m");
  EXPECT_EQ(told(), "polaiga: one\npolaiga: two?lines?[31m\n");
  EXPECT_EQ(messages.waits_for(), -1);
  EXPECT_FALSE(messages.until_tick());
}

TEST_F(MessagesTest, ALongOneIsCutToWhatAPipeTakesAsAWhole) {
  Messages messages(clock_, pipe_.in.get());
  messages.say(Priority::kError, std::string(100'000, 'x'));
  EXPECT_EQ(told(), "polaiga: " + std::string(PIPE_BUF - 10, 'x') + "\n");
}

TEST_F(MessagesTest, TheJournalIsToldThePriority) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor journal(ends[0]);
  const Descriptor error(ends[1]);
  struct stat status = {};
  ASSERT_EQ(::fstat(error.get(), &status), 0);
  const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  ::setenv("JOURNAL_STREAM", stream.c_str(), 1);
  {
    Messages messages(clock_, error.get());
    messages.say(Priority::kError, "error");
    messages.say(Priority::kWarning, "warning");
    messages.say(Priority::kNotice, "notice");
    messages.say(Priority::kInfo, "info");
    messages.say(Priority::kDebug, "debug");
  }
  EXPECT_EQ(read_now(journal.get()), "<3>error\n<4>warning\n<5>notice\n<6>info\n<7>debug\n");
  // The journal is one file, and standard error is another one.
  Messages messages(clock_, pipe_.in.get());
  messages.say(Priority::kError, "error");
  EXPECT_EQ(told(), "polaiga: error\n");
}

TEST_F(MessagesTest, AFullPipeIsNotWaitedFor) {
  Messages messages(clock_, pipe_.in.get());
  fill();
  for (int i = 0; i < 3; ++i) messages.say(Priority::kError, "lost");
  EXPECT_NE(messages.waits_for(), -1);
  messages.tick();
  EXPECT_NE(messages.waits_for(), -1);
  const std::string before = told();
  EXPECT_EQ(before.find_first_not_of('.'), std::string::npos);
  messages.tick();
  EXPECT_EQ(told(), std::string("polaiga: 3") + kNotTaken);
  EXPECT_EQ(messages.waits_for(), -1);
  messages.say(Priority::kError, "again");
  EXPECT_EQ(told(), "polaiga: again\n");
}

TEST_F(MessagesTest, WhatWasLeftOutIsToldBeforeTheNextMessage) {
  Messages messages(clock_, pipe_.in.get());
  fill();
  messages.say(Priority::kError, "lost");
  told();
  messages.say(Priority::kError, "again");
  EXPECT_EQ(told(), std::string("polaiga: 1") + kNotTaken + "polaiga: again\n");
}

// The shell and other programs use the same open file description.
TEST_F(MessagesTest, TheDescriptorStaysAsItWas) {
  Messages messages(clock_, pipe_.in.get());
  fill();
  messages.say(Priority::kError, "lost");
  EXPECT_EQ(::fcntl(pipe_.in.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(MessagesTest, ASocketThatTakesNothingIsNotWaitedFor) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  const Descriptor reader(ends[0]);
  const Descriptor error(ends[1]);
  Messages messages(clock_, error.get());
  for (int i = 0; i < 20'000 && messages.waits_for() == -1; ++i) {
    messages.say(Priority::kDebug, std::string(1000, 'x'));
  }
  EXPECT_EQ(messages.waits_for(), error.get());
  EXPECT_EQ(::fcntl(error.get(), F_GETFL) & O_NONBLOCK, 0);
  while (!read_now(reader.get()).empty()) {
  }
  messages.tick();
  EXPECT_EQ(read_now(reader.get()), std::string("polaiga: 1") + kNotTaken);
}

// A disk that is full takes nothing either, but poll() calls it ready.
TEST_F(MessagesTest, AFullDiskIsNotPolled) {
  const Descriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  ASSERT_TRUE(full.is_open());
  Messages messages(clock_, full.get());
  messages.say(Priority::kError, "lost");
  EXPECT_EQ(messages.waits_for(), -1);
}

TEST_F(MessagesTest, AReaderThatHasGoneDoesNoHarm) {
  ::signal(SIGPIPE, SIG_IGN);
  Messages messages(clock_, pipe_.in.get());
  pipe_.out.close();
  messages.say(Priority::kError, "lost");
  EXPECT_EQ(messages.waits_for(), -1);
}

TEST_F(MessagesTest, TooManyOfAPriorityAreLeftOut) {
  Messages messages(clock_, pipe_.in.get());
  for (int i = 0; i < 130; ++i) messages.say(Priority::kWarning, "warning");
  messages.say(Priority::kError, "error");
  std::string want;
  for (int i = 0; i < 100; ++i) want += "polaiga: warning\n";
  EXPECT_EQ(told(), want + "polaiga: error\n");
  ASSERT_TRUE(messages.until_tick());
  EXPECT_EQ(*messages.until_tick(), 10s);
  clock_.pass(9);
  messages.tick();
  EXPECT_EQ(told(), "");
  EXPECT_EQ(*messages.until_tick(), 1s);
  clock_.pass(1);
  messages.tick();
  EXPECT_EQ(told(), "polaiga: 30 messages were left out, because more than 100 of a kind came within 10 s\n");
  EXPECT_FALSE(messages.until_tick());
  messages.say(Priority::kWarning, "warning");
  EXPECT_EQ(told(), "polaiga: warning\n");
}

TEST_F(MessagesTest, WhatWasLeftOutIsToldAtTheEnd) {
  std::optional<Messages> messages(std::in_place, clock_, pipe_.in.get());
  for (int i = 0; i < 101; ++i) messages->say(Priority::kWarning, "warning");
  told();
  messages.reset();
  EXPECT_EQ(told(), "polaiga: 1 messages were left out, because more than 100 of a kind came within 10 s\n");
}

}  // namespace messages_test
}  // namespace polaiga::engine
