#include "intake/sender.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace polaiga::engine {
namespace sender_test {

using Lines = std::vector<std::string>;

// A client, of which the test holds the other end.
class SenderTest : public ::testing::Test {
 protected:
  SenderTest() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()) != 0) return;
    far_ = Descriptor(ends[0]);
    sender_.emplace(Sender::Kind::kClient, "client 1", Descriptor(ends[1]), Descriptor());
  }

  void write(const std::string& text) const {
    ASSERT_EQ(::write(far_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  std::string read() const {
    std::string text(200'000, '\0');
    const auto count = ::read(far_.get(), text.data(), text.size());
    return text.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0);
  }

  Lines lines() {
    Lines found;
    std::string_view line;
    while (sender_->next(line) != LineBuffer::Result::kNone) found.emplace_back(line);
    return found;
  }

  Descriptor far_;
  std::optional<Sender> sender_;
};

TEST_F(SenderTest, LinesAndTheirNumbers) {
  EXPECT_TRUE(sender_->listens());
  EXPECT_FALSE(sender_->has_line());
  write("a\n\nb");
  sender_->receive();
  EXPECT_TRUE(sender_->has_line());
  EXPECT_FALSE(sender_->listens());  // until the lines are taken
  EXPECT_EQ(lines(), Lines({"a", ""}));
  EXPECT_EQ(sender_->line_number(), 2U);
  EXPECT_TRUE(sender_->listens());
  EXPECT_FALSE(sender_->has_line());
}

TEST_F(SenderTest, EventsAndComplaintsWithTheirNumbers) {
  EXPECT_FALSE(sender_->next());
  write("\n{\"entity\":\"fan\",\"sensor\":\"FAN1_TACH1\",\"offset\":3,\"state\":1}\n\n \n[]\n\n[");
  sender_->receive();
  const auto event = sender_->next();
  ASSERT_TRUE(event && event->event);
  EXPECT_EQ(event->number, 2U);
  EXPECT_STREQ(event->event->event.sensor_name, "FAN1_TACH1");
  const auto complaint = sender_->next();
  ASSERT_TRUE(complaint);
  EXPECT_EQ(complaint->complaint_in(sender_->name()), "client 1:5: not an object");
  EXPECT_FALSE(sender_->next());
  ::shutdown(far_.get(), SHUT_WR);
  sender_->receive();
  const auto last = sender_->next();
  ASSERT_TRUE(last);
  EXPECT_EQ(last->number, 7U);
  EXPECT_FALSE(last->event);
  EXPECT_FALSE(sender_->next());
  EXPECT_TRUE(sender_->is_done());
}

TEST_F(SenderTest, NothingToReceiveIsNoEnd) {
  sender_->receive();
  EXPECT_TRUE(sender_->listens());
  EXPECT_FALSE(sender_->is_done());
}

TEST_F(SenderTest, TheLastLineNeedsNoNewline) {
  write("a\nb");
  ::shutdown(far_.get(), SHUT_WR);
  sender_->receive();
  EXPECT_EQ(lines(), Lines({"a"}));
  sender_->receive();
  EXPECT_FALSE(sender_->listens());
  EXPECT_TRUE(sender_->has_line());
  EXPECT_FALSE(sender_->is_done());
  EXPECT_EQ(lines(), Lines({"b"}));
  EXPECT_EQ(sender_->line_number(), 2U);
  EXPECT_TRUE(sender_->is_done());
}

TEST_F(SenderTest, AnEndWithoutALine) {
  far_.close();
  sender_->receive();
  EXPECT_FALSE(sender_->is_done());
  EXPECT_EQ(lines(), Lines());
  EXPECT_TRUE(sender_->is_done());
}

TEST_F(SenderTest, Answers) {
  EXPECT_FALSE(sender_->has_answers());
  sender_->answer("one\n");
  sender_->answer("two\n");
  EXPECT_TRUE(sender_->has_answers());
  EXPECT_EQ(read(), "");
  sender_->send();
  EXPECT_FALSE(sender_->has_answers());
  EXPECT_EQ(read(), "one\ntwo\n");
}

TEST_F(SenderTest, ItIsDoneWhenItsAnswersAreSent) {
  ::shutdown(far_.get(), SHUT_WR);
  sender_->answer("one\n");
  sender_->receive();
  EXPECT_EQ(lines(), Lines());
  EXPECT_FALSE(sender_->is_done());
  sender_->send();
  EXPECT_TRUE(sender_->is_done());
}

TEST_F(SenderTest, OneWhoDoesNotReadIsNotListenedTo) {
  write("a\nb\n");
  sender_->receive();
  sender_->answer(std::string(65535, 'x'));
  std::string_view line;
  EXPECT_EQ(sender_->next(line), LineBuffer::Result::kLine);
  sender_->answer("x");
  EXPECT_FALSE(sender_->has_line());
  EXPECT_FALSE(sender_->listens());
  EXPECT_EQ(sender_->next(line), LineBuffer::Result::kNone);
  sender_->send();
  EXPECT_EQ(read().size(), 65536U);
  EXPECT_EQ(lines(), Lines({"b"}));
  EXPECT_TRUE(sender_->listens());
}

TEST_F(SenderTest, WhatDoesNotFitIsSentLater) {
  const std::string most(10'000'000, 'x');
  sender_->answer(most);
  std::size_t got = 0;
  while (sender_->has_answers()) {
    sender_->send();
    for (std::string part; !(part = read()).empty();) got += part.size();
  }
  EXPECT_EQ(got, most.size());
}

TEST_F(SenderTest, AnswersToOneWhoIsGoneAreDropped) {
  write("a\nb\n");
  far_.close();
  sender_->answer("one\n");
  sender_->send();
  EXPECT_FALSE(sender_->has_answers());
  sender_->answer("two\n");
  EXPECT_FALSE(sender_->has_answers());
  sender_->receive();
  EXPECT_EQ(lines(), Lines({"a", "b"}));  // they count all the same
  sender_->receive();
  EXPECT_EQ(lines(), Lines());
  EXPECT_TRUE(sender_->is_done());
}

// Its pipes may block, so no more is written than a ready one takes.
TEST(StandardInputTest, APipeOfAnswersDoesNotBlock) {
  Pipe input;
  Pipe output;
  const int reader = output.out.get();
  const int writer = ::fcntl(output.in.get(), F_DUPFD_CLOEXEC, 0);
  Sender sender(Sender::Kind::kStandardInput, "<stdin>", std::move(input.out), std::move(output.in));
  EXPECT_TRUE(sender.is_standard_input());
  EXPECT_NE(sender.in(), sender.out());
  const std::string answers(300'000, 'x');
  sender.answer(answers);
  std::size_t got = 0;
  while (got < answers.size()) {
    for (pollfd polled{writer, POLLOUT, 0}; sender.has_answers() && ::poll(&polled, 1, 0) > 0;) sender.send();
    std::array<char, 5000> buffer{};
    const auto count = ::read(reader, buffer.data(), buffer.size());
    ASSERT_GT(count, 0);
    got += static_cast<std::size_t>(count);
  }
  EXPECT_FALSE(sender.has_answers());
  ::close(writer);
}

}  // namespace sender_test
}  // namespace polaiga::engine
