// Rows of cells as lines, in the room that there is.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace polaiga::engine {

// How many columns of the terminal a line has; nothing when it is as long as it is.
using Room = std::optional<std::size_t>;

// A column that gives way when lines are too long: its cells are cut, or it is left out.
struct GivingWay {
  std::size_t column;
  std::size_t least;  // columns of the terminal that it keeps; 0: it is left out
  bool keeps_end = false;
};

// Columns give way in their order, as far as needed. One that is left out makes room, so
// that those before it may get some back. If all of them are not enough, lines stay too
// long.
struct Fit {
  Room room = std::nullopt;
  std::vector<GivingWay> giving_way = {};
};

using Rows = std::vector<std::vector<std::string>>;

// Aligned columns; the last is as long as it is.
std::string aligned(const Rows& rows, const Fit& fit = {});

// What a line about an object ends with.
struct LineEnd {
  std::string object;
  std::string description;  // maybe empty
  std::string remark;       // in brackets
};

// Appends it to a line. What has no room is cut: first the description, which is left
// out when little would be left of it, then the beginning of the object, then the remark.
void add_fitted(std::string& line, const LineEnd& end, Room room);

}  // namespace polaiga::engine
