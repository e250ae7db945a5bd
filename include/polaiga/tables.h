/* The tables that describe sensors by data, and the lookups in the short ones. */
#ifndef POLAIGA_TABLES_H
#define POLAIGA_TABLES_H

#include <stdint.h>

#include <polaiga/export.h>
#include <polaiga/layout.h>
#include <polaiga/records.h>

POLAIGA_BEGIN_DECLS

/* The threshold codes of a sensor map row. They belong to the event offsets 115
 * to 119, in this order. */
enum {
  FE_CODE_LOWER_CRITICAL,
  FE_CODE_LOWER_NON_RECOVERABLE,
  FE_CODE_UPPER_NON_CRITICAL,
  FE_CODE_UPPER_CRITICAL,
  FE_CODE_UPPER_NON_RECOVERABLE,
  FE_THRESHOLD_CODES
};

/*
 * Sensor map row: everything that a table-driven filter says about one sensor.
 * Texts are NUL-padded. The tables are searched from their last row, so of two
 * rows of one name the later one counts.
 */
typedef struct fe_sensor_map_row {
  char sensor_name[FE_SENSOR_NAME_SIZE];        /* compared whole with the event's */
  uint8_t entity_id;                            /* 3 processor, 7 system board, 10 power supply */
  uint8_t row_number;                           /* position in the table, from 1; becomes the instance */
  uint8_t subtype;                              /* class of a board sensor, else number of the unit */
  uint8_t sensor_class;                         /* class of a processor or power-supply sensor, else 0 */
  uint32_t base_code;                           /* fault code: discrete events, lower non-critical */
  uint32_t cause_id;                            /* probable cause, as a number */
  char fault_name[FE_NAME_SIZE];                /* fault name of base_code */
  char cause[FE_CAUSE_SIZE];                    /* text of cause_id */
  char dn[FE_DN_SIZE];                          /* distinguished name of the affected object */
  char rn[FE_RN_SIZE];                          /* its relative name */
  char descr_format[FE_DESCR_SIZE];             /* description; "%s" takes the threshold words */
  uint32_t threshold_codes[FE_THRESHOLD_CODES]; /* fault codes of the levels */
} fe_sensor_map_row;

POLAIGA_SIZE(fe_sensor_map_row, 484);
POLAIGA_OFFSET(fe_sensor_map_row, sensor_name, 0);
POLAIGA_OFFSET(fe_sensor_map_row, entity_id, 20);
POLAIGA_OFFSET(fe_sensor_map_row, row_number, 21);
POLAIGA_OFFSET(fe_sensor_map_row, subtype, 22);
POLAIGA_OFFSET(fe_sensor_map_row, sensor_class, 23);
POLAIGA_OFFSET(fe_sensor_map_row, base_code, 24);
POLAIGA_OFFSET(fe_sensor_map_row, cause_id, 28);
POLAIGA_OFFSET(fe_sensor_map_row, fault_name, 32);
POLAIGA_OFFSET(fe_sensor_map_row, cause, 96);
POLAIGA_OFFSET(fe_sensor_map_row, dn, 128);
POLAIGA_OFFSET(fe_sensor_map_row, rn, 208);
POLAIGA_OFFSET(fe_sensor_map_row, descr_format, 240);
POLAIGA_OFFSET(fe_sensor_map_row, threshold_codes, 464);

/* Node manager row: one fault, keyed by the event offset. Texts are NUL-padded. */
typedef struct fe_nm_map_row {
  uint32_t event_offset; /* compared with the event's */
  uint8_t entity_id;     /* written to the record, as are the next two */
  uint8_t instance;
  uint8_t subtype;
  uint8_t reserved;  /* never read */
  uint32_t code;     /* fault code */
  uint32_t cause_id; /* probable cause on a clear */
  char fault_name[FE_NAME_SIZE];
  char cause[FE_CAUSE_SIZE];
  char dn[FE_DN_SIZE];
  char rn[FE_RN_SIZE];
  char descr[244]; /* plain text, not a format; 223 characters count */
} fe_nm_map_row;

