#include "tables/change_table.h"

#include <algorithm>
#include <utility>

#include "ledger/ledger.h"
#include "tables/alarm_tables.h"

namespace polaiga::snmp {

using engine::ChangeNumber;

void ChangeTable::follow(const std::string& ledger_id, ChangeNumber oldest, ChangeNumber last) {
  if (ledger_id != ledger_id_ || last < last_) forget();
  ledger_id_ = ledger_id;
  oldest_ = std::max<ChangeNumber>(oldest, 1);
  last_ = last;
}

void ChangeTable::forget() {
  kept_.clear();
  kept_from_ = 1;
  kept_through_ = 0;
  brief_.clear();
  brief_from_ = 1;
  brief_through_ = 0;
}

std::optional<Value> ChangeTable::get(std::uint32_t column, OidView index) const {
  const auto number = exact_number(index);
  if (!number || *number < oldest_) return std::nullopt;
  const ChangeRow* const row = row_from(*number);
  if (row == nullptr || row->number != *number) return std::nullopt;
  return change_cell(column, *row);
}

std::optional<Table::Cell> ChangeTable::next(std::uint32_t column, const RowStart& start) const {
  const ChangeNumber number = std::max(static_cast<ChangeNumber>(least_number(start)), oldest_);
  if (const BriefRow* const brief = brief_from(number)) {
    if (auto value = brief_cell(column, *brief)) return Cell{.index = {brief->number}, .value = std::move(*value)};
  }
  const ChangeRow* const row = row_from(number);
  if (row == nullptr) return std::nullopt;
  return Cell{.index = {static_cast<std::uint32_t>(row->number)}, .value = change_cell(column, *row)};
}

const ChangeRow* ChangeTable::row_from(ChangeNumber number) const {
  for (std::size_t passed = 0; number <= last_; passed += kAtOnce) {
    if (passed > kMostPassed) throw engine::LedgerError("too many changes are left out after one another");
    if (number < kept_from_ || number > kept_through_) read_after(number - 1);
    const auto row = std::ranges::lower_bound(kept_, number, {}, &ChangeRow::number);
    if (row != kept_.end()) return row->number <= last_ ? &*row : nullptr;
    number = kept_through_ + 1;
  }
  return nullptr;
}

const BriefRow* ChangeTable::brief_from(ChangeNumber number) const {
  if (number < brief_from_ || number > brief_through_) return nullptr;
  const auto row = std::ranges::lower_bound(brief_, number, {}, &BriefRow::number);
  return row == brief_.end() || row->number > last_ ? nullptr : &*row;
}

// Those that were read before stay if these follow them.
void ChangeTable::keep_brief(ChangeNumber from, ChangeNumber through) const {
  if (from < brief_from_ || from > brief_through_ + 1 || brief_.size() + kept_.size() > kMostBrief) {
    brief_.clear();
    brief_from_ = from;
    brief_through_ = from - 1;
  }
  for (const ChangeRow& row : kept_) {
    if (row.number > brief_through_) brief_.push_back(brief_row(row));
  }
  brief_through_ = std::max(brief_through_, through);
}

// What retention took, and what is damaged, has no rows.
void ChangeTable::read_after(ChangeNumber number) const {
  engine::Feed feed = read_(number, kAtOnce);
  kept_.clear();
  kept_from_ = number + 1;
  kept_through_ = number;
  if (feed.gap) {
    kept_through_ = std::max(feed.gap->last, number + 1);
  } else {
    for (const engine::StoredChange& one : feed.changes) kept_.push_back(change_row(one));
    // There is nothing after `number`, though there was: the ledger was put back.
    kept_through_ = feed.through > number ? feed.through : last_;
  }
  keep_brief(kept_from_, kept_through_);
}

std::vector<std::uint32_t> change_columns() { return columns(kChangeAlarm, kChangeQuiet); }

}  // namespace polaiga::snmp
