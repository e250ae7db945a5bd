// The host tables. These definitions are empty, and no filter may rely on their length,
// because a host's definitions of the same names take their place.
#include <polaiga/tables.h>

#include <cstdint>

fe_nm_map_row ent_nm_map[1];
std::int32_t ent_nm_map_sz;

fe_sensor_map_row ent_cmc_map[1];
std::int32_t ent_cmc_map_sz;

fe_sensor_map_row ent_drive_bp_map[1];
std::int32_t ent_drive_bp_map_sz;
