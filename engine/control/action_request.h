// An operator's action as a request to the engine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/operator_action.h"

namespace polaiga::engine {

struct ActionText {
  std::string comment;       // empty: none
  std::string id;            // empty: none
  std::string on_behalf_of;  // empty: the caller acts for himself
};

// When a shelf or maintenance ends; one of the two.
struct SilenceEnd {
  std::optional<std::int64_t> lasts;  // seconds
  std::optional<Moment> until;
};

struct ActionDone {
  bool is_new = true;        // else it had been done before, under the same id
  std::int64_t changes = 0;  // of alarms, and of an object
};

// A request that is put together and sent.
class ActionRequestLine {
 public:
  ActionRequestLine(ActionKind kind, const ActionText& text);

  ActionRequestLine& about(std::vector<ChangeNumber> alarms, const std::string& ledger_id);
  ActionRequestLine& about(const std::string& dn);
  // One of the two must be given.
  ActionRequestLine& lasting(const SilenceEnd& ending);

  // Those of the alarms for which the action is not possible any more are left out.
  ActionRequestLine& selected();
  // The missed alarms that ended up to this change.
  ActionRequestLine& through(ChangeNumber change);

  std::string line() const;

  // Throws std::runtime_error with the reason when it is refused.
  ActionDone send(const std::string& control) const;

 private:
  std::string members_;
};

}  // namespace polaiga::engine
