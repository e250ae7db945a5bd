// The changes of a real engine, which simulated controllers tell as theirs, again and again.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/change.h"
#include "recorded/filled_text.h"

namespace polaiga::fleet {

// A file that is no recording: the line, and what is wrong with it.
class BadRecording : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RecordedChange {
  engine::ChangeNumber number = 0;
  engine::ChangeNumber alarm = 0;
  bool is_over = false;  // the alarm, after it
  std::string fault_dn;
  std::string severity;  // of the alarm after it
  FilledText line;       // the change as JSON, without the brace at its end
  FilledText listed;     // the alarm after it, as a list of alarms has it
};

// A recording goes round: after its last change comes its first one. So each alarm in it has its beginning and its end:
// alarms that are still active at the end are left out, with all their changes. So are alarms with changes by people or
// by the engine itself, since a simulated controller takes no actions; and changes of objects.
class Recording {
 public:
  // Lines of `polaiga tail --json`, of one ledger. Throws BadRecording.
  explicit Recording(std::string_view lines);

  // Numbers go from 1 to this one.
  engine::ChangeNumber length() const { return length_; }
  engine::Sequence inputs() const { return inputs_; }
  // Nothing: a change of this number is not told.
  const RecordedChange* find(engine::ChangeNumber number) const;
  // The numbers right after which no alarm is active, so that a controller can begin there. The first one is 0.
  const std::vector<engine::ChangeNumber>& beginnings() const { return beginnings_; }
  std::size_t size() const { return changes_.size(); }

 private:
  engine::ChangeNumber length_ = 0;
  engine::Sequence inputs_ = 0;
  std::unordered_map<engine::ChangeNumber, RecordedChange> changes_;
  std::vector<engine::ChangeNumber> beginnings_;
};

}  // namespace polaiga::fleet
