#include "ledger/tables.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

namespace polaiga::engine {
namespace tables_test {

// Ledgers keep these numbers, so they may never change. The hashes are those that the authors of FNV-1a published for
// 64 bits; the ledger leaves out the lowest bit.
TEST(TablesTest, NamesOfFaultsHaveTheHashesOfFnv1a) {
  struct {
    std::string_view name;
    std::uint64_t hash;
  } constexpr kCases[] = {
      {"", 0xCBF29CE484222325U},
      {"a", 0xAF63DC4C8601EC8CU},
      {"foobar", 0x85944171F73967E8U},
  };
  for (const auto& [name, hash] : kCases) {
    EXPECT_EQ(fault_name_hash(name), static_cast<std::int64_t>(hash >> 1U)) << name;
  }
}

}  // namespace tables_test
}  // namespace polaiga::engine
