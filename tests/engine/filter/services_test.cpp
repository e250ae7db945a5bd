#include "filter/services.h"

#include <gtest/gtest.h>
#include <polaiga/services.h>

#include <cstring>
#include <limits>
#include <vector>

#include "support/record.h"

namespace polaiga::engine {
namespace services_test {

TEST(Services, FeItoa) {
  const std::pair<std::int32_t, const char*> kRows[] = {{0, "0"},
                                                        {7, "7"},
                                                        {-1, "-1"},
                                                        {1040, "1040"},
                                                        {std::numeric_limits<std::int32_t>::max(), "2147483647"},
                                                        {std::numeric_limits<std::int32_t>::min(), "-2147483648"}};
  for (const auto& [value, text] : kRows) {
    char buffer[14];
    std::memset(buffer, '#', sizeof buffer);
    fe_itoa(value, buffer, 0);
    EXPECT_STREQ(buffer, text);
    EXPECT_EQ(buffer[std::strlen(text) + 1], '#');
  }
}

TEST(Services, Dictionaries) {
  EXPECT_STREQ(get_fault_code_string(320), "fltComputePhysicalUnidentified");
  EXPECT_STREQ(get_fault_code_string(5), "");
  EXPECT_STREQ(get_probable_cause_string(338), "log-capacity");
  EXPECT_STREQ(get_probable_cause_string(0), "");
  EXPECT_STREQ(get_probable_cause_string(5), "");
}

TEST(Services, TranslateByPlatformAndInstance) {
  std::vector<fe_platform_names> table(kPlatforms);
  table[2].slots[0] = {"two-one", 1};
  table[2].slots[15] = {"two-nine", 9};
  table[2].slots[3] = {nullptr, 5};
  table[17].slots[1] = {"last", 0};
  const auto* rows = table.data();
  EXPECT_STREQ(translate_user_entity_instance(rows, 2, 1), "two-one");
  EXPECT_STREQ(translate_user_entity_instance(rows, 2, 9), "two-nine");
  EXPECT_STREQ(translate_user_entity_instance(rows, 17, 0, &g_platform), "last");
  EXPECT_EQ(translate_user_entity_instance(rows, 2, 5), nullptr);
  EXPECT_EQ(translate_user_entity_instance(rows, 2, 0), nullptr);  // slots that are not used have instance 0
  EXPECT_EQ(translate_user_entity_instance(rows, 3, 1), nullptr);
  EXPECT_EQ(translate_user_entity_instance(rows, -1, 1), nullptr);
  EXPECT_EQ(translate_user_entity_instance(rows, 18, 1), nullptr);
  EXPECT_EQ(translate_user_entity_instance(nullptr, 2, 1), nullptr);
}

TEST(Services, InstancesCountFromOne) {
  for (const std::int32_t base : fe_sdr_instance_array) EXPECT_EQ(base, 0);
}

void withdraw_nothing(const std::string& /*fault_dn*/) {}

TEST(Services, Platform) {
  provide_services(withdraw_nothing, 11, Log::kOff);
  EXPECT_EQ(g_platform, 11);
  provide_services(withdraw_nothing, 0, Log::kOff);
  EXPECT_EQ(g_platform, 0);
}

TEST(Services, CleanupWithdrawsThePostFault) {
  std::vector<std::string> withdrawn;
  provide_services([&](const std::string& fault_dn) { withdrawn.push_back(fault_dn); }, 0, Log::kOff);
  fe_fault_record over = {};
  test::fill(over.dn, "sys/a");
  cleanup_deasserted_events(&over, 0, 0, 0);
  cleanup_deasserted_events(nullptr, 0, 0, 0);
  EXPECT_EQ(withdrawn, std::vector<std::string>{"sys/a/fault-F0517"});
  provide_services(withdraw_nothing, 0, Log::kOff);
}

std::string logged(Log level) {
  provide_services(withdraw_nothing, 0, level);
  testing::internal::CaptureStderr();
  fe_logger("fan %d of %s\n", 3, "six");
  fe_logger("no newline");
  fe_logger("\x1b[2J%s", std::string(5000, 'x').c_str());
  return testing::internal::GetCapturedStderr();
}

TEST(Services, Logger) {
  EXPECT_EQ(logged(Log::kOff), "");
  EXPECT_EQ(logged(Log::kDebug), "fan 3 of six\nno newline\n?[2J" + std::string(1019, 'x') + "\n");
}

}  // namespace services_test
}  // namespace polaiga::engine
