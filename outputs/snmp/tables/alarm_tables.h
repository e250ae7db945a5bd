// The tables of active alarms and of objects.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tables/alarm_view.h"
#include "tables/tree.h"

namespace polaiga::snmp {

// polaigaAlarmTable.
class AlarmTable final : public Table {
 public:
  explicit AlarmTable(const AlarmView& view) : view_(view) {}

  std::optional<Value> get(std::uint32_t column, OidView index) const override;
  std::optional<Cell> next(std::uint32_t column, const RowStart& start) const override;

 private:
  const AlarmView& view_;
};

// polaigaObjectTable.
class ObjectTable final : public RowTable<ObjectRow> {
 public:
  explicit ObjectTable(const AlarmView& view) : RowTable(view.objects()) {}

 private:
  Value cell(std::uint32_t column, const Oid& index, const ObjectRow& row) const override;
};

std::vector<std::uint32_t> alarm_columns();
std::vector<std::uint32_t> object_columns();

// The columns `first` to `last`.
std::vector<std::uint32_t> columns(std::uint32_t first, std::uint32_t last);

}  // namespace polaiga::snmp
