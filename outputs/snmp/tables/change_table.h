// polaigaChangeTable: the changes of the ledger, read when they are asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tables/change_row.h"
#include "tables/tree.h"

namespace polaiga::snmp {

class ChangeTable final : public Table {
 public:
  // So many rows are kept from one question to the next, and at most so many are read for one that find only changes
  // which are left out.
  static constexpr std::size_t kAtOnce = 500;
  static constexpr std::size_t kMostPassed = 20'000;
  // Of so many rows the numbers are kept, since managers read one column after the other.
  static constexpr std::size_t kMostBrief = 200'000;

  // Reads changes after a number, as ChangeFeed::next does.
  using Read = std::function<engine::Feed(engine::ChangeNumber after, std::size_t most)>;

  explicit ChangeTable(Read read) : read_(std::move(read)) {}

  // The rows go from change `oldest` to change `last` of this ledger.
  void follow(const std::string& ledger_id, engine::ChangeNumber oldest, engine::ChangeNumber last);

  std::optional<Value> get(std::uint32_t column, OidView index) const override;
  std::optional<Cell> next(std::uint32_t column, const RowStart& start) const override;

  // What was read is read again: under the same numbers there may be other changes.
  void forget();

 private:
  // The first row with this number or a higher one; null: there is none.
  const ChangeRow* row_from(engine::ChangeNumber number) const;
  // The same, if its numbers are kept; null: they are not, or there is no such row among them.
  const BriefRow* brief_from(engine::ChangeNumber number) const;
  void read_after(engine::ChangeNumber number) const;
  void keep_brief(engine::ChangeNumber from, engine::ChangeNumber through) const;

  Read read_;
  std::string ledger_id_;
  engine::ChangeNumber oldest_ = 1;
  engine::ChangeNumber last_ = 0;
  // The rows of the changes `kept_from_` to `kept_through_`.
  mutable std::vector<ChangeRow> kept_;
  mutable engine::ChangeNumber kept_from_ = 1;
  mutable engine::ChangeNumber kept_through_ = 0;
  // The same of the numbers.
  mutable std::vector<BriefRow> brief_;
  mutable engine::ChangeNumber brief_from_ = 1;
  mutable engine::ChangeNumber brief_through_ = 0;
};

std::vector<std::uint32_t> change_columns();

}  // namespace polaiga::snmp
