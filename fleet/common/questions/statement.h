// A statement of SQL that grows with what is asked for. What comes from outside is always a parameter of it.
#pragma once

#include <concepts>
#include <cstdint>
#include <pqxx/transaction_base>
#include <string>
#include <string_view>
#include <vector>

namespace polaiga::fleet {

class Statement {
 public:
  // SQL as it stands in the source: the compiler takes literals alone.
  struct Sql {
    consteval Sql(const char* literal) : text(literal) {}
    std::string_view text;
  };

  explicit Statement(const Sql& sql) : text_(sql.text) {}

  Statement& add(const Sql& sql) {
    text_ += sql.text;
    return *this;
  }

  // Adds a place for the value, as in "$3".
  Statement& value(std::string value) {
    values_.push_back(std::move(value));
    text_ += "$" + std::to_string(values_.size());
    return *this;
  }
  template <std::integral Number>
  Statement& value(Number number) {
    return value(std::to_string(number));
  }

  // Adds "where" for the first condition, and "and" for those that follow.
  Statement& condition(const Sql& sql) {
    text_ += has_condition_ ? " and " : " where ";
    has_condition_ = true;
    return add(sql);
  }

  pqxx::result run(pqxx::transaction_base& transaction) const;

 private:
  std::string text_;
  std::vector<std::string> values_;
  bool has_condition_ = false;
};

// A pattern of `like` that finds the text itself anywhere.
std::string like_pattern(std::string_view text);

}  // namespace polaiga::fleet
