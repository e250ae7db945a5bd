// The alarm profile as the ledger has it.
#pragma once

#include <memory>
#include <string>

#include "ledger/stored_rows.h"
#include "model/alarm_profile.h"

namespace polaiga::engine {

class StoredProfile {
 public:
  // What the ledger has now; never null. It is parsed once as long as it stays the same.
  // When it is damaged it is left out, and says nothing of any alarm.
  std::shared_ptr<const AlarmProfile> read(StoredRows& rows);

 private:
  std::shared_ptr<const AlarmProfile> profile_ = std::make_shared<const AlarmProfile>();
};

}  // namespace polaiga::engine
