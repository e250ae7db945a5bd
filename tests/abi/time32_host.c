/* A host with a clock and files of its own: the library with the 32-bit clock
 * asks the C library by the plain names, which the host takes over. */
#include <polaiga/polaiga.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static int opened;

time_t time(time_t* result) {
  if (result != NULL) *result = 1706745599;
  return 1706745599;
}

/* No file at all, thus no zone: UTC. */
FILE* fopen(const char* path, const char* mode) {
  (void)mode;
  if (strcmp(path, "/mnt/jffs2/timezone") == 0) ++opened;
  return NULL;
}

int main(void) {
  fe_sensor_event event;
  fe_fault_record record;
  fe_fault_record* out = &record;
  memset(&event, 0, sizeof event);
  memset(&record, 0, sizeof record);
  event.entity_instance = 1;
  event.event_offset = 30;
  event.event_state = FE_STATE_ASSERTED;
  int failed = sizeof(time_t) != 4;
  failed |= process_ps_fault(&event, &out) != 0;
  failed |= record.created_time != 1706745599 || strcmp(record.created, "2024-01-31T23:59:59") != 0;
  failed |= opened != 1;
  printf("time32_host: %s\n", failed ? "the library does not ask the host's clock" : "passed");
  return failed;
}