POLAIGA_SIZE(fe_nm_map_row, 468);
POLAIGA_OFFSET(fe_nm_map_row, event_offset, 0);
POLAIGA_OFFSET(fe_nm_map_row, entity_id, 4);
POLAIGA_OFFSET(fe_nm_map_row, instance, 5);
POLAIGA_OFFSET(fe_nm_map_row, subtype, 6);
POLAIGA_OFFSET(fe_nm_map_row, reserved, 7);
POLAIGA_OFFSET(fe_nm_map_row, code, 8);
POLAIGA_OFFSET(fe_nm_map_row, cause_id, 12);
POLAIGA_OFFSET(fe_nm_map_row, fault_name, 16);
POLAIGA_OFFSET(fe_nm_map_row, cause, 80);
POLAIGA_OFFSET(fe_nm_map_row, dn, 112);
POLAIGA_OFFSET(fe_nm_map_row, rn, 192);
POLAIGA_OFFSET(fe_nm_map_row, descr, 224);

/* Exceptional list row: a sensor that is described in words of its own. The row
 * with id -1 ends the list. */
typedef struct fe_exceptional_row {
  int32_t id;
  char sensor_name[FE_SENSOR_NAME_SIZE]; /* NUL-padded; empty in the last row */
} fe_exceptional_row;

POLAIGA_SIZE(fe_exceptional_row, 24);
POLAIGA_OFFSET(fe_exceptional_row, id, 0);
POLAIGA_OFFSET(fe_exceptional_row, sensor_name, 4);

/* Constant sensor maps: system board, processors, the power readings of the
 * power supplies. Each has a count of its rows beside it, which a host may
 * lower between calls: the filter then knows the first rows only, and below 1
 * none. A count above the number of rows makes the filter read behind the
 * table. */
POLAIGA_API extern const fe_sensor_map_row ent_map[];
POLAIGA_API extern int32_t ent_map_sz;
POLAIGA_API extern const fe_sensor_map_row ent_cpu_map[];
POLAIGA_API extern int32_t ent_cpu_map_sz;
POLAIGA_API extern const fe_sensor_map_row ent_ps_map[];
POLAIGA_API extern int32_t ent_ps_map_sz;

/* Constant exceptional lists: fans, system board, processors. */
POLAIGA_API extern const fe_exceptional_row exceptional_fan_sensor_map[];
POLAIGA_API extern const fe_exceptional_row exceptional_sensor_map[];
POLAIGA_API extern const fe_exceptional_row exceptional_sensor_map_cpu[];

/* Formats of the power-supply configuration errors, by event offset less 35.
 * Each takes the sensor name, the instance and the instance again. */
enum { FE_PSU_CONFIG_ERRORS = 6 };
POLAIGA_API extern const char psu_config_error[FE_PSU_CONFIG_ERRORS][FE_DESCR_SIZE];

/*
 * Host tables. The library's own are empty, with a count of 0, and the filters
 * that read them then reject every event. A host that has such sensors defines
 * both names of a pair; its definitions take the place of the library's. Table
 * and count are read on every call and may change between calls, not during
 * one. A count below 1 is an empty table. Rows are not trusted: a text ends at
 * its field's width, and a format can do no more than insert its two texts,
 * the sensor name and the threshold words. The library remembers the last
 * state of the first 20 rows.
 */
enum { FE_HOST_TABLE_ROWS = 20 };
POLAIGA_API extern fe_nm_map_row ent_nm_map[];
POLAIGA_API extern int32_t ent_nm_map_sz;
POLAIGA_API extern fe_sensor_map_row ent_cmc_map[];
POLAIGA_API extern int32_t ent_cmc_map_sz;
POLAIGA_API extern fe_sensor_map_row ent_drive_bp_map[];
POLAIGA_API extern int32_t ent_drive_bp_map_sz;

/*
 * Id of a sensor in an exceptional list, -1 when it is not listed. The name
 * must not be null; case matters. The first two names are spelled so on purpose.
 */
POLAIGA_API int32_t expectional_fan_sensor_lookup(const char* sensor_name);
POLAIGA_API int32_t expectional_sensor_lookup(const char* sensor_name);
POLAIGA_API int32_t exceptional_sensor_lookup(const char* sensor_name);

POLAIGA_END_DECLS

#endif
