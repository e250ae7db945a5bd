// The names of cards and slots on each platform. The engine searches these tables.
#pragma once

#include <polaiga/services.h>

namespace polaiga {

inline constexpr int kPlatforms = 18;

extern const fe_platform_names adaptor_name_table[kPlatforms];       // "rn:label" of add-in cards
extern const fe_platform_names storage_slot_name_table[kPlatforms];  // slots of storage controllers

}  // namespace polaiga
