/* The fault filters: one function for each entity class. */
#ifndef POLAIGA_FILTERS_H
#define POLAIGA_FILTERS_H

#include <stdint.h>

#include <polaiga/export.h>
#include <polaiga/records.h>

POLAIGA_BEGIN_DECLS

/*
 * Every filter decides what one event of its entity class means and fills the
 * caller's record. `ev` is the event, `out` the address of the caller's pointer
 * to its record; both stay the caller's. Answers 0 when the record is to be
 * reported, else -1 (see the conventions in polaiga.h).
 *
 * The event is only read, except in three cases in which 0 is written to it. The
 * system-board and the processor filter write event_state when a core temperature
 * sensor reports its upper critical threshold with a state other than 0 and 5
 * (for the system board: other than 0, 1 and 5). The SD-card filter writes
 * entity_instance when the event concerns the controller itself.
 */
typedef int32_t fe_fault_filter(fe_sensor_event* ev, fe_fault_record** out);

/* System board: voltages, temperatures, event-log capacity, power-on. */
POLAIGA_API int32_t process_sys_board_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Fans: presence, speed thresholds, predictive failure. */
POLAIGA_API int32_t process_fan_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Power supplies: presence, input, thresholds, configuration, redundancy. */
POLAIGA_API int32_t process_ps_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Processors: temperatures, voltages, presence, thermal trips. */
POLAIGA_API int32_t process_cpu_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Memory units and memory risers. */
POLAIGA_API int32_t process_mem_fault(fe_sensor_event* ev, fe_fault_record** out);
/* BIOS power-on self test. Fills the record, yet always answers -1. */
POLAIGA_API int32_t process_fw_bios_post_fault(fe_sensor_event* ev, fe_fault_record** out);
/* PCI risers: presence, temperature. */
POLAIGA_API int32_t process_pci_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Add-in cards: presence, temperature, trusted platform module. */
POLAIGA_API int32_t process_add_in_fault(fe_sensor_event* ev, fe_fault_record** out);
/* SD-card storage controller: cards, virtual drive, battery. */
POLAIGA_API int32_t process_caddora_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Storage controllers: disks, virtual drives, batteries. */
POLAIGA_API int32_t process_storage_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Drive backplanes, over the rows of ent_drive_bp_map. */
POLAIGA_API int32_t process_drive_bp_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Chassis intrusion. */
POLAIGA_API int32_t process_chassis_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Front panel temperature. */
POLAIGA_API int32_t process_front_panel_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Node manager, over the rows of ent_nm_map. */
POLAIGA_API int32_t process_nm_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Management network link. */
POLAIGA_API int32_t process_ne_fault(fe_sensor_event* ev, fe_fault_record** out);
/* Chassis management controller, over the rows of ent_cmc_map. */
POLAIGA_API int32_t process_cmc_fault(fe_sensor_event* ev, fe_fault_record** out);

POLAIGA_END_DECLS

#endif
