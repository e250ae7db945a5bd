// Lines of an input as events. Those of a file are read and parsed while the
// ones before them are at work, since that takes as long as the filters do.
#pragma once

#include <cstdint>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "base/input.h"
#include "intake/event_parser.h"
#include "intake/line_reader.h"

namespace polaiga::engine {

// A line that is not blank.
struct ReadLine {
  std::uint64_t number = 0;
  std::optional<SensorEvent> event;
  std::string complaint;  // of a line that is none
};

// Lines that were there at once, and what came behind them.
struct ReadLines {
  std::vector<ReadLine> lines;
  LineReader::Result end = LineReader::Result::kLine;  // kLine: there may be more
  int error = 0;                                       // errno of kFailed
  std::uint64_t bytes_taken = 0;
};

class ReadAhead {
 public:
  explicit ReadAhead(const Input& input);

  // Whether the next lines are here, so that they will not be waited for.
  bool is_ready() const;

  ReadLines next();

 private:
  static constexpr std::size_t kMost = 512;

  void start();
  ReadLines read();

  std::launch launch_;
  LineReader lines_;
  std::uint64_t number_ = 0;
  std::future<ReadLines> coming_;
};

}  // namespace polaiga::engine
