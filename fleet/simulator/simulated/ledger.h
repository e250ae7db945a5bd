// The ledger of a controller that is only simulated: which changes it has, and which alarms are active after them.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "model/change.h"
#include "model/moment.h"
#include "recorded/recording.h"

namespace polaiga::fleet {

// What a change says follows from its number: it is that of the recording at this place, so the ledger keeps of it only
// when it was made.
class SimulatedLedger {
 public:
  using Number = engine::ChangeNumber;

  // It goes on in the recording after `beginning`, which is one of its beginnings. `kept` changes can be replayed. The
  // recording must outlive it.
  SimulatedLedger(const Recording& recording, std::string id, Number beginning, Number kept);

  const std::string& id() const { return id_; }
  Number number() const { return static_cast<Number>(made_.size()); }  // of the last change; 0: there is none
  Number oldest_number() const;                                        // that can be replayed; 0: there is none

  // Makes the next change that is told, and answers with its number.
  Number make(engine::Moment at);

  bool is_told(Number number) const { return recorded(number) != nullptr; }
  // The last one before this one that is told; 0: there is none.
  Number told_before(Number number) const;
  // The first one after this one that is told; 0: it was not made yet.
  Number told_after(Number number) const;

  // Of a change that is told: JSON without the brace at its end.
  std::string change_form(Number number) const;

  // The active alarms, each with the change that was its last.
  const std::map<Number, Number>& active() const { return active_; }
  // Of an active alarm: JSON.
  std::string alarm_form(Number alarm) const;
  const RecordedChange& last_change_of(Number alarm) const;

 private:
  class Here;                                                            // fills in the texts of a change
  Number place(Number number) const { return beginning_ + number - 1; }  // in recordings one after the other, from 0
  const RecordedChange* recorded(Number number) const;

  const Recording& recording_;
  std::string id_;
  Number beginning_;
  Number kept_;
  std::vector<engine::Moment> made_;  // of each number, from 1
  std::map<Number, Number> active_;
};

}  // namespace polaiga::fleet
