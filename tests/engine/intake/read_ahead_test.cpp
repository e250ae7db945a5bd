#include "intake/read_ahead.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

constexpr const char* kEvent = R"({"entity":"fan","sensor":"FAN1_TACH1","offset":3,"state":1})"
                               "\n";

class ReadAheadTest : public testing::Test {
 protected:
  // All that comes of a file, each line as its number and what it is.
  std::vector<std::string> read(const std::string& content) {
    const Input input(dir_.write("events", content));
    ReadAhead ahead(input);
    std::vector<std::string> found;
    for (;;) {
      const ReadLines read = ahead.next();
      for (const ReadLine& line : read.lines) {
        found.push_back(std::to_string(line.number) + " " +
                        (line.event ? line.event->event.sensor_name : line.complaint));
      }
      if (read.end == LineReader::Result::kLine) continue;
      EXPECT_EQ(read.end, LineReader::Result::kEnd);
      EXPECT_EQ(read.bytes_taken, content.size());
      return found;
    }
  }

  test::TempDir dir_;
};

using Lines = std::vector<std::string>;

TEST_F(ReadAheadTest, EventsAndComplaintsWithTheirNumbers) {
  EXPECT_EQ(read(""), Lines{});
  EXPECT_EQ(read("\n \t\r\n" + std::string(kEvent) + "[]\n" + std::string(70'000, 'x') + "\n" + kEvent),
            (Lines{"3 FAN1_TACH1", "4 not an object", "5 the line is over 64 KiB long", "6 FAN1_TACH1"}));
  EXPECT_EQ(read(std::string(kEvent) + "{"), (Lines{"1 FAN1_TACH1", read("{").front().replace(0, 1, "2")}));
}

TEST_F(ReadAheadTest, NoLineIsLostBetweenTurns) {
  std::string content;
  for (int i = 0; i < 3000; ++i) content += kEvent;
  const Lines found = read(content);
  ASSERT_EQ(found.size(), 3000U);
  for (std::size_t i = 0; i < found.size(); ++i) ASSERT_EQ(found[i], std::to_string(i + 1) + " FAN1_TACH1");
}

// What comes by a pipe is handed on as soon as it is there.
TEST_F(ReadAheadTest, NothingIsWaitedForBehindALine) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ASSERT_EQ(::dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
  const Input input("-");
  ReadAhead ahead(input);
  EXPECT_FALSE(ahead.is_ready());
  const std::string two = std::string(kEvent) + kEvent + "{\"half";
  ASSERT_EQ(::write(ends[1], two.data(), two.size()), static_cast<ssize_t>(two.size()));
  EXPECT_EQ(ahead.next().lines.size(), 2U);
  EXPECT_FALSE(ahead.is_ready());
  ASSERT_EQ(::write(ends[1], "\n\n", 2), 2);
  EXPECT_EQ(ahead.next().lines.size(), 1U);
  ::close(ends[1]);
  EXPECT_EQ(ahead.next().end, LineReader::Result::kEnd);
  ::close(ends[0]);
}

}  // namespace
}  // namespace polaiga::engine
