#include "report/table.h"

#include <algorithm>
#include <span>

#include "base/text_width.h"
#include "report/shown.h"

namespace polaiga::engine {
namespace {

using Widths = std::vector<std::size_t>;

Widths widths_of(const Rows& rows) {
  Widths widths;
  for (const auto& cells : rows) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], text_width(cells[i]));
  }
  return widths;
}

// How wide each column is; a column that is left out has no width.
class Layout {
 public:
  Layout(const Rows& rows, const Fit& fit) : whole_(widths_of(rows)), widths_(whole_.begin(), whole_.end()) {
    if (!fit.room) return;
    const std::span<const GivingWay> all(fit.giving_way);
    for (std::size_t count = 1; count <= all.size() && line_width() > *fit.room; ++count) {
      shrink(all.first(count), *fit.room);
    }
  }

  std::optional<std::size_t> width(std::size_t column) const { return widths_[column]; }

 private:
  std::size_t line_width() const {
    std::size_t width = 0;
    for (std::size_t i = 0; i < widths_.size(); ++i) {
      if (widths_[i]) width += (i > 0 ? kGap.size() : 0) + *widths_[i];
    }
    return width;
  }

  void shrink(std::span<const GivingWay> ways, std::size_t room) {
    widths_.assign(whole_.begin(), whole_.end());
    for (const GivingWay& way : ways) {
      if (way.least == 0) widths_[way.column].reset();
    }
    for (const GivingWay& way : ways) {
      auto& width = widths_[way.column];
      const std::size_t needed = line_width();
      if (!width || needed <= room) continue;
      *width -= std::min(*width - std::min(*width, way.least), needed - room);
    }
  }

  Widths whole_;
  std::vector<std::optional<std::size_t>> widths_;
};

std::string cut(const std::string& cell, std::size_t column, std::size_t width, const Fit& fit) {
  if (text_width(cell) <= width) return cell;
  const auto way = std::ranges::find(fit.giving_way, column, &GivingWay::column);
  return way->keeps_end ? cut_front_to_width(cell, width) : cut_to_width(cell, width);
}

std::string line(const std::vector<std::string>& cells, const Layout& layout, const Fit& fit) {
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const auto width = layout.width(i);
    if (!width) continue;
    if (i > 0) text += kGap;
    add_padded(text, cut(cells[i], i, *width, fit), *width);
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text + "\n";
}

}  // namespace

std::string aligned(const Rows& rows, const Fit& fit) {
  const Layout layout(rows, fit);
  std::string text;
  for (const auto& cells : rows) text += line(cells, layout, fit);
  return text;
}

void add_fitted(std::string& line, const LineEnd& end, Room room) {
  constexpr std::size_t kLeastDescription = 12;
  constexpr std::size_t kLeastObject = 12;
  std::string object = end.object;
  std::string description = end.description;
  const std::string remark = "  (" + end.remark + ")";
  if (room) {
    const std::size_t taken = text_width(line) + text_width(remark);
    const std::size_t left = *room - std::min(*room, taken);  // for the two and the gap between them
    const std::size_t left_beside_object = left - std::min(left, text_width(object) + kGap.size());
    if (left_beside_object >= std::min(text_width(description), kLeastDescription)) {
      description = cut_to_width(description, left_beside_object);
    } else {
      description.clear();
    }
    if (description.empty()) object = cut_front_to_width(object, std::max(left, kLeastObject));
  }
  line += object;
  if (!description.empty()) line.append(kGap).append(description);
  const std::size_t taken = text_width(line);
  line += room ? cut_to_width(remark, *room - std::min(*room, taken)) : remark;
  line += '\n';
}

}  // namespace polaiga::engine
