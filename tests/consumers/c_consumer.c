/* A host in plain C: includes the headers, links the library, gets a fault. */
#include <polaiga/polaiga.h>
#include <stdio.h>
#include <string.h>

static int failures;

static void check_text(const char* what, const char* got, const char* want) {
  if (strcmp(got, want) == 0) return;
  ++failures;
  printf("%s: got '%s', wanted '%s'\n", what, got, want);
}

static void check_number(const char* what, long got, long want) {
  if (got == want) return;
  ++failures;
  printf("%s: got %ld, wanted %ld\n", what, got, want);
}

int main(void) {
  fe_sensor_event event;
  memset(&event, 0, sizeof event);
  event.entity_id = 29;
  event.entity_instance = 2;
  event.event_offset = 1;
  event.event_state = FE_STATE_ASSERTED;
  strcpy(event.sensor_name, "FAN2_TACH1");

  fe_fault_record record;
  memset(&record, 0, sizeof record);
  fe_fault_record* out = &record;
  check_number("raise", process_fan_fault(&event, &out), 0);
  check_text("fault_dn", record.fault_dn, "sys/rack-unit-1/fan-module-1-2/fan-1/fault-F0434");
  check_text("name", record.name, "fltEquipmentFanMissing");
  check_text("descr", record.descr, "FAN2_TACH1: Fan 3 missing: reseat or replace fan 3");
  check_number("code", (long)record.code, 434);
  check_number("oid_len", record.oid_len, 13);

  event.event_offset = 3;
  check_number("suppressed", process_fan_fault(&event, &out), -1);
  check_number("null", process_fan_fault(NULL, &out), -1);

  check_number("ent_map_sz", ent_map_sz, 25);
  check_text("ent_map", ent_map[24].sensor_name, "PCH_THERMTRIP_N");
  check_number("fan lookup", expectional_fan_sensor_lookup("FAN6_SPEED"), 18);
  check_number("board lookup", expectional_sensor_lookup("P1V0_AUX"), 16);
  check_number("processor lookup", exceptional_sensor_lookup("NONE"), -1);

  if (failures == 0) puts("c_consumer: passed");
  return failures != 0;
}
