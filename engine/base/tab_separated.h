// Tables in text files: a header line with the names of the columns, then a row a
// line, with tabs between the cells. Blank lines and lines that begin with # are for
// people.
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace polaiga::engine {

// Its text names the file, the line, the character and the column, and says what is
// wrong there.
struct TableError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The text of one column of one line, and its place in the file for errors.
struct Cell {
  const std::string& file;
  std::size_t line;
  std::size_t position;  // of its first character; the first of a line is 1
  std::string_view column;
  std::string_view text;

  // Throws TableError.
  [[noreturn]] void reject(const std::string& what, std::size_t characters_in = 0) const;
};

// The number of characters of a UTF-8 text.
std::size_t characters(std::string_view text);

// Gives each row to `take`: as many cells as there are columns. `file` is what
// complaints name. `first_line` is the number of the content's first line, when it is
// only a part of the file. Throws TableError.
void read_rows(std::string_view content, const std::string& file, std::span<const std::string_view> columns,
               const std::function<void(std::span<const Cell> cells)>& take, std::size_t first_line = 1);

// The content of a file, or TableError when it cannot be read or has more bytes than that.
std::string read_table_file(const std::filesystem::path& path,
                            std::size_t most_bytes = std::numeric_limits<std::size_t>::max());

}  // namespace polaiga::engine
