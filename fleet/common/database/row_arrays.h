// Rows that go to the database as one parameter a column, so that a statement takes any number of them at once. Every
// value is a parameter, and never a part of the statement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <pqxx/prepared_statement>
#include <pqxx/result>
#include <pqxx/transaction>
#include <string>
#include <string_view>
#include <vector>

namespace polaiga::fleet {

class RowArrays {
 public:
  struct Column {
    const char* name;
    const char* type;
  };
  RowArrays(std::initializer_list<Column> columns) : columns_(columns), arrays_(columns_.size(), "{") {}

  // The values of a row, column by column.
  RowArrays& number(std::int64_t value);
  RowArrays& text(std::string_view value);  // UTF-8 without NUL
  RowArrays& flag(bool value);
  RowArrays& nothing();

  std::size_t rows() const { return columns_.empty() ? 0 : values_ / columns_.size(); }
  bool empty() const { return values_ == 0; }

  // The names of the columns, with commas between.
  std::string names() const;
  // "unnest($1::bigint[], $2::text[]) as w(a, b)", which a statement selects from.
  std::string as_w() const;

  // Runs a statement that has as_w() in it and no other parameters. Afterwards there are no rows.
  pqxx::result run(pqxx::work& transaction, const std::string& statement);

 private:
  std::string& begin();

  std::vector<Column> columns_;
  std::vector<std::string> arrays_;  // as PostgreSQL writes arrays, without the brace at the end
  std::size_t values_ = 0;
};

}  // namespace polaiga::fleet
