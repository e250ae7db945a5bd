// A change as a row of polaigaChangeTable, and as the variables of a notification.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ledger/change_feed.h"
#include "oids/numbers.h"
#include "oids/value.h"

namespace polaiga::snmp {

struct ChangeRow {
  engine::ChangeNumber number = 0;
  engine::ChangeNumber alarm = 0;  // 0: of an object
  engine::ChangeNumber fault = 0;  // 0: of an object, or settled
  engine::ChangeKind kind = engine::ChangeKind::kRaised;
  engine::Moment at = 0;
  engine::Severity before = engine::Severity::kCleared;
  engine::Severity after = engine::Severity::kCleared;
  std::string fault_dn = {};  // empty: of an object
  std::string dn = {};        // of the object
  std::uint32_t code = 0;
  std::string name = {};
  std::string sensor = {};  // empty: no event made it; so are those that follow
  std::string description = {};
  std::string cause = {};
  Oid oid = {};
  std::optional<engine::CauseStandard> standard = {};
  std::uint32_t reporters = 0;
  std::uint64_t raises = 0;
  engine::ChangeNumber other = 0;
  std::string person = {};  // empty: no operator
  std::string comment = {};
  bool is_quiet = false;

  // Whether the alarm is over with it.
  bool is_end() const { return alarm != 0 && after == engine::Severity::kCleared; }
};

ChangeRow change_row(const engine::StoredChange& stored);

// The columns of a row that are numbers, in little memory.
struct BriefRow {
  std::uint32_t number = 0;
  std::uint32_t alarm = 0;
  std::uint32_t other = 0;
  std::uint32_t code = 0;
  std::uint32_t reporters = 0;
  engine::ChangeKind kind = engine::ChangeKind::kRaised;
  engine::Severity before = engine::Severity::kCleared;
  engine::Severity after = engine::Severity::kCleared;
  bool is_quiet = false;
};

BriefRow brief_row(const ChangeRow& row);

// Nothing: the column is none of those.
std::optional<Value> brief_cell(std::uint32_t column, const BriefRow& row);

Value change_cell(std::uint32_t column, const ChangeRow& row);

// Which notification tells it.
NotificationType notification_of(const ChangeRow& row);

struct Variable {
  Oid name;
  Value value;
};

// The variables of that notification, without its type. `worst` is the severity of the change's object now.
std::vector<Variable> change_variables(const Places& places, const std::string& ledger_id, const ChangeRow& row,
                                       engine::ChangeNumber previous, engine::Severity worst);

// Whether a text of it is longer than SNMP takes it.
bool is_cut(const ChangeRow& row);

// Where the severity after the change is among the variables of a notification, counted from 1 as
// alarmModelVarbindIndex counts: the time and the type of the notification come first.
inline constexpr std::uint32_t kSeverityVariable = 6;

}  // namespace polaiga::snmp
