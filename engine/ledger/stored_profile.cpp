#include "ledger/stored_profile.h"

namespace polaiga::engine {

std::shared_ptr<const AlarmProfile> StoredProfile::read(StoredRows& rows) {
  auto found = std::make_shared<const AlarmProfile>();
  rows.leave_out_damage([&] {
    const std::string text = rows.profile_text();
    if (text == profile_->text()) {
      found = profile_;
      return;
    }
    try {
      found = std::make_shared<const AlarmProfile>(text, "the alarm profile in the ledger");
    } catch (const TableError& error) {
      throw LedgerError(std::string("this program does not take the alarm profile: ") + error.what());
    }
  });
  return profile_ = found;
}

}  // namespace polaiga::engine
