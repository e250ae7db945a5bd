#include "tables/standard_tables.h"

#include <array>
#include <memory>
#include <string>
#include <utility>

#include "tables/alarm_tables.h"
#include "tables/change_row.h"

namespace polaiga::snmp {
namespace {

using engine::Severity;

// The arcs below alarmObjects and ituAlarmObjects.
constexpr auto kModelLastChanged = std::to_array<std::uint32_t>({1, 1, 1});
constexpr auto kModelEntry = std::to_array<std::uint32_t>({1, 1, 2, 1});
constexpr auto kActiveLastChanged = std::to_array<std::uint32_t>({1, 2, 1});
constexpr auto kActiveEntry = std::to_array<std::uint32_t>({1, 2, 2, 1});
constexpr auto kActiveOverflow = std::to_array<std::uint32_t>({1, 2, 5});
constexpr auto kClearMaximum = std::to_array<std::uint32_t>({1, 3, 1});
constexpr auto kClearEntry = std::to_array<std::uint32_t>({1, 3, 2, 1});
constexpr auto kItuModelEntry = std::to_array<std::uint32_t>({1, 1, 1, 1});
constexpr auto kItuActiveEntry = std::to_array<std::uint32_t>({1, 2, 1, 1});
constexpr auto kItuCountsEntry = std::to_array<std::uint32_t>({1, 2, 2, 1});

enum ModelColumn : std::uint32_t {
  kNotificationId = 3,
  kVarbindIndex,
  kVarbindValue,
  kDescription,
  kSpecificPointer,
  kVarbindSubtree,
  kResourcePrefix,
  kRowStatus,
};

enum ActiveColumn : std::uint32_t {
  kEngineId = 4,
  kEngineAddressType,
  kEngineAddress,
  kContextName,
  kVariables,
  kActiveNotificationId,
  kActiveResourceId,
  kActiveDescription,
  kActiveLogPointer,
  kActiveModelPointer,
  kActiveSpecificPointer,
};

enum ClearColumn : std::uint32_t {
  kClearEngineId = 3,
  kClearEngineAddressType,
  kClearEngineAddress,
  kClearContextName,
  kClearNotificationId,
  kClearResourceId,
  kClearLogIndex,
  kClearModelPointer,
};

enum ItuModelColumn : std::uint32_t { kItuEventType = 2, kItuProbableCause, kItuAdditionalText, kItuGenericModel };

enum ItuActiveColumn : std::uint32_t { kTrend = 1, kDetector, kServiceProvider, kServiceUser };

constexpr std::uint32_t kRowIsActive = 1;     // RowStatus
constexpr std::uint32_t kUnknownAddress = 0;  // InetAddressType
constexpr std::uint32_t kNoTrend = 2;         // ItuTrendIndication: noChange
constexpr std::uint32_t kOtherEvent = 1;      // IANAItuEventType
constexpr std::uint32_t kOtherCause = 1024;   // IANAItuProbableCause

constexpr std::array kAllSeverities{Severity::kCleared, Severity::kIndeterminate, Severity::kWarning,
                                    Severity::kMinor,   Severity::kMajor,         Severity::kCritical};

bool is_known(std::uint32_t code) { return *engine::fault_name(code) != '\0'; }

// The list of alarms has no name: its length is 0.
Oid model_index(std::uint32_t code, std::uint32_t state) { return {0, code, state}; }

Oid model_pointer(std::uint32_t code, Severity severity) {
  if (!is_known(code)) return {};
  return joined(joined(alarm_module(), kModelEntry),
                joined(Oid{kNotificationId}, model_index(code, severity_number(severity))));
}

Oid itu_model_pointer(std::uint32_t code, Severity severity) {
  return joined(joined(itu_alarm_module(), kItuModelEntry),
                joined(Oid{kItuEventType}, model_index(code, itu_severity_number(severity))));
}

class Model final : public RowTable<Severity> {
 public:
  Model(const RowMap<Severity>& rows, const Places& places) : RowTable(rows), places_(places) {}

 private:
  Value cell(std::uint32_t column, const Oid& index, const Severity& severity) const override {
    const std::uint32_t code = index.at(1);
    switch (column) {
      case kNotificationId:
        return oid_value(places_.notification(severity == Severity::kCleared ? NotificationType::kCleared
                                                                             : NotificationType::kRaised));
      case kVarbindIndex:
        return unsigned_number(kSeverityVariable);
      case kVarbindValue:
        return integer(severity_number(severity));
      case kDescription:
        return text(std::string(engine::fault_name(code)) + ": " + std::string(engine::severity_word(severity)));
      case kSpecificPointer:
        return oid_value(itu_model_pointer(code, severity));
      case kVarbindSubtree:
        return oid_value(joined(places_.entry(kObjectTableArc), Oid{kObjectSeverity}));
      case kResourcePrefix:
        return oid_value({});
      case kRowStatus:
        return integer(kRowIsActive);
      default:
        return {};
    }
  }

  const Places& places_;
};

class Active final : public RowTable<engine::ChangeNumber> {
 public:
  Active(const AlarmView& view, const Places& places) : RowTable(view.by_time()), view_(view), places_(places) {}

