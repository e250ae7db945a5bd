/* The host's tables take the place of the library's when the host links to it. */
#include "host_rows.h"

int main(void) { return check_host_rows(process_drive_bp_fault, process_cmc_fault, process_nm_fault); }
