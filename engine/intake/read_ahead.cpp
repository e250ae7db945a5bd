#include "intake/read_ahead.h"
#include "intake/event_parser.h"

#include <cerrno>
#include <chrono>
#include <utility>

namespace polaiga::engine {
namespace {

bool is_blank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

ReadLine parse(std::uint64_t number, std::string_view line) {
  ReadLine read{.number = number, .event = std::nullopt, .complaint = {}};
  try {
    read.event = parse_sensor_event(line);
  } catch (const BadLine& bad) {
    read.complaint = bad.what();
  }
  return read;
}

}  // namespace

// What may have to be waited for is not read before it is asked for: nobody could
// end that wait.
ReadAhead::ReadAhead(const Input& input)
    : launch_(input.is_regular() ? std::launch::async : std::launch::deferred), lines_(input.fd()) {
  start();
}

bool ReadAhead::is_ready() const {
  if (launch_ == std::launch::deferred) return lines_.has_line();
  return coming_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

void ReadAhead::start() {
  coming_ = std::async(launch_, [this] { return read(); });
}

ReadLines ReadAhead::next() {
  ReadLines lines = coming_.get();
  if (lines.end == LineReader::Result::kLine) start();
  return lines;
}

ReadLines ReadAhead::read() {
  ReadLines read;
  do {
    std::string_view line;
    read.end = lines_.next(line);
    if (read.end == LineReader::Result::kLine) {
      ++number_;
      if (!is_blank(line)) read.lines.push_back(parse(number_, line));
    } else if (read.end == LineReader::Result::kTooLong) {
      read.lines.push_back({++number_, std::nullopt, "the line is over 64 KiB long"});
      read.end = LineReader::Result::kLine;
    } else if (read.end == LineReader::Result::kFailed) {
      read.error = errno;
    }
  } while (read.end == LineReader::Result::kLine && read.lines.size() < kMost && lines_.has_line());
  read.bytes_taken = lines_.bytes_taken();
  return read;
}

}  // namespace polaiga::engine
