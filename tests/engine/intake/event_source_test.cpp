#include "intake/event_source.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "support/temp_dir.h"

namespace polaiga::engine {
namespace event_source_test {

using Lines = std::vector<std::string>;
using Result = EventSource::Result;

const std::string kEvent = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"
                           "\n";
constexpr std::size_t kLongest = 65536;

std::string shown(const EventLine& line) {
  return std::to_string(line.number) + " " + (line.event ? line.event->event.sensor_name : line.complaint);
}

// All that comes up to the end, each line as its number and what it is.
Lines all_of(EventSource& source) {
  Lines found;
  EventLine line;
  for (;;) {
    switch (source.next(line)) {
      case Result::kLine:
        found.push_back(shown(line));
        break;
      case Result::kBlank:
        break;
      case Result::kEnd:
        return found;
      case Result::kFailed:
      case Result::kInterrupted:
        found.emplace_back("failed");
        return found;
    }
  }
}

class EventSourceTest : public testing::Test {
 protected:
  Lines read(const std::string& content) {
    const Input input(dir_.write("events", content));
    EventSource source(input);
    const Lines found = all_of(source);
    EXPECT_EQ(source.bytes_taken(), content.size());
    return found;
  }

  test::TempDir dir_;
};

// Standard input is a pipe while the test lasts.
class EventSourcePipeTest : public testing::Test {
 protected:
  EventSourcePipeTest() : saved_(::dup(STDIN_FILENO)) { ::dup2(pipe_.out.get(), STDIN_FILENO); }
  ~EventSourcePipeTest() override { ::dup2(saved_.get(), STDIN_FILENO); }

  void write(const std::string& text) const { ASSERT_TRUE(write_all(pipe_.in.get(), text.data(), text.size())); }

  Pipe pipe_;
  Descriptor saved_;
};

TEST_F(EventSourceTest, EventsAndComplaintsWithTheirNumbers) {
  EXPECT_EQ(read(""), Lines());
  EXPECT_EQ(read("\n\n"), Lines());
  EXPECT_EQ(read("\n \t\r\n" + kEvent + "[]\n" + std::string(kLongest + 1, 'x') + "\n" + kEvent),
            (Lines{"3 FAN1_TACH1", "4 not an object", "5 the line is over 64 KiB long", "6 FAN1_TACH1"}));
}

TEST_F(EventSourceTest, TheLastLineNeedsNoNewline) {
  EXPECT_EQ(read(kEvent + "[]"), (Lines{"1 FAN1_TACH1", "2 not an object"}));
  EXPECT_EQ(read(std::string(10 * kLongest, 'x')), Lines{"1 the line is over 64 KiB long"});
}

TEST_F(EventSourceTest, NoLineIsLostBetweenReads) {
  const std::string long_line = "[" + std::string(kLongest - 2, ' ') + "]\n";
  std::string content;
  Lines want;
  for (int i = 0; i < 1000; ++i) {
    content += kEvent;
    want.push_back(std::to_string(2 * i + 1) + " FAN1_TACH1");
    content += i % 100 == 0 ? long_line : "[]\n";
    want.push_back(std::to_string(2 * i + 2) + " not an object");
  }
  EXPECT_EQ(read(content), want);
}

TEST_F(EventSourceTest, AFileIsNeverWaitedFor) {
  const Input input(dir_.write("events", kEvent));
  EXPECT_FALSE(EventSource(input).may_wait());
}

TEST_F(EventSourcePipeTest, EventsInPieces) {
  const Input input("-");
  EventSource source(input);
  std::thread writer([this] {
    for (const char piece : kEvent + "\n" + kEvent) {
      EXPECT_EQ(::write(pipe_.in.get(), &piece, 1), 1);
      std::this_thread::yield();
    }
    pipe_.in.close();
  });
  EXPECT_EQ(all_of(source), (Lines{"1 FAN1_TACH1", "3 FAN1_TACH1"}));
  writer.join();
}

// So that a reader of the output sees what came of the lines so far.
TEST_F(EventSourcePipeTest, AWaitIsForetold) {
  const Input input("-");
  EventSource source(input);
  EXPECT_TRUE(source.may_wait());
  write(kEvent + kEvent + "\n{\"half");
  EventLine line;
  EXPECT_EQ(source.next(line), Result::kLine);
  EXPECT_FALSE(source.may_wait());
  EXPECT_EQ(source.next(line), Result::kLine);
  EXPECT_FALSE(source.may_wait());
  EXPECT_EQ(source.next(line), Result::kBlank);  // and nothing is waited for behind it
  EXPECT_TRUE(source.may_wait());
  write("\n");
  EXPECT_EQ(source.next(line), Result::kLine);
  EXPECT_EQ(line.number, 4U);
  pipe_.in.close();
  EXPECT_EQ(source.next(line), Result::kEnd);
  EXPECT_EQ(source.bytes_taken(), 2 * kEvent.size() + 1 + 7);
}

TEST_F(EventSourcePipeTest, AFailureNamesTheInput) {
  const Descriptor write_only(::open("/dev/null", O_WRONLY));
  ::dup2(write_only.get(), STDIN_FILENO);
  const Input input("-");
  EventSource source(input);
  EventLine line;
  EXPECT_EQ(source.next(line), Result::kFailed);
  EXPECT_EQ(source.failure(), "<stdin>: cannot read: Bad file descriptor");
}

}  // namespace event_source_test
}  // namespace polaiga::engine
