/* A host with rows of its own in the three host tables, and what it expects. */
#ifndef HOST_ROWS_H
#define HOST_ROWS_H

#include <polaiga/filters.h>

/* Sends an event to each of the three filters; 0 when all found the host's rows. */
int check_host_rows(fe_fault_filter* drive_bp, fe_fault_filter* cmc, fe_fault_filter* nm);

#endif
