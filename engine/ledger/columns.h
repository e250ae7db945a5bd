// Rows of the ledger's tables as structures. Each table has one list of its
// columns; the schema, what is inserted, what is selected and how a row is read
// are made of that list, so that no two places have to be kept in step.
//
// What is read is not trusted: a value that no engine writes is a LedgerError
// that names the row, the column and the value.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "ledger/sqlite.h"
#include "model/change.h"
#include "model/entities.h"
#include "model/fields.h"
#include "model/record_text.h"

namespace polaiga::engine {

// What is wrong with a ledger, and where.
struct LedgerError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A row whose checksum or whose values are not those that an engine wrote.
struct DamagedRow : LedgerError {
  using LedgerError::LedgerError;
};

// The digest of a batch: the first half of a SHA-256 (see seal.h).
using Seal = std::array<unsigned char, 16>;

// A column and the member of the row that it holds; a path of several members
// leads into a structure inside the row.
template <auto... Path>
struct Column {
  std::string_view name;
  std::string_view constraint = {};
  std::int64_t most = std::numeric_limits<std::int64_t>::max();  // of a number
};

namespace columns {

template <auto First, auto... Rest, class Row>
constexpr auto& member(Row& row) {
  if constexpr (sizeof...(Rest) == 0) {
    return row.*First;
  } else {
    return member<Rest...>(row.*First);
  }
}

}  // namespace columns

// The columns of a list of fields (model/fields.h) that a member of a row has.
template <auto... Outer, class... Fields>
constexpr auto columns_of(const std::tuple<Fields...>& fields) {
  return std::apply(
      [](const auto&... field) {
        return std::tuple{Column<Outer..., std::remove_cvref_t<decltype(field)>::kMember>{field.name}...};
      },
      fields);
}

// Specialised for each structure that is a table's row: kName, kColumns (the first
// is what complaints call a row by) and kMore, what follows the columns.
template <class Row>
struct Table;

// The columns of one row from left to right.
class Cells {
 public:
  Cells(const Statement& row, int first) : row_(row), first_(first), next_(first) {}

  // The column that is next.
  template <auto... Path>
  void at(std::string_view table, const Column<Path...>& column) {
    table_ = table;
    column_ = column.name;
    most_ = column.most;
  }

  template <std::integral T>
  void take(T& number) {
    const std::int64_t value = integer();
    // Numbers of 64 bits are times, counts and names of rows, none of them negative.
    const bool is_possible = sizeof(T) < sizeof value ? std::in_range<T>(value) : value >= 0;
    if (!is_possible || value > most_) fail("is out of range: " + std::to_string(value));
    number = static_cast<T>(value);
  }
  void take(bool& flag);
  void take(Severity& severity);
  void take(ChangeKind& kind);
  void take(Outcome& outcome);
  void take(const Entity*& entity);
  void take(std::string& text) { text = this->text(); }
  void take(std::uint32_t (&oid)[FE_OID_SIZE]);
  void take(Seal& seal);

  template <std::size_t N>
  void take(char (&field)[N]) {
    take_text(field, N);
  }

  template <class T>
  void take(std::optional<T>& value) {
    if (row_.is_null(next_)) {
      value.reset();
      ++next_;
    } else {
      take(value.emplace());
    }
  }

 private:
  std::int64_t integer();
  std::string_view text();
  void take_text(char* field, std::size_t size);
  [[noreturn]] void fail(const std::string& what) const;

  template <class T>
  T one_of(T last) {
    const std::int64_t value = integer();
    if (value < 0 || value > static_cast<std::int64_t>(last)) fail("is out of range: " + std::to_string(value));
    return static_cast<T>(value);
  }

