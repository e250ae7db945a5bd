#include "tables/platform_names.h"

namespace polaiga {

// One row for each platform number, in order. A row consists of pairs of name and instance.

const fe_platform_names adaptor_name_table[kPlatforms] = {
    {0, {}},
    {1, {}},
    {2, {}},
    {3, {}},
    {4, {{"adaptor-1:Adaptor Unit 1", 5}, {"adaptor-2:Adaptor Unit 2", 6}}},
    {5, {{"adaptor-1:Adaptor Unit 1", 1}, {"adaptor-7:Adaptor Unit 7", 2}}},
    {6, {{"adaptor-1:Adaptor Unit 1", 3}}},
    {7, {{"adaptor-2:Adaptor Unit 2", 4}, {"adaptor-5:Adaptor Unit 5", 5}}},
    {8, {{"adaptor-1:Adaptor Unit 1", 0}}},
    {9, {{"adaptor-1:Adaptor Unit 1", 0}}},
    {10, {{"adaptor-1:Adaptor Unit 1", 3}, {"adaptor-4:Adaptor Unit 4", 1}, {"adaptor-7:Adaptor Unit 7", 2}}},
    {11,
     {{"adaptor-2:Adaptor Unit 2", 1},
      {"adaptor-3:Adaptor Unit 3", 2},
      {"adaptor-4:Adaptor Unit 4", 3},
      {"adaptor-5:Adaptor Unit 5", 4},
      {"adaptor-7:Adaptor Unit 7", 5},
      {"adaptor-8:Adaptor Unit 8", 6},
      {"adaptor-9:Adaptor Unit 9", 7},
      {"adaptor-10:Adaptor Unit 10", 8},
      {"adaptor-11:Adaptor Unit 11", 9}}},
    {12, {{"adaptor-1:Adaptor Unit 1", 1}, {"adaptor-2:Adaptor Unit 2", 2}}},
    {13, {{"adaptor-1:Adaptor Unit 1", 7}, {"adaptor-2:Adaptor Unit 2", 8}, {"adaptor-3:Adaptor Unit 3", 3}}},
    {14,
     {{"adaptor-1:Adaptor Unit 1", 7},
      {"adaptor-2:Adaptor Unit 2", 8},
      {"adaptor-4:Adaptor Unit 4", 9},
      {"adaptor-5:Adaptor Unit 5", 10},
      {"adaptor-3:Adaptor Unit 3", 3}}},
    {15, {{"adaptor-1:Adaptor Unit 1", 1}, {"adaptor-2:Adaptor Unit 2", 2}}},
    {16, {{"adaptor-1:Adaptor Unit 1", 7}, {"adaptor-2:Adaptor Unit 2", 8}, {"adaptor-3:Adaptor Unit 3", 3}}},
    {17,
     {{"adaptor-1:Adaptor Unit 1", 7},
      {"adaptor-2:Adaptor Unit 2", 8},
      {"adaptor-4:Adaptor Unit 4", 9},
      {"adaptor-5:Adaptor Unit 5", 10},
      {"adaptor-3:Adaptor Unit 3", 3}}},
};

const fe_platform_names storage_slot_name_table[kPlatforms] = {
    {0, {}},
    {1, {}},
    {2, {}},
    {3, {}},
    {4, {{"SAS", 11}}},
    {5, {}},
    {6, {{"MEZZ", 3}}},
    {7, {{"MEZZ", 6}}},
    {8, {}},
    {9, {}},
    {10, {}},
    {11, {{"SAS", 11}, {"FrontPCIe5", 12}, {"FrontPCIe9", 13}}},
    {12, {{"MEZZ", 1}}},
    {13, {{"SLOT-HBA", 3}, {"FrontPCIe1", 4}, {"FrontPCIe2", 5}}},
    {14, {{"SLOT-HBA", 7}, {"FrontPCIe1", 8}, {"FrontPCIe2", 9}}},
    {15, {{"SBMezz1", 1}, {"SBMezz2", 2}, {"IOEMezz1", 3}, {"SBNVMe1", 4}, {"IOENVMe1", 5}, {"IOENVMe2", 6}}},
    {16, {{"SLOT-HBA", 3}, {"FrontPCIe1", 4}, {"FrontPCIe2", 5}}},
    {17, {{"SLOT-HBA", 7}, {"FrontPCIe1", 8}, {"FrontPCIe2", 9}}},
};

}  // namespace polaiga
