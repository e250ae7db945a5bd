#include "base/tab_separated.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "base/printable.h"

namespace polaiga::engine {
namespace {

// Cuts a line into its cells. There must be as many cells as columns.
std::vector<Cell> cells_of(const std::string& file, std::size_t line, std::string_view text,
                           std::span<const std::string_view> columns) {
  std::vector<Cell> cells;
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = std::min(text.find('\t', begin), text.size());
    const std::string_view column = cells.size() < columns.size() ? columns[cells.size()] : "extra";
    cells.push_back({file, line, characters(text.substr(0, begin)) + 1, column, text.substr(begin, end - begin)});
    if (cells.size() > columns.size()) {
      cells.back().reject("the line has more than " + std::to_string(columns.size()) + " columns");
    }
    if (end == text.size()) break;
    begin = end + 1;
  }
  if (cells.size() < columns.size()) {
    const Cell missing{file, line, characters(text) + 1, columns[cells.size()], ""};
    missing.reject("the line has " + std::to_string(cells.size()) + " of " + std::to_string(columns.size()) +
                   " columns");
  }
  return cells;
}

void check_header(std::span<const Cell> cells) {
  for (const Cell& cell : cells) {
    if (cell.text != cell.column) cell.reject("the header names this column " + in_quotes(cell.text));
  }
}

}  // namespace

void Cell::reject(const std::string& what, std::size_t characters_in) const {
  throw TableError(file + ":" + std::to_string(line) + ":" + std::to_string(position + characters_in) + ": " +
                   std::string(column) + ": " + what);
}

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void read_rows(std::string_view content, const std::string& file, std::span<const std::string_view> columns,
               const std::function<void(std::span<const Cell> cells)>& take, std::size_t first_line) {
  std::string_view rest = content;  // a stream would take a line that there is no memory for as the end
  bool headed = false;
  for (std::size_t line = first_line; !rest.empty(); ++line) {
    std::string_view text = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(text.size() + 1, rest.size()));
    if (text.ends_with('\r')) text.remove_suffix(1);
    if (text.empty() || text.starts_with('#')) continue;
    const auto cells = cells_of(file, line, text, columns);
    if (headed) {
      take(cells);
    } else {
      check_header(cells);
      headed = true;
    }
  }
  if (!headed) {
    const Cell missing{file, first_line, 1, columns.front(), ""};
    missing.reject("there is no header line");
  }
}

std::string read_table_file(const std::filesystem::path& path, std::size_t most_bytes) {
  std::ifstream input(path, std::ios::binary);
  if (!input) throw TableError(path.string() + ": cannot open: " + std::strerror(errno));
  std::string content;
  std::array<char, 4096> part{};
  while (input.read(part.data(), part.size()) || input.gcount() > 0) {
    content.append(part.data(), static_cast<std::size_t>(input.gcount()));
    if (content.size() > most_bytes) {
      throw TableError(path.string() + ": the file has more than " + std::to_string(most_bytes) + " bytes");
    }
  }
  if (input.bad()) throw TableError(path.string() + ": cannot read: " + std::strerror(errno));
  return content;
}

}  // namespace polaiga::engine
