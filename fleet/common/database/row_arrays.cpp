#include "database/row_arrays.h"

namespace polaiga::fleet {

std::string& RowArrays::begin() {
  std::string& array = arrays_[values_++ % columns_.size()];
  if (array.size() > 1) array += ',';
  return array;
}

RowArrays& RowArrays::number(std::int64_t value) {
  begin() += std::to_string(value);
  return *this;
}

RowArrays& RowArrays::text(std::string_view value) {
  std::string& array = begin();
  array += '"';
  for (const char c : value) {
    if (c == '"' || c == '\\') array += '\\';
    array += c;
  }
  array += '"';
  return *this;
}

RowArrays& RowArrays::flag(bool value) {
  begin() += value ? "t" : "f";
  return *this;
}

RowArrays& RowArrays::nothing() {
  begin() += "NULL";
  return *this;
}

std::string RowArrays::names() const {
  std::string names;
  for (const Column& column : columns_) names.append(names.empty() ? "" : ", ").append(column.name);
  return names;
}

std::string RowArrays::as_w() const {
  std::string parameters;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    parameters.append(i == 0 ? "$" : ", $").append(std::to_string(i + 1)).append("::").append(columns_[i].type);
    parameters += "[]";
  }
  return "unnest(" + parameters + ") as w(" + names() + ")";
}

pqxx::result RowArrays::run(pqxx::work& transaction, const std::string& statement) {
  for (std::string& array : arrays_) array += '}';
  pqxx::result result = transaction.exec_params(statement, pqxx::prepare::make_dynamic_params(arrays_));
  arrays_.assign(columns_.size(), "{");
  values_ = 0;
  return result;
}

}  // namespace polaiga::fleet
