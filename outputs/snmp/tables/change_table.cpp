#include "tables/change_table.h"

#include <algorithm>

#include "ledger/ledger.h"
#include "tables/alarm_tables.h"

namespace polaiga::snmp {

using engine::ChangeNumber;

void ChangeTable::follow(const std::string& ledger_id, ChangeNumber last) {
  if (ledger_id != ledger_id_ || last < last_) {
    kept_.clear();
    kept_from_ = 1;
    kept_through_ = 0;
  }
  ledger_id_ = ledger_id;
  last_ = last;
}

std::optional<Value> ChangeTable::get(std::uint32_t column, OidView index) const {
  const auto number = exact_number(index);
  if (!number) return std::nullopt;
  const ChangeRow* const row = row_from(*number);
  if (row == nullptr || row->number != *number) return std::nullopt;
  return change_cell(column, *row);
}

std::optional<Table::Cell> ChangeTable::next(std::uint32_t column, const RowStart& start) const {
  const ChangeRow* const row = row_from(static_cast<ChangeNumber>(least_number(start)));
  if (row == nullptr) return std::nullopt;
  return Cell{.index = {static_cast<std::uint32_t>(row->number)}, .value = change_cell(column, *row)};
}

const ChangeRow* ChangeTable::row_from(ChangeNumber number) const {
  number = std::max<ChangeNumber>(number, 1);
  for (std::size_t passed = 0; number <= last_; passed += kAtOnce) {
    if (passed > kMostPassed) throw engine::LedgerError("too many changes are left out after one another");
    if (number < kept_from_ || number > kept_through_) read_after(number - 1);
    const auto row = std::ranges::lower_bound(kept_, number, {}, &ChangeRow::number);
    if (row != kept_.end()) return row->number <= last_ ? &*row : nullptr;
    number = kept_through_ + 1;
  }
  return nullptr;
}

// What retention took, and what is damaged, has no rows.
void ChangeTable::read_after(ChangeNumber number) const {
  engine::Feed feed = read_(number, kAtOnce);
  kept_.clear();
  kept_from_ = number + 1;
  kept_through_ = number;
  if (feed.gap) {
    kept_through_ = std::max(feed.gap->last, number + 1);
    return;
  }
  for (const engine::StoredChange& one : feed.changes) kept_.push_back(change_row(one));
  // There is nothing after `number`, though there was: the ledger was put back.
  kept_through_ = feed.through > number ? feed.through : last_;
}

std::vector<std::uint32_t> change_columns() { return columns(kChangeAlarm, kChangeQuiet); }

}  // namespace polaiga::snmp
