#include "simulated/ledger.h"

#include <algorithm>
#include <utility>

namespace polaiga::fleet {

// The round of the recording in which a change is.
class SimulatedLedger::Here final : public Filling {
 public:
  Here(const SimulatedLedger& ledger, Number number)
      : ledger_(ledger), round_(ledger.place(number) / ledger.recording_.length()) {}

  std::string_view ledger_id() const override { return ledger_.id_; }
  Number number_of(Number recorded) const override {
    return round_ * ledger_.recording_.length() + recorded - ledger_.beginning_;
  }
  engine::Sequence sequence_of(engine::Sequence recorded) const override {
    return round_ * ledger_.recording_.inputs() + recorded;
  }
  engine::Moment moment_of(Number recorded) const override {
    return ledger_.made_.at(static_cast<std::size_t>(number_of(recorded) - 1));
  }

 private:
  const SimulatedLedger& ledger_;
  Number round_;
};

SimulatedLedger::SimulatedLedger(const Recording& recording, std::string id, Number beginning, Number kept)
    : recording_(recording), id_(std::move(id)), beginning_(beginning), kept_(kept) {}

engine::ChangeNumber SimulatedLedger::oldest_number() const {
  if (made_.empty()) return 0;
  return std::max(Number{1}, number() - kept_ + 1);
}

const RecordedChange* SimulatedLedger::recorded(Number number) const {
  return recording_.find(place(number) % recording_.length() + 1);
}

engine::ChangeNumber SimulatedLedger::make(engine::Moment at) {
  do {
    made_.push_back(at);
  } while (!is_told(number()));
  const RecordedChange& change = *recorded(number());
  const Number alarm = Here(*this, number()).number_of(change.alarm);
  if (change.is_over) {
    active_.erase(alarm);
  } else {
    active_.insert_or_assign(alarm, number());
  }
  return number();
}

engine::ChangeNumber SimulatedLedger::told_before(Number number) const {
  for (Number before = number - 1; before > 0; --before) {
    if (is_told(before)) return before;
  }
  return 0;
}

engine::ChangeNumber SimulatedLedger::told_after(Number number) const {
  for (Number after = number + 1; after <= this->number(); ++after) {
    if (is_told(after)) return after;
  }
  return 0;
}

std::string SimulatedLedger::change_form(Number number) const {
  return recorded(number)->line.text(Here(*this, number));
}

const RecordedChange& SimulatedLedger::last_change_of(Number alarm) const { return *recorded(active_.at(alarm)); }

std::string SimulatedLedger::alarm_form(Number alarm) const {
  return last_change_of(alarm).listed.text(Here(*this, active_.at(alarm)));
}

}  // namespace polaiga::fleet
