// Power-supply configuration errors, event offsets 35 to 40.
#include <polaiga/tables.h>

// clang-format off
const char psu_config_error[FE_PSU_CONFIG_ERRORS][FE_DESCR_SIZE] = {
    "%s: Power Supply %d Configuration Error - Vendor mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Revision mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Processor missing: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Power supply rating mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Voltage rating mismatch: Check or replace PSU %d, ensure all PSUs are the same type in the system",
    "%s: Power Supply %d Configuration Error - Unknown error: Check or replace PSU %d, ensure all PSUs are the same type in the system",
};
// clang-format on
