#include "questions/statement.h"

#include <pqxx/prepared_statement>
#include <pqxx/result>

namespace polaiga::fleet {

pqxx::result Statement::run(pqxx::transaction_base& transaction) const {
  return transaction.exec_params(text_, pqxx::prepare::make_dynamic_params(values_));
}

std::string like_pattern(std::string_view text) {
  std::string pattern = "%";
  for (const char c : text) {
    if (c == '%' || c == '_' || c == '\\') pattern += '\\';
    pattern += c;
  }
  return pattern + "%";
}

}  // namespace polaiga::fleet
