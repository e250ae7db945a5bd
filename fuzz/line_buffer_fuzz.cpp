// Bytes that come in pieces of any size give the same lines as the text in one piece. The first bytes of the input are
// the sizes of the pieces, up to a NUL. In the text behind them, 0xFE and a byte n stand for n times 512 letters, since
// the longest lines are far longer than the inputs of a fuzzer.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check.h"
#include "intake/line_buffer.h"

namespace polaiga::fuzz {
namespace {

using engine::LineBuffer;
using Lines = std::vector<std::string>;

constexpr std::size_t kLetters = 512;
constexpr std::size_t kMostText = std::size_t{400} * 1024;
constexpr std::size_t kMostPieces = 2000;  // what is left then comes in large pieces, so that no input takes long

std::string text_of(std::string_view input) {
  std::string text;
  for (std::size_t i = 0; i < input.size() && text.size() < kMostText; ++i) {
    if (input[i] == '\xFE' && i + 1 < input.size()) {
      text.append(static_cast<unsigned char>(input[++i]) * kLetters, 'x');
    } else {
      text += input[i];
    }
  }
  return text;
}

std::string shown(std::string_view line) {
  return line.size() > LineBuffer::kLongestLine ? "too long" : "=" + std::string(line);
}

// What the buffer is to find: the lines up to the last newline, and the rest if there is one.
Lines expected_lines(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t size = text.find('\n');
    lines.push_back(shown(text.substr(0, size)));
    text.remove_prefix(size == std::string_view::npos ? text.size() : size + 1);
  }
  return lines;
}

// A size of a piece: small ones as they are, the others up to more than the room that there is.
std::size_t piece_of(char choice) {
  const std::size_t size = static_cast<unsigned char>(choice);
  return size < 64 ? size : (size - 63) * 1024;
}

void take_lines(LineBuffer& buffer, Lines& found) {
  for (;;) {
    std::string_view line;
    const bool expected = buffer.has_line();
    const auto result = buffer.next(line);
    check(expected == (result != LineBuffer::Result::kNone), "has_line() foretells next()");
    if (result == LineBuffer::Result::kNone) return;
    check(line.size() <= LineBuffer::kLongestLine || result == LineBuffer::Result::kTooLong, "a line is not too long");
    found.push_back(result == LineBuffer::Result::kTooLong ? "too long" : shown(line));
  }
}

Lines lines_in_pieces(std::string_view text, std::string_view pieces) {
  LineBuffer buffer;
  Lines found;
  const std::size_t all = text.size();
  for (std::size_t i = 0; !text.empty(); ++i) {
    const auto room = buffer.room();
    check(!room.empty(), "there is room when there is no line");
    const bool is_large = pieces.empty() || i >= kMostPieces;
    const std::size_t wanted = is_large ? room.size() : std::max(std::size_t{1}, piece_of(pieces[i % pieces.size()]));
    const std::string_view piece = text.substr(0, std::min(wanted, room.size()));
    piece.copy(room.data(), piece.size());
    buffer.added(piece.size());
    text.remove_prefix(piece.size());
    take_lines(buffer, found);
  }
  std::string_view rest;
  if (const auto result = buffer.rest(rest); result != LineBuffer::Result::kNone) {
    found.push_back(result == LineBuffer::Result::kTooLong ? "too long" : shown(rest));
  }
  check(buffer.bytes_taken() == all, "every byte is taken");
  return found;
}

}  // namespace
}  // namespace polaiga::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace polaiga::fuzz;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view pieces = input.substr(0, input.find('\0'));
  const std::string text = text_of(input.substr(std::min(size, pieces.size() + 1)));
  const Lines expected = expected_lines(text);
  check(lines_in_pieces(text, {}) == expected, "the lines of large pieces");
  check(lines_in_pieces(text, pieces) == expected, "the lines of pieces of any size");
  return 0;
}
