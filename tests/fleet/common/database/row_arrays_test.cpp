#include "database/row_arrays.h"

#include <gtest/gtest.h>

#include <pqxx/transaction>

#include "support/test_postgres.h"

namespace polaiga::fleet {
namespace row_arrays_test {

TEST(RowArrays, ValuesComeBackAsTheyWere) {
  const TestDatabase test;
  pqxx::connection connection(test.url());
  pqxx::work transaction(connection);
  RowArrays rows{{"a", "bigint"}, {"b", "text"}, {"c", "boolean"}};
  EXPECT_TRUE(rows.empty());
  const std::string texts[] = {"", "NULL", "a,b", "{x}", "\"", "\\", "\n", " ", "\\\"", "ü\x01\t", "';select 1;--"};
  for (const std::string& text : texts) {
    rows.number(static_cast<std::int64_t>(text.size()) - 5).text(text).flag(text.empty());
  }
  rows.nothing().nothing().nothing();
  EXPECT_EQ(rows.rows(), 12);
  EXPECT_EQ(rows.names(), "a, b, c");
  EXPECT_EQ(rows.as_w(), "unnest($1::bigint[], $2::text[], $3::boolean[]) as w(a, b, c)");
  const pqxx::result result = rows.run(transaction, "select a, b, c from " + rows.as_w());
  ASSERT_EQ(result.size(), 12);
  for (pqxx::result::size_type i = 0; i < 11; ++i) {
    EXPECT_EQ(result[i][0].as<int>(), static_cast<int>(texts[i].size()) - 5);
    EXPECT_EQ(result[i][1].as<std::string>(), texts[i]);
    EXPECT_EQ(result[i][2].as<bool>(), i == 0);
  }
  EXPECT_TRUE(result[11][0].is_null() && result[11][1].is_null() && result[11][2].is_null());
  EXPECT_TRUE(rows.empty());
}

}  // namespace row_arrays_test
}  // namespace polaiga::fleet