 private:
  Value cell(std::uint32_t column, const Oid& index, const engine::ChangeNumber& number) const override {
    const output::OutputAlarm* const alarm = view_.alarm(number);
    if (alarm == nullptr) return {};
    switch (column) {
      case kEngineId:
      case kEngineAddress:
      case kContextName:
        return text("");
      case kEngineAddressType:
        return integer(kUnknownAddress);
      case kVariables:
        return unsigned_number(0);
      case kActiveNotificationId:
        return oid_value(places_.notification(NotificationType::kRaised));
      case kActiveResourceId:
        return oid_value(places_.object_column(kObjectSeverity, alarm->dn));
      case kActiveDescription:
        return text(alarm->description);
      case kActiveLogPointer:
        return oid_value(places_.change_column(kChangeAlarm, static_cast<std::uint32_t>(alarm->fault)));
      case kActiveModelPointer:
        return oid_value(model_pointer(alarm->code, alarm->severity));
      case kActiveSpecificPointer:
        return oid_value(joined(joined(itu_alarm_module(), kItuActiveEntry), joined(Oid{kTrend}, index)));
      default:
        return {};
    }
  }

  const AlarmView& view_;
  const Places& places_;
};

class Cleared final : public RowTable<ClearedAlarm> {
 public:
  Cleared(const ClearedAlarms& cleared, const Places& places) : RowTable(cleared.rows()), places_(places) {}

 private:
  Value cell(std::uint32_t column, const Oid& /*index*/, const ClearedAlarm& alarm) const override {
    switch (column) {
      case kClearEngineId:
      case kClearEngineAddress:
      case kClearContextName:
        return text("");
      case kClearEngineAddressType:
        return integer(kUnknownAddress);
      case kClearNotificationId:
        return oid_value(places_.notification(NotificationType::kCleared));
      case kClearResourceId:
        return oid_value(places_.object_column(kObjectSeverity, alarm.dn));
      case kClearLogIndex:
        return unsigned_number(0);  // an index in NOTIFICATION-LOG-MIB, which has no entry of it
      case kClearModelPointer:
        return oid_value(model_pointer(alarm.code, Severity::kCleared));
      default:
        return {};
    }
  }

  const Places& places_;
};

class ItuModel final : public RowTable<Severity> {
 public:
  explicit ItuModel(const RowMap<Severity>& rows) : RowTable(rows) {}

 private:
  Value cell(std::uint32_t column, const Oid& index, const Severity& severity) const override {
    const std::uint32_t code = index.at(1);
    switch (column) {
      case kItuEventType:
        return integer(kOtherEvent);
      case kItuProbableCause:
        return integer(kOtherCause);
      case kItuAdditionalText:
        return text(engine::fault_name(code));
      case kItuGenericModel:
        return oid_value(model_pointer(code, severity));
      default:
        return {};
    }
  }
};

class ItuActive final : public RowTable<engine::ChangeNumber> {
 public:
  explicit ItuActive(const AlarmView& view) : RowTable(view.by_time()) {}

 private:
  Value cell(std::uint32_t column, const Oid& /*index*/, const engine::ChangeNumber& /*number*/) const override {
    return column == kTrend ? integer(kNoTrend) : oid_value({});
  }
};

// How many alarms are active of each severity.
class ItuCounts final : public RowTable<int> {
 public:
  ItuCounts(const RowMap<int>& lists, const AlarmView& view) : RowTable(lists), view_(view) {}

 private:
  Value cell(std::uint32_t column, const Oid& /*index*/, const int& /*list*/) const override {
    constexpr std::array kOrder{Severity::kIndeterminate, Severity::kCritical, Severity::kMajor, Severity::kMinor,
                                Severity::kWarning};
    return unsigned_number(view_.count(kOrder.at(column - 1)));
  }

  const AlarmView& view_;
};

}  // namespace

StandardTables::StandardTables(const Places& places, const AlarmView& view, const ClearedAlarms& cleared,
                               const LastChanged& last_changed) {
  for (const engine::FaultEntry& fault : engine::fault_entries()) {
    for (const Severity severity : kAllSeverities) {
      model_rows_.emplace(model_index(fault.code, severity_number(severity)), severity);
      itu_model_rows_.emplace(model_index(fault.code, itu_severity_number(severity)), severity);
    }
  }
  lists_.emplace(Oid{0}, 0);
  const Oid alarm = alarm_module();
  const Oid itu = itu_alarm_module();
  owned_.add_scalar(joined(alarm, kModelLastChanged), [] { return ticks(0); });
  owned_.add(joined(alarm, kModelEntry), columns(kNotificationId, kRowStatus),
             std::make_unique<Model>(model_rows_, places));
  owned_.add_scalar(joined(alarm, kActiveLastChanged), [last_changed] { return ticks(last_changed()); });
  owned_.add(joined(alarm, kActiveEntry), columns(kEngineId, kActiveSpecificPointer),
             std::make_unique<Active>(view, places));
  owned_.add_scalar(joined(alarm, kActiveOverflow), [] { return counter(0); });
  owned_.add_scalar(joined(alarm, kClearMaximum), [] { return unsigned_number(ClearedAlarms::kMost); });
  owned_.add(joined(alarm, kClearEntry), columns(kClearEngineId, kClearModelPointer),
             std::make_unique<Cleared>(cleared, places));
  owned_.add(joined(itu, kItuModelEntry), columns(kItuEventType, kItuGenericModel),
             std::make_unique<ItuModel>(itu_model_rows_));
  owned_.add(joined(itu, kItuActiveEntry), columns(kTrend, kServiceUser), std::make_unique<ItuActive>(view));
  owned_.add(joined(itu, kItuCountsEntry), columns(1, 5), std::make_unique<ItuCounts>(lists_, view));
}

}  // namespace polaiga::snmp
