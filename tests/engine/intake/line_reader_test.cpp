#include "intake/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.h"

namespace polaiga::engine {
namespace {

using Result = LineReader::Result;

class LineReaderTest : public ::testing::Test {
 protected:
  ~LineReaderTest() override { ::close(fd_); }

  LineReader reader_of(const std::string& content) {
    fd_ = ::open(dir_.write("input", content).c_str(), O_RDONLY);
    return LineReader(fd_);
  }

  // All results, a line as "=line".
  static std::vector<std::string> all_of(LineReader& reader) {
    std::vector<std::string> found;
    for (;;) {
      std::string_view line;
      switch (reader.next(line)) {
        case Result::kLine:
          found.emplace_back("=").append(line);
          break;
        case Result::kTooLong:
          found.emplace_back("too long");
          break;
        case Result::kEnd:
          return found;
        default:
          found.emplace_back("failed");
          return found;
      }
    }
  }

  std::vector<std::string> lines_of(const std::string& content) {
    LineReader reader = reader_of(content);
    auto found = all_of(reader);
    EXPECT_EQ(reader.bytes_taken(), content.size());
    return found;
  }

  using Lines = std::vector<std::string>;

  test::TempDir dir_;
  int fd_ = -1;
};

TEST_F(LineReaderTest, Lines) {
  EXPECT_EQ(lines_of("one\n\ntwo\r\n three"), Lines({"=one", "=", "=two\r", "= three"}));
}

TEST_F(LineReaderTest, Empty) { EXPECT_EQ(lines_of(""), Lines()); }

TEST_F(LineReaderTest, LinesLongerThanOneRead) {
  const std::string most(LineReader::kLongestLine, 'x');
  std::string content;
  Lines want;
  for (int i = 0; i < 20; ++i) {
    content += most + "\n" + std::to_string(i) + "\n";
    want.emplace_back("=").append(most);
    want.emplace_back("=").append(std::to_string(i));
  }
  EXPECT_EQ(lines_of(content), want);
}

TEST_F(LineReaderTest, TooLong) {
  const std::string over(LineReader::kLongestLine + 1, 'x');
  const std::string far_over(10 * LineReader::kLongestLine, 'x');
  EXPECT_EQ(lines_of(over + "\na\n" + far_over + "\nb\n" + over),
            Lines({"too long", "=a", "too long", "=b", "too long"}));
  EXPECT_EQ(lines_of(far_over), Lines({"too long"}));
}

TEST_F(LineReaderTest, FromAPipeInPieces) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  std::thread writer([&ends] {
    for (const char piece : std::string("ab\nc\n\nd")) {
      EXPECT_EQ(::write(ends[1], &piece, 1), 1);
      std::this_thread::yield();
    }
    ::close(ends[1]);
  });
  LineReader reader(ends[0]);
  EXPECT_EQ(all_of(reader), Lines({"=ab", "=c", "=", "=d"}));
  writer.join();
  ::close(ends[0]);
}

TEST_F(LineReaderTest, HasLine) {
  LineReader reader = reader_of("one\ntwo\nthree");
  std::string_view line;
  EXPECT_FALSE(reader.has_line());
  ASSERT_EQ(reader.next(line), Result::kLine);
  EXPECT_TRUE(reader.has_line());
  ASSERT_EQ(reader.next(line), Result::kLine);
  EXPECT_FALSE(reader.has_line());  // the last may go on
}

TEST_F(LineReaderTest, Failure) {
  fd_ = ::open(dir_.path().c_str(), O_RDONLY);
  LineReader reader(fd_);
  std::string_view line;
  EXPECT_EQ(reader.next(line), Result::kFailed);
}

}  // namespace
}  // namespace polaiga::engine
