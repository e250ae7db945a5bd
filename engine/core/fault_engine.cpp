#include "core/fault_engine.h"

#include <utility>

namespace polaiga::engine {
namespace {

// The event is a copy: some filters write into it.
bool filter(const Entity& entity, fe_sensor_event event, fe_fault_record& record) {
  fe_fault_record* out = &record;
  return entity.filter(&event, &out) == 0;
}

}  // namespace

FaultEngine::FaultEngine(std::int32_t platform, Log log) {
  provide_services([this](const std::string& fault_dn) { withdraw(fault_dn); }, platform, log);
}

Handled FaultEngine::handle(const SensorEvent& line, Moment now, Sequence sequence) {
  Handled handled;
  handled.when = line.time.value_or(now);
  withdrawn_.clear();
  handled.reported = filter(*line.entity, line.event, handled.record);
  handled.withdrawn = std::exchange(withdrawn_, {});
  if (handled.reported) handled.outcome = faults_.apply(handled.record, handled.when, sequence);
  return handled;
}

fe_fault_record FaultEngine::rebuild(const SensorEvent& line) {
  fe_fault_record record = {};
  rebuilding_ = true;
  filter(*line.entity, line.event, record);
  rebuilding_ = false;
  return record;
}

void FaultEngine::withdraw(const std::string& fault_dn) {
  if (rebuilding_) return;
  if (const auto raised = faults_.withdraw(fault_dn)) withdrawn_.push_back({fault_dn, *raised});
}

}  // namespace polaiga::engine
