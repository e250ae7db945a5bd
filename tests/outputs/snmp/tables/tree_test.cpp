#include "tables/tree.h"

#include <gtest/gtest.h>

#include <string>

#include "tables/row_map.h"
#include "tables/scalar.h"

namespace polaiga::snmp {
namespace tree_test {

// The value of a cell says where it is.
class Named final : public RowTable<int> {
 public:
  explicit Named(const RowMap<int>& rows) : RowTable(rows) {}

 private:
  Value cell(std::uint32_t column, const Oid& /*index*/, const int& row) const override {
    return integer(column * 100 + static_cast<std::uint32_t>(row));
  }
};

class TreeTest : public testing::Test {
 protected:
  TreeTest() {
    owned_.add({1, 5, 1}, {2, 4}, std::make_unique<Named>(rows_));
    owned_.add_scalar({1, 3}, [] { return integer(33); });
    owned_.add({1, 7, 1}, {1}, std::make_unique<Named>(empty_));
    owned_.add_scalar({1, 9}, [] { return integer(99); });
  }

  Tree tree() const { return Tree(owned_.regions); }

  RowMap<int> rows_{{{1}, 1}, {{1, 5}, 2}, {{3}, 3}};
  RowMap<int> empty_;
  OwnedRegions owned_;
};

TEST_F(TreeTest, Get) {
  struct Row {
    Oid oid;
    std::optional<std::uint32_t> value;
    Tree::Missing missing = Tree::Missing::kObject;
  };
  using enum Tree::Missing;
  for (const Row& row : {
           Row{{1, 3, 0}, 33},
           Row{{1, 3}, {}, kObject},
           Row{{1, 3, 1}, {}, kObject},
           Row{{1, 3, 0, 0}, {}, kInstance},
           Row{{1, 5, 1, 2, 1}, 201},
           Row{{1, 5, 1, 2, 1, 5}, 202},
           Row{{1, 5, 1, 4, 3}, 403},
           Row{{1, 5, 1, 4, 2}, {}, kInstance},
           Row{{1, 5, 1, 4}, {}, kInstance},
           Row{{1, 5, 1, 3, 1}, {}, kObject},
           Row{{1, 5, 1}, {}, kObject},
           Row{{1, 7, 1, 1, 1}, {}, kInstance},
           Row{{}, {}, kObject},
           Row{{2}, {}, kObject},
       }) {
    const Tree::Answer answer = tree().get(row.oid);
    EXPECT_EQ(answer.value ? std::optional(answer.value->number) : std::nullopt, row.value);
    if (!row.value) {
      EXPECT_EQ(answer.missing, row.missing);
    }
  }
}

TEST_F(TreeTest, Next) {
  struct Row {
    Oid from;
    bool is_inclusive;
    Oid end;
    Oid found;  // empty: nothing
  };
  for (const Row& row : {
           Row{{}, false, {}, {1, 3, 0}},
           Row{{1, 3}, false, {}, {1, 3, 0}},
           Row{{1, 3, 0}, true, {}, {1, 3, 0}},
           Row{{1, 3, 0}, false, {}, {1, 5, 1, 2, 1}},
           Row{{1, 3, 0, 7}, true, {}, {1, 5, 1, 2, 1}},
           Row{{1, 3, 5}, true, {}, {1, 5, 1, 2, 1}},
           Row{{1, 4}, true, {}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1}, false, {}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1, 0}, false, {}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1, 2}, false, {}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1, 2, 1}, true, {}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1, 2, 1}, false, {}, {1, 5, 1, 2, 1, 5}},
           Row{{1, 5, 1, 2, 1, 4294967295}, false, {}, {1, 5, 1, 2, 3}},
           Row{{1, 5, 1, 2, 3}, false, {}, {1, 5, 1, 4, 1}},
           Row{{1, 5, 1, 3, 9}, false, {}, {1, 5, 1, 4, 1}},
           Row{{1, 5, 1, 4, 3}, false, {}, {1, 9, 0}},
           Row{{1, 9, 0}, false, {}, {}},
           Row{{2}, true, {}, {}},
           Row{{1, 3, 0}, false, {1, 5}, {}},
           Row{{1, 3, 0}, false, {1, 5, 1, 2, 1}, {}},
           Row{{1, 3, 0}, false, {1, 5, 1, 2, 1, 0}, {1, 5, 1, 2, 1}},
           Row{{1, 5, 1, 2, 3}, false, {1, 5, 1, 3}, {}},
       }) {
    const auto found = tree().next(row.from, row.is_inclusive, row.end);
    EXPECT_EQ(found ? found->oid : Oid{}, row.found);
    if (found) {
      EXPECT_EQ(tree().get(found->oid).value, found->value);
    }
  }
}

}  // namespace tree_test
}  // namespace polaiga::snmp
