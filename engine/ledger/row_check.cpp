#include "ledger/row_check.h"

#include <sqlite3.h>
#include <zlib.h>

#include <cstring>

#include "ledger/sqlite.h"

namespace polaiga::engine {
namespace {

std::string_view bytes_of(sqlite3_value* value) {
  const void* const data = sqlite3_value_blob(value);
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  return data != nullptr ? std::string_view(static_cast<const char*>(data), size) : std::string_view();
}

void check_values(sqlite3_context* context, int count, sqlite3_value** values) {
  RowCheck check(count > 0 ? bytes_of(values[0]) : "");
  for (int i = 1; i < count; ++i) {
    switch (sqlite3_value_type(values[i])) {
      case SQLITE_INTEGER:
        check.integer(sqlite3_value_int64(values[i]));
        break;
      case SQLITE_TEXT:
        check.text(bytes_of(values[i]));
        break;
      case SQLITE_BLOB:
        check.blob(bytes_of(values[i]));
        break;
      default:
        check.null();
    }
  }
  sqlite3_result_int64(context, check.value());
}

}  // namespace

void RowCheck::integer(std::int64_t value) {
  std::array<unsigned char, 8> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<unsigned char>(static_cast<std::uint64_t>(value) >> (8 * i));
  }
  add('i', bytes.data(), bytes.size());
}

void RowCheck::text(std::string_view value) {
  integer(static_cast<std::int64_t>(value.size()));
  add('t', value.data(), value.size());
}

void RowCheck::blob(std::string_view value) {
  integer(static_cast<std::int64_t>(value.size()));
  add('b', value.data(), value.size());
}

void RowCheck::null() { add('n', nullptr, 0); }

std::int64_t RowCheck::value() {
  flush();
  return static_cast<std::int32_t>(crc_);
}

void RowCheck::add(char type, const void* data, std::size_t size) {
  if (used_ + 1 + size > buffer_.size()) flush();
  buffer_[used_++] = static_cast<unsigned char>(type);
  if (size == 0) return;
  if (used_ + size <= buffer_.size()) {
    std::memcpy(buffer_.data() + used_, data, size);
    used_ += size;
    return;
  }
  flush();
  crc_ = static_cast<std::uint32_t>(::crc32_z(crc_, static_cast<const Bytef*>(data), size));
}

void RowCheck::flush() {
  crc_ = static_cast<std::uint32_t>(::crc32_z(crc_, buffer_.data(), used_));
  used_ = 0;
}

std::int64_t row_check(std::string_view table, const Statement& row, int first, int count) {
  RowCheck check(table);
  for (int column = first; column < first + count; ++column) {
    switch (row.type(column)) {
      case SQLITE_INTEGER:
        check.integer(row.integer(column));
        break;
      case SQLITE_TEXT:
        check.text(row.text(column));
        break;
      case SQLITE_BLOB:
        check.blob(row.blob(column));
        break;
      default:
        check.null();
    }
  }
  return check.value();
}

int add_row_check(sqlite3* db) {
  return sqlite3_create_function_v2(db, "row_check", -1, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr,
                                    &check_values, nullptr, nullptr, nullptr);
}

}  // namespace polaiga::engine
