// The tables of names that the add-in card and storage filters pass to the host, read as
// a host reads them.
#include "support/filter_test.h"

#include <polaiga/services.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace polaiga::test {
namespace platform_names_test {

constexpr int kPlatforms = 18;

struct Entry {
  int instance;
  const char* name;
};
using Platform = std::vector<Entry>;

const Platform kAdaptors[kPlatforms] = {
    {},
    {},
    {},
    {},
    {{5, "adaptor-1:Adaptor Unit 1"}, {6, "adaptor-2:Adaptor Unit 2"}},
    {{1, "adaptor-1:Adaptor Unit 1"}, {2, "adaptor-7:Adaptor Unit 7"}},
    {{3, "adaptor-1:Adaptor Unit 1"}},
    {{4, "adaptor-2:Adaptor Unit 2"}, {5, "adaptor-5:Adaptor Unit 5"}},
    {{0, "adaptor-1:Adaptor Unit 1"}},
    {{0, "adaptor-1:Adaptor Unit 1"}},
    {{3, "adaptor-1:Adaptor Unit 1"}, {1, "adaptor-4:Adaptor Unit 4"}, {2, "adaptor-7:Adaptor Unit 7"}},
    {{1, "adaptor-2:Adaptor Unit 2"},
     {2, "adaptor-3:Adaptor Unit 3"},
     {3, "adaptor-4:Adaptor Unit 4"},
     {4, "adaptor-5:Adaptor Unit 5"},
     {5, "adaptor-7:Adaptor Unit 7"},
     {6, "adaptor-8:Adaptor Unit 8"},
     {7, "adaptor-9:Adaptor Unit 9"},
     {8, "adaptor-10:Adaptor Unit 10"},
     {9, "adaptor-11:Adaptor Unit 11"}},
    {{1, "adaptor-1:Adaptor Unit 1"}, {2, "adaptor-2:Adaptor Unit 2"}},
    {{7, "adaptor-1:Adaptor Unit 1"}, {8, "adaptor-2:Adaptor Unit 2"}, {3, "adaptor-3:Adaptor Unit 3"}},
    {{7, "adaptor-1:Adaptor Unit 1"},
     {8, "adaptor-2:Adaptor Unit 2"},
     {9, "adaptor-4:Adaptor Unit 4"},
     {10, "adaptor-5:Adaptor Unit 5"},
     {3, "adaptor-3:Adaptor Unit 3"}},
    {{1, "adaptor-1:Adaptor Unit 1"}, {2, "adaptor-2:Adaptor Unit 2"}},
    {{7, "adaptor-1:Adaptor Unit 1"}, {8, "adaptor-2:Adaptor Unit 2"}, {3, "adaptor-3:Adaptor Unit 3"}},
    {{7, "adaptor-1:Adaptor Unit 1"},
     {8, "adaptor-2:Adaptor Unit 2"},
     {9, "adaptor-4:Adaptor Unit 4"},
     {10, "adaptor-5:Adaptor Unit 5"},
     {3, "adaptor-3:Adaptor Unit 3"}},
};

const Platform kStorageSlots[kPlatforms] = {
    {},
    {},
    {},
    {},
    {{11, "SAS"}},
    {},
    {{3, "MEZZ"}},
    {{6, "MEZZ"}},
    {},
    {},
    {},
    {{11, "SAS"}, {12, "FrontPCIe5"}, {13, "FrontPCIe9"}},
    {{1, "MEZZ"}},
    {{3, "SLOT-HBA"}, {4, "FrontPCIe1"}, {5, "FrontPCIe2"}},
    {{7, "SLOT-HBA"}, {8, "FrontPCIe1"}, {9, "FrontPCIe2"}},
    {{1, "SBMezz1"}, {2, "SBMezz2"}, {3, "IOEMezz1"}, {4, "SBNVMe1"}, {5, "IOENVMe1"}, {6, "IOENVMe2"}},
    {{3, "SLOT-HBA"}, {4, "FrontPCIe1"}, {5, "FrontPCIe2"}},
    {{7, "SLOT-HBA"}, {8, "FrontPCIe1"}, {9, "FrontPCIe2"}},
};

const char* name_in(const Platform& platform, int instance) {
  const auto entry = std::ranges::find(platform, instance, &Entry::instance);
  return entry != platform.end() ? entry->name : nullptr;
}

// Every number that an entry could have by mistake, and the ends of the range.
std::vector<int> instances() {
  std::vector<int> all = {-2147483647 - 1, -2147483647, 2147483646, 2147483647};
  for (int instance = -20; instance <= 300; ++instance) all.push_back(instance);
  return all;
}

// Compares a table cell by cell, since an engine may search it in any way.
void expect_rows(const fe_platform_names* table, const Platform (&platforms)[kPlatforms]) {
  ASSERT_NE(table, nullptr);
  for (std::size_t platform = 0; platform < kPlatforms; ++platform) {
    EXPECT_EQ(table[platform].platform, platform);
    for (std::size_t slot = 0; slot < FE_PLATFORM_SLOTS; ++slot) {
      const bool used = slot < platforms[platform].size();
      const Entry wanted = used ? platforms[platform][slot] : Entry{0, nullptr};
      EXPECT_STREQ(table[platform].slots[slot].name, wanted.name) << "platform " << platform << " slot " << slot;
      EXPECT_EQ(table[platform].slots[slot].instance, wanted.instance) << "platform " << platform << " slot " << slot;
    }
  }
}

class AdaptorNamesTest : public FilterTest {
 protected:
  AdaptorNamesTest() : FilterTest("process_add_in_fault") {}
};

class StorageSlotNamesTest : public FilterTest {
 protected:
  StorageSlotNamesTest() : FilterTest("process_storage_fault") {}
};

TEST_F(AdaptorNamesTest, EveryPlatform) {
  fe_sdr_instance_array[0x1D] = 1;  // instances are looked up as they are
  for (int platform = 0; platform < kPlatforms; ++platform) {
    g_platform = platform;
    for (const int instance : instances()) {
      SCOPED_TRACE(::testing::Message() << "platform " << platform << " instance " << instance);
      const Outcome outcome = send({.sensor = "S", .offset = 63, .state = 0, .instance = instance});
      EXPECT_EQ(outcome.result, 0);
      const char* const name = name_in(kAdaptors[platform], instance);
      const std::string number = std::to_string(instance);
      const std::string text = name != nullptr ? name : "adaptor-" + number + ":Add-in Card " + number;
      const std::size_t colon = text.find(':');
      EXPECT_EQ(outcome.record.rn, text.substr(0, colon));
      EXPECT_EQ(outcome.record.descr, "S: " + text.substr(colon + 1) + " missing: Cleared");
    }
  }
}

TEST_F(AdaptorNamesTest, EveryCell) {
  send({.offset = 63});
  expect_rows(host().platform_names, kAdaptors);
}

TEST_F(StorageSlotNamesTest, EveryPlatform) {
  for (int platform = 0; platform < kPlatforms; ++platform) {
    g_platform = platform;
    std::vector<std::string> wanted;
    std::vector<std::string> got;
    ::testing::internal::CaptureStdout();  // the filter's trace lines
    for (const int instance : instances()) {
      const char* const name = name_in(kStorageSlots[platform], instance);
      const std::string text = name != nullptr ? name : std::to_string(instance);
      wanted.push_back("Storage controller SLOT-" + text + " inoperable: Cleared");
      got.emplace_back(send({.offset = 11, .state = 0, .instance = instance, .entity_id = 208}).record.descr);
    }
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(got, wanted) << "platform " << platform;
  }
}

TEST_F(StorageSlotNamesTest, EveryCell) {
  ::testing::internal::CaptureStdout();  // the filter's trace lines
  send({.offset = 11, .entity_id = 208});
  ::testing::internal::GetCapturedStdout();
  expect_rows(host().platform_names, kStorageSlots);
}

}  // namespace platform_names_test
}  // namespace polaiga::test
