#include "publisher/fleet_program.h"

#include <gtest/gtest.h>

namespace polaiga::output {
namespace fleet_program_test {

TEST(FleetProgram, IsAskedForByTheOption) {
  const char* const with[] = {"polaiga-x", "--url", "u", "--fleet", "postgresql://host/fleet"};
  EXPECT_TRUE(is_for_fleet(5, with));
  const char* const with_value[] = {"polaiga-x", "--fleet=postgresql://host/fleet"};
  EXPECT_TRUE(is_for_fleet(2, with_value));
  const char* const without[] = {"--fleet", "--fleets", "fleet"};
  EXPECT_FALSE(is_for_fleet(3, without)) << "the name of the program is no option";
  EXPECT_FALSE(is_for_fleet(0, without));
}

TEST(FleetProgram, OneThatIsNotInstalledIsTold) {
  char name[] = "polaiga-x";
  char* words[] = {name, nullptr};
  testing::internal::CaptureStderr();
  EXPECT_EQ(run_for_fleet("polaiga-x", words), 2);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("polaiga-x-fleet, which cannot be run: No such file or directory. Install it beside polaiga-x"),
            std::string::npos)
      << said;
}

}  // namespace fleet_program_test
}  // namespace polaiga::output
