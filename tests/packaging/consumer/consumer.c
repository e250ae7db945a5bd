/* One power supply that is too warm, in a host built outside the tree. */
#include <polaiga/polaiga.h>
#include <stdio.h>

int main(void) {
  fe_sensor_event event = {
      .sensor_name = "PSU1_TEMP", .entity_instance = 1, .event_offset = 57, .event_state = FE_STATE_CRITICAL};
  fe_fault_record record = {0}, *out = &record;
  if (process_ps_fault(&event, &out) != 0) return 1;
  puts(record.fault_dn);
  return 0;
}