  const Statement& row_;
  int first_;
  int next_;
  std::string_view table_;
  std::string_view column_;
  std::int64_t most_ = 0;
};

namespace columns {

template <class T>
inline constexpr bool kIsText =
    std::is_same_v<T, std::string> || std::is_same_v<T, const Entity*> || std::is_array_v<T>;
template <class T>
inline constexpr bool kIsBlob = std::is_same_v<T, Seal>;
template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

template <class T>
constexpr std::string_view type_of() {
  if constexpr (kIsOptional<T>) {
    if constexpr (kIsText<typename T::value_type>) return "TEXT";
    if constexpr (kIsBlob<typename T::value_type>) return "BLOB";
    return "INTEGER";
  } else {
    if constexpr (kIsText<T>) return "TEXT NOT NULL";
    return "INTEGER NOT NULL";
  }
}

inline void bind(Statement& statement, int index, const Seal& seal) {
  statement.bind_blob(index, {reinterpret_cast<const char*>(seal.data()), seal.size()});
}
template <class T>
void bind(Statement& statement, int index, const T& value) {
  if constexpr (std::is_enum_v<T>) {
    statement.bind(index, static_cast<std::int64_t>(value));
  } else {
    statement.bind(index, value);
  }
}
template <class T>
void bind(Statement& statement, int index, const std::optional<T>& value) {
  if (value) {
    bind(statement, index, *value);
  } else {
    statement.bind_null(index);
  }
}
inline void bind(Statement& statement, int index, const Entity* const& entity) { statement.bind(index, entity->name); }
template <std::size_t N>
void bind(Statement& statement, int index, const char (&field)[N]) {
  statement.bind(index, field_text(field));
}
void bind(Statement& statement, int index, const std::uint32_t (&oid)[FE_OID_SIZE]);

// Bytes that are the same for equal values on every machine, and never for others.
template <std::integral T>
void append_value(std::string& bytes, T value) {
  for (unsigned shift = 0; shift < 64; shift += 8) {
    bytes.push_back(static_cast<char>(static_cast<std::uint64_t>(value) >> shift & 0xFFU));
  }
}
template <class T>
requires std::is_enum_v<T>
void append_value(std::string& bytes, T value) { append_value(bytes, static_cast<std::int64_t>(value)); }
inline void append_value(std::string& bytes, std::string_view text) {
  append_value(bytes, text.size());
  bytes.append(text);
}
inline void append_value(std::string& bytes, const std::string& text) { append_value(bytes, std::string_view(text)); }
inline void append_value(std::string& bytes, const Entity* const& entity) {
  append_value(bytes, std::string_view(entity->name));
}
template <std::size_t N>
void append_value(std::string& bytes, const char (&field)[N]) {
  append_value(bytes, field_text(field));
}
inline void append_value(std::string& bytes, const std::uint32_t (&oid)[FE_OID_SIZE]) {
  for (const std::uint32_t arc : oid) append_value(bytes, arc);
}
inline void append_value(std::string& bytes, const Seal& seal) {
  bytes.append(reinterpret_cast<const char*>(seal.data()), seal.size());
}
template <class T>
void append_value(std::string& bytes, const std::optional<T>& value) {
  bytes.push_back(value ? '1' : '0');
  if (value) append_value(bytes, *value);
}

// Calls `visit(column, index)` for each column of a table.
template <class Row, class Visit>
constexpr void for_each(Visit visit) {
  std::apply(
      [&](const auto&... column) {
        int index = 0;
        (visit(column, index++), ...);
      },
      Table<Row>::kColumns);
}

template <auto... Path, class Row>
constexpr auto& of(const Column<Path...>& /*column*/, Row& row) {
  return member<Path...>(row);
}

}  // namespace columns

// The columns that hold a row's values.
template <class Row>
inline constexpr int kValues = static_cast<int>(std::tuple_size_v<std::remove_cvref_t<decltype(Table<Row>::kColumns)>>);

// All columns that columns_sql() names: the values and their checksum.
template <class Row>
inline constexpr int kWidth = kValues<Row> + 1;

// The column with the checksum of the others (row_check.h).
inline constexpr std::string_view kCheckColumn = "row_check";

template <class Row>
std::string create_table() {
  std::string sql = "CREATE TABLE " + std::string(Table<Row>::kName) + " (";
  columns::for_each<Row>([&]<auto... Path>(const Column<Path...>& column, int index) {
    using T = std::remove_cvref_t<decltype(columns::member<Path...>(std::declval<Row&>()))>;
    sql.append(index > 0 ? ", \"" : "\"").append(column.name).append("\" ").append(columns::type_of<T>());
    if (!column.constraint.empty()) sql.append(" ").append(column.constraint);
  });
  sql.append(", ")
      .append(kCheckColumn)
      .append(" INTEGER NOT NULL AS (row_check('")
      .append(Table<Row>::kName)
      .append("'");
  columns::for_each<Row>(
      [&](const auto& column, int /*index*/) { sql.append(", \"").append(column.name).append("\""); });
  return sql.append(")) STORED").append(Table<Row>::kMore) + ";\n";
}

// As in event."seq", event."id" and so on, of a table that the question calls `table`.
template <class Row>
std::string columns_sql_of(std::string_view table) {
  std::string sql;
  columns::for_each<Row>(
      [&](const auto& column, int /*index*/) { sql.append(table).append(".\"").append(column.name).append("\", "); });
  return sql.append(table).append(".").append(kCheckColumn);
}

// Of several tables one after the other, under their own names.
template <class First, class... Rest>
std::string columns_sql() {
  std::string sql = columns_sql_of<First>(Table<First>::kName);
  ((sql += ", " + columns_sql_of<Rest>(Table<Rest>::kName)), ...);
  return sql;
}

// All columns of all rows of a table; what follows may choose and order them.
template <class Row>
std::string select_sql() {
  return "SELECT " + columns_sql<Row>() + " FROM " + std::string(Table<Row>::kName);
}

// Throws DamagedRow unless `row` has the checksum of the columns from `first` on.
void must_check(std::string_view table, const Statement& row, int first, int count);

template <class Row>
Row read_row(const Statement& statement, int first = 0) {
  must_check(Table<Row>::kName, statement, first, kValues<Row>);
  Row row{};
  Cells cells(statement, first);
  columns::for_each<Row>([&](const auto& column, int /*index*/) {
    cells.at(Table<Row>::kName, column);
    cells.take(columns::of(column, row));
  });
  return row;
}

// The values of a row from column `from` on. Without the first one, which is the row's
// name, they are what equal rows are found by.
template <class Row>
void append_content(std::string& bytes, const Row& row, int from = 0) {
  columns::for_each<Row>([&](const auto& column, int index) {
    if (index >= from) columns::append_value(bytes, columns::of(column, row));
  });
}

// Adds rows to a table.
template <class Row>
class Insert {
 public:
  // `more` follows the values, as in ON CONFLICT.
  explicit Insert(const Database& db, std::string_view more = "") : statement_(db, sql().append(more)) {}

  void operator()(const Row& row) {
    columns::for_each<Row>(
        [&](const auto& column, int index) { columns::bind(statement_, index, columns::of(column, row)); });
    statement_.run();
  }

 private:
  static std::string sql() {
    std::string names;
    std::string places;
    columns::for_each<Row>([&](const auto& column, int index) {
      names.append(index > 0 ? ", \"" : "\"").append(column.name).append("\"");
      places.append(index > 0 ? ", ?" : "?");
    });
    return "INSERT INTO " + std::string(Table<Row>::kName) + " (" + names + ") VALUES (" + places + ")";
  }

  Statement statement_;
};

}  // namespace polaiga::engine
