// One accepted and one rejected event for each filter: the longest way through.
#pragma once

#include <polaiga/polaiga.h>

namespace polaiga::bench {

struct Case {
  const char* entity;
  const char* sensor;
  int offset;
  int state;
  unsigned entity_id;
  unsigned reading_type;
};

inline const Case kAccepted[] = {
    {"sys_board", "P12V_STBY_V_MOIN", 119, 0, 7, 1},
    {"fan", "FAN6_SPEED", 10, 1, 29, 1},
    {"ps", "PSU1_TEMP", 883, 1, 10, 1},
    {"cpu", "P1_MEM23_MEMHOT", 114, 0, 3, 0},
    {"mem", "DDR3_P1_A1_TMP", 100, 6, 32, 1},
    {"fw_bios_post", "BIOS_POST_CMPLT", 103, 0, 34, 0},
    {"pci", "RISER1_TEMP", 110, 6, 48, 1},
    {"add_in", "MLOM_TEMP", 127, 1, 11, 0},
    {"caddora", "CADDORA_RAID", 29, 1, 213, 0},
    {"storage", "HDD1_STATUS", 29, 1, 209, 0},
    {"drive_bp", "HDD_BP1_TEMP", 114, 0, 15, 1},
    {"chassis", "CHASSIS_INTRUSION", 104, 1, 23, 0},
    {"front_panel", "FP_TEMP_SENSOR", 107, 6, 12, 1},
    {"nm", "NODE_MANAGER", 200, 0, 46, 0},
    {"ne", "BMC_LINK", 126, 0, 38, 0},
    {"cmc", "CMC_TEMP", 117, 0, 6, 1},
};

inline const Case kRejected[] = {
    {"sys_board", "NO_SUCH_SENSOR", 119, 0, 7, 1},
    {"fan", "FAN6_SPEED", 6, 1, 29, 1},
    {"ps", "PSU1_TEMP", 884, 1, 10, 1},
    {"cpu", "NO_SUCH_SENSOR", 114, 0, 3, 0},
    {"mem", "DDR3_P1_A1_TMP", 101, 6, 32, 1},
    {"fw_bios_post", "BIOS_POST_CMPLT", 102, 0, 34, 0},
    {"pci", "RISER1_TEMP", 111, 6, 48, 1},
    {"add_in", "MLOM_TEMP", 128, 1, 11, 0},
    {"caddora", "CADDORA_RAID", 30, 1, 213, 0},
    {"storage", "HDD1_STATUS", 30, 1, 209, 0},
    {"drive_bp", "NO_SUCH_SENSOR", 114, 0, 15, 1},
    {"chassis", "CHASSIS_INTRUSION", 105, 1, 23, 0},
    {"front_panel", "FP_TEMP_SENSOR", 108, 6, 12, 1},
    {"nm", "NODE_MANAGER", 1, 0, 46, 0},
    {"ne", "BMC_LINK", 125, 1, 38, 0},
};

// The filter of the case's entity. Ends the program if there is none.
fe_fault_filter* filter_of(const Case& c);

// Gives the time-zone file another zone name, or removes it: null. It begins with Europe/Berlin.
void write_zone_file(const char* zone);

fe_sensor_event event_of(const Case& c);

// The C library calls of a time stamp alone, as every filter makes them.
void bare_stamp();

// The same, once before anything is measured: the C library then reads the zone's rules.
void first_stamp();

}  // namespace polaiga::bench
