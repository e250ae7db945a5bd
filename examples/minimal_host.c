/*
 * The smallest host: every service that the library imports, each with the
 * least that it may answer. A real fault engine brings dictionaries of fault
 * names and cause texts, the names of its platforms' slots, and a log.
 */
#include <inttypes.h>
#include <polaiga/services.h>
#include <stdio.h>

int32_t fe_sdr_instance_array[FE_ENTITY_IDS];
int32_t g_platform;

void fe_logger(const char* format, ...) { (void)format; }

void fe_itoa(int32_t value, char* buffer, int32_t flags) {
  (void)flags;
  sprintf(buffer, "%" PRId32, value);
}

const char* get_fault_code_string(uint32_t code) {
  (void)code;
  return "";
}

const char* get_probable_cause_string(uint32_t cause_id) {
  (void)cause_id;
  return "";
}

const char* translate_user_entity_instance(const fe_platform_names* table, int32_t platform, int32_t instance, ...) {
  (void)table, (void)platform, (void)instance;
  return NULL;
}

void cleanup_deasserted_events(fe_fault_record* record, int32_t a, int32_t b, int32_t c) {
  (void)record, (void)a, (void)b, (void)c;
}
