/*
 * What the library needs of the process that loads it. The host defines every
 * name in this header; the library imports them and defines none.
 */
#ifndef POLAIGA_SERVICES_H
#define POLAIGA_SERVICES_H

#include <stdint.h>

#include <polaiga/export.h>
#include <polaiga/layout.h>
#include <polaiga/records.h>

POLAIGA_BEGIN_DECLS

/* Names of the units of one platform; a table has a row for each platform
 * number in order. The library owns the tables that it passes. */
enum { FE_PLATFORM_SLOTS = 16 };
typedef struct fe_platform_names {
  uint32_t platform;
  struct {
    const char* name; /* null: unused */
    int32_t instance;
  } slots[FE_PLATFORM_SLOTS];
} fe_platform_names;

/* 132 bytes on the 32-bit target. */
POLAIGA_ASSERT(fe_platform_names_size, sizeof(void*) != 4 || sizeof(fe_platform_names) == 132);

/* Writes one diagnostic line, printf-style. Some lines bring their newline. */
POLAIGA_API void fe_logger(const char* format, ...) __attribute__((format(printf, 1, 2)));

/* Writes the decimal text of `value`, NUL-terminated, to `buffer`, which has
 * room for any 32-bit number. `flags` is 0. */
POLAIGA_API void fe_itoa(int32_t value, char* buffer, int32_t flags);

/* Fault name of a fault code, as a NUL-terminated text that stays the host's
 * and lasts until the next call. Asked for codes of the library's tables and
 * for whatever code the record holds; null counts as the empty text. */
POLAIGA_API const char* get_fault_code_string(uint32_t code);

/* Text of a probable-cause number, on the same terms. Also asked for 0. */
POLAIGA_API const char* get_probable_cause_string(uint32_t cause_id);

/*
 * Name of an instance: of the row of `table` whose platform is `platform`, the
 * slot whose instance is `instance`; null when there is none. The text must
 * last until the next call of a service. Add-in cards pass three arguments, their names
 * have the form "rn:label". The storage filter passes a fourth, the address of
 * g_platform (int32_t *).
 */
POLAIGA_API const char* translate_user_entity_instance(const fe_platform_names* table, int32_t platform,
                                                       int32_t instance, ...);

/* Told of a BIOS power-on self test failure that is over. The record holds its
 * event, key, OID, DN, RN and time stamp; code, name and description are still
 * the caller's. Further arguments are 0. */
POLAIGA_API void cleanup_deasserted_events(fe_fault_record* record, int32_t, int32_t, int32_t);

/* By entity id: 1 when the instances of that entity count from 0, any other
 * value when they count from 1. */
enum { FE_ENTITY_IDS = 256 };
POLAIGA_API extern int32_t fe_sdr_instance_array[FE_ENTITY_IDS];

/* Number of the platform that the process runs on. */
POLAIGA_API extern int32_t g_platform;

POLAIGA_END_DECLS

#endif
