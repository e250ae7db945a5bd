#include "host_rows.h"

#include <polaiga/polaiga.h>
#include <stdio.h>
#include <string.h>

fe_sensor_map_row ent_drive_bp_map[] = {
    {.sensor_name = "OTHER_BP_TEMP"},
    {.sensor_name = "HDD_BP9_TEMP",
     .entity_id = 15,
     .row_number = 2,
     .base_code = 1301,
     .cause_id = 215,
     .dn = "sys/rack-unit-1/board/bp-9",
     .rn = "bp-9",
     .descr_format = "%s: Backplane temperature is %s: Check cooling"},
};
int32_t ent_drive_bp_map_sz = 2;

fe_sensor_map_row ent_cmc_map[] = {
    {.sensor_name = "CMC_TEMP",
     .row_number = 1,
     .base_code = 1302,
     .dn = "sys/rack-unit-1/cmc-1",
     .rn = "cmc-1",
     .descr_format = "%s: Controller temperature is %s: Check cooling"},
};
int32_t ent_cmc_map_sz = 1;

fe_nm_map_row ent_nm_map[] = {
    {.event_offset = 201, .code = 1303, .dn = "sys/rack-unit-1/nm-1", .rn = "nm-1", .descr = "Node manager: lost"},
};
int32_t ent_nm_map_sz = 1;

static int check(const char* what, fe_fault_filter* filter, const char* sensor, int32_t offset, const char* fault_dn,
                 const char* descr) {
  fe_sensor_event event;
  memset(&event, 0, sizeof event);
  strcpy(event.sensor_name, sensor);
  event.event_offset = offset;
  event.event_state = FE_STATE_NON_CRITICAL;
  event.reading_type = FE_READING_THRESHOLD;
  fe_fault_record record;
  memset(&record, 0, sizeof record);
  fe_fault_record* out = &record;
  const int32_t result = filter(&event, &out);
  if (result == 0 && strcmp(record.fault_dn, fault_dn) == 0 && strcmp(record.descr, descr) == 0) return 0;
  printf("%s: result %d, fault '%s', '%s'\n", what, (int)result, record.fault_dn, record.descr);
  return 1;
}

int check_host_rows(fe_fault_filter* drive_bp, fe_fault_filter* cmc, fe_fault_filter* nm) {
  int failures = 0;
  failures += check("drive_bp", drive_bp, "HDD_BP9_TEMP", 117, "sys/rack-unit-1/board/bp-9/fault-F1301",
                    "HDD_BP9_TEMP: Backplane temperature is upper non-critical: Check cooling");
  failures += check("cmc", cmc, "CMC_TEMP", 117, "sys/rack-unit-1/cmc-1/fault-F1302",
                    "CMC_TEMP: Controller temperature is upper non-critical: Check cooling");
  failures += check("nm", nm, "", 201, "sys/rack-unit-1/nm-1/fault-F1303", "Node manager: lost");
  if (failures == 0) puts("host rows: passed");
  return failures != 0;
}
