#include "intake/line_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace polaiga::engine {
namespace line_buffer_test {

using Result = LineBuffer::Result;
using Lines = std::vector<std::string>;

constexpr std::size_t kLongest = 65536;

class LineBufferTest : public ::testing::Test {
 protected:
  // All lines that there are, a line as "=line".
  Lines lines() {
    Lines found;
    std::string_view line;
    for (Result result; (result = buffer_.next(line)) != Result::kNone;) found.push_back(shown(result, line));
    return found;
  }

  // The same of what is fed in pieces.
  Lines lines_of(std::string_view text, std::size_t piece) {
    Lines found;
    while (!text.empty()) {
      const auto room = buffer_.room();
      EXPECT_FALSE(room.empty());
      const std::size_t size = std::min({piece, room.size(), text.size()});
      std::ranges::copy(text.substr(0, size), room.begin());
      buffer_.added(size);
      text.remove_prefix(size);
      for (const std::string& line : lines()) found.push_back(line);
    }
    return found;
  }

  std::string rest() {
    std::string_view line;
    const Result result = buffer_.rest(line);
    return result == Result::kNone ? "none" : shown(result, line);
  }

  static std::string shown(Result result, std::string_view line) {
    return result == Result::kLine ? "=" + std::string(line) : "too long";
  }

  LineBuffer buffer_;
};

TEST_F(LineBufferTest, NothingYet) {
  EXPECT_EQ(lines(), Lines());
  EXPECT_FALSE(buffer_.has_line());
  EXPECT_EQ(rest(), "none");
}

TEST_F(LineBufferTest, LinesInPiecesOfAnySize) {
  for (std::size_t piece = 1; piece <= 12; ++piece) {
    EXPECT_EQ(lines_of("ab\n\nc\r\n d\nlast", piece), Lines({"=ab", "=", "=c\r", "= d"})) << piece;
    EXPECT_EQ(rest(), "=last");
    EXPECT_EQ(rest(), "none");
  }
}

TEST_F(LineBufferTest, HasLine) {
  std::ranges::copy(std::string("a\nb"), buffer_.room().begin());
  buffer_.added(1);
  EXPECT_FALSE(buffer_.has_line());
  buffer_.added(2);
  EXPECT_TRUE(buffer_.has_line());
  EXPECT_EQ(lines(), Lines({"=a"}));
  EXPECT_FALSE(buffer_.has_line());  // the last may go on
  EXPECT_EQ(buffer_.bytes_taken(), 2U);
}

TEST_F(LineBufferTest, LongLines) {
  const std::string most(kLongest, 'x');
  const std::string content = most + "\n" + most + "y\na\n" + most + most + most + "\n\nb\n";
  const Lines want = {"=" + most, "too long", "=a", "too long", "=", "=b"};
  for (const std::size_t piece : {std::size_t{1000}, kLongest, kLongest + 1, std::size_t{1'000'000}}) {
    EXPECT_TRUE(lines_of(content, piece) == want) << piece;
    EXPECT_EQ(rest(), "none");
  }
}

TEST(LongerLines, TakeMemoryAsTheyCome) {
  LineBuffer lines(3 * LineBuffer::kLongestLine);
  for (const std::size_t size : {std::size_t{10}, 3 * LineBuffer::kLongestLine, 3 * LineBuffer::kLongestLine + 1}) {
    const std::string sent = std::string(size, 'x') + "\nnext\n";
    std::string_view line;
    auto found = LineBuffer::Result::kNone;
    for (std::size_t at = 0; at < sent.size(); found = lines.next(line)) {
      ASSERT_EQ(found, LineBuffer::Result::kNone);
      const std::span<char> room = lines.room();
      ASSERT_FALSE(room.empty());
      const std::size_t part = std::min(room.size(), sent.size() - at);
      std::copy_n(sent.data() + at, part, room.data());
      lines.added(part);
      at += part;
    }
    if (size > 3 * LineBuffer::kLongestLine) {
      EXPECT_EQ(found, LineBuffer::Result::kTooLong);
    } else {
      ASSERT_EQ(found, LineBuffer::Result::kLine);
      EXPECT_EQ(line, std::string(size, 'x'));
    }
    EXPECT_EQ(lines.next(line), LineBuffer::Result::kLine);
    EXPECT_EQ(line, "next");
  }
}

TEST_F(LineBufferTest, ALongRest) {
  const std::string most(kLongest, 'x');
  lines_of(most, kLongest);
  EXPECT_EQ(rest(), "=" + most);
  lines_of(most + "y", kLongest + 1);
  EXPECT_EQ(rest(), "too long");
  lines_of(most + most + most, 1000);
  EXPECT_EQ(rest(), "too long");
  EXPECT_EQ(lines_of("a\n", 2), Lines({"=a"}));
}

}  // namespace line_buffer_test
}  // namespace polaiga::engine
