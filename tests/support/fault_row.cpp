#include "support/fault_row.h"

#include <algorithm>

namespace polaiga::test {

Written written_by(const FaultRow& row, std::span<const KnownFault> faults, Written written) {
  const auto fault = std::ranges::find(faults, row.code, &KnownFault::code);
  if (fault == faults.end()) {
    ADD_FAILURE() << "the test names no fault with code " << row.code;
    return written;
  }
  written.fault_dn = *written.dn + "/fault-" + fault->code_text;
  written.code_text = fault->code_text;
  written.name = fault->name;
  written.cause_id = fault->cause_id;
  written.cause = fault->cause;
  written.descr = row.descr;
  written.code = row.code;
  written.disposition = row.disposition;
  written.clear_code = row.clear_code;
  written.clear_cause_id = row.clear_cause_id;
  written.clear_cause = row.clear_cause;
  return written;
}

Written written_by(const StatesRow& row, Written written) {
  written.fault_dn = *written.dn + "/fault-" + row.fault.code_text;
  written.code_text = row.fault.code_text;
  written.descr = row.descr;
  written.disposition = row.disposition;
  written.cause_id = row.cause.id;
  written.clear_cause_id = row.cleared.cause_id;
  written.cause = row.cause.text;
  written.clear_cause = row.cleared.cause;
  written.code = row.fault.code;
  written.clear_code = row.cleared.code;
  written.name = row.fault.name;
  return written;
}

}  // namespace polaiga::test
