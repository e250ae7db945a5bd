/* The two records: the sensor event that goes in, the fault record that comes out. */
#ifndef POLAIGA_RECORDS_H
#define POLAIGA_RECORDS_H

#include <stdint.h>

#include <polaiga/export.h>
#include <polaiga/layout.h>

POLAIGA_BEGIN_DECLS

/* Widths of the text fields, the terminating NUL included. */
enum {
  FE_SENSOR_NAME_SIZE = 20,
  FE_DN_SIZE = 80,
  FE_RN_SIZE = 32,
  FE_CODE_TEXT_SIZE = 32,
  FE_OID_SIZE = 32, /* arcs */
  FE_DESCR_SIZE = 224,
  FE_CREATED_SIZE = 64,
  FE_CAUSE_SIZE = 32,
  FE_NAME_SIZE = 64
};

/* fe_sensor_event.event_state: discrete sensors use the first two; a threshold
 * sensor gives the level that is in force after the crossing. Any other value
 * is legal and counts as asserted wherever only "deasserted" matters. */
enum {
  FE_STATE_DEASSERTED = 0,
  FE_STATE_ASSERTED = 1,
  FE_STATE_NON_CRITICAL = 4,
  FE_STATE_CRITICAL = 5,
  FE_STATE_NON_RECOVERABLE = 6
};

/* fe_sensor_event.event_offset of the threshold events of table-driven sensors.
 * They are the six thresholds of the IPMI v2.0 sensor model. */
enum {
  FE_OFFSET_LOWER_NON_CRITICAL = 114,
  FE_OFFSET_LOWER_CRITICAL = 115,
  FE_OFFSET_LOWER_NON_RECOVERABLE = 116,
  FE_OFFSET_UPPER_NON_CRITICAL = 117,
  FE_OFFSET_UPPER_CRITICAL = 118,
  FE_OFFSET_UPPER_NON_RECOVERABLE = 119
};

/* fe_sensor_event.reading_type; every other value is a discrete sensor. */
enum { FE_READING_THRESHOLD = 1 };

/* fe_fault_record.disposition: the level of the fault that clear_code names,
 * which this record clears or supersedes. */
enum {
  FE_DISPOSITION_RAISE = 0,          /* plain raise: nothing is cleared */
  FE_DISPOSITION_TRANSITION = 1,     /* discrete or log-capacity transition */
  FE_DISPOSITION_PRESENCE_CLEAR = 3, /* presence or predictive failure is over */
  FE_DISPOSITION_NON_CRITICAL = 4,
  FE_DISPOSITION_CRITICAL = 5,
  FE_DISPOSITION_NON_RECOVERABLE = 6
};

/*
 * One event of one sensor, as the engine received it.
 *
 * The engine owns it. A filter reads it and copies it to the head of the
 * record; three filters write to it in one documented case each (see
 * filters.h). Bytes named reserved are copied and never read.
 */
typedef struct fe_sensor_event {
  uint8_t entity_id;                     /* entity class of the sensor's owner */
  uint8_t entity_subtype;                /* second identifying byte; controller type for storage */
  uint8_t reserved1[2];                  /* copied */
  int32_t group_instance;                /* instance of the unit that owns the affected one */
  int32_t entity_instance;               /* number of the affected unit, from 1 */
  int32_t event_state;                   /* FE_STATE_...: 0 is "condition gone" */
  int32_t event_offset;                  /* what happened; the numbers are the filter's own */
  uint8_t reserved2[4];                  /* copied */
  char sensor_name[FE_SENSOR_NAME_SIZE]; /* NUL-terminated, case matters */
  uint32_t reading_type;                 /* FE_READING_THRESHOLD, else a discrete sensor */
  uint8_t reserved3[4];                  /* copied */
} fe_sensor_event;

/*
 * One fault, raised or cleared.
 *
 * The engine owns it and passes the address of its pointer. What becomes
 * active is fault_dn, unless the event state is 0 and clear_code is 0 or equal
 * to code: then fault_dn is what goes. clear_code names, with the same dn, the
 * fault that this one clears or supersedes.
 */
