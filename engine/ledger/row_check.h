// The checksum that every row of the ledger has in its last column: a changed byte
// is found when the row is read, and only this row is lost.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

struct sqlite3;

namespace polaiga::engine {

class Statement;

// CRC-32 over the table's name and the row's values, each with its type and, for a
// text, its size. It guards against damage, not against people: who may write to the
// file can also compute it.
class RowCheck {
 public:
  explicit RowCheck(std::string_view table) { text(table); }

  void integer(std::int64_t value);
  void text(std::string_view value);
  void blob(std::string_view value);
  void null();

  // The checksum, as the column has it.
  std::int64_t value();

 private:
  void add(char type, const void* data, std::size_t size);
  void flush();

  std::uint32_t crc_ = 0;
  std::size_t used_ = 0;
  std::array<unsigned char, 256> buffer_;  // small values are gathered here
};

// The checksum of the columns `first` to `first + count - 1` of the current row of a statement.
std::int64_t row_check(std::string_view table, const Statement& row, int first, int count);

// Makes the SQL function row_check(table, values...) known to a connection. The tables
// compute their last column with it, so every connection that writes needs it.
// Returns SQLite's result code.
int add_row_check(sqlite3* db);

}  // namespace polaiga::engine
