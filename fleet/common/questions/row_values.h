// Values of the database's rows, as the program knows them.
#pragma once

#include <algorithm>
#include <optional>
#include <pqxx/field>

#include "model/dictionary.h"
#include "model/moment.h"

namespace polaiga::fleet {

inline engine::Severity read_severity(const pqxx::field& field) {
  return static_cast<engine::Severity>(std::clamp(field.as<int>(), 0, static_cast<int>(engine::Severity::kCritical)));
}

inline std::optional<engine::Moment> moment_or_nothing(const pqxx::field& field) {
  if (field.is_null()) return std::nullopt;
  return field.as<engine::Moment>();
}

}  // namespace polaiga::fleet