typedef struct fe_fault_record {
  fe_sensor_event event;             /* copy of the event, adjusted by the filter */
  uint32_t fault_key;                /* entity_id << 24 | entity_instance << 8 | entity_subtype */
  uint8_t reserved1[40];             /* never written */
  char dn[FE_DN_SIZE];               /* distinguished name of the affected object */
  char fault_dn[FE_DN_SIZE];         /* dn, "/fault-F", the code in at least four digits */
  char rn[FE_RN_SIZE];               /* relative name of the affected object */
  char code_text[FE_CODE_TEXT_SIZE]; /* "F", the code in at least four digits */
  uint32_t oid[FE_OID_SIZE];         /* object identifier of the fault class (RFC 2578), an arc each */
  uint8_t oid_len;                   /* arcs that count */
  uint8_t reserved2[3];              /* never written */
  char descr[FE_DESCR_SIZE];         /* description for people */
  char created[FE_CREATED_SIZE];     /* local time, 2024-01-31T23:59:59 */
  uint32_t created_time;             /* the same moment, seconds since 1970 in UTC */
  uint8_t reserved3[4];              /* never written */
  uint8_t disposition;               /* FE_DISPOSITION_... */
  uint8_t reserved4[3];              /* never written */
  uint32_t cause_id;                 /* probable cause of the fault, as a number */
  uint32_t clear_cause_id;           /* probable cause of the fault in clear_code; 0: none */
  char cause[FE_CAUSE_SIZE];         /* text of cause_id */
  char clear_cause[FE_CAUSE_SIZE];   /* text of clear_cause_id; empty: none */
  uint32_t code;                     /* fault code: raised or, on a clear, cleared */
  uint32_t clear_code;               /* fault code that is cleared or superseded; 0: none */
  uint8_t reserved5[28];             /* never written */
  char name[FE_NAME_SIZE];           /* fault name of code */
} fe_fault_record;

/* The layout is shared with the engine and frozen. */
POLAIGA_SIZE(fe_sensor_event, 52);
POLAIGA_OFFSET(fe_sensor_event, entity_id, 0);
POLAIGA_OFFSET(fe_sensor_event, entity_subtype, 1);
POLAIGA_OFFSET(fe_sensor_event, reserved1, 2);
POLAIGA_OFFSET(fe_sensor_event, group_instance, 4);
POLAIGA_OFFSET(fe_sensor_event, entity_instance, 8);
POLAIGA_OFFSET(fe_sensor_event, event_state, 12);
POLAIGA_OFFSET(fe_sensor_event, event_offset, 16);
POLAIGA_OFFSET(fe_sensor_event, reserved2, 20);
POLAIGA_OFFSET(fe_sensor_event, sensor_name, 24);
POLAIGA_OFFSET(fe_sensor_event, reading_type, 44);
POLAIGA_OFFSET(fe_sensor_event, reserved3, 48);

POLAIGA_SIZE(fe_fault_record, 924);
POLAIGA_OFFSET(fe_fault_record, event, 0);
POLAIGA_OFFSET(fe_fault_record, fault_key, 52);
POLAIGA_OFFSET(fe_fault_record, reserved1, 56);
POLAIGA_OFFSET(fe_fault_record, dn, 96);
POLAIGA_OFFSET(fe_fault_record, fault_dn, 176);
POLAIGA_OFFSET(fe_fault_record, rn, 256);
POLAIGA_OFFSET(fe_fault_record, code_text, 288);
POLAIGA_OFFSET(fe_fault_record, oid, 320);
POLAIGA_OFFSET(fe_fault_record, oid_len, 448);
POLAIGA_OFFSET(fe_fault_record, reserved2, 449);
POLAIGA_OFFSET(fe_fault_record, descr, 452);
POLAIGA_OFFSET(fe_fault_record, created, 676);
POLAIGA_OFFSET(fe_fault_record, created_time, 740);
POLAIGA_OFFSET(fe_fault_record, reserved3, 744);
POLAIGA_OFFSET(fe_fault_record, disposition, 748);
POLAIGA_OFFSET(fe_fault_record, reserved4, 749);
POLAIGA_OFFSET(fe_fault_record, cause_id, 752);
POLAIGA_OFFSET(fe_fault_record, clear_cause_id, 756);
POLAIGA_OFFSET(fe_fault_record, cause, 760);
POLAIGA_OFFSET(fe_fault_record, clear_cause, 792);
POLAIGA_OFFSET(fe_fault_record, code, 824);
POLAIGA_OFFSET(fe_fault_record, clear_code, 828);
POLAIGA_OFFSET(fe_fault_record, reserved5, 832);
POLAIGA_OFFSET(fe_fault_record, name, 860);

POLAIGA_END_DECLS

#endif
